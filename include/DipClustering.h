// Line search, false-positive removal, microcalcifications and clusters.
#ifndef ZETDIP_DIPCLUSTERING_H
#define ZETDIP_DIPCLUSTERING_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipClustering {
public:
    CDipClustering& operator=(const CDipClustering& other);

    // ---- Line-structure search ----

    // Binary image of north-south line structures: NS gradient, three 3x3
    // means, then, only when CalculateThresholding1 of that smoothed gradient
    // lies in [LEVEL / 6.3, LEVEL / 5.6] (LEVEL 256, or 1 << nBitsStored; for
    // 8-bit 41..45), contrast manipulation of the gradient, a threshold at
    // half its level, line erosions until the level repeats or falls to
    // LEVEL / 14, and four dilatations into pDst.
    // Outside the gate it returns false: 8-bit: pDst untouched / 16-bit: pDst all 0.
    // False for bad depths, 24-bit colour, no memory.
    static bool SearchLinesImage(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                 int nBitsStored, int nWidth, int nHeight);

    // Adds diagonal (south-west to north-east) line structures found inside
    // pMask to pLines by union (16-bit): masked SWNE gradient, contrast
    // manipulation, threshold at half the level, side borders of 5 mm cleared,
    // diagonal erosions while the level falls, four dilatations.
    // 8-bit: runs SearchLinesImage instead, overwriting pLines and ignoring
    // pMask and dPixelSize (intended). False for bad depths, 24-bit colour,
    // no memory, or a failing step.
    static bool SearchLinesSWNEImage(unsigned char* pSrc, unsigned char* pLines,
                                     unsigned char* pMask, int nBitsPerPixel, int nBitsStored,
                                     int nWidth, int nHeight, double dPixelSize);

private:
    CDipClustering();
    ~CDipClustering();

    static bool SearchLinesImage8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                      int nWidth, int nHeight);
    static bool SearchLinesImage16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                       int nWidth, int nHeight);
    // Not reachable from the public entries (8-bit diagonal requests go to the
    // north-south search); its 8-bit dilatation ends it with false.
    static bool SearchLinesImageSWNE8Bits(unsigned char* pSrc, unsigned char* pLines,
                                          unsigned char* pMask, int nChannels, int nWidth,
                                          int nHeight, double dPixelSize);
    static bool SearchLinesImageSWNE16Bits(unsigned short* pSrc, unsigned short* pLines,
                                           unsigned short* pMask, int nBitsStored, int nWidth,
                                           int nHeight, double dPixelSize);
};

#endif  // ZETDIP_DIPCLUSTERING_H
