#include "wavelet/pyramid.h"

#include "DipWavelet.h"

using namespace zetdip::detail;

bool CDipWavelet::ApplyWaveletDecomposition(unsigned char* pSrc, double* pCoef, int nWidth,
                                            int nHeight, int nBitsPerPixel, int nBitsStored,
                                            int& rLowWidth, int& rLowHeight, int* pWidthOdd,
                                            int* pHeightOdd, int nIgnored) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyWaveletDecomposition8Bits(pSrc, pCoef, nWidth, nHeight,
                                                  ChannelsOf(nBitsPerPixel), rLowWidth, rLowHeight,
                                                  pWidthOdd, pHeightOdd, nIgnored);
        case Depth::k16:
            return ApplyWaveletDecomposition16Bits(AsWords(pSrc), pCoef, nWidth, nHeight, rLowWidth,
                                                   rLowHeight, pWidthOdd, pHeightOdd, nIgnored);
        default:
            return false;
    }
}

bool CDipWavelet::ApplyWaveletReconstruction(double* pCoef, unsigned char* pDst, int nBitsPerPixel,
                                             int nBitsStored, int nWidth, int nHeight,
                                             int nKeepLevelA, int nKeepLevelB, int nLowWidth,
                                             int nLowHeight, int* pWidthOdd, int* pHeightOdd,
                                             int nLevels) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyWaveletReconstruction8bits(pCoef, pDst, ChannelsOf(nBitsPerPixel), nWidth,
                                                   nHeight, nKeepLevelA, nKeepLevelB, nLowWidth,
                                                   nLowHeight, pWidthOdd, pHeightOdd, nLevels);
        case Depth::k16:
            return ApplyWaveletReconstruction16bits(pCoef, AsWords(pDst), nBitsStored, nWidth,
                                                    nHeight, nKeepLevelA, nKeepLevelB, nLowWidth,
                                                    nLowHeight, pWidthOdd, pHeightOdd, nLevels);
        default:
            return false;
    }
}

// The entry runs the difference loop itself rather than through the variants.
bool CDipWavelet::ApplySubstraction(unsigned char* pSrcA, unsigned char* pSrcB, unsigned char* pDst,
                                    int nBitsPerPixel, int nBitsStored, int nWidth, int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            SubtractSet(pSrcA, pSrcB, pDst, LoopCount(nWidth, nHeight, ChannelsOf(nBitsPerPixel)));
            return true;
        case Depth::k16:
            SubtractSet(AsWords(pSrcA), AsWords(pSrcB), AsWords(pDst), LoopCount(nWidth, nHeight));
            return true;
        default:
            return false;
    }
}

bool CDipWavelet::ApplyWaveletDecomposition8Bits(unsigned char* pSrc, double* pCoef, int nWidth,
                                                 int nHeight, int nChannels, int& rLowWidth,
                                                 int& rLowHeight, int* pWidthOdd, int* pHeightOdd,
                                                 int) {
    if (nChannels != 1) return false;
    return WaveletDecompose(pSrc, pCoef, nWidth, nHeight, rLowWidth, rLowHeight, pWidthOdd,
                            pHeightOdd);
}

bool CDipWavelet::ApplyWaveletDecomposition16Bits(unsigned short* pSrc, double* pCoef, int nWidth,
                                                  int nHeight, int& rLowWidth, int& rLowHeight,
                                                  int* pWidthOdd, int* pHeightOdd, int) {
    return WaveletDecompose(pSrc, pCoef, nWidth, nHeight, rLowWidth, rLowHeight, pWidthOdd,
                            pHeightOdd);
}

bool CDipWavelet::ApplyWaveletReconstruction8bits(double* pCoef, unsigned char* pDst, int nChannels,
                                                  int nWidth, int nHeight, int nKeepLevelA,
                                                  int nKeepLevelB, int nLowWidth, int nLowHeight,
                                                  int* pWidthOdd, int* pHeightOdd, int nLevels) {
    if (nChannels != 1) return false;
    return WaveletReconstruct<Reconstruction8>(pCoef, pDst, 8, nWidth, nHeight, nKeepLevelA,
                                               nKeepLevelB, nLowWidth, nLowHeight, pWidthOdd,
                                               pHeightOdd, nLevels);
}

bool CDipWavelet::ApplyWaveletReconstruction16bits(double* pCoef, unsigned short* pDst,
                                                   int nBitsStored, int nWidth, int nHeight,
                                                   int nKeepLevelA, int nKeepLevelB, int nLowWidth,
                                                   int nLowHeight, int* pWidthOdd, int* pHeightOdd,
                                                   int nLevels) {
    return WaveletReconstruct<Reconstruction16>(pCoef, pDst, nBitsStored, nWidth, nHeight,
                                                nKeepLevelA, nKeepLevelB, nLowWidth, nLowHeight,
                                                pWidthOdd, pHeightOdd, nLevels);
}

void CDipWavelet::ApplySubstraction8Bits(unsigned char* pSrcA, unsigned char* pSrcB,
                                         unsigned char* pDst, int nWidth, int nHeight,
                                         int nChannels) {
    SubtractSet(pSrcA, pSrcB, pDst, LoopCount(nWidth, nHeight, nChannels));
}

void CDipWavelet::ApplySubstraction16Bits(unsigned short* pSrcA, unsigned short* pSrcB,
                                          unsigned short* pDst, int nWidth, int nHeight) {
    SubtractSet(pSrcA, pSrcB, pDst, LoopCount(nWidth, nHeight));
}
