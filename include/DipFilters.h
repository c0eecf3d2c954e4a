// Neighbourhood filters and breast segmentation.
#ifndef ZETDIP_DIPFILTERS_H
#define ZETDIP_DIPFILTERS_H

#include "ZetDIPExport.h"

// Orientation of mammograms for the breast operations: the breast touches one
// vertical edge (the chest-wall side), and the chest-wall end of an MLO view
// (axilla, pectoral muscle) lies at the HIGH row indices. This is the
// opposite of a DICOM image's top-down rows: a host flips such an image
// vertically before the call and flips masks back afterwards.
class ZETDIP_API CDipFilters {
public:
    CDipFilters& operator=(const CDipFilters& other);

    // ---- Breast segmentation ----

    // Side of the breast from eight probes of row (int)(nHeight * fRowFraction)
    // at columns (k * nWidth) / 8 - 1: 1 when more probes of the right half
    // than of the left are brighter than the background level, 0 for the
    // reverse, -1 when equal or refused (bad depth, 24-bit colour).
    // 8-bit: level 25 / 16-bit: level (1 << nBitsStored) / 10, both strict.
    // fRowFraction must lie in [0, 1). Probes outside the buffer are not bright.
    static int IsOnTheRightOrLeftSideOfTheImage(unsigned char* pSrc, int nBitsPerPixel,
                                                int nBitsStored, int nWidth, int nHeight,
                                                float fRowFraction);

    // Binary mask of the breast (full scale inside, 0 outside) built from the
    // breast edge of each row of a thresholded, smoothed, diagonally
    // differentiated copy, then cleaned below 9/10 of the height, eroded
    // twice with a line and patched upward from the widest row.
    // pDst must differ from pSrc. dPixelSize in mm (> 0).
    // When no probe row decides the side, pDst is filled and true returned:
    // 8-bit: 255 / 16-bit: 1 << nBitsStored (0 at 16 bits).
    // 8-bit: bBreastOnRight is only read / 16-bit: set to true when the probe
    // says right (never set to false), and the top corner away from the
    // breast is cleared. False for bad depths, 24-bit colour, no memory.
    static bool CreateMaskOfBreast(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                   int nBitsStored, int nWidth, int nHeight, bool& bBreastOnRight,
                                   double dPixelSize);

    // Clears the pectoral muscle from a breast mask in place: the image is
    // stretched and thresholded at a level from the reference pixel at row
    // nHeight - nHeight / 10, opened, and the muscle run from the chest-wall
    // edge is cleared from the mask row by row toward row 0 while it stays at
    // least 3 mm wide. False (mask untouched) when the reference pixel is
    // darker than a third of the range, for bad depths, 24-bit colour, no memory.
    // 8-bit: the opening used reports false after success, so the 8-bit
    // removal returns false with the mask untouched (intended).
    static bool RemovePectoralMuscleFromMask(unsigned char* pSrc, unsigned char* pMask,
                                             int nBitsPerPixel, int nBitsStored, int nWidth,
                                             int nHeight, bool bBreastOnRight, double dPixelSize);

private:
    CDipFilters();
    ~CDipFilters();

    static int IsOnTheRightOrLeftSideOfTheImage8Bits(unsigned char* pSrc, int nChannels, int nWidth,
                                                     int nHeight, float fRowFraction);
    static int IsOnTheRightOrLeftSideOfTheImage16Bits(unsigned short* pSrc, int nBitsStored,
                                                      int nWidth, int nHeight, float fRowFraction);
    static bool CreateMaskOfBreast8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                        int nWidth, int nHeight, bool& bBreastOnRight,
                                        double dPixelSize);
    static bool CreateMaskOfBreast16Bits(unsigned short* pSrc, unsigned short* pDst,
                                         int nBitsStored, int nWidth, int nHeight,
                                         bool& bBreastOnRight, double dPixelSize);
    static bool RemovePectoralMuscleFromMask8Bits(unsigned char* pSrc, unsigned char* pMask,
                                                  int nChannels, int nWidth, int nHeight,
                                                  bool bBreastOnRight, double dPixelSize);
    static bool RemovePectoralMuscleFromMask16Bits(unsigned short* pSrc, unsigned short* pMask,
                                                   int nBitsStored, int nWidth, int nHeight,
                                                   bool bBreastOnRight, double dPixelSize);
};

#endif  // ZETDIP_DIPFILTERS_H
