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

// The free centres of a centre map, kept in place of the taken-map as links
// to the next row of the same column holding a free centre (a free centre
// links to its own row, the last row to nHeight). Following the links, with
// each visited link moved one step closer to its end, finds the free centres
// of a window column in time close to their number, so a cluster growing
// costs the width of a window per member rather than its area.
class FreeCentres {
public:
    // pLinks (nWidth * nHeight ints, row-major) holds the taken-map on entry:
    // a centre is free where pCentres is non-zero and pLinks is 0.
    FreeCentres(const int* pCentres, int* pLinks, int nWidth, int nHeight);

    bool IsFree(int x, int y) const { return Link(x, y) == y; }
    void Take(int x, int y) { Link(x, y) = y + 1; }
    // The first row from y on (y < nHeight) whose centre in column x is free, or nHeight.
    int NextFree(int x, int y);

private:
    int& Link(int x, int y) const {
        return m_pLinks[static_cast<std::size_t>(y) * m_nStride + static_cast<std::size_t>(x)];
    }
    int* m_pLinks;
    std::size_t m_nStride;
    int m_nHeight;
};

// Grows, in row-major order of their first member, every cluster of free
// centres and hands its summary to onCluster. A cluster is what GrowCluster
// gathers from its first member: the members it reaches and its summary do
// not depend on the order of the visits, so the window of each member is
// searched column by column through FreeCentres instead. pVisited (the
// taken-map, nWidth * nHeight ints) holds the links afterwards. The stack
// holds the members still to spread from, at most one frame each. False
// when the stack could not grow (the scan stops there).
template <class OnCluster>
bool ForEachCluster(const int* pCentres, int* pVisited, double dPixelSizeX, double dPixelSizeY,
                    int nWidth, int nHeight, double dReachMm, ClusterStack& stack,
                    OnCluster&& onCluster) {
    // No row is scanned without a column, however many rows there are.
    if (nWidth <= 0 || nHeight <= 0) return true;
    FreeCentres free(pCentres, pVisited, nWidth, nHeight);
    const int rx = TruncToInt(dReachMm / dPixelSizeX);
    const int ry = TruncToInt(dReachMm / dPixelSizeY);
    // As in GrowCluster: only a member whose whole window lies in the image spreads.
    auto spreads = [&](int x, int y) {
        return rx >= 0 && ry >= 0 && x - rx >= 0 && static_cast<long long>(x) + rx < nWidth &&
               y - ry >= 0 && static_cast<long long>(y) + ry < nHeight;
    };
    for (int y = 0; y < nHeight; ++y) {
        for (int x = 0; x < nWidth; ++x) {
            if (!free.IsFree(x, y)) continue;
            ClusterSummary s{nWidth, nHeight, 0, 0, 0, 0, 0};
            // The frames hold the positions of members to spread from.
            auto take = [&](int mx, int my) {
                free.Take(mx, my);
                ++s.nCount;
                s.nMinX = std::min(s.nMinX, mx);
                s.nMaxX = std::max(s.nMaxX, mx);
                s.nMinY = std::min(s.nMinY, my);
                s.nMaxY = std::max(s.nMaxY, my);
                s.nSumX = WrapAdd(s.nSumX, mx);
                s.nSumY = WrapAdd(s.nSumY, my);
                return !spreads(mx, my) || stack.Push(ClusterOffset{mx, my});
            };
            stack.Clear();
            if (!take(x, y)) return false;
            while (!stack.Empty()) {
                const ClusterOffset m = stack.Pop();
                for (int c = m.dx - rx; c <= m.dx + rx; ++c)
                    for (int r = free.NextFree(c, m.dy - ry); r <= m.dy + ry;
                         r = free.NextFree(c, r))
                        if (!take(c, r)) return false;
            }
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
