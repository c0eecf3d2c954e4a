// Grey-level histograms.
#ifndef ZETDIP_DIPHISTO_H
#define ZETDIP_DIPHISTO_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipHisto {
public:
    CDipHisto(const CDipHisto& other);
    CDipHisto& operator=(const CDipHisto& other);

    // Counts grey levels into a new array of (int)pow(2, nBitsStored) * nChannels
    // bins (reported through pnBins), released by the caller with delete[].
    // 24-bit colour is read as three consecutive planes, one histogram each.
    // 16-bit: the caller's image is first adjusted in place by
    // CDipBasic::AdjustPixels16Bits; samples that still exceed the last bin
    // (high bit below the stored width) are not counted.
    // Null for nBitsStored < 8 (pnBins untouched) or > 16 (pnBins written).
    static unsigned int* CreateHisto(unsigned char* pSrc, int nBitsPerPixel, int nBitsStored,
                                     int nHighBit, int nWidth, int nHeight, int* pnBins);

    // Does nothing; kept in the interface.
    static void DisplayHisto(unsigned int* pHisto, int nBins);

protected:
    CDipHisto();
    virtual ~CDipHisto();

    static void GetHisto8bits(unsigned int* pHisto, unsigned char* pSrc, int nBitsPerPixel,
                              int nWidth, int nHeight);
    // pHisto must hold a bin for every sample value present (65536 covers all).
    static void GetHisto16bits(unsigned int* pHisto, unsigned short* pSrc, int nWidth, int nHeight);
};

#endif  // ZETDIP_DIPHISTO_H
