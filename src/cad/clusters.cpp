#include "cad/clusters.h"

#include "DipClustering.h"
#include "ZetMath.h"

namespace zetdip::detail {

bool GrowCluster(const int* pCentres, int* pVisited, int nX, int nY, int& nMinX, int& nMinY,
                 int& nMaxX, int& nMaxY, int& nCount, int nWidth, int nHeight, double dPixelSizeX,
                 double dPixelSizeY, int& nSumX, int& nSumY, double dReachMm, ClusterStack& stack) {
    if (nX < 0 || nY < 0 || nX >= nWidth || nY >= nHeight) return true;
    const std::size_t w = static_cast<std::size_t>(nWidth);
    const int rx = TruncToInt(dReachMm / dPixelSizeX);
    const int ry = TruncToInt(dReachMm / dPixelSizeY);
    ClusterSummary s{nMinX, nMinY, nMaxX, nMaxY, nCount, nSumX, nSumY};

    // A member spreads only when its whole window lies in the image. A
    // negative reach (also one out of the int range) spreads nowhere, as the
    // window loops would run no time; a reach so large that x + rx leaves the
    // int range counts as leaving the image.
    auto spreads = [&](int x, int y) {
        return rx >= 0 && ry >= 0 && x - rx >= 0 && static_cast<long long>(x) + rx < nWidth &&
               y - ry >= 0 && static_cast<long long>(y) + ry < nHeight;
    };
    // Takes (x, y) when it is a free centre; true when the growing spreads from it.
    auto take = [&](int x, int y) {
        const std::size_t i = static_cast<std::size_t>(y) * w + static_cast<std::size_t>(x);
        if (pCentres[i] == 0 || pVisited[i] != 0) return false;
        ++s.nCount;
        pVisited[i] = 1;
        s.nMinX = std::min(s.nMinX, x);
        s.nMaxX = std::max(s.nMaxX, x);
        s.nMinY = std::min(s.nMinY, y);
        s.nMaxY = std::max(s.nMaxY, y);
        s.nSumX = WrapAdd(s.nSumX, x);
        s.nSumY = WrapAdd(s.nSumY, y);
        return spreads(x, y);
    };

    bool bComplete = true;
    if (take(nX, nY)) {
        stack.Clear();
        int x = nX, y = nY, dx = -rx, dy = -ry;
        for (;;) {
            // Look for the next member of the window of (x, y) from (dx, dy) on.
            bool bDescend = false;
            for (; dx <= rx; ++dx, dy = -ry) {
                const int* const pColumn = pCentres + static_cast<std::size_t>(x + dx);
                for (; dy <= ry; ++dy) {
                    const std::size_t nRow = static_cast<std::size_t>(y + dy) * w;
                    if (pColumn[nRow] == 0 || (dx == 0 && dy == 0)) continue;
                    if (take(x + dx, y + dy)) {
                        bDescend = true;
                        break;
                    }
                }
                if (bDescend) break;
            }
            if (bDescend) {
                if (!stack.Push(ClusterOffset{dx, dy})) {
                    bComplete = false;
                    break;
                }
                x += dx;
                y += dy;
                dx = -rx;
                dy = -ry;
            } else {
                if (stack.Empty()) break;
                const ClusterOffset back = stack.Pop();
                x -= back.dx;
                y -= back.dy;
                dx = back.dx;
                dy = back.dy + 1;
            }
        }
    }
    nMinX = s.nMinX;
    nMinY = s.nMinY;
    nMaxX = s.nMaxX;
    nMaxY = s.nMaxY;
    nCount = s.nCount;
    nSumX = s.nSumX;
    nSumY = s.nSumY;
    return bComplete;
}

FreeCentres::FreeCentres(const int* pCentres, int* pLinks, int nWidth, int nHeight)
    : m_pLinks(pLinks), m_nStride(static_cast<std::size_t>(nWidth)), m_nHeight(nHeight) {
    // Bottom up, so that every other cell links straight to the next free
    // centre below it: a column of few centres is crossed in one step
    // instead of a row at a time.
    for (int y = nHeight - 1; y >= 0; --y) {
        const std::size_t nRow = static_cast<std::size_t>(y) * m_nStride;
        for (std::size_t x = 0; x < m_nStride; ++x) {
            const int nBelow = y + 1 < nHeight ? pLinks[nRow + m_nStride + x] : nHeight;
            pLinks[nRow + x] = pCentres[nRow + x] != 0 && pLinks[nRow + x] == 0 ? y : nBelow;
        }
    }
}

int FreeCentres::NextFree(int x, int y) {
    // Links only point down the column; each one passed is moved on to the
    // link it points to (path splitting).
    while (y < m_nHeight) {
        int& link = Link(x, y);
        if (link == y) return y;
        const int nNext = link;
        if (nNext < m_nHeight) link = Link(x, nNext);
        y = nNext;
    }
    return m_nHeight;
}

std::size_t CountCentres(const int* pCentres, int nWidth, int nHeight) {
    const std::size_t n = SampleCount(nWidth, nHeight);
    std::size_t nCount = 0;
    for (std::size_t i = 0; i < n; ++i) nCount += pCentres[i] != 0 ? 1 : 0;
    return nCount;
}

bool ReplaceNonNecessaryCircles(PointArray& arrCircles, CPoint ptCentre, float fRadius,
                                double dPixelSize) {
    const INT_PTR n = arrCircles.GetSize();
    if (n <= 0) return true;
    for (INT_PTR i = 0; i < n; i += 2) {
        const CPoint ci = arrCircles.GetAt(i);
        const CPoint ki = arrCircles.GetAt(i + 1);
        const float d1 = C2dGeo::GetDistanceBetweenPoints(ptCentre, ci);
        const float d2 = C2dGeo::GetDistanceBetweenPoints(ci, ki);
        const double dReach = static_cast<double>(d2) + static_cast<double>(fRadius);
        const int nHalf = TruncToInt(static_cast<double>(d1) + dReach - 5.0 / dPixelSize) / 2;
        // Touching circles do not overlap.
        if (dReach > static_cast<double>(d1) && nHalf <= 28.0 / dPixelSize) {
            const CPoint m(WrapAdd(ci.x, ptCentre.x) / 2, WrapAdd(ptCentre.y, ci.y) / 2);
            arrCircles.SetAt(i, m);
            arrCircles.SetAt(i + 1, CPoint(WrapAdd(m.x, nHalf), m.y));
            return false;
        }
    }
    return true;
}

bool SearchEveryCluster(PointArray& arrCircles, int* pVisited, const int* pCentres,
                        double dPixelSizeX, double dPixelSizeY, int nWidth, int nHeight,
                        ClusterStack& stack) {
    return ForEachCluster(
        pCentres, pVisited, dPixelSizeX, dPixelSizeY, nWidth, nHeight, kClusteringReachMm, stack,
        [&](const ClusterSummary& s) {
            const auto [nExtent, dPixelSize, cx, cy] = ShapeOf(s, dPixelSizeX, dPixelSizeY);
            if (s.nCount < 4 || !(nExtent <= 30.2 / dPixelSize)) return;
            // y counts up from the bottom: the bottom row is 1, the top row nHeight.
            const CPoint ptCentre(cx, WrapSub(nHeight, cy));
            const double r = (nExtent + 5.0 / dPixelSize) * 0.5;
            const CPoint ptRim(TruncToInt(cx - r), TruncToInt(ptCentre.y - r));
            const float fRadius = C2dGeo::GetDistanceBetweenPoints(ptCentre, ptRim);
            if (ReplaceNonNecessaryCircles(arrCircles, ptCentre, fRadius, dPixelSize)) {
                arrCircles.Add(ptCentre);
                arrCircles.Add(ptRim);
            }
        });
}

}  // namespace zetdip::detail

using namespace zetdip::detail;

bool CDipClustering::ApplyClustering(unsigned char* pSrc, unsigned char* pBinary,
                                     unsigned char* pMask,
                                     CArray<CPoint, const CPoint&>& arrCircles, int nBitsPerPixel,
                                     int nBitsStored, int nWidth, int nHeight, double dPixelSizeX,
                                     double dPixelSizeY) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyClustering8Bits(pSrc, pBinary, arrCircles, nHeight, nWidth,
                                        ChannelsOf(nBitsPerPixel), dPixelSizeX, dPixelSizeY, pMask);
        case Depth::k16:
            return ApplyClustering16Bits(AsWords(pSrc), AsWords(pBinary), arrCircles, nHeight,
                                         nWidth, nBitsStored, dPixelSizeX, dPixelSizeY,
                                         AsWords(pMask));
        default:
            return false;
    }
}

bool CDipClustering::ApplyClustering8Bits(unsigned char* pSrc, unsigned char* pBinary,
                                          CArray<CPoint, const CPoint&>& arrCircles, int nHeight,
                                          int nWidth, int nChannels, double dPixelSizeX,
                                          double dPixelSizeY, unsigned char* pMask) {
    if (nChannels != 1) return false;
    return Clustering(pSrc, pBinary, pMask, arrCircles, nHeight, nWidth, 8, dPixelSizeX,
                      dPixelSizeY);
}

bool CDipClustering::ApplyClustering16Bits(unsigned short* pSrc, unsigned short* pBinary,
                                           CArray<CPoint, const CPoint&>& arrCircles, int nHeight,
                                           int nWidth, int nBitsStored, double dPixelSizeX,
                                           double dPixelSizeY, unsigned short* pMask) {
    return Clustering(pSrc, pBinary, pMask, arrCircles, nHeight, nWidth, nBitsStored, dPixelSizeX,
                      dPixelSizeY);
}

// When the frame stack cannot be had, nothing is appended.
void CDipClustering::SearchEveryCluster(CArray<CPoint, const CPoint&>& arrCircles, int* pVisited,
                                        int* pCentres, double dPixelSizeX, double dPixelSizeY,
                                        int nWidth, int nHeight) {
    ClusterStack stack;
    if (!stack.Reserve(CountCentres(pCentres, nWidth, nHeight))) return;
    zetdip::detail::SearchEveryCluster(arrCircles, pVisited, pCentres, dPixelSizeX, dPixelSizeY,
                                       nWidth, nHeight, stack);
}

// Without stack memory the growing stops; the members taken so far stay taken.
void CDipClustering::SearchAWholeCluster(int* pCentres, int* pVisited, int nX, int nY, int& nMinX,
                                         int& nMinY, int& nMaxX, int& nMaxY, int& nCount,
                                         int nWidth, int nHeight, double dPixelSizeX,
                                         double dPixelSizeY, int& nSumX, int& nSumY) {
    ClusterStack stack;
    GrowCluster(pCentres, pVisited, nX, nY, nMinX, nMinY, nMaxX, nMaxY, nCount, nWidth, nHeight,
                dPixelSizeX, dPixelSizeY, nSumX, nSumY, kClusteringReachMm, stack);
}

bool CDipClustering::ReplaceNonNecessaryCircles(CArray<CPoint, const CPoint&>& arrCircles,
                                                CPoint ptCentre, float fRadius, double dPixelSize) {
    return zetdip::detail::ReplaceNonNecessaryCircles(arrCircles, ptCentre, fRadius, dPixelSize);
}
