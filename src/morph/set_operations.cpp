#include "morph/set_operations.h"

#include "DipThickness.h"

using namespace zetdip::detail;

bool CDipThickness::CreateUnionBetweenImages(unsigned char* pSrcA, unsigned char* pSrcB,
                                             unsigned char* pDst, int nWidthA, int nHeightA,
                                             int nBitsPerPixelA, int nBitsStoredA, int nWidthB,
                                             int nHeightB, int nBitsPerPixelB, int nBitsStoredB) {
    if (nBitsStoredA < 8 && nBitsStoredB < 8) return false;
    switch (DepthOf(nBitsStoredA)) {
        case Depth::k8:
            return nBitsStoredB == 8 &&
                   CreateUnionBetweenImages8bits(pSrcA, pSrcB, pDst, nWidthA, nHeightA,
                                                 ChannelsOf(nBitsPerPixelA), nWidthB, nHeightB,
                                                 ChannelsOf(nBitsPerPixelB));
        case Depth::k16:
            // The 16-bit union itself requires nBitsStoredB to be equal.
            return CreateUnionBetweenImages16bits(AsWords(pSrcA), AsWords(pSrcB), AsWords(pDst),
                                                  nWidthA, nHeightA, nWidthB, nHeightB,
                                                  nBitsStoredA, nBitsStoredB);
        default:
            return false;
    }
}

bool CDipThickness::ApplyThicknessWavStage(unsigned char* pSrcA, unsigned char* pSrcB,
                                           unsigned char* pDst, int nBitsPerPixel, int nBitsStored,
                                           int nWidth, int nHeight, const int* pHitSE,
                                           int nHitSEHeight, int nHitSEWidth, int nHitSECount,
                                           const int* pMissSE, int nMissSEHeight, int nMissSEWidth,
                                           int nMissSECount) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyThicknessStage8bits(pSrcA, pSrcB, pDst, ChannelsOf(nBitsPerPixel), nWidth,
                                            nHeight, pHitSE, nHitSEHeight, nHitSEWidth, nHitSECount,
                                            pMissSE, nMissSEHeight, nMissSEWidth, nMissSECount);
        case Depth::k16:
            return ApplyThicknessStage16bits(AsWords(pSrcA), AsWords(pSrcB), AsWords(pDst), nWidth,
                                             nHeight, nBitsStored, pHitSE, nHitSEHeight,
                                             nHitSEWidth, nHitSECount, pMissSE, nMissSEHeight,
                                             nMissSEWidth, nMissSECount);
        default:
            return false;
    }
}

bool CDipThickness::CreateIntersectionBetweenImages8bits(unsigned char* pSrcA, unsigned char* pSrcB,
                                                         unsigned char* pDst, int nWidthA,
                                                         int nHeightA, int nChannelsA, int nWidthB,
                                                         int nHeightB, int nChannelsB) {
    if (!SameSetShape(nWidthA, nHeightA, nChannelsA, nWidthB, nHeightB, nChannelsB)) return false;
    Intersect<unsigned char>(pSrcA, pSrcB, pDst, LoopCount(nWidthA, nHeightA, nChannelsA), 255);
    return true;
}

bool CDipThickness::CreateIntersectionBetweenImages16bits(unsigned short* pSrcA,
                                                          unsigned short* pSrcB,
                                                          unsigned short* pDst, int nWidthA,
                                                          int nHeightA, int nWidthB, int nHeightB,
                                                          int nBitsStoredA, int nBitsStoredB) {
    if (!SameSetShape(nWidthA, nHeightA, nBitsStoredA, nWidthB, nHeightB, nBitsStoredB))
        return false;
    Intersect(pSrcA, pSrcB, pDst, LoopCount(nWidthA, nHeightA), MaxValue16(nBitsStoredA));
    return true;
}

bool CDipThickness::CreateUnionBetweenImages8bits(unsigned char* pSrcA, unsigned char* pSrcB,
                                                  unsigned char* pDst, int nWidthA, int nHeightA,
                                                  int nChannelsA, int nWidthB, int nHeightB,
                                                  int nChannelsB) {
    if (!SameSetShape(nWidthA, nHeightA, nChannelsA, nWidthB, nHeightB, nChannelsB)) return false;
    Unite<unsigned char>(pSrcA, pSrcB, pDst, LoopCount(nWidthA, nHeightA, nChannelsA), 255);
    return true;
}

bool CDipThickness::CreateUnionBetweenImages16bits(unsigned short* pSrcA, unsigned short* pSrcB,
                                                   unsigned short* pDst, int nWidthA, int nHeightA,
                                                   int nWidthB, int nHeightB, int nBitsStoredA,
                                                   int nBitsStoredB) {
    if (!SameSetShape(nWidthA, nHeightA, nBitsStoredA, nWidthB, nHeightB, nBitsStoredB))
        return false;
    Unite(pSrcA, pSrcB, pDst, LoopCount(nWidthA, nHeightA), MaxValue16(nBitsStoredA));
    return true;
}

void CDipThickness::CreateComplementaryImage8bits(unsigned char* pSrc, unsigned char* pDst,
                                                  int nWidth, int nHeight, int nChannels) {
    Complement(pSrc, pDst, LoopCount(nWidth, nHeight, nChannels));
}

// All 16 bits, whatever the stored bits (see SetDepth).
void CDipThickness::CreateComplementaryImage16bits(unsigned short* pSrc, unsigned short* pDst,
                                                   int nWidth, int nHeight) {
    Complement(pSrc, pDst, LoopCount(nWidth, nHeight));
}

// Colour is refused; the stage writes present pixels as 255.
bool CDipThickness::ApplyThicknessStage8bits(unsigned char* pSrcA, unsigned char* pSrcB,
                                             unsigned char* pDst, int nChannels, int nWidth,
                                             int nHeight, const int* pHitSE, int nHitSEHeight,
                                             int nHitSEWidth, int nHitSECount, const int* pMissSE,
                                             int nMissSEHeight, int nMissSEWidth,
                                             int nMissSECount) {
    return nChannels == 1 &&
           ThicknessStage(pSrcA, pSrcB, pDst, nWidth, nHeight, 8, pHitSE, nHitSEHeight, nHitSEWidth,
                          nHitSECount, pMissSE, nMissSEHeight, nMissSEWidth, nMissSECount);
}

bool CDipThickness::ApplyThicknessStage16bits(unsigned short* pSrcA, unsigned short* pSrcB,
                                              unsigned short* pDst, int nWidth, int nHeight,
                                              int nBitsStored, const int* pHitSE, int nHitSEHeight,
                                              int nHitSEWidth, int nHitSECount, const int* pMissSE,
                                              int nMissSEHeight, int nMissSEWidth,
                                              int nMissSECount) {
    return ThicknessStage(pSrcA, pSrcB, pDst, nWidth, nHeight, nBitsStored, pHitSE, nHitSEHeight,
                          nHitSEWidth, nHitSECount, pMissSE, nMissSEHeight, nMissSEWidth,
                          nMissSECount);
}
