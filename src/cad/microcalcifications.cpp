#include "cad/microcalcifications.h"

#include "DipClustering.h"

using namespace zetdip::detail;

// The growings below have no way to report failure: when no stack memory can
// be had they stop, and the pixels taken so far stay taken.
void CDipClustering::SearchAWholeMicrocalcification8Bits(unsigned char* pBinary, int* pVisited,
                                                         int nX, int nY, int& nMinX, int& nMinY,
                                                         int& nMaxX, int& nMaxY, int nWidth,
                                                         int nHeight) {
    BlobStack stack;
    GrowMicrocalcification(pBinary, pVisited, nX, nY, nMinX, nMinY, nMaxX, nMaxY, nWidth, nHeight,
                           stack);
}

void CDipClustering::SearchAWholeMicrocalcification16Bits(unsigned short* pBinary, int* pVisited,
                                                          int nX, int nY, int& nMinX, int& nMinY,
                                                          int& nMaxX, int& nMaxY, int nWidth,
                                                          int nHeight) {
    BlobStack stack;
    GrowMicrocalcification(pBinary, pVisited, nX, nY, nMinX, nMinY, nMaxX, nMaxY, nWidth, nHeight,
                           stack);
}

int CDipClustering::SearchAnObject8Bits(unsigned char* pStretched, int nX, int nY, int nWidth,
                                        int nHeight, int nLeft, int nTop, int nRight, int nBottom,
                                        double dPixelSize) {
    return SearchAnObject(pStretched, nX, nY, nWidth, nHeight, nLeft, nTop, nRight, nBottom,
                          dPixelSize, 255);
}

int CDipClustering::SearchAnObject16Bits(unsigned short* pStretched, int nX, int nY, int nWidth,
                                         int nHeight, int nLeft, int nTop, int nRight, int nBottom,
                                         double dPixelSize, int nMaxValue) {
    return SearchAnObject(pStretched, nX, nY, nWidth, nHeight, nLeft, nTop, nRight, nBottom,
                          dPixelSize, nMaxValue);
}

// As for the growings, running out of stack memory ends the scan early.
void CDipClustering::SearchEveryMicrocalcification8Bits(unsigned char* pSrc, unsigned char* pBinary,
                                                        int* pVisited, int* pCentres, int nTop,
                                                        int nLeft, int nBottom, int nRight,
                                                        double dPixelSizeX, double dPixelSizeY,
                                                        int nWidth, int nHeight) {
    BlobStack stack;
    SearchEveryMicrocalcification(pSrc, pBinary, pVisited, pCentres, 8, nTop, nLeft, nBottom,
                                  nRight, dPixelSizeX, dPixelSizeY, nWidth, nHeight, stack);
}

void CDipClustering::SearchEveryMicrocalcification16Bits(unsigned short* pSrc,
                                                         unsigned short* pBinary, int* pVisited,
                                                         int* pCentres, int nBitsStored, int nTop,
                                                         int nLeft, int nBottom, int nRight,
                                                         double dPixelSizeX, double dPixelSizeY,
                                                         int nWidth, int nHeight) {
    BlobStack stack;
    SearchEveryMicrocalcification(pSrc, pBinary, pVisited, pCentres, nBitsStored, nTop, nLeft,
                                  nBottom, nRight, dPixelSizeX, dPixelSizeY, nWidth, nHeight,
                                  stack);
}
