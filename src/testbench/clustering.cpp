#include "testbench/clustering.h"

#include "DipBasic.h"
#include "DipTest.h"

using namespace zetdip::detail;

bool CDipTest::ApplyClustering(unsigned char* pBinary, CArray<CPoint, const CPoint&>& arrCentres,
                               int nBitsPerPixel, int nBitsStored, int nWidth, int nHeight,
                               int nHighBit, double dPixelSizeX, double dPixelSizeY) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyClustering8Bits(pBinary, arrCentres, nHeight, nWidth,
                                        ChannelsOf(nBitsPerPixel), dPixelSizeX, dPixelSizeY);
        case Depth::k16:
            // The caller's image comes back adjusted.
            CDipBasic::AdjustPixels16Bits(AsWords(pBinary), nBitsStored, nHighBit, nWidth, nHeight);
            return ApplyClustering16Bits(AsWords(pBinary), arrCentres, nHeight, nWidth, nBitsStored,
                                         dPixelSizeX, dPixelSizeY);
        default:
            return false;
    }
}

bool CDipTest::ApplyClustering8Bits(unsigned char* pBinary,
                                    CArray<CPoint, const CPoint&>& arrCentres, int nHeight,
                                    int nWidth, int nChannels, double dPixelSizeX,
                                    double dPixelSizeY) {
    if (nChannels != 1) return false;
    return BenchClustering(pBinary, arrCentres, nHeight, nWidth, 255, dPixelSizeX, dPixelSizeY);
}

bool CDipTest::ApplyClustering16Bits(unsigned short* pBinary,
                                     CArray<CPoint, const CPoint&>& arrCentres, int nHeight,
                                     int nWidth, int nBitsStored, double dPixelSizeX,
                                     double dPixelSizeY) {
    return BenchClustering(pBinary, arrCentres, nHeight, nWidth, PowerOfTwo(nBitsStored),
                           dPixelSizeX, dPixelSizeY);
}

// Without stack memory the growing stops; the members taken so far stay taken.
void CDipTest::SearchAWholeCluster(int* pCentres, int* pVisited, int nX, int nY, int& nMinX,
                                   int& nMinY, int& nMaxX, int& nMaxY, int& nCount, int nWidth,
                                   int nHeight, double dPixelSizeX, double dPixelSizeY, int& nSumX,
                                   int& nSumY) {
    ClusterStack stack;
    GrowCluster(pCentres, pVisited, nX, nY, nMinX, nMinY, nMaxX, nMaxY, nCount, nWidth, nHeight,
                dPixelSizeX, dPixelSizeY, nSumX, nSumY, kBenchReachMm, stack);
}

// The same growing as CDipClustering's; without stack memory it stops early.
void CDipTest::SearchAWholeMicrocalcification8Bits(unsigned char* pBinary, int* pVisited, int nX,
                                                   int nY, int& nMinX, int& nMinY, int& nMaxX,
                                                   int& nMaxY, int nWidth, int nHeight) {
    BlobStack stack;
    GrowMicrocalcification(pBinary, pVisited, nX, nY, nMinX, nMinY, nMaxX, nMaxY, nWidth, nHeight,
                           stack);
}

void CDipTest::SearchAWholeMicrocalcification16Bits(unsigned short* pBinary, int* pVisited, int nX,
                                                    int nY, int& nMinX, int& nMinY, int& nMaxX,
                                                    int& nMaxY, int nWidth, int nHeight) {
    BlobStack stack;
    GrowMicrocalcification(pBinary, pVisited, nX, nY, nMinX, nMinY, nMaxX, nMaxY, nWidth, nHeight,
                           stack);
}
