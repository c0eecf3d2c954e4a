// Running float sum of per-sample terms, acc = (float)((double)acc + t(v)),
// in buffer order, computed without a rounding per sample on the critical path.
//
// Why it is exact: the terms are >= 0, so acc never decreases. While acc
// and every acc + t of a block stay inside one binade [2^e, 2^(e+1)), all
// partial sums are multiples of the same ulp u = 2^(e-23) and all double
// sums share the grid u * 2^-29. The double rounding of acc + t then adds an
// amount that depends only on t (acc is an even multiple of that grid), and
// the float rounding adds a multiple of u that depends only on that amount
// and on the parity of acc / u (ties to even). So each sample value maps the
// two parities to two integer increments: a table per binade, a two-state
// automaton per sample, an integer sum per block. Blocks that could leave
// the binade, and the start of the sum, take the literal loop.
//
// 8-bit samples also go in chunks summed as if the binade held: a sum that
// leaves the binade at some step is at the top or past it from then on in
// that reckoning (the top is a multiple of u), so a chunk whose reckoned sum
// ends below the top never left. Sample terms go in byte lanes; squared
// deviations by a 16-bit formula whose few misses the table lists.
#ifndef ZETDIP_POINT_FLOAT_SUM_H
#define ZETDIP_POINT_FLOAT_SUM_H

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "core/common.h"
#include "core/cpu.h"
#include "point/byte_lanes.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zetdip::detail {

enum class SumPath { kFast, kScalarOnly };

// One sample value's effect in the current binade: the increment in ulps is
// inc0 + (parity ? d : 0), and the next parity is (parity & x) ^ y.
struct SumStep {
    std::int32_t inc0, d;
    std::uint32_t x, y;
};

struct SampleSpan {
    int nMin, nMax;
};

// Smallest and largest sample. 8-bit images take the whole range: their
// tables are small and the pass would cost more than it saves.
template <class T>
void SampleRange(const T* pSrc, long long nCount, int& nMin, int& nMax) {
    if (nCount <= 0) {
        nMin = nMax = 0;
        return;
    }
    if constexpr (sizeof(T) == 1) {
        (void)pSrc;
        (void)nCount;
        nMin = 0;
        nMax = 255;
    } else {
        long long i = 0;
        T lo = pSrc[0], hi = pSrc[0];
#if defined(__SSE2__)
        // Signed 16-bit min/max on the samples with the top bit flipped.
        const __m128i flip = _mm_set1_epi16(static_cast<short>(0x8000));
        __m128i vlo = _mm_set1_epi16(static_cast<short>(lo ^ 0x8000)), vhi = vlo;
        for (; i + 8 <= nCount; i += 8) {
            const __m128i v =
                _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pSrc + i)), flip);
            vlo = _mm_min_epi16(vlo, v);
            vhi = _mm_max_epi16(vhi, v);
        }
        alignas(16) unsigned short l[8], h[8];
        _mm_store_si128(reinterpret_cast<__m128i*>(l), _mm_xor_si128(vlo, flip));
        _mm_store_si128(reinterpret_cast<__m128i*>(h), _mm_xor_si128(vhi, flip));
        for (int k = 0; k < 8; ++k) {
            lo = std::min<T>(lo, l[k]);
            hi = std::max<T>(hi, h[k]);
        }
#endif
        for (; i < nCount; ++i) {
            lo = std::min(lo, pSrc[i]);
            hi = std::max(hi, pSrc[i]);
        }
        nMin = lo;
        nMax = hi;
    }
}

// For a normal positive a: a lies in [lo, 2 lo) = [2^(e-1), 2^e), and u =
// 2^(e-24) is the ulp of a float there. From the bits, as the library calls
// for them once per block.
inline void Binade(double a, int& e, double& lo, double& u) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &a, sizeof bits);
    e = static_cast<int>((bits >> 52) & 0x7ff) - 1022;
    auto power = [](int k) {  // 2^k for a normal result
        const std::uint64_t p = static_cast<std::uint64_t>(k + 1023) << 52;
        double d = 0.0;
        std::memcpy(&d, &p, sizeof d);
        return d;
    };
    lo = power(e - 1);
    u = power(e - 24);
}

inline std::int64_t PopCount64(std::uint64_t v) {
    v = v - ((v >> 1) & 0x5555555555555555u);
    v = (v & 0x3333333333333333u) + ((v >> 2) & 0x3333333333333333u);
    v = (v + (v >> 4)) & 0x0f0f0f0f0f0f0f0fu;
    return static_cast<std::int64_t>((v * 0x0101010101010101u) >> 56);
}

// Masks of the 64 samples at p that equal a (in A) and b (in B).
template <class T>
void EqualityMasks(const T* p, T a, T b, std::uint64_t& rA, std::uint64_t& rB) {
    std::uint64_t mA = 0, mB = 0;
#if defined(__SSE2__)
    if constexpr (sizeof(T) == 1) {
        const __m128i va = _mm_set1_epi8(static_cast<char>(a)),
                      vb = _mm_set1_epi8(static_cast<char>(b));
        for (int k = 0; k < 4; ++k) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * k));
            mA |= static_cast<std::uint64_t>(
                      static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, va))))
                  << (16 * k);
            mB |= static_cast<std::uint64_t>(
                      static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, vb))))
                  << (16 * k);
        }
    } else {
        const __m128i va = _mm_set1_epi16(static_cast<short>(a)),
                      vb = _mm_set1_epi16(static_cast<short>(b));
        for (int k = 0; k < 4; ++k) {
            const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * k));
            const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 * k + 8));
            const __m128i ea = _mm_packs_epi16(_mm_cmpeq_epi16(v0, va), _mm_cmpeq_epi16(v1, va));
            const __m128i eb = _mm_packs_epi16(_mm_cmpeq_epi16(v0, vb), _mm_cmpeq_epi16(v1, vb));
            mA |= static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(ea)))
                  << (16 * k);
            mB |= static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(eb)))
                  << (16 * k);
        }
    }
#else
    for (int k = 0; k < 64; ++k) {
        mA |= static_cast<std::uint64_t>(p[k] == a) << k;
        mB |= static_cast<std::uint64_t>(p[k] == b) << k;
    }
#endif
    rA = mA;
    rB = mB;
}

// One word of 64 samples given by their low bits of the increment (cbits)
// and their ties: returns the extra ulps of the ties and updates the parity.
// A tie rounds to even, so after it the parity is 0, and its extra ulp is
// the parity of the increments since the previous tie (or since the parity
// carried in): a prefix xor that restarts after every tie.
inline std::int64_t TieExtras(std::uint64_t cbits, std::uint64_t ties, std::uint32_t& parity) {
    std::uint64_t x = cbits ^ parity;
    std::uint64_t starts = ties << 1;
    for (int s = 1; s < 64; s <<= 1) {
        x ^= (x << s) & ~starts;
        starts |= starts << s;
    }
    parity = (ties >> 63) ? 0u : static_cast<std::uint32_t>(x >> 63);
    return PopCount64(x & ties);
}

// The increments of value term t in the binade [lo, 2 lo) of ulp u. Terms
// too large for the binade are never met in a block that fits it.
inline SumStep StepInBinade(double t, double lo, double u) {
    // Representatives of both parities: lo is 2^23 ulps (even).
    const double top = 2.0 * lo - u;
    std::int64_t inc[2] = {0, 0};
    for (int p = 0; p < 2; ++p) {
        const double a = lo + p * u;
        if (t > top - a) continue;
        const float r = static_cast<float>(a + t);
        inc[p] = static_cast<std::int64_t>((static_cast<double>(r) - a) / u);
    }
    SumStep s;
    s.inc0 = static_cast<std::int32_t>(inc[0]);
    s.d = static_cast<std::int32_t>(inc[1] - inc[0]);
    const auto np0 = static_cast<std::uint32_t>(inc[0] & 1);
    const auto np1 = static_cast<std::uint32_t>((1 + inc[1]) & 1);
    s.x = np0 ^ np1;
    s.y = np0;
    return s;
}

// The ulps added by a word of 64 samples of two values, mLo and mHi marking
// them (every bit in exactly one); updates the parity. Tie or not, a value
// adds its lower increment q; a tie adds one more ulp when that leaves the
// sum odd.
inline std::int64_t TwoValuedWord(const SumStep& sLo, const SumStep& sHi, std::uint64_t mLo,
                                  std::uint64_t mHi, std::uint32_t& parity) {
    const std::int64_t qLo = sLo.inc0 + std::min(sLo.d, 0);
    const std::int64_t qHi = sHi.inc0 + std::min(sHi.d, 0);
    const std::int64_t nHi = PopCount64(mHi);
    const std::uint64_t cbits = ((qLo & 1) ? mLo : 0) ^ ((qHi & 1) ? mHi : 0);
    const std::uint64_t ties = (sLo.d != 0 ? mLo : 0) | (sHi.d != 0 ? mHi : 0);
    std::int64_t total = nHi * qHi + (64 - nHi) * qLo;
    if (ties != 0)
        total += TieExtras(cbits, ties, parity);
    else
        parity ^= static_cast<std::uint32_t>(PopCount64(cbits) & 1);
    return total;
}

// Squared deviations of 8-bit samples from a level m, summed in a binade of
// ulp 2^k (1 <= k <= 16) by arithmetic instead of a table: with L = 256 m
// rounded, s = |256 v - L|^2 >> 16 is (v - m)^2 within about 2, and
// q = (s + 2^(k-1)) >> k its rounding to ulps, all in 16-bit lanes. The
// plan holds the values whose increment q misses by one (counted and
// corrected) and the tie values (whose presence sends the samples back to
// the tables); it is checked against the table for every sample value, so
// the approximation only decides whether this path can be taken.
struct SquarePlan {
    static constexpr int kMaxListed = 16;
    int k = 0, nLevel = 0, nPlus = 0, nMinus = 0, nTies = 0;
    unsigned char plus[kMaxListed], minus[kMaxListed], ties[kMaxListed];
};

// q for sample v, as the vector lanes form it (avg(s, 2^(k-1) - 1) >> (k - 1)).
inline int SquareIncrement(int v, int nLevel, int k) {
    const int w = v << 8;
    const auto d = static_cast<std::uint32_t>(w > nLevel ? w - nLevel : nLevel - w);
    const std::uint32_t s = (d * d) >> 16;
    return static_cast<int>(((s + (1u << (k - 1)) - 1u + 1u) >> 1) >> (k - 1));
}

// The plan for samples nMin..nMax whose binade steps are pStep[v - nMin]
// (exact there) around fLevel; false when the path cannot be taken.
inline bool MakeSquarePlan(const SumStep* pStep, int nMin, int nMax, float fLevel, int k,
                           SquarePlan& plan) {
    if (k < 1 || k > 16 || nMin < 0 || nMax > 255) return false;
    const double dLevel = 256.0 * static_cast<double>(fLevel) + 0.5;
    if (!(dLevel >= 0.0 && dLevel < 65536.0)) return false;
    plan = SquarePlan{};
    plan.k = k;
    plan.nLevel = static_cast<int>(dLevel);
    for (int v = nMin; v <= nMax; ++v) {
        const SumStep& s = pStep[v - nMin];
        const int q = SquareIncrement(v, plan.nLevel, k);
        // A 16-bit lane adds up to 32 increments between widenings.
        if (q > 2047) return false;
        const auto c = static_cast<unsigned char>(v);
        if (s.d != 0) {
            if (plan.nTies == SquarePlan::kMaxListed) return false;
            plan.ties[plan.nTies++] = c;
        } else if (s.inc0 == q + 1) {
            if (plan.nPlus == SquarePlan::kMaxListed) return false;
            plan.plus[plan.nPlus++] = c;
        } else if (s.inc0 == q - 1) {
            if (plan.nMinus == SquarePlan::kMaxListed) return false;
            plan.minus[plan.nMinus++] = c;
        } else if (s.inc0 != q) {
            return false;
        }
    }
    return true;
}

// Samples per chunk of the chunked 8-bit paths: whole words, whole runs of
// sixteen vector steps, and few enough for the square path's byte counts
// (at most one per step and lane).
constexpr int kChunkSamples = 2048;

// The byte kernels, once per instruction set. Every function of the AVX2
// copy is compiled for AVX2, so its vectors never cross a call between
// targets.
#if defined(__SSE2__)
namespace baseline_bytes {
using L = Sse2Lanes;
using V = L::V;
#include "point/float_sum_bytes.inc"
}  // namespace baseline_bytes
#endif

#if ZETDIP_HAS_AVX2_PATH
#if defined(__clang__)
#pragma clang attribute push(__attribute__((target("avx2"))), apply_to = function)
#else
#pragma GCC push_options
#pragma GCC target("avx2")
#endif
namespace avx2_bytes {
using L = Avx2Lanes;
using V = L::V;
#include "point/float_sum_bytes.inc"
}  // namespace avx2_bytes
#if defined(__clang__)
#pragma clang attribute pop
#else
#pragma GCC pop_options
#endif
#endif

#if defined(__SSE2__)
// The ulps that kChunkSamples samples at b add under plan, into rTotal;
// false (rTotal undefined) when a tie value is among them.
inline bool SquareChunk(const unsigned char* b, const SquarePlan& plan, VectorPath vector,
                        std::int64_t& rTotal) {
#if ZETDIP_HAS_AVX2_PATH
    if (vector == VectorPath::kAvx2) return avx2_bytes::SquareChunk(b, plan, rTotal);
#endif
    (void)vector;
    return baseline_bytes::SquareChunk(b, plan, rTotal);
}
#endif

#if defined(__SSE2__)
// The ulps that a block of nWords * 64 samples adds when each sample's term
// is its own value and the block stays in the binade of ulp 2^k (k may be
// negative); updates the parity. A value v adds q = (v + 2^(k-1) - 1) >> k
// ulps (its lower increment; the rounding is to nearest) and is a tie when
// its low k bits are exactly 2^(k-1): integer arithmetic in vectors, the
// ties settled word by word as in TwoValuedWord.
template <class T>
std::int64_t SampleTermWords(const T* b, int nWords, int k, std::uint32_t& parity,
                             VectorPath vector = VectorPath::kAuto) {
    constexpr int kBits = 8 * static_cast<int>(sizeof(T));
    if constexpr (sizeof(T) == 1) {
        if (k >= 1 && k <= kBits) {
#if ZETDIP_HAS_AVX2_PATH
            if (ResolvePath(vector) == VectorPath::kAvx2)
                return avx2_bytes::SampleTermBytes(b, nWords, k, parity);
#endif
            return baseline_bytes::SampleTermBytes(b, nWords, k, parity);
        }
    }
    (void)vector;
    const __m128i zero = _mm_setzero_si128();
    const __m128i flip = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i ones = _mm_set1_epi16(1);
    auto load = [](const T* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    // Sum of eight 16-bit lanes, unsigned, into four 32-bit lanes.
    auto add16 = [&](__m128i acc, __m128i v) {
        return _mm_add_epi32(acc, _mm_madd_epi16(_mm_xor_si128(v, flip), ones));
    };
    auto total32 = [](__m128i v) {
        alignas(16) std::int32_t l[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(l), v);
        return static_cast<std::int64_t>(l[0]) + l[1] + l[2] + l[3];
    };
    const std::int64_t nSamples = 64LL * nWords;
    if (k <= 0) {
        // Every sum is exact: the block adds its values, 2^-k ulps each.
        __m128i acc = zero;
        for (int i = 0; i < 64 * nWords; i += 16 / static_cast<int>(sizeof(T))) {
            if constexpr (sizeof(T) == 1)
                acc = _mm_add_epi32(acc, _mm_sad_epu8(load(b + i), zero));
            else
                acc = add16(acc, load(b + i));
        }
        std::int64_t sum = total32(acc) + (sizeof(T) == 1 ? 0 : 32768 * nSamples);
        sum <<= -k;
        parity ^= static_cast<std::uint32_t>(sum & 1);
        return sum;
    }
    if (k > kBits) return 0;  // every value below half an ulp adds nothing
    const int nHalf = 1 << (k - 1);
    const __m128i lowBits = _mm_set1_epi16(static_cast<short>((1 << k) - 1));
    const __m128i half = _mm_set1_epi16(static_cast<short>(nHalf));
    // (v + nHalf - 1) >> k without leaving 16 bits: halve with the rounding
    // average first.
    const __m128i bias = _mm_set1_epi16(static_cast<short>(nHalf > 1 ? nHalf - 2 : 0));
    const __m128i shift = _mm_cvtsi32_si128(k - 1);
    auto lower = [&](__m128i v16) {
        const __m128i h = k == 1 ? _mm_srli_epi16(v16, 1) : _mm_avg_epu16(v16, bias);
        return _mm_srl_epi16(h, shift);
    };
    __m128i acc = zero;
    std::int64_t total = 0;
    for (int w = 0; w < nWords; ++w) {
        std::uint64_t cbits = 0, ties = 0;
        for (int j = 0; j < 64; j += 16) {
            __m128i q0, q1, t0, t1;
            if constexpr (sizeof(T) == 1) {
                const __m128i v = load(b + 64 * w + j);
                const __m128i v0 = _mm_unpacklo_epi8(v, zero), v1 = _mm_unpackhi_epi8(v, zero);
                q0 = lower(v0), q1 = lower(v1);
                t0 = _mm_cmpeq_epi16(_mm_and_si128(v0, lowBits), half);
                t1 = _mm_cmpeq_epi16(_mm_and_si128(v1, lowBits), half);
            } else {
                const __m128i v0 = load(b + 64 * w + j), v1 = load(b + 64 * w + j + 8);
                q0 = lower(v0), q1 = lower(v1);
                t0 = _mm_cmpeq_epi16(_mm_and_si128(v0, lowBits), half);
                t1 = _mm_cmpeq_epi16(_mm_and_si128(v1, lowBits), half);
            }
            acc = add16(add16(acc, q0), q1);
            const __m128i odd = _mm_packs_epi16(_mm_slli_epi16(q0, 15), _mm_slli_epi16(q1, 15));
            cbits |= static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(odd))) << j;
            ties |= static_cast<std::uint64_t>(
                        static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(t0, t1))))
                    << j;
        }
        if (ties != 0)
            total += TieExtras(cbits, ties, parity);
        else
            parity ^= static_cast<std::uint32_t>(PopCount64(cbits) & 1);
    }
    return total + total32(acc) + 32768 * nSamples;
}
#endif

// The sum of pPack[v] over the n samples v at b.
template <class T>
ZETDIP_NO_VECTORIZE std::int64_t PackedSum(const std::int64_t* pPack, const T* b, long long n) {
    std::int64_t s0 = 0, s1 = 0;
    long long k = 0;
    for (; k + 2 <= n; k += 2) {
        s0 += pPack[b[k]];
        s1 += pPack[b[k + 1]];
    }
    if (k < n) s0 += pPack[b[k]];
    return s0 + s1;
}

// The literal loop: the reference for every other path.
template <class T, class Term>
float AccumulateFloatLiteral(const T* pSrc, long long nCount, Term term) {
    float acc = 0.0f;
    for (long long i = 0; i < nCount; ++i)
        acc = static_cast<float>(static_cast<double>(acc) + term(pSrc[i]));
    return acc;
}

// term(v) >= 0 is the double term of sample value v. Scratch: two tables
// over the range of values present (pSpan, when given, holds every sample);
// without them the literal loop runs. pSquareLevel, when given, is the level
// m of terms that are squared deviations (float)(v - m) squared: 8-bit
// samples then go by the square path where its plan holds.
template <class T, class Term, bool kSampleTerms = false>
float AccumulateFloat(const T* pSrc, long long nCount, Term term, SumPath path = SumPath::kFast,
                      const SampleSpan* pSpan = nullptr, VectorPath vector = VectorPath::kAuto,
                      const float* pSquareLevel = nullptr) {
    if (path == SumPath::kScalarOnly || nCount <= 0)
        return AccumulateFloatLiteral(pSrc, nCount, term);
    vector = ResolvePath(vector);
    (void)pSquareLevel;  // only the vector paths use it
    int nMin = 0, nMax = 0;
    if (pSpan != nullptr) {
        nMin = pSpan->nMin;
        nMax = pSpan->nMax;
    } else {
        SampleRange(pSrc, nCount, nMin, nMax);
    }
    const std::size_t nRange = static_cast<std::size_t>(nMax - nMin) + 1;
    auto pTerm = NewScratch<double>(nRange);
    auto table = NewScratch<SumStep>(nRange);
    // Increments packed with a tie count in the low bits, which a block
    // cannot overflow.
    constexpr int kTieBits = 16;
    constexpr std::int64_t kTieCount = (std::int64_t{1} << kTieBits) - 1;
    auto packed = NewScratch<std::int64_t>(nRange);
    if (!pTerm || !table || !packed) return AccumulateFloatLiteral(pSrc, nCount, term);
    double dMaxTerm = 0.0;
    int nZeroTerms = 0, nZeroValue = 0;
    for (std::size_t v = 0; v < nRange; ++v) {
        pTerm[v] = term(static_cast<T>(nMin + static_cast<int>(v)));
        dMaxTerm = std::max(dMaxTerm, pTerm[v]);
        if (pTerm[v] == 0.0) {
            ++nZeroTerms;
            nZeroValue = nMin + static_cast<int>(v);
        }
    }
    auto at = [&](T v) { return pTerm[static_cast<std::size_t>(static_cast<int>(v) - nMin)]; };

    float acc = 0.0f;
    long long i = 0;
    constexpr long long kBlock = 256;
    // Below this the binade arithmetic would meet subnormal ulps.
    const double dSmallest = std::ldexp(1.0, -100);
    // Covers the rounding of the double bound sums.
    const double dSlack = 1.0 + std::ldexp(1.0, -40);
    int nTableExp = INT_MIN;
    auto buildTable = [&](int e, double lo, double u) {
        if (e == nTableExp) return;
        for (std::size_t v = 0; v < nRange; ++v) {
            table[v] = StepInBinade(pTerm[v], lo, u);
            packed[v] =
                (static_cast<std::int64_t>(table[v].inc0) << kTieBits) + (table[v].d != 0 ? 1 : 0);
        }
        nTableExp = e;
    };
#if defined(__SSE2__)
    SquarePlan plan;
    int nPlanExp = INT_MIN;
    bool bPlan = false;
    long long nSquareFrom = 0, nChunkFrom = 0;  // a chunk that failed is not tried again
#endif
    while (i < nCount) {
        // Adding 0 to 0 leaves it 0: skip a leading run of zero terms.
        if (acc == 0.0f) {
            if (nZeroTerms == 1) {  // whole words of that one value at a time
                const T z = static_cast<T>(nZeroValue);
                std::uint64_t mZ = 0, mUnused = 0;
                while (i + 64 <= nCount) {
                    EqualityMasks(pSrc + i, z, z, mZ, mUnused);
                    if (mZ != ~std::uint64_t{0}) break;
                    i += 64;
                }
            }
            while (i < nCount && at(pSrc[i]) == 0.0) ++i;
            if (i == nCount) break;
        }
#if defined(__SSE2__)
        // A chunk of 8-bit samples whose sum, taken in the binade of acc,
        // ends below the binade's top (2^24 ulps) stayed in it all along, the
        // increments being >= 0. From acc >= 1 on, a chunk's ulps (2048
        // samples of at most 255 times 2^23) cannot overflow.
        if constexpr (kSampleTerms && sizeof(T) == 1) {
            if (i >= nChunkFrom && nCount - i >= kChunkSamples && acc >= 1.0f) {
                int e = 0;
                double lo = 0.0, u = 0.0;
                Binade(static_cast<double>(acc), e, lo, u);
                const auto k0 = static_cast<std::int64_t>(static_cast<double>(acc) / u);
                auto parity = static_cast<std::uint32_t>(k0 & 1);
                const std::int64_t total =
                    SampleTermWords(pSrc + i, kChunkSamples / 64, e - 24, parity, vector);
                if (k0 + total < (std::int64_t{1} << 24)) {
                    acc = static_cast<float>(static_cast<double>(k0 + total) * u);
                    i += kChunkSamples;
                    continue;
                }
                nChunkFrom = i + kChunkSamples;
            }
        }
        // A chunk of squared deviations whose sum stays in the binade of acc
        // adds exactly its increments, whatever their order, when no tie
        // value is among them: the increments are >= 0, so the sum stays in
        // the binade when its end does.
        if constexpr (sizeof(T) == 1) {
            if (pSquareLevel != nullptr && i >= nSquareFrom && nCount - i >= kChunkSamples &&
                static_cast<double>(acc) >= dSmallest) {
                int e = 0;
                double lo = 0.0, u = 0.0;
                Binade(static_cast<double>(acc), e, lo, u);
                if (e != nPlanExp) {
                    // The tables are exact for terms that fit the binade from its bottom.
                    bPlan = dMaxTerm <= lo - 2.0 * u;
                    if (bPlan) {
                        buildTable(e, lo, u);
                        bPlan =
                            MakeSquarePlan(table.get(), nMin, nMax, *pSquareLevel, e - 24, plan);
                    }
                    nPlanExp = e;
                }
                std::int64_t total = 0;
                const auto k0 = static_cast<std::int64_t>(static_cast<double>(acc) / u);
                if (bPlan &&
                    SquareChunk(reinterpret_cast<const unsigned char*>(pSrc + i), plan, vector,
                                total) &&
                    k0 + total < (std::int64_t{1} << 24)) {
                    acc = static_cast<float>(static_cast<double>(k0 + total) * u);
                    i += kChunkSamples;
                    continue;
                }
                if (bPlan) nSquareFrom = i + kChunkSamples;
            }
        }
#endif
        const long long nLen = std::min(kBlock, nCount - i);
        const T* b = pSrc + i;
        // Each step adds at most its term plus one ulp, so the block stays in
        // the binade of acc when acc + sum(terms) + nLen ulps <= its top.
        bool bFits = false, bTwo = false;
        std::uint64_t maskLo[kBlock / 64], maskHi[kBlock / 64];
        int e = 0;
        double u = 0.0, lo = 0.0;
        if (static_cast<double>(acc) >= dSmallest) {
            Binade(static_cast<double>(acc), e, lo, u);
            const double room = (2.0 * lo - u) - static_cast<double>(acc) - nLen * u;
            // Two-valued blocks (binary images) go by bit masks.
            if (nLen == kBlock && nMax > nMin) {
                long long nHi = 0;
                bTwo = true;
                for (int w = 0; w < kBlock / 64 && bTwo; ++w) {
                    EqualityMasks(b + 64 * w, static_cast<T>(nMin), static_cast<T>(nMax), maskLo[w],
                                  maskHi[w]);
                    bTwo = (maskLo[w] | maskHi[w]) == ~std::uint64_t{0};
                    nHi += PopCount64(maskHi[w]);
                }
                if (bTwo)
                    bFits = (static_cast<double>(nHi) * pTerm[nRange - 1] +
                             static_cast<double>(kBlock - nHi) * pTerm[0]) *
                                dSlack <=
                            room;
            }
            if (!bTwo) {
                bFits = static_cast<double>(nLen) * dMaxTerm * dSlack <= room;
                if (!bFits && room > 0.0) {
                    double sum = 0.0;
                    for (long long k = 0; k < nLen; ++k) sum += at(b[k]);
                    bFits = sum * dSlack <= room;
                }
            }
        }
        if (!bFits) {
            for (long long k = 0; k < nLen; ++k)
                acc = static_cast<float>(static_cast<double>(acc) + at(b[k]));
            i += nLen;
            continue;
        }
        buildTable(e, lo, u);
        const auto k0 = static_cast<std::int64_t>(static_cast<double>(acc) / u);
        auto parity = static_cast<std::uint32_t>(k0 & 1);
        std::int64_t total = 0;
        bool bDone = false;
#if defined(__SSE2__)
        if constexpr (kSampleTerms) {
            if (!bTwo && nLen == kBlock) {
                total = SampleTermWords(b, kBlock / 64, e - 24, parity, vector);
                bDone = true;
            }
        }
#endif
        if (bDone) {
        } else if (bTwo) {
            for (int w = 0; w < kBlock / 64; ++w)
                total += TwoValuedWord(table[0], table[nRange - 1], maskLo[w], maskHi[w], parity);
        } else {
            // Without a tie every value adds inc0 whatever the parity, so the
            // block is a plain sum of packed entries (inc0 above, a tie count
            // below); the parity walk is needed only with a tie.
            const std::int64_t* pPack = packed.get() - nMin;
            const std::int64_t nPacked = PackedSum(pPack, b, nLen);
            const SumStep* pStep = table.get() - nMin;
            if ((nPacked & kTieCount) == 0) {
                total = nPacked >> kTieBits;
                parity ^= static_cast<std::uint32_t>(total & 1);
            } else {
                for (long long k = 0; k < nLen; ++k) {
                    const SumStep& s = pStep[b[k]];
                    total += s.inc0 + (s.d & -static_cast<std::int32_t>(parity));
                    parity = (parity & s.x) ^ s.y;
                }
            }
        }
        acc = static_cast<float>(static_cast<double>(k0 + total) * u);
        i += nLen;
    }
    return acc;
}

// The running float sum over nCount samples of two terms, sample i adding t1
// where bit i of word(i / 64) is set and t0 where it is clear, in sample
// order: the same result as the literal loop over the samples. Blocks of
// words go by the binade tables; a block that could leave the binade is
// retried as one word, and a word that could adds sample by sample, as does
// the tail.
template <class Word>
float AccumulateFloatTwoValuedWords(Word word, long long nCount, double t0, double t1) {
    float acc = 0.0f;
    auto literal = [&](long long i, long long nEnd) {
        for (; i < nEnd; ++i) {
            const bool b = (word(i >> 6) >> (i & 63)) & 1u;
            acc = static_cast<float>(static_cast<double>(acc) + (b ? t1 : t0));
        }
    };
    constexpr long long kBlockWords = 16;
    const double dSmallest = std::ldexp(1.0, -100);
    const double dSlack = 1.0 + std::ldexp(1.0, -40);
    const double dMaxTerm = std::max(t0, t1);
    const long long nFull = nCount > 0 ? nCount / 64 : 0;
    SumStep sLo{}, sHi{};
    int nTableExp = INT_MIN;
    for (long long w = 0; w < nFull;) {
        // Adding 0 to 0 leaves it 0.
        if (acc == 0.0f && (word(w) == 0 || t1 == 0.0) && (~word(w) == 0 || t0 == 0.0)) {
            ++w;
            continue;
        }
        long long nWords = 0;
        int e = 0;
        double lo = 0.0, u = 0.0;
        if (static_cast<double>(acc) >= dSmallest) {
            Binade(static_cast<double>(acc), e, lo, u);
            for (long long nTry : {std::min(kBlockWords, nFull - w), 1LL}) {
                const double dSamples = static_cast<double>(64 * nTry);
                const double room = (2.0 * lo - u) - static_cast<double>(acc) - dSamples * u;
                bool bFits = dSamples * dMaxTerm * dSlack <= room;
                if (!bFits && room > 0.0) {
                    long long nHi = 0;
                    for (long long k = 0; k < nTry; ++k) nHi += PopCount64(word(w + k));
                    const auto dHi = static_cast<double>(nHi);
                    bFits = (dHi * t1 + (dSamples - dHi) * t0) * dSlack <= room;
                }
                if (bFits) {
                    nWords = nTry;
                    break;
                }
            }
        }
        if (nWords == 0) {
            literal(64 * w, 64 * w + 64);
            ++w;
            continue;
        }
        if (e != nTableExp) {
            sLo = StepInBinade(t0, lo, u);
            sHi = StepInBinade(t1, lo, u);
            nTableExp = e;
        }
        const auto k0 = static_cast<std::int64_t>(static_cast<double>(acc) / u);
        auto parity = static_cast<std::uint32_t>(k0 & 1);
        std::int64_t total = 0;
        for (long long k = 0; k < nWords; ++k) {
            const std::uint64_t m = word(w + k);
            total += TwoValuedWord(sLo, sHi, ~m, m, parity);
        }
        acc = static_cast<float>(static_cast<double>(k0 + total) * u);
        w += nWords;
    }
    literal(64 * nFull, nCount);
    return acc;
}

// The same over the bits of pBits.
inline float AccumulateFloatTwoValued(const std::uint64_t* pBits, long long nCount, double t0,
                                      double t1) {
    return AccumulateFloatTwoValuedWords([pBits](long long w) { return pBits[w]; }, nCount, t0, t1);
}

// The running float sum of nCount terms t, added one after the other.
inline float AccumulateFloatRepeated(long long nCount, double t) {
    return AccumulateFloatTwoValuedWords([](long long) { return ~std::uint64_t{0}; }, nCount, 0.0,
                                         t);
}

}  // namespace zetdip::detail

#endif  // ZETDIP_POINT_FLOAT_SUM_H
