// The breast mask and pectoral muscle removal entries of CDipFilters.
#include "DipFilters.h"
#include "breast/breast_mask.h"
#include "breast/pectoral.h"

using namespace zetdip::detail;

bool CDipFilters::CreateMaskOfBreast(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                     int nBitsStored, int nWidth, int nHeight, bool& bBreastOnRight,
                                     double dPixelSize) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return CreateMaskOfBreast8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight,
                                           bBreastOnRight, dPixelSize);
        case Depth::k16:
            return CreateMaskOfBreast16Bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth,
                                            nHeight, bBreastOnRight, dPixelSize);
        default:
            return false;
    }
}

bool CDipFilters::CreateMaskOfBreast8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                          int nWidth, int nHeight, bool& bBreastOnRight,
                                          double dPixelSize) {
    if (nChannels != 1) return false;
    const BreastMaskDepth<unsigned char> depth{8, 8, 255, 255, SideLevel8(), 25, 128, false, false};
    // Smoothing with an own Gaussian kernel of size 3 and sigma 10.
    auto smooth = [nWidth, nHeight](unsigned char* pWork) {
        float fSum = 1.0f;
        float* pKernel = CreateGaussianFilter(3, 10.0f, fSum);
        if (pKernel == nullptr) return false;
        ApplyConvolution8BitsGreyLevel(pWork, pKernel, 3, fSum, 0, pWork, nWidth, nHeight);
        delete[] pKernel;
        return true;
    };
    // Diagonal edge kernels, divisor 1 and offset 128.
    auto edge = [nWidth, nHeight](unsigned char* pWork, bool bRight) {
        static constexpr float kLeft[9] = {-10, -10, 0, -10, 0, 10, 0, 10, 10};
        static constexpr float kRight[9] = {0, -10, -10, 10, 0, -10, 10, 10, 0};
        ApplyConvolution8BitsGreyLevel(pWork, bRight ? kRight : kLeft, 3, 1.0f, 128, pWork, nWidth,
                                       nHeight);
        return true;
    };
    return BuildBreastMask(pSrc, pDst, nWidth, nHeight, bBreastOnRight, dPixelSize, depth, smooth,
                           edge);
}

bool CDipFilters::CreateMaskOfBreast16Bits(unsigned short* pSrc, unsigned short* pDst,
                                           int nBitsStored, int nWidth, int nHeight,
                                           bool& bBreastOnRight, double dPixelSize) {
    const int nRange = PowerOfTwo(nBitsStored);
    // The fill without a side is one above the full-scale value (0 at 16 bits), as intended.
    const BreastMaskDepth<unsigned short> depth{16,
                                                nBitsStored,
                                                MaxValue16(nBitsStored),
                                                static_cast<unsigned short>(nRange),
                                                SideLevel16(nBitsStored),
                                                nRange / 10,
                                                nRange / 2,
                                                true,
                                                true};
    auto smooth = [=](unsigned short* pWork) {
        return ApplyGauss(AsBytes(pWork), AsBytes(pWork), 16, nBitsStored, nWidth, nHeight, 10.0f);
    };
    auto edge = [=](unsigned short* pWork, bool bRight) {
        return bRight ? ApplyGradientSWNE(AsBytes(pWork), AsBytes(pWork), 16, nBitsStored, nWidth,
                                          nHeight)
                      : ApplyGradientNWSE(AsBytes(pWork), AsBytes(pWork), 16, nBitsStored, nWidth,
                                          nHeight);
    };
    return BuildBreastMask(pSrc, pDst, nWidth, nHeight, bBreastOnRight, dPixelSize, depth, smooth,
                           edge);
}

bool CDipFilters::RemovePectoralMuscleFromMask(unsigned char* pSrc, unsigned char* pMask,
                                               int nBitsPerPixel, int nBitsStored, int nWidth,
                                               int nHeight, bool bBreastOnRight,
                                               double dPixelSize) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return RemovePectoralMuscleFromMask8Bits(pSrc, pMask, ChannelsOf(nBitsPerPixel), nWidth,
                                                     nHeight, bBreastOnRight, dPixelSize);
        case Depth::k16:
            return RemovePectoralMuscleFromMask16Bits(AsWords(pSrc), AsWords(pMask), nBitsStored,
                                                      nWidth, nHeight, bBreastOnRight, dPixelSize);
        default:
            return false;
    }
}

bool CDipFilters::RemovePectoralMuscleFromMask8Bits(unsigned char* pSrc, unsigned char* pMask,
                                                    int nChannels, int nWidth, int nHeight,
                                                    bool bBreastOnRight, double dPixelSize) {
    if (nChannels != 1) return false;
    return RemovePectoralMuscle(pSrc, pMask, nWidth, nHeight, bBreastOnRight, dPixelSize,
                                PectoralDepth{8, 8, 256, false, 0});
}

bool CDipFilters::RemovePectoralMuscleFromMask16Bits(unsigned short* pSrc, unsigned short* pMask,
                                                     int nBitsStored, int nWidth, int nHeight,
                                                     bool bBreastOnRight, double dPixelSize) {
    return RemovePectoralMuscle(pSrc, pMask, nWidth, nHeight, bBreastOnRight, dPixelSize,
                                PectoralDepth{16, nBitsStored, PowerOfTwo(nBitsStored), true, -1});
}
