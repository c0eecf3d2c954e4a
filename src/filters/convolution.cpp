#include "filters/convolution.h"

#include <cmath>

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
template <class T>
ZETDIP_TARGET_AVX2 void FusedAvx2(T* pOut, const T* const* pRows, const double* pWeights, int nTaps,
                                  int n, double dDivisor, double dOffset, double dMax) {
    FusedBody(pOut, pRows, pWeights, nTaps, n, dDivisor, dOffset, dMax);
}
#endif

}  // namespace

namespace conv {

template <class T>
void FusedRun(T* pOut, const T* const* pRows, const double* pWeights, int nTaps, int n,
              double dDivisor, double dOffset, double dMax, VectorPath path) {
#if ZETDIP_HAS_AVX2_PATH
    if (ResolvePath(path) == VectorPath::kAvx2)
        return FusedAvx2(pOut, pRows, pWeights, nTaps, n, dDivisor, dOffset, dMax);
#endif
    (void)path;
    FusedBaseline(pOut, pRows, pWeights, nTaps, n, dDivisor, dOffset, dMax);
}

template void FusedRun(unsigned char*, const unsigned char* const*, const double*, int, int, double,
                       double, double, VectorPath);
template void FusedRun(unsigned short*, const unsigned short* const*, const double*, int, int,
                       double, double, double, VectorPath);

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
