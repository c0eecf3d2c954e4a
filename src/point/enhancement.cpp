#include "point/enhancement.h"

#include "DipEnhancement.h"

using namespace zetdip::detail;

bool CDipEnhancement::ApplyStretching(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                      int nBitsStored, int nWidth, int nHeight, int nLow,
                                      int nHigh) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            ApplyStretching8bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight, nLow,
                                 nHigh);
            return true;
        case Depth::k16:
            ApplyStretching16bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth, nHeight, nLow,
                                  nHigh);
            return true;
        default:
            return false;
    }
}

bool CDipEnhancement::ApplyContrastManip(unsigned char* pSrc, unsigned char* pDst,
                                         int nBitsPerPixel, int nBitsStored, int nWidth,
                                         int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyContrastManip8bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight);
        case Depth::k16:
            ApplyContrastManip16bits(AsWords(pSrc), AsWords(pDst), nWidth, nHeight);
            return true;
        default:
            return false;
    }
}

bool CDipEnhancement::ApplyContrastManip(unsigned char* pSrc, unsigned char* pMask,
                                         unsigned char* pDst, int nBitsPerPixel, int nBitsStored,
                                         int nWidth, int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyContrastManip8bits(pSrc, pMask, pDst, ChannelsOf(nBitsPerPixel), nWidth,
                                           nHeight);
        case Depth::k16:
            ApplyContrastManip16bits(AsWords(pSrc), AsWords(pMask), AsWords(pDst), nWidth, nHeight);
            return true;
        default:
            return false;
    }
}

void CDipEnhancement::ApplyStretching8bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                           int nWidth, int nHeight, int nLow, int nHigh) {
    Stretch(pSrc, pDst, LoopCount(nWidth, nHeight, nChannels), 255, nLow, nHigh);
}

void CDipEnhancement::ApplyStretching16bits(unsigned short* pSrc, unsigned short* pDst,
                                            int nBitsStored, int nWidth, int nHeight, int nLow,
                                            int nHigh) {
    Stretch(pSrc, pDst, LoopCount(nWidth, nHeight), MaxValue16(nBitsStored), nLow, nHigh);
}

bool CDipEnhancement::ApplyContrastManip8bits(unsigned char* pSrc, unsigned char* pDst,
                                              int nChannels, int nWidth, int nHeight) {
    if (nChannels != 1) return false;
    ContrastManip(pSrc, pDst, LoopCount(nWidth, nHeight));
    return true;
}

bool CDipEnhancement::ApplyContrastManip8bits(unsigned char* pSrc, unsigned char* pMask,
                                              unsigned char* pDst, int nChannels, int nWidth,
                                              int nHeight) {
    if (nChannels != 1) return false;
    ContrastManipMasked(pSrc, pMask, pDst, LoopCount(nWidth, nHeight));
    return true;
}

void CDipEnhancement::ApplyContrastManip16bits(unsigned short* pSrc, unsigned short* pMask,
                                               unsigned short* pDst, int nWidth, int nHeight) {
    ContrastManipMasked(pSrc, pMask, pDst, LoopCount(nWidth, nHeight));
}

void CDipEnhancement::ApplyContrastManip16bits(unsigned short* pSrc, unsigned short* pDst,
                                               int nWidth, int nHeight) {
    ContrastManip(pSrc, pDst, LoopCount(nWidth, nHeight));
}
