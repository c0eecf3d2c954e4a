#include "filters/convolution.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#if ZETDIP_HAS_AVX2_PATH
#include <immintrin.h>
#endif

#include "DipFilters.h"

using namespace zetdip::detail;

namespace zetdip::detail {

float* CreateGaussianKernel(int nKernelSize, float fSigma, float& fSum) {
    const float s2 = static_cast<float>((static_cast<double>(fSigma) + fSigma) * fSigma);
    const long long nCount = static_cast<long long>(nKernelSize) * nKernelSize;
    auto kernel = NewScratch<float>(static_cast<std::size_t>(nCount));
    if (!kernel) return nullptr;
    for (long long k = 0; k < nCount; ++k) kernel[static_cast<std::size_t>(k)] = 0.0f;

    fSum = 0.0f;
    const int h = nKernelSize / 2;
    const double dNorm = static_cast<double>(s2) * 3.141592653589793;
    long long k = 0;
    for (int i = -h; i <= h; ++i) {
        for (int j = -h; j <= h; ++j, ++k) {
            const int r2 = WrapAdd(WrapMul(i, i), WrapMul(j, j));
            const float e = static_cast<float>(static_cast<double>(r2) / static_cast<double>(s2));
            const float g = static_cast<float>(std::exp(-static_cast<double>(e)));
            const float wgt = static_cast<float>(static_cast<double>(g) / dNorm);
            // An even size has (size + 1)^2 weights in its sum; only those
            // that fit the array are stored, so nothing is written past it.
            if (k < nCount) kernel[static_cast<std::size_t>(k)] = wgt;
            fSum = static_cast<float>(static_cast<double>(fSum) + wgt);
        }
    }
    return kernel.release();
}

namespace {

// acc[i] = 0.0 + w[0] * rows[0][i] + ... + w[N-1] * rows[N-1][i], in tap order.
template <class T, int N>
ZETDIP_ALWAYS_INLINE void AccumulateTaps(double* acc, const T* const* pRows, const double* pWeights,
                                         int n) {
    const T* r[N > 0 ? N : 1];
    double w[N > 0 ? N : 1];
    for (int t = 0; t < N; ++t) r[t] = pRows[t], w[t] = pWeights[t];
    for (int i = 0; i < n; ++i) {
        double a = 0.0;
        for (int t = 0; t < N; ++t) a = a + w[t] * static_cast<double>(r[t][i]);
        acc[i] = a;
    }
}

// The same sums for integral weights (see conv::kMaxIntegerWeight): every
// partial sum of the double loop is an integer well inside 2^53 and so exact,
// and the int sum, converted once, is the same value (+0 when it is 0, as
// the double sum, which starts at +0, is never -0).
template <class T, int N>
ZETDIP_ALWAYS_INLINE void AccumulateTapsInt(double* acc, const T* const* pRows, const int* pWeights,
                                            int n) {
    const T* r[N > 0 ? N : 1];
    int w[N > 0 ? N : 1];
    for (int t = 0; t < N; ++t) r[t] = pRows[t], w[t] = pWeights[t];
    int sums[conv::kRun];
    for (int i = 0; i < n; ++i) {
        int a = 0;
        for (int t = 0; t < N; ++t) a += w[t] * static_cast<int>(r[t][i]);
        sums[i] = a;
    }
    for (int i = 0; i < n; ++i) acc[i] = static_cast<double>(sums[i]);
}

// The accumulation for nTaps taps, with the tap count a constant in each body.
template <class T, bool kInt, int N = 0>
ZETDIP_ALWAYS_INLINE void AccumulateAny(double* acc, const T* const* pRows, const double* pWeights,
                                        const int* pIntWeights, int nTaps, int n) {
    if constexpr (N < conv::kFusedTaps) {
        if (nTaps != N)
            return AccumulateAny<T, kInt, N + 1>(acc, pRows, pWeights, pIntWeights, nTaps, n);
    }
    if constexpr (kInt)
        AccumulateTapsInt<T, N>(acc, pRows, pIntWeights, n);
    else
        AccumulateTaps<T, N>(acc, pRows, pWeights, n);
}

template <class T>
ZETDIP_ALWAYS_INLINE void FusedBody(T* pOut, const T* const* pRows, const double* pWeights,
                                    int nTaps, int n, double dDivisor, double dOffset,
                                    double dMax) {
    double acc[conv::kRun];
    int nIntWeights[conv::kFusedTaps] = {};
    bool bInt = true;
    for (int t = 0; t < nTaps && t < conv::kFusedTaps; ++t) {
        const double w = pWeights[t];
        bInt = bInt && std::fabs(w) <= conv::kMaxIntegerWeight && w == std::trunc(w);
        if (bInt) nIntWeights[t] = static_cast<int>(w);
    }
    if (bInt)
        AccumulateAny<T, true>(acc, pRows, pWeights, nIntWeights, nTaps, n);
    else
        AccumulateAny<T, false>(acc, pRows, pWeights, nIntWeights, nTaps, n);
    conv::StoreRun(pOut, acc, dDivisor, dOffset, dMax, n);
}

template <class T>
void FusedBaseline(T* pOut, const T* const* pRows, const double* pWeights, int nTaps, int n,
                   double dDivisor, double dOffset, double dMax) {
    FusedBody(pOut, pRows, pWeights, nTaps, n, dDivisor, dOffset, dMax);
}
#if ZETDIP_HAS_AVX2_PATH
// Four samples at p as doubles.
template <class T>
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE __m256d LoadFour(const T* p) {
    if constexpr (sizeof(T) == 1) {
        int v = 0;
        std::memcpy(&v, p, sizeof v);
        return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(v)));
    } else {
        return _mm256_cvtepi32_pd(
            _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
    }
}

// Eight samples at p as ints.
template <class T>
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE __m256i LoadEight(const T* p) {
    if constexpr (sizeof(T) == 1)
        return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
    else
        return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

// StoreRun for four sums: sum / divisor + offset, then 0 below 0, dMax above
// it, truncation between (NaN never occurs: the sums are finite).
template <class T>
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE void StoreFour(T* p, __m256d sum, bool bDivide,
                                                       __m256d divisor, __m256d offset,
                                                       __m256d top) {
    __m256d v = bDivide ? _mm256_div_pd(sum, divisor) : sum;
    v = _mm256_add_pd(v, offset);
    v = _mm256_min_pd(_mm256_max_pd(v, _mm256_setzero_pd()), top);
    __m128i q = _mm256_cvttpd_epi32(v);
    q = _mm_packus_epi32(q, q);
    if constexpr (sizeof(T) == 1) {
        const int r = _mm_cvtsi128_si32(_mm_packus_epi16(q, q));
        std::memcpy(p, &r, sizeof r);
    } else {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), q);
    }
}

// The fractional-weight sums of FusedVectorsAvx2, eight samples at a time
// in two vectors whose divisions overlap; returns the samples done.
template <class T, int N, bool kDivide>
ZETDIP_TARGET_AVX2 int DoubleVectorsAvx2(T* pOut, const T* const* r, const __m256d* w, int n,
                                         __m256d divisor, __m256d offset, __m256d top) {
    int i = 0;
    for (; i + 8 <= n; i += 8) {
        __m256d a = _mm256_setzero_pd(), b = _mm256_setzero_pd();
        for (int t = 0; t < N; ++t) {
            a = _mm256_add_pd(a, _mm256_mul_pd(w[t], LoadFour(r[t] + i)));
            b = _mm256_add_pd(b, _mm256_mul_pd(w[t], LoadFour(r[t] + i + 4)));
        }
        StoreFour(pOut + i, a, kDivide, divisor, offset, top);
        StoreFour(pOut + i + 4, b, kDivide, divisor, offset, top);
    }
    return i;
}

// Sixteen bytes at p as 16-bit ints.
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE __m256i LoadSixteen(const unsigned char* p) {
    return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
}

// Sixteen bytes of a group of nCount taps summed in 16-bit lanes
// (nCount * 255 < 2^16 for the groups of a 3x3 kernel).
template <int nCount>
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE __m256i SumBytes(const unsigned char* const* p, int i) {
    __m256i s = LoadSixteen(p[0] + i);
    for (int t = 1; t < nCount; ++t) s = _mm256_add_epi16(s, LoadSixteen(p[t] + i));
    return s;
}

// Two vectors of eight ints as four vectors of doubles.
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE void IntsToDoubles(__m256i lo, __m256i hi, __m256d* d) {
    d[0] = _mm256_cvtepi32_pd(_mm256_castsi256_si128(lo));
    d[1] = _mm256_cvtepi32_pd(_mm256_extracti128_si256(lo, 1));
    d[2] = _mm256_cvtepi32_pd(_mm256_castsi256_si128(hi));
    d[3] = _mm256_cvtepi32_pd(_mm256_extracti128_si256(hi, 1));
}

// Sixteen 16-bit lanes as four vectors of doubles.
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE void WordsToDoubles(__m256i s, __m256d* d) {
    IntsToDoubles(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(s)),
                  _mm256_cvtepu16_epi32(_mm256_extracti128_si256(s, 1)), d);
}

// Sixteen samples of a group of nCount taps, summed in int lanes (bytes in
// 16-bit lanes, words in 32-bit lanes), as four vectors of doubles.
template <int nCount, class T>
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE void GroupSixteen(const T* const* p, int i, __m256d* d) {
    if constexpr (sizeof(T) == 1) {
        WordsToDoubles(SumBytes<nCount>(p, i), d);
    } else {
        __m256i lo = LoadEight(p[0] + i), hi = LoadEight(p[0] + i + 8);
        for (int t = 1; t < nCount; ++t) {
            lo = _mm256_add_epi32(lo, LoadEight(p[t] + i));
            hi = _mm256_add_epi32(hi, LoadEight(p[t] + i + 8));
        }
        IntsToDoubles(lo, hi, d);
    }
}

// Sixteen sums to samples: StoreFour's arithmetic, packed and stored at once.
template <class T, bool kDivide, bool kOffset>
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE void StoreSixteen(T* p, const __m256d* sum, __m256d divisor,
                                                          __m256d offset, __m256d top) {
    __m128i q[4];
    for (int j = 0; j < 4; ++j) {
        __m256d v = kDivide ? _mm256_div_pd(sum[j], divisor) : sum[j];
        if constexpr (kOffset) v = _mm256_add_pd(v, offset);
        v = _mm256_min_pd(_mm256_max_pd(v, _mm256_setzero_pd()), top);
        q[j] = _mm256_cvttpd_epi32(v);
    }
    const __m128i a = _mm_packus_epi32(q[0], q[1]), b = _mm_packus_epi32(q[2], q[3]);
    if constexpr (sizeof(T) == 1) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(a, b));
    } else {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p), a);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 8), b);
    }
}

// Sixteen samples from three groups' sums: w[0] d[0] + w[1] d[1] + w[2] d[2],
// then StoreSixteen. The sum may start from the first product rather than
// from +0: the two differ only in the sign of a zero, which the clamp and
// the truncation do not see.
template <class T, bool kDivide, bool kOffset>
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE void StoreThreeGroups(T* p, const __m256d* w,
                                                              const __m256d (*d)[4],
                                                              __m256d divisor, __m256d offset,
                                                              __m256d top) {
    __m256d acc[4];
    for (int j = 0; j < 4; ++j)
        acc[j] =
            _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(w[0], d[0][j]), _mm256_mul_pd(w[1], d[1][j])),
                          _mm256_mul_pd(w[2], d[2][j]));
    StoreSixteen<T, kDivide, kOffset>(p, acc, divisor, offset, top);
}

// The grouped sums for three groups of fixed sizes (the Gaussian's
// corners, edges and centre: 4, 4, 1), sixteen samples at a time; sorted
// holds the taps group after group.
template <class T, bool kDivide, bool kOffset, int kSize0, int kSize1, int kSize2>
ZETDIP_TARGET_AVX2 int GroupedFixedAvx2(T* pOut, const T* const* sorted, const double* pWeights,
                                        int n, __m256d divisor, __m256d offset, __m256d top) {
    const __m256d w[3] = {_mm256_set1_pd(pWeights[0]), _mm256_set1_pd(pWeights[1]),
                          _mm256_set1_pd(pWeights[2])};
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        __m256d d[3][4];
        GroupSixteen<kSize0>(sorted, i, d[0]);
        GroupSixteen<kSize1>(sorted + kSize0, i, d[1]);
        GroupSixteen<kSize2>(sorted + kSize0 + kSize1, i, d[2]);
        StoreThreeGroups<T, kDivide, kOffset>(pOut + i, w, d, divisor, offset, top);
    }
    return i;
}

// Sixteen 16-bit lanes as two vectors of floats.
ZETDIP_TARGET_AVX2 ZETDIP_ALWAYS_INLINE void WordsToFloats(__m256i s, __m256* f) {
    f[0] = _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm256_castsi256_si128(s)));
    f[1] = _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(_mm256_extracti128_si256(s, 1)));
}

// The 4-4-1 grouped sums of bytes without a division. With each group's
// weight over the divisor as a float, v' = S0 a0 + S1 a1 + S2 a2 + offset
// in float is within a few float roundings of the exact value, 2^-11 when
// every |v| stays below 2^10, while the double quotient and offset are
// within 2^-42 of it. So wherever v' lies at least 2^-10 from an integer,
// the double result lies strictly between the same two integers, and its
// clamped truncation is the clamped floor of v'. A sum of zero (all nine
// samples 0) gives exactly the offset either way. A block with any other
// lane near an integer (flat regions, whose weights sum a float rounding
// short of the divisor) is redone in double. Returns the samples done.
template <bool kDivide, bool kOffset>
ZETDIP_TARGET_AVX2 int GroupedBytesAvx2(unsigned char* pOut, const unsigned char* const* sorted,
                                        const double* pWeights, int n, __m256d divisor,
                                        __m256d offset, __m256d top) {
    const double dDivisor = _mm256_cvtsd_f64(divisor), dOffset = _mm256_cvtsd_f64(offset);
    const double dBound =
        255.0 *
            (4.0 * std::fabs(pWeights[0]) + 4.0 * std::fabs(pWeights[1]) + std::fabs(pWeights[2])) /
            std::fabs(kDivide ? dDivisor : 1.0) +
        std::fabs(dOffset);
    if (!(dBound < 1024.0) || _mm256_cvtsd_f64(top) != 255.0) return 0;
    auto ratio = [&](double w) { return static_cast<float>(kDivide ? w / dDivisor : w); };
    const __m256 a0 = _mm256_set1_ps(ratio(pWeights[0])), a1 = _mm256_set1_ps(ratio(pWeights[1])),
                 a2 = _mm256_set1_ps(ratio(pWeights[2])),
                 off = _mm256_set1_ps(static_cast<float>(dOffset)),
                 eps = _mm256_set1_ps(1.0f / 1024), top1 = _mm256_set1_ps(1.0f - 1.0f / 1024);
    const __m256d w[3] = {_mm256_set1_pd(pWeights[0]), _mm256_set1_pd(pWeights[1]),
                          _mm256_set1_pd(pWeights[2])};
    int i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m256i s0 = SumBytes<4>(sorted, i), s1 = SumBytes<4>(sorted + 4, i),
                      s2 = SumBytes<1>(sorted + 8, i);
        __m256 f0[2], f1[2], f2[2], low[2];
        WordsToFloats(s0, f0);
        WordsToFloats(s1, f1);
        WordsToFloats(s2, f2);
        __m256 near[2];
        for (int h = 0; h < 2; ++h) {
            __m256 v =
                _mm256_add_ps(_mm256_add_ps(_mm256_mul_ps(f0[h], a0), _mm256_mul_ps(f1[h], a1)),
                              _mm256_mul_ps(f2[h], a2));
            if constexpr (kOffset) v = _mm256_add_ps(v, off);
            low[h] = _mm256_floor_ps(v);
            const __m256 frac = _mm256_sub_ps(v, low[h]);
            near[h] = _mm256_or_ps(_mm256_cmp_ps(frac, eps, _CMP_LT_OQ),
                                   _mm256_cmp_ps(frac, top1, _CMP_GT_OQ));
        }
        if (_mm256_movemask_ps(_mm256_or_ps(near[0], near[1])) != 0) {
            // Lanes whose nine samples are all 0 are exact; any other near
            // lane sends the block to the double sums.
            const __m256i zero16 = _mm256_cmpeq_epi16(
                _mm256_add_epi16(_mm256_add_epi16(s0, s1), s2), _mm256_setzero_si256());
            const __m256i zero32[2] = {_mm256_cvtepi16_epi32(_mm256_castsi256_si128(zero16)),
                                       _mm256_cvtepi16_epi32(_mm256_extracti128_si256(zero16, 1))};
            int nNear = 0;
            for (int h = 0; h < 2; ++h)
                nNear |=
                    _mm256_movemask_ps(_mm256_andnot_ps(_mm256_castsi256_ps(zero32[h]), near[h]));
            if (nNear != 0) {
                __m256d d[3][4];
                WordsToDoubles(s0, d[0]);
                WordsToDoubles(s1, d[1]);
                WordsToDoubles(s2, d[2]);
                StoreThreeGroups<unsigned char, kDivide, kOffset>(pOut + i, w, d, divisor, offset,
                                                                  top);
                continue;
            }
        }
        const __m256i q0 = _mm256_cvtps_epi32(low[0]), q1 = _mm256_cvtps_epi32(low[1]);
        const __m128i a =
            _mm_packus_epi32(_mm256_castsi256_si128(q0), _mm256_extracti128_si256(q0, 1));
        const __m128i b =
            _mm_packus_epi32(_mm256_castsi256_si128(q1), _mm256_extracti128_si256(q1, 1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut + i), _mm_packus_epi16(a, b));
    }
    return i;
}

// The grouped sums of ExactInAnyOrder, eight samples at a time: the taps
// sorted by group, each group's samples added in int lanes.
template <class T, int N, bool kDivide>
ZETDIP_TARGET_AVX2 int GroupedVectorsAvx2(T* pOut, const T* const* r, const conv::TapPlan& g, int n,
                                          __m256d divisor, __m256d offset, __m256d top) {
    const T* sorted[N > 0 ? N : 1] = {};
    int nEnd[N > 0 ? N : 1] = {};
    __m256d w[N > 0 ? N : 1];
    for (auto& v : w) v = _mm256_setzero_pd();
    int m = 0;
    for (int k = 0; k < g.nGroups; ++k) {
        for (int t = 0; t < N; ++t)
            if (g.nGroupOf[t] == k) sorted[m++] = r[t];
        nEnd[k] = m;
        w[k] = _mm256_set1_pd(g.dWeight[k]);
    }
    int i = 0;
    if constexpr (N == 9) {
        if (g.nGroups == 3 && nEnd[0] == 4 && nEnd[1] == 8) {
            const bool bOffset =
                _mm256_movemask_pd(_mm256_cmp_pd(offset, _mm256_setzero_pd(), _CMP_NEQ_UQ)) != 0;
            if constexpr (sizeof(T) == 1)
                i = bOffset ? GroupedBytesAvx2<kDivide, true>(pOut, sorted, g.dWeight, n, divisor,
                                                              offset, top)
                            : GroupedBytesAvx2<kDivide, false>(pOut, sorted, g.dWeight, n, divisor,
                                                               offset, top);
            if (i == 0)
                i = bOffset ? GroupedFixedAvx2<T, kDivide, true, 4, 4, 1>(pOut, sorted, g.dWeight,
                                                                          n, divisor, offset, top)
                            : GroupedFixedAvx2<T, kDivide, false, 4, 4, 1>(pOut, sorted, g.dWeight,
                                                                           n, divisor, offset, top);
        }
    }
    for (; i + 8 <= n; i += 8) {
        __m256d a = _mm256_setzero_pd(), b = _mm256_setzero_pd();
        for (int k = 0, t = 0; k < g.nGroups; ++k) {
            __m256i s = LoadEight(sorted[t++] + i);
            for (; t < nEnd[k]; ++t) s = _mm256_add_epi32(s, LoadEight(sorted[t] + i));
            const __m256d lo = _mm256_cvtepi32_pd(_mm256_castsi256_si128(s));
            const __m256d hi = _mm256_cvtepi32_pd(_mm256_extracti128_si256(s, 1));
            a = _mm256_add_pd(a, _mm256_mul_pd(w[k], lo));
            b = _mm256_add_pd(b, _mm256_mul_pd(w[k], hi));
        }
        StoreFour(pOut + i, a, kDivide, divisor, offset, top);
        StoreFour(pOut + i + 4, b, kDivide, divisor, offset, top);
    }
    return i;
}

// The fused run with N taps, vectors across the samples: each sample's sum
// is added in tap order as in FusedBody (whole weights: in int, exact).
// pOut may be one of the rows: a sample's taps read that row only at its
// own column or to the right, and each vector is read before it is stored.
template <class T, int N>
ZETDIP_TARGET_AVX2 void FusedVectorsAvx2(T* pOut, const T* const* pRows, const double* pWeights,
                                         int n, double dDivisor, double dOffset, double dMax,
                                         const conv::TapPlan* pPlan) {
    bool bInt = true;
    int nIntWeights[N > 0 ? N : 1] = {};
    for (int t = 0; t < N; ++t) {
        const double w = pWeights[t];
        bInt = bInt && std::fabs(w) <= conv::kMaxIntegerWeight && w == std::trunc(w);
        if (bInt) nIntWeights[t] = static_cast<int>(w);
    }
    const bool bDivide = dDivisor != 1.0;
    const __m256d divisor = _mm256_set1_pd(dDivisor), offset = _mm256_set1_pd(dOffset),
                  top = _mm256_set1_pd(dMax);
    int i = 0;
    if (bInt) {
        __m256i w[N > 0 ? N : 1];
        for (int t = 0; t < N; ++t) w[t] = _mm256_set1_epi32(nIntWeights[t]);
        for (; i + 8 <= n; i += 8) {
            __m256i s = _mm256_setzero_si256();
            for (int t = 0; t < N; ++t)
                s = _mm256_add_epi32(s, _mm256_mullo_epi32(w[t], LoadEight(pRows[t] + i)));
            const __m256d lo = _mm256_cvtepi32_pd(_mm256_castsi256_si128(s));
            const __m256d hi = _mm256_cvtepi32_pd(_mm256_extracti128_si256(s, 1));
            StoreFour(pOut + i, lo, bDivide, divisor, offset, top);
            StoreFour(pOut + i + 4, hi, bDivide, divisor, offset, top);
        }
    } else {
        __m256d w[N > 0 ? N : 1];
        const T* r[N > 0 ? N : 1];
        for (int t = 0; t < N; ++t) w[t] = _mm256_set1_pd(pWeights[t]), r[t] = pRows[t];
        if (pPlan != nullptr && pPlan->bExactInAnyOrder)
            i = bDivide ? GroupedVectorsAvx2<T, N, true>(pOut, r, *pPlan, n, divisor, offset, top)
                        : GroupedVectorsAvx2<T, N, false>(pOut, r, *pPlan, n, divisor, offset, top);
        else
            i = bDivide ? DoubleVectorsAvx2<T, N, true>(pOut, r, w, n, divisor, offset, top)
                        : DoubleVectorsAvx2<T, N, false>(pOut, r, w, n, divisor, offset, top);
    }
    if (i < n) {
        const T* pTail[N > 0 ? N : 1];
        for (int t = 0; t < N; ++t) pTail[t] = pRows[t] + i;
        FusedBody(pOut + i, pTail, pWeights, N, n - i, dDivisor, dOffset, dMax);
    }
}

template <class T, int N = 0>
ZETDIP_TARGET_AVX2 void FusedAvx2(T* pOut, const T* const* pRows, const double* pWeights, int nTaps,
                                  int n, double dDivisor, double dOffset, double dMax,
                                  const conv::TapPlan* pPlan) {
    if constexpr (N < conv::kFusedTaps) {
        if (nTaps != N)
            return FusedAvx2<T, N + 1>(pOut, pRows, pWeights, nTaps, n, dDivisor, dOffset, dMax,
                                       pPlan);
    }
    FusedVectorsAvx2<T, N>(pOut, pRows, pWeights, n, dDivisor, dOffset, dMax, pPlan);
}
#endif

}  // namespace

namespace conv {

bool PlanTaps(const double* pWeights, int nTaps, double dLargestSample, TapPlan& plan) {
    plan = TapPlan{};
    if (nTaps <= 0 || nTaps > kFusedTaps) return false;
    int nLowest = INT_MAX;
    double dBound = 0.0;
    for (int t = 0; t < nTaps; ++t) {
        const double w = pWeights[t];
        if (!std::isfinite(w) || w == 0.0) return false;
        int ex = 0;
        const double m = std::frexp(w, &ex);  // w = m 2^ex, 0.5 <= |m| < 1
        auto nMantissa = static_cast<long long>(std::ldexp(std::fabs(m), 53));
        int nLsb = ex - 53;
        while ((nMantissa & 1) == 0) nMantissa >>= 1, ++nLsb;
        nLowest = std::min(nLowest, nLsb);
        dBound += std::fabs(w) * dLargestSample;
        int k = 0;
        while (k < plan.nGroups && plan.dWeight[k] != w) ++k;
        if (k == plan.nGroups) plan.dWeight[plan.nGroups++] = w;
        plan.nGroupOf[t] = k;
    }
    // Slack for the rounding of the bound itself.
    plan.bExactInAnyOrder = dBound * 1.001 < std::ldexp(1.0, nLowest + 52);
    return plan.bExactInAnyOrder;
}

KernelTaps CollectTaps(const float* pKernel, int nKernelSize, double dLargestSample) {
    KernelTaps taps;
    const int h = nKernelSize / 2;
    for (int k = 0; k < nKernelSize * nKernelSize && taps.nCount <= kFusedTaps; ++k) {
        if (pKernel[k] == 0.0f) continue;
        if (taps.nCount < kFusedTaps) {
            const int ky = k / nKernelSize, dx = k % nKernelSize - h;
            taps.nRow[taps.nCount] = ky == h && dx < 0 ? -1 : ky;
            taps.nDx[taps.nCount] = dx;
            taps.dWeight[taps.nCount] = static_cast<double>(pKernel[k]);
        }
        ++taps.nCount;
    }
    PlanTaps(taps.dWeight, taps.nCount, dLargestSample, taps.plan);
    return taps;
}

template <class T>
void FusedRun(T* pOut, const T* const* pRows, const double* pWeights, int nTaps, int n,
              double dDivisor, double dOffset, double dMax, VectorPath path, const TapPlan* pPlan) {
#if ZETDIP_HAS_AVX2_PATH
    if (ResolvePath(path) == VectorPath::kAvx2)
        return FusedAvx2(pOut, pRows, pWeights, nTaps, n, dDivisor, dOffset, dMax, pPlan);
#endif
    (void)path, (void)pPlan;
    // The baseline sums go through a run-sized buffer.
    for (int x0 = 0; x0 < n; x0 += kRun) {
        const T* pRun[kFusedTaps];
        for (int t = 0; t < nTaps && t < kFusedTaps; ++t) pRun[t] = pRows[t] + x0;
        FusedBaseline(pOut + x0, pRun, pWeights, nTaps, n - x0 < kRun ? n - x0 : kRun, dDivisor,
                      dOffset, dMax);
    }
}

template void FusedRun(unsigned char*, const unsigned char* const*, const double*, int, int, double,
                       double, double, VectorPath, const TapPlan*);
template void FusedRun(unsigned short*, const unsigned short* const*, const double*, int, int,
                       double, double, double, VectorPath, const TapPlan*);

}  // namespace conv

}  // namespace zetdip::detail

void CDipFilters::ApplyConvolution8BitsGreyLevel(unsigned char* pDst, const float* pKernel,
                                                 int nKernelSize, float fDivisor, int nOffset,
                                                 const unsigned char* pSrc, int nWidth,
                                                 int nHeight) {
    Convolve(pDst, pKernel, nKernelSize, fDivisor, nOffset, pSrc, nWidth, nHeight, Engine8());
}

void CDipFilters::ApplyConvolution16Bits(unsigned short* pDst, const float* pKernel,
                                         int nKernelSize, float fDivisor, int nOffset,
                                         const unsigned short* pSrc, int nBitsStored, int nWidth,
                                         int nHeight) {
    Convolve(pDst, pKernel, nKernelSize, fDivisor, nOffset, pSrc, nWidth, nHeight,
             Engine16(nBitsStored));
}

// Colour convolution is intentionally a no-op.
void CDipFilters::ApplyConvolution8BitsColor() {
    NoOperation();
}

float* CDipFilters::CreateGaussianFilter(int nKernelSize, float fSigma, float& fSum) {
    return CreateGaussianKernel(nKernelSize, fSigma, fSum);
}
