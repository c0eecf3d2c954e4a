#include "filters/kernel_filters.h"

#include "DipFilters.h"

using namespace zetdip::detail;

// ----- Public entries: bit-depth dispatch -----

bool CDipFilters::ApplyMean(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                            int nBitsStored, int nWidth, int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyMean8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight);
        case Depth::k16:
            return ApplyMean16Bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth, nHeight);
        default:
            return false;
    }
}

bool CDipFilters::ApplyGradientNS(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                  int nBitsStored, int nWidth, int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            ApplyGradientNS8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight);
            return true;
        case Depth::k16:
            ApplyGradientNS16Bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth, nHeight);
            return true;
        default:
            return false;
    }
}

bool CDipFilters::ApplyGradientSWNE(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                    int nBitsStored, int nWidth, int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            ApplyGradientSWNE8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight);
            return true;
        case Depth::k16:
            ApplyGradientSWNE16Bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth, nHeight);
            return true;
        default:
            return false;
    }
}

bool CDipFilters::ApplyGradientNWSE(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                    int nBitsStored, int nWidth, int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            ApplyGradientNWSE8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight);
            return true;
        case Depth::k16:
            ApplyGradientNWSE16Bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth, nHeight);
            return true;
        default:
            return false;
    }
}

bool CDipFilters::ApplyGauss(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                             int nBitsStored, int nWidth, int nHeight, float fSigma) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyGauss8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight, fSigma);
        case Depth::k16:
            return ApplyGauss16Bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth, nHeight,
                                    fSigma);
        default:
            return false;
    }
}

bool CDipFilters::ApplyDOG(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                           int nBitsStored, int nWidth, int nHeight, float fSigma1, float fGain,
                           float fSigma2, float fSigma3) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyDOG8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight, fSigma1,
                                 fGain, fSigma2, fSigma3);
        case Depth::k16:
            return ApplyDOG16Bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth, nHeight,
                                  fSigma1, fGain, fSigma2, fSigma3);
        default:
            return false;
    }
}

// ----- Per-depth variants -----
namespace {

// 8-bit colour is not filtered (intended: colour convolution is a no-op).
void Fixed8(unsigned char* pSrc, unsigned char* pDst, int nChannels, int nWidth, int nHeight,
            const FixedKernel& kernel) {
    if (nChannels == 1) ApplyFixedKernel(pSrc, pDst, nWidth, nHeight, kernel, kMidGrey8, Engine8());
}

void Fixed16(unsigned short* pSrc, unsigned short* pDst, int nBitsStored, int nWidth, int nHeight,
             const FixedKernel& kernel) {
    ApplyFixedKernel(pSrc, pDst, nWidth, nHeight, kernel, MidGrey16(nBitsStored),
                     Engine16(nBitsStored));
}

}  // namespace

bool CDipFilters::ApplyMean8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                 int nWidth, int nHeight) {
    Fixed8(pSrc, pDst, nChannels, nWidth, nHeight, kMeanKernel);
    return true;
}

bool CDipFilters::ApplyMean16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                  int nWidth, int nHeight) {
    Fixed16(pSrc, pDst, nBitsStored, nWidth, nHeight, kMeanKernel);
    return true;
}

void CDipFilters::ApplyGradientNS8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                       int nWidth, int nHeight) {
    Fixed8(pSrc, pDst, nChannels, nWidth, nHeight, kGradientNSKernel);
}

void CDipFilters::ApplyGradientNS16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                        int nWidth, int nHeight) {
    Fixed16(pSrc, pDst, nBitsStored, nWidth, nHeight, kGradientNSKernel);
}

void CDipFilters::ApplyGradientSWNE8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                         int nWidth, int nHeight) {
    Fixed8(pSrc, pDst, nChannels, nWidth, nHeight, kGradientSWNEKernel);
}

void CDipFilters::ApplyGradientSWNE16Bits(unsigned short* pSrc, unsigned short* pDst,
                                          int nBitsStored, int nWidth, int nHeight) {
    Fixed16(pSrc, pDst, nBitsStored, nWidth, nHeight, kGradientSWNEKernel);
}

void CDipFilters::ApplyGradientNWSE8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                         int nWidth, int nHeight) {
    Fixed8(pSrc, pDst, nChannels, nWidth, nHeight, kGradientNWSEKernel);
}

void CDipFilters::ApplyGradientNWSE16Bits(unsigned short* pSrc, unsigned short* pDst,
                                          int nBitsStored, int nWidth, int nHeight) {
    Fixed16(pSrc, pDst, nBitsStored, nWidth, nHeight, kGradientNWSEKernel);
}

bool CDipFilters::ApplyGauss8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                  int nWidth, int nHeight, float fSigma) {
    return ApplyGaussKernel(pSrc, pDst, nWidth, nHeight, fSigma, nChannels == 1, Engine8());
}

bool CDipFilters::ApplyGauss16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                   int nWidth, int nHeight, float fSigma) {
    return ApplyGaussKernel(pSrc, pDst, nWidth, nHeight, fSigma, true, Engine16(nBitsStored));
}

bool CDipFilters::ApplyDOG8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels, int nWidth,
                                int nHeight, float fSigma1, float fGain, float fSigma2,
                                float fSigma3) {
    return DifferenceOfGaussians(pSrc, pDst, LoopCount(nWidth, nHeight, nChannels), nWidth, nHeight,
                                 fSigma1, fGain, fSigma2, fSigma3, nChannels == 1, Engine8());
}

bool CDipFilters::ApplyDOG16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                 int nWidth, int nHeight, float fSigma1, float fGain, float fSigma2,
                                 float fSigma3) {
    return DifferenceOfGaussians(pSrc, pDst, LoopCount(nWidth, nHeight), nWidth, nHeight, fSigma1,
                                 fGain, fSigma2, fSigma3, true, Engine16(nBitsStored));
}

bool CDipFilters::CreateDifferenceBetweenImages8Bits(const unsigned char* pSrcA,
                                                     const unsigned char* pSrcB,
                                                     unsigned char* pDst, int nWidthA, int nHeightA,
                                                     int nChannelsA, int nWidthB, int nHeightB,
                                                     int nChannelsB) {
    return DifferenceBetweenImages(pSrcA, pSrcB, pDst, nWidthA, nHeightA, nChannelsA, nWidthB,
                                   nHeightB, nChannelsB);
}

bool CDipFilters::CreateDifferenceBetweenImages16Bits(const unsigned short* pSrcA,
                                                      const unsigned short* pSrcB,
                                                      unsigned short* pDst, int nWidthA,
                                                      int nHeightA, int nWidthB, int nHeightB) {
    return DifferenceBetweenImages(pSrcA, pSrcB, pDst, nWidthA, nHeightA, 1, nWidthB, nHeightB, 1);
}
