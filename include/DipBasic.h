// 16-bit pixel word adjustment: bring the stored bits of DICOM-style words
// down to bit 0, back up again, and toggle the sign bit of signed samples.
#ifndef ZETDIP_DIPBASIC_H
#define ZETDIP_DIPBASIC_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipBasic {
public:
    CDipBasic(const CDipBasic& other);
    CDipBasic& operator=(const CDipBasic& other);

    // Right-aligns the stored bits of nWidth * nHeight words in place.
    // shift = nHighBit - nBitsStored + 1, mask = 0xFFFF >> (16 - nBitsStored):
    // shift 0 masks each word, shift > 0 gives (w >> shift) & mask, and a
    // negative shift leaves the words untouched (unlike UnAdjustPixels16Bits).
    static void AdjustPixels16Bits(unsigned short* pSrc, int nBitsStored, int nHighBit, int nWidth,
                                   int nHeight);

    // Moves the stored bits of nCount words back up: w << shift, low 16 bits.
    // The shift count is taken modulo 32, so shift -1 clears every word.
    static void UnAdjustPixels16Bits(unsigned short* pSrc, int nBitsStored, int nHighBit,
                                     int nCount);

    // Toggles bit nBitsStored - 1 of nCount words when nPixelRepresentation is 1
    // and nBitsPerPixel is neither 8 nor 24: two's complement <-> offset binary.
    // Its own inverse; ConvertToUnsignedIfNeeded is the same operation.
    static void ConvertToSignedIfNeeded(unsigned short* pSrc, int nPixelRepresentation,
                                        int nBitsPerPixel, int nCount, int nBitsStored);
    static void ConvertToUnsignedIfNeeded(unsigned short* pSrc, int nPixelRepresentation,
                                          int nBitsPerPixel, int nCount, int nBitsStored);

protected:
    CDipBasic();
    virtual ~CDipBasic();

    // Each of nCount words becomes (w >> nShift) & nMask.
    static void ShiftAndMaskUnusedBits16(unsigned short* pSrc, unsigned short nMask, int nShift,
                                         int nCount);
    // Each of nCount words becomes w & nMask.
    static void MaskUnusedBits16(unsigned short* pSrc, unsigned short nMask, int nCount);
    // nValue ^ (1 << (nBitsStored - 1)) in 16 bits.
    static unsigned short TwosComplement(int nBitsStored, unsigned short nValue);
    // Same operation as ConvertToSignedIfNeeded.
    static void SignedUnSignedIfNeeded(unsigned short* pSrc, int nPixelRepresentation,
                                       int nBitsPerPixel, int nCount, int nBitsStored);
};

#endif  // ZETDIP_DIPBASIC_H
