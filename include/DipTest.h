// Experimental test bench.
#ifndef ZETDIP_DIPTEST_H
#define ZETDIP_DIPTEST_H

#include "HostFramework.h"
#include "ZetDIPExport.h"

class ZETDIP_API CDipTest {
public:
    CDipTest& operator=(const CDipTest& other);

    // Simpler clustering of a candidate image: appends one centre per cluster.
    // A microcalcification is any 8-connected candidate blob (anywhere, no
    // mask, no margin, no grey check) whose longer side measures 0.1 .. 1.0 mm;
    // members are linked within 6.4 mm in x and in y; a cluster needs 3
    // members and an extent of at most 21 mm. Each kept cluster appends its
    // mean position (cx, nHeight - cy). No circles, no merging; repeated calls
    // append again and the array is never emptied.
    // 16-bit: the caller's pBinary is first adjusted in place with
    // CDipBasic::AdjustPixels16Bits(nBitsStored, nHighBit), so it comes back
    // changed. 8-bit: colour is refused.
    // False for bad depth, colour or no memory (the array untouched then).
    static bool ApplyClustering(unsigned char* pBinary, CArray<CPoint, const CPoint&>& arrCentres,
                                int nBitsPerPixel, int nBitsStored, int nWidth, int nHeight,
                                int nHighBit, double dPixelSizeX, double dPixelSizeY);

protected:
    CDipTest();
    ~CDipTest();

    static bool ApplyClustering8Bits(unsigned char* pBinary,
                                     CArray<CPoint, const CPoint&>& arrCentres, int nHeight,
                                     int nWidth, int nChannels, double dPixelSizeX,
                                     double dPixelSizeY);
    static bool ApplyClustering16Bits(unsigned short* pBinary,
                                      CArray<CPoint, const CPoint&>& arrCentres, int nHeight,
                                      int nWidth, int nBitsStored, double dPixelSizeX,
                                      double dPixelSizeY);

    // Grows the cluster of centre-map entries containing (nX, nY), marking
    // pVisited and widening the box, count and sums; members reach 6.4 mm.
    static void SearchAWholeCluster(int* pCentres, int* pVisited, int nX, int nY, int& nMinX,
                                    int& nMinY, int& nMaxX, int& nMaxY, int& nCount, int nWidth,
                                    int nHeight, double dPixelSizeX, double dPixelSizeY, int& nSumX,
                                    int& nSumY);

    // Grows the 8-connected candidate blob containing (nX, nY) (the same
    // growing as the clustering's): marks pVisited and widens the box; a pixel
    // on the image border is taken but the blob does not spread from it.
    static void SearchAWholeMicrocalcification8Bits(unsigned char* pBinary, int* pVisited, int nX,
                                                    int nY, int& nMinX, int& nMinY, int& nMaxX,
                                                    int& nMaxY, int nWidth, int nHeight);
    static void SearchAWholeMicrocalcification16Bits(unsigned short* pBinary, int* pVisited, int nX,
                                                     int nY, int& nMinX, int& nMinY, int& nMaxX,
                                                     int& nMaxY, int nWidth, int nHeight);
};

#endif  // ZETDIP_DIPTEST_H
