// Image set operations and the thickness (hit-or-miss) stage.
#ifndef ZETDIP_DIPTHICKNESS_H
#define ZETDIP_DIPTHICKNESS_H

#include "ZetDIPExport.h"

// Images are sets: a sample is present when it is non-zero. The set
// operations write 0 for an absent sample and the full scale for a present
// one (255, or (1 << nBitsStored) - 1).
class ZETDIP_API CDipThickness {
public:
    CDipThickness& operator=(const CDipThickness& other);

    // Union: the full scale where either sample is non-zero, else 0, sample
    // by sample. pDst may equal pSrcA or pSrcB.
    // 8-bit (nBitsStoredA == 8): nBitsStoredB must be 8 too; colour images
    // (nBitsPerPixel 24) are taken as three samples a pixel, and the widths,
    // heights and channel counts must match. 16-bit (nBitsStoredA 9..16):
    // widths, heights and nBitsStoredB must match; present is
    // (1 << nBitsStoredA) - 1. Any mismatch or bad depth: false, nothing written.
    static bool CreateUnionBetweenImages(unsigned char* pSrcA, unsigned char* pSrcB,
                                         unsigned char* pDst, int nWidthA, int nHeightA,
                                         int nBitsPerPixelA, int nBitsStoredA, int nWidthB,
                                         int nHeightB, int nBitsPerPixelB, int nBitsStoredB);

    // One thickening step of the set pSrcA constrained by pSrcB:
    // pDst = (A u hit-or-miss(A)) n B, where hit-or-miss(A) is the erosion of
    // A by the hit element intersected with the erosion of the complement of
    // A by the miss element (both through ApplyErosionWithSE; their failures
    // are ignored). pDst may equal pSrcA or pSrcB.
    // 16-bit: the complement is taken over all 16 bits, so for fewer stored
    // bits it is never 0 and the miss erosion removes nothing.
    // False for 24-bit colour, bad depths and failed scratch allocation
    // (pDst untouched).
    static bool ApplyThicknessWavStage(unsigned char* pSrcA, unsigned char* pSrcB,
                                       unsigned char* pDst, int nBitsPerPixel, int nBitsStored,
                                       int nWidth, int nHeight, const int* pHitSE, int nHitSEHeight,
                                       int nHitSEWidth, int nHitSECount, const int* pMissSE,
                                       int nMissSEHeight, int nMissSEWidth, int nMissSECount);

private:
    CDipThickness();
    ~CDipThickness();

    static bool CreateIntersectionBetweenImages8bits(unsigned char* pSrcA, unsigned char* pSrcB,
                                                     unsigned char* pDst, int nWidthA, int nHeightA,
                                                     int nChannelsA, int nWidthB, int nHeightB,
                                                     int nChannelsB);
    static bool CreateIntersectionBetweenImages16bits(unsigned short* pSrcA, unsigned short* pSrcB,
                                                      unsigned short* pDst, int nWidthA,
                                                      int nHeightA, int nWidthB, int nHeightB,
                                                      int nBitsStoredA, int nBitsStoredB);
    static bool CreateUnionBetweenImages8bits(unsigned char* pSrcA, unsigned char* pSrcB,
                                              unsigned char* pDst, int nWidthA, int nHeightA,
                                              int nChannelsA, int nWidthB, int nHeightB,
                                              int nChannelsB);
    static bool CreateUnionBetweenImages16bits(unsigned short* pSrcA, unsigned short* pSrcB,
                                               unsigned short* pDst, int nWidthA, int nHeightA,
                                               int nWidthB, int nHeightB, int nBitsStoredA,
                                               int nBitsStoredB);
    static void CreateComplementaryImage8bits(unsigned char* pSrc, unsigned char* pDst, int nWidth,
                                              int nHeight, int nChannels);
    static void CreateComplementaryImage16bits(unsigned short* pSrc, unsigned short* pDst,
                                               int nWidth, int nHeight);
    static bool ApplyThicknessStage8bits(unsigned char* pSrcA, unsigned char* pSrcB,
                                         unsigned char* pDst, int nChannels, int nWidth,
                                         int nHeight, const int* pHitSE, int nHitSEHeight,
                                         int nHitSEWidth, int nHitSECount, const int* pMissSE,
                                         int nMissSEHeight, int nMissSEWidth, int nMissSECount);
    static bool ApplyThicknessStage16bits(unsigned short* pSrcA, unsigned short* pSrcB,
                                          unsigned short* pDst, int nWidth, int nHeight,
                                          int nBitsStored, const int* pHitSE, int nHitSEHeight,
                                          int nHitSEWidth, int nHitSECount, const int* pMissSE,
                                          int nMissSEHeight, int nMissSEWidth, int nMissSECount);
};

#endif  // ZETDIP_DIPTHICKNESS_H
