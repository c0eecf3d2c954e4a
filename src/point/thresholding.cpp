#include "point/thresholding.h"

#include "DipThresholding.h"

using namespace zetdip::detail;

bool CDipThresholding::ApplyThresholding(unsigned char* pSrc, unsigned char* pDst,
                                         int nBitsPerPixel, int nBitsStored, int nWidth,
                                         int nHeight, int nThreshold) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            ApplyThresholding8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight,
                                   nThreshold);
            return true;
        case Depth::k16:
            ApplyThresholding16Bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth, nHeight,
                                    nThreshold);
            return true;
        default:
            return false;
    }
}

int CDipThresholding::CalculateThresholdingTHwMD(unsigned char* pSrc, int nBitsPerPixel,
                                                 int nBitsStored, int nWidth, int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return CalculateThresholdingTHwMD8Bits(pSrc, ChannelsOf(nBitsPerPixel), nWidth,
                                                   nHeight);
        case Depth::k16:
            return CalculateThresholdingTHwMD16Bits(AsWords(pSrc), nWidth, nHeight);
        default:
            return 0;
    }
}

int CDipThresholding::CalculateThresholding1(unsigned char* pSrc, int nBitsPerPixel,
                                             int nBitsStored, int nWidth, int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return CalculateThresholding1_8Bits(pSrc, ChannelsOf(nBitsPerPixel), nWidth, nHeight);
        case Depth::k16:
            return CalculateThresholding1_16Bits(AsWords(pSrc), nWidth, nHeight);
        default:
            return 0;
    }
}

void CDipThresholding::ApplyThresholding8Bits(unsigned char* pSrc, unsigned char* pDst,
                                              int nChannels, int nWidth, int nHeight,
                                              int nThreshold) {
    Threshold<unsigned char>(pSrc, pDst, LoopCount(nWidth, nHeight, nChannels), nThreshold, 255);
}

void CDipThresholding::ApplyThresholding16Bits(unsigned short* pSrc, unsigned short* pDst,
                                               int nBitsStored, int nWidth, int nHeight,
                                               int nThreshold) {
    Threshold(pSrc, pDst, LoopCount(nWidth, nHeight), nThreshold, MaxValue16(nBitsStored));
}

// Colour has no statistics: the 8-bit mean and deviation are 0 for nChannels != 1.
float CDipThresholding::CalculateMean8Bits(unsigned char* pSrc, int nChannels, int nWidth,
                                           int nHeight) {
    return nChannels != 1 ? 0.0f : Mean(pSrc, LoopCount(nWidth, nHeight));
}

float CDipThresholding::CalculateMean16Bits(unsigned short* pSrc, int nWidth, int nHeight) {
    return Mean(pSrc, LoopCount(nWidth, nHeight));
}

float CDipThresholding::CalculateStandardDeviation8Bits(unsigned char* pSrc, int nChannels,
                                                        int nWidth, int nHeight, float fMean) {
    return nChannels != 1 ? 0.0f : StandardDeviation(pSrc, LoopCount(nWidth, nHeight), fMean);
}

float CDipThresholding::CalculateStandardDeviation16Bits(unsigned short* pSrc, int nWidth,
                                                         int nHeight, float fMean) {
    return StandardDeviation(pSrc, LoopCount(nWidth, nHeight), fMean);
}

// The threshold variants take the mean and deviation of the variants above
// in one go (the same values, one range pass fewer).
int CDipThresholding::CalculateThresholdingTHwMD8Bits(unsigned char* pSrc, int nChannels,
                                                      int nWidth, int nHeight) {
    if (nChannels != 1) return ThresholdFromMeanAndDeviation(0.0f, 0.0f);
    const MeanDeviation s = MeanAndDeviation(pSrc, LoopCount(nWidth, nHeight));
    return ThresholdFromMeanAndDeviation(s.fMean, s.fDeviation);
}

int CDipThresholding::CalculateThresholdingTHwMD16Bits(unsigned short* pSrc, int nWidth,
                                                       int nHeight) {
    const MeanDeviation s = MeanAndDeviation(pSrc, LoopCount(nWidth, nHeight));
    return ThresholdFromMeanAndDeviation(s.fMean, s.fDeviation);
}

int CDipThresholding::CalculateThresholding1_8Bits(unsigned char* pSrc, int nChannels, int nWidth,
                                                   int nHeight) {
    if (nChannels != 1) return ThresholdFromDeviation(0.0f);
    return ThresholdFromDeviation(MeanAndDeviation(pSrc, LoopCount(nWidth, nHeight)).fDeviation);
}

int CDipThresholding::CalculateThresholding1_16Bits(unsigned short* pSrc, int nWidth, int nHeight) {
    return ThresholdFromDeviation(MeanAndDeviation(pSrc, LoopCount(nWidth, nHeight)).fDeviation);
}
