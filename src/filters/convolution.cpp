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
