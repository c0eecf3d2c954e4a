// Cluster search: growing clusters of microcalcification centres, the
// circle pairs of the clustering and their merging, and the clustering
// pipeline over both sample types.
#ifndef ZETDIP_CAD_CLUSTERS_H
#define ZETDIP_CAD_CLUSTERS_H

#include <algorithm>
#include <cstddef>

#include "HostFramework.h"
#include "cad/frame_stack.h"
#include "cad/microcalcifications.h"
#include "core/common.h"

namespace zetdip::detail {

using PointArray = CArray<CPoint, const CPoint&>;

// Reach of the clustering's and of the test bench's cluster growing, in mm.
inline constexpr double kClusteringReachMm = 6.8;
inline constexpr double kBenchReachMm = 6.4;

// A frame of the cluster growing: the offset of the member being visited
// from the one that reached it.
struct ClusterOffset {
    int dx;
    int dy;
};
using ClusterStack = FrameStack<ClusterOffset>;

// What a cluster growing gathers: inclusive box, member count, coordinate sums.
struct ClusterSummary {
    int nMinX, nMinY, nMaxX, nMaxY, nCount, nSumX, nSumY;
};

// Extent of a cluster (last minus first, without + 1, unlike a blob's box),
// the pixel size along its longer side and its truncated mean centre.
struct ClusterShape {
    int nExtent;
    double dPixelSize;
    int cx, cy;
};

inline ClusterShape ShapeOf(const ClusterSummary& s, double dPixelSizeX, double dPixelSizeY) {
    const int dx = s.nMaxX - s.nMinX;
    const int dy = s.nMaxY - s.nMinY;
    return {dx > dy ? dx : dy, dx < dy ? dPixelSizeY : dPixelSizeX, s.nSumX / s.nCount,
            s.nSumY / s.nCount};
}

// Grows the cluster of non-zero pCentres entries from (nX, nY) depth first,
// in the visiting order of the recursive definition: an entry that is 0 or
// already marked is left; otherwise it is counted, marked, widens the box
// and the sums, and when its reach window ((int)(dReachMm / dPixelSizeX)
// columns, (int)(dReachMm / dPixelSizeY) rows each side) lies in the image,
// the growing goes on at every window position, column offset outer, row
// offset inner. Returns false when the frame stack could not grow.
bool GrowCluster(const int* pCentres, int* pVisited, int nX, int nY, int& nMinX, int& nMinY,
                 int& nMaxX, int& nMaxY, int& nCount, int nWidth, int nHeight, double dPixelSizeX,
                 double dPixelSizeY, int& nSumX, int& nSumY, double dReachMm, ClusterStack& stack);

// Number of non-zero entries of a centre map: a bound on the depth of any
// cluster growing over it.
std::size_t CountCentres(const int* pCentres, int nWidth, int nHeight);

// Grows, in row-major order of their first member, every cluster of free
// centres and hands its summary to onCluster. False when the frame stack
// could not grow (the scan stops there).
template <class OnCluster>
bool ForEachCluster(const int* pCentres, int* pVisited, double dPixelSizeX, double dPixelSizeY,
                    int nWidth, int nHeight, double dReachMm, ClusterStack& stack,
                    OnCluster&& onCluster) {
    // No row is scanned without a column, however many rows there are.
    if (nWidth <= 0 || nHeight <= 0) return true;
    const std::size_t w = static_cast<std::size_t>(nWidth > 0 ? nWidth : 0);
    for (int y = 0; y < nHeight; ++y) {
        for (int x = 0; x < nWidth; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * w + static_cast<std::size_t>(x);
            if (pCentres[i] == 0 || pVisited[i] != 0) continue;
            ClusterSummary s{nWidth, nHeight, 0, 0, 0, 0, 0};
            if (!GrowCluster(pCentres, pVisited, x, y, s.nMinX, s.nMinY, s.nMaxX, s.nMaxY, s.nCount,
                             nWidth, nHeight, dPixelSizeX, dPixelSizeY, s.nSumX, s.nSumY, dReachMm,
                             stack))
                return false;
            onCluster(s);
        }
    }
    return true;
}

// Merges the circle (ptCentre, fRadius) into the first pair of the array that
// it overlaps and whose merged radius stays within 28 mm; true when no pair
// took it (the caller then appends it). An odd-sized array makes CArray throw
// at its last, incomplete pair.
bool ReplaceNonNecessaryCircles(PointArray& arrCircles, CPoint ptCentre, float fRadius,
                                double dPixelSize);

// Keeps the clusters of at least 4 members spanning at most 30.2 mm and
// appends (or merges) their circle pairs, y stored as nHeight - row. The
// stack should hold CountCentres frames; false when it could not grow.
bool SearchEveryCluster(PointArray& arrCircles, int* pVisited, const int* pCentres,
                        double dPixelSizeX, double dPixelSizeY, int nWidth, int nHeight,
                        ClusterStack& stack);

// The clustering pipeline; nBitsStored is 8 for 8-bit images. False when
// memory runs out, before the array is touched.
template <class T>
bool Clustering(const T* pSrc, const T* pBinary, const T* pMask, PointArray& arrCircles,
                int nHeight, int nWidth, int nBitsStored, double dPixelSizeX, double dPixelSizeY) {
    // A negative side is taken as 0: the scratch holds no sample then, while
    // the entries called on it would count -5 x -5 as 25 samples.
    nWidth = std::max(nWidth, 0);
    nHeight = std::max(nHeight, 0);
    const std::size_t n = SampleCount(nWidth, nHeight);
    std::unique_ptr<int[]> pVisited = NewScratch<int>(n);
    if (!pVisited) return false;
    // Outside the mask no blob may start or spread.
    for (std::size_t i = 0; i < n; ++i) pVisited[i] = pMask[i] == 0 ? 1 : 0;
    std::unique_ptr<int[]> pCentres = NewScratch<int>(n);
    if (!pCentres) return false;
    std::fill(pCentres.get(), pCentres.get() + n, 0);

    // Blobs start only 6.4 mm or more from every edge.
    const int nMarginX = TruncToInt(6.4 / dPixelSizeX);
    const int nMarginY = TruncToInt(6.4 / dPixelSizeY);
    {
        BlobStack blobs;
        if (!SearchEveryMicrocalcification(pSrc, pBinary, pVisited.get(), pCentres.get(),
                                           nBitsStored, nMarginY, nMarginX,
                                           WrapSub(nHeight, nMarginY), WrapSub(nWidth, nMarginX),
                                           dPixelSizeX, dPixelSizeY, nWidth, nHeight, blobs))
            return false;
    }
    // The cluster search is not confined to the mask.
    std::fill(pVisited.get(), pVisited.get() + n, 0);
    // Reserving the deepest possible growing up front means the array is
    // only touched once no allocation of ours can fail any more.
    ClusterStack clusters;
    if (!clusters.Reserve(CountCentres(pCentres.get(), nWidth, nHeight))) return false;
    return SearchEveryCluster(arrCircles, pVisited.get(), pCentres.get(), dPixelSizeX, dPixelSizeY,
                              nWidth, nHeight, clusters);
}

}  // namespace zetdip::detail

#endif  // ZETDIP_CAD_CLUSTERS_H
