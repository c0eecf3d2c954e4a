// Biorthogonal wavelet transform, decomposition and reconstruction.
#ifndef ZETDIP_DIPWAVELET_H
#define ZETDIP_DIPWAVELET_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipWavelet {
public:
    CDipWavelet& operator=(const CDipWavelet& other);

    // Decomposes an image into up to four levels of a 2-D wavelet pyramid of
    // doubles in pCoef (nWidth * nHeight values, the pixels copied unscaled).
    // Each level transforms the rows, then the columns, of the upper-left low
    // band (w x h, starting at the image size); the low half of each run goes
    // first. A level is performed only while w and h are both at least 16.
    // pWidthOdd[k] / pHeightOdd[k] (at least 4 entries) receive the band's
    // width / height parity at level k; rLowWidth / rLowHeight the low-band
    // size after the last level. The trailing int is ignored.
    // False for a bad depth, 24-bit colour, a null parity array or a failed
    // scratch allocation (pCoef may then already hold the pixels).
    static bool ApplyWaveletDecomposition(unsigned char* pSrc, double* pCoef, int nWidth,
                                          int nHeight, int nBitsPerPixel, int nBitsStored,
                                          int& rLowWidth, int& rLowHeight, int* pWidthOdd,
                                          int* pHeightOdd, int /*nIgnored*/);

    // Rebuilds a binary image from a pyramid made by ApplyWaveletDecomposition,
    // keeping the detail bands of levels nKeepLevelA and nKeepLevelB only. The
    // coarsest approximation is dropped; a level that is not kept has its
    // detail rows and columns zeroed across the whole coefficient image (finer
    // levels included). pCoef is overwritten. Each sample is then the low bits
    // of (int)|value| (no clamping: 300 gives 44 in 8 bits), thresholded in
    // place at half the range to 0 / maximum.
    // 8-bit: value = coefficient, threshold 128.
    // 16-bit: value = coefficient * 2^nBitsStored / 256 (the decomposition
    // does not scale, so the round trip scales by that factor: intended),
    // threshold 2^nBitsStored / 2.
    // False for a bad depth, 24-bit colour, a null parity array or a failed
    // scratch allocation. Levels whose runs would not fit the image are not
    // transformed.
    static bool ApplyWaveletReconstruction(double* pCoef, unsigned char* pDst, int nBitsPerPixel,
                                           int nBitsStored, int nWidth, int nHeight,
                                           int nKeepLevelA, int nKeepLevelB, int nLowWidth,
                                           int nLowHeight, int* pWidthOdd, int* pHeightOdd,
                                           int nLevels);

    // Set difference A minus B: 0 where pSrcB is non-zero, else the pSrcA
    // sample. pDst may equal pSrcA or pSrcB. 8-bit: all nChannels * nWidth *
    // nHeight samples (24-bit colour too). True for 8..16 stored bits.
    static bool ApplySubstraction(unsigned char* pSrcA, unsigned char* pSrcB, unsigned char* pDst,
                                  int nBitsPerPixel, int nBitsStored, int nWidth, int nHeight);

private:
    CDipWavelet();
    ~CDipWavelet();

    // One-level forward transform of a run, in place: the (nLength + nOdd) / 2
    // low-pass values, then the high-pass values. False only when its scratch
    // cannot be allocated (pData untouched).
    static bool ApplyWaveletTransform(double* pData, int nLength, int nOdd);
    // Its inverse over 2 * nLowCount - nOdd values, in place; the trailing int
    // is ignored. False only when its scratch cannot be allocated.
    static bool ApplyInverseWaveletTransform(double* pData, int nLowCount, int nOdd,
                                             int /*nIgnored*/);

    static bool ApplyWaveletDecomposition8Bits(unsigned char* pSrc, double* pCoef, int nWidth,
                                               int nHeight, int nChannels, int& rLowWidth,
                                               int& rLowHeight, int* pWidthOdd, int* pHeightOdd,
                                               int /*nIgnored*/);
    static bool ApplyWaveletDecomposition16Bits(unsigned short* pSrc, double* pCoef, int nWidth,
                                                int nHeight, int& rLowWidth, int& rLowHeight,
                                                int* pWidthOdd, int* pHeightOdd, int /*nIgnored*/);
    static bool ApplyWaveletReconstruction8bits(double* pCoef, unsigned char* pDst, int nChannels,
                                                int nWidth, int nHeight, int nKeepLevelA,
                                                int nKeepLevelB, int nLowWidth, int nLowHeight,
                                                int* pWidthOdd, int* pHeightOdd, int nLevels);
    static bool ApplyWaveletReconstruction16bits(double* pCoef, unsigned short* pDst,
                                                 int nBitsStored, int nWidth, int nHeight,
                                                 int nKeepLevelA, int nKeepLevelB, int nLowWidth,
                                                 int nLowHeight, int* pWidthOdd, int* pHeightOdd,
                                                 int nLevels);
    static void ApplySubstraction8Bits(unsigned char* pSrcA, unsigned char* pSrcB,
                                       unsigned char* pDst, int nWidth, int nHeight, int nChannels);
    static void ApplySubstraction16Bits(unsigned short* pSrcA, unsigned short* pSrcB,
                                        unsigned short* pDst, int nWidth, int nHeight);
};

#endif  // ZETDIP_DIPWAVELET_H
