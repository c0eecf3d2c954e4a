// Contrast stretching and contrast manipulation (point operations).
#ifndef ZETDIP_DIPENHANCEMENT_H
#define ZETDIP_DIPENHANCEMENT_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipEnhancement {
public:
    CDipEnhancement& operator=(const CDipEnhancement& other);

    // Linear stretch of the band [lo, hi) onto the full range M (255, or
    // (1 << nBitsStored) - 1): v < lo -> 0, lo <= v < hi -> (v - lo) * gain,
    // v >= hi -> M, with the integral gain M / (hi - lo). nLow and nHigh may
    // come in either order; nLow == nHigh writes nothing. pDst may equal pSrc.
    // 8-bit: all nChannels * nWidth * nHeight samples (24-bit colour too).
    // Returns true for 8..16 stored bits, false otherwise.
    static bool ApplyStretching(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                int nBitsStored, int nWidth, int nHeight, int nLow, int nHigh);

    // Contrast manipulation: with max the image maximum, (float)v < max * 0.5
    // gives 0, anything else 2 * v - max. pDst may equal pSrc.
    // Returns false for 24-bit colour (nothing written) and bad depths.
    static bool ApplyContrastManip(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                   int nBitsStored, int nWidth, int nHeight);

    // Masked contrast manipulation: max is taken where pMask is non-zero; then
    // every sample v (inside the mask or not) gives 0 when v < (float)(max / 2.05f),
    // else (int)((v * 2.05 - max) / 1.05) with only its low 8 (16) bits stored,
    // so a sample brighter than max wraps. pDst may equal pSrc.
    static bool ApplyContrastManip(unsigned char* pSrc, unsigned char* pMask, unsigned char* pDst,
                                   int nBitsPerPixel, int nBitsStored, int nWidth, int nHeight);

private:
    CDipEnhancement();
    ~CDipEnhancement();

    static void ApplyStretching8bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                     int nWidth, int nHeight, int nLow, int nHigh);
    static void ApplyStretching16bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                      int nWidth, int nHeight, int nLow, int nHigh);
    static bool ApplyContrastManip8bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                        int nWidth, int nHeight);
    static bool ApplyContrastManip8bits(unsigned char* pSrc, unsigned char* pMask,
                                        unsigned char* pDst, int nChannels, int nWidth,
                                        int nHeight);
    static void ApplyContrastManip16bits(unsigned short* pSrc, unsigned short* pMask,
                                         unsigned short* pDst, int nWidth, int nHeight);
    static void ApplyContrastManip16bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                         int nHeight);
};

#endif  // ZETDIP_DIPENHANCEMENT_H
