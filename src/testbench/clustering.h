// The test bench's simpler clustering of a candidate image, one body for
// both sample types.
#ifndef ZETDIP_TESTBENCH_CLUSTERING_H
#define ZETDIP_TESTBENCH_CLUSTERING_H

#include <algorithm>
#include <cstddef>

#include "cad/clusters.h"
#include "cad/microcalcifications.h"
#include "core/common.h"

namespace zetdip::detail {

// Every candidate blob whose longer side measures 0.1 .. 1.0 mm marks its
// box centre with nCentreMark (only its being non-zero matters); clusters
// linked within 6.4 mm with at least 3 members and an extent of at most
// 21 mm append (cx, nHeight - cy). False when memory runs out, before the
// array is touched.
template <class T>
bool BenchClustering(const T* pBinary, PointArray& arrCentres, int nHeight, int nWidth,
                     int nCentreMark, double dPixelSizeX, double dPixelSizeY) {
    const std::size_t n = SampleCount(nWidth, nHeight);
    const std::size_t w = static_cast<std::size_t>(nWidth > 0 ? nWidth : 0);
    std::unique_ptr<int[]> pVisited = NewScratch<int>(n);
    if (!pVisited) return false;
    std::fill(pVisited.get(), pVisited.get() + n, 0);
    std::unique_ptr<int[]> pCentres = NewScratch<int>(n);
    if (!pCentres) return false;
    std::fill(pCentres.get(), pCentres.get() + n, 0);

    {
        BlobStack blobs;
        // No row is scanned without a column, however many rows there are.
        for (int y = 0; y < nHeight && nWidth > 0; ++y) {
            for (int x = 0; x < nWidth; ++x) {
                const std::size_t i = static_cast<std::size_t>(y) * w + static_cast<std::size_t>(x);
                if (pBinary[i] == 0 || pVisited[i] != 0) continue;
                int nMinX = nWidth, nMinY = nHeight, nMaxX = 0, nMaxY = 0;
                if (!GrowMicrocalcification(pBinary, pVisited.get(), x, y, nMinX, nMinY, nMaxX,
                                            nMaxY, nWidth, nHeight, blobs))
                    return false;
                const int nW = nMaxX - nMinX + 1;
                const int nH = nMaxY - nMinY + 1;
                const int nD = nW > nH ? nW : nH;
                const double dPixelSize = nW < nH ? dPixelSizeY : dPixelSizeX;
                if (0.1 / dPixelSize <= nD && nD <= 1.0 / dPixelSize)
                    pCentres[static_cast<std::size_t>(nMinY + nH / 2) * w +
                             static_cast<std::size_t>(nMinX + nW / 2)] = nCentreMark;
            }
        }
    }

    // A fresh taken-map for the cluster search.
    pVisited.reset();
    pVisited = NewScratch<int>(n);
    if (!pVisited) return false;
    std::fill(pVisited.get(), pVisited.get() + n, 0);
    ClusterStack clusters;
    if (!clusters.Reserve(CountCentres(pCentres.get(), nWidth, nHeight))) return false;
    return ForEachCluster(pCentres.get(), pVisited.get(), dPixelSizeX, dPixelSizeY, nWidth, nHeight,
                          kBenchReachMm, clusters, [&](const ClusterSummary& s) {
                              const auto [nExtent, dPixelSize, cx, cy] =
                                  ShapeOf(s, dPixelSizeX, dPixelSizeY);
                              if (s.nCount >= 3 && nExtent <= 21.0 / dPixelSize)
                                  arrCentres.Add(CPoint(cx, WrapSub(nHeight, cy)));
                          });
}

}  // namespace zetdip::detail

#endif  // ZETDIP_TESTBENCH_CLUSTERING_H
