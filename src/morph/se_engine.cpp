#include "morph/se_engine.h"

#include "DipMorphMath.h"

using namespace zetdip::detail;

bool CDipMorphMath::ApplyErosionWithSE(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                       int nBitsStored, int nWidth, int nHeight, const int* pSE,
                                       int nSEHeight, int nSEWidth, int nSECount) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyErosionWithSE8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight,
                                           pSE, nSEHeight, nSEWidth, nSECount);
        case Depth::k16:
            return ApplyErosionWithSE16Bits(AsWords(pSrc), AsWords(pDst), nWidth, nHeight, pSE,
                                            nSEHeight, nSEWidth, nSECount);
        default:
            return false;
    }
}

// Colour is refused by the 8-bit engines before anything is allocated.
bool CDipMorphMath::ApplyErosionWithSE8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                            int nWidth, int nHeight, const int* pSE, int nSEHeight,
                                            int nSEWidth, int nSECount) {
    return nChannels == 1 &&
           ApplyWithSE<ErodeOp>(pSrc, pDst, nWidth, nHeight, pSE, nSEHeight, nSEWidth, nSECount);
}

bool CDipMorphMath::ApplyErosionWithSE16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                             int nHeight, const int* pSE, int nSEHeight,
                                             int nSEWidth, int nSECount) {
    return ApplyWithSE<ErodeOp>(pSrc, pDst, nWidth, nHeight, pSE, nSEHeight, nSEWidth, nSECount);
}

bool CDipMorphMath::ApplyDilatationWithSE8Bits(unsigned char* pSrc, unsigned char* pDst,
                                               int nChannels, int nWidth, int nHeight,
                                               const int* pSE, int nSEHeight, int nSEWidth,
                                               int nSECount) {
    return nChannels == 1 &&
           ApplyWithSE<DilateOp>(pSrc, pDst, nWidth, nHeight, pSE, nSEHeight, nSEWidth, nSECount);
}

bool CDipMorphMath::ApplyDilatationWithSE16Bits(unsigned short* pSrc, unsigned short* pDst,
                                                int nWidth, int nHeight, const int* pSE,
                                                int nSEHeight, int nSEWidth, int nSECount) {
    return ApplyWithSE<DilateOp>(pSrc, pDst, nWidth, nHeight, pSE, nSEHeight, nSEWidth, nSECount);
}
