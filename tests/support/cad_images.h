// Test helpers of the detection stages: small hand-made planes and naive
// recursive region growings written straight from their definitions.
#ifndef ZETDIP_TESTS_SUPPORT_CAD_IMAGES_H
#define ZETDIP_TESTS_SUPPORT_CAD_IMAGES_H

#include <algorithm>
#include <cstddef>
#include <vector>

#include "HostFramework.h"

namespace zetdip::test {

// A w x h image of samples, row-major, with coordinate access.
template <class T>
struct Plane {
    int w, h;
    std::vector<T> v;

    Plane(int nWidth, int nHeight, T fill = T(0))
        : w(nWidth), h(nHeight), v(static_cast<std::size_t>(nWidth) * nHeight, fill) {}
    T& at(int x, int y) { return v[static_cast<std::size_t>(y) * w + x]; }
    T* data() { return v.data(); }
    unsigned char* bytes() { return reinterpret_cast<unsigned char*>(v.data()); }
    // Sets the (2r + 1) x (2r + 1) square around (x, y).
    void square(int x, int y, int r, T value) {
        for (int dy = -r; dy <= r; ++dy)
            for (int dx = -r; dx <= r; ++dx) at(x + dx, y + dy) = value;
    }
};

using Points = std::vector<CPoint>;

inline Points ToPoints(const CArray<CPoint, const CPoint&>& arr) {
    Points points;
    for (INT_PTR i = 0; i < arr.GetSize(); ++i) points.push_back(arr.GetAt(i));
    return points;
}

struct Box {
    int nMinX, nMinY, nMaxX, nMaxY;
    bool operator==(const Box& o) const {
        return nMinX == o.nMinX && nMinY == o.nMinY && nMaxX == o.nMaxX && nMaxY == o.nMaxY;
    }
};

// The blob growing as recursion (for small blobs only).
template <class T>
void RecursiveBlob(const T* pBinary, int* pVisited, int x, int y, Box& b, int w, int h) {
    const std::size_t i = static_cast<std::size_t>(y) * w + x;
    if (pBinary[i] == 0 || pVisited[i] != 0) return;
    pVisited[i] = 1;
    b.nMinX = std::min(b.nMinX, x);
    b.nMaxX = std::max(b.nMaxX, x);
    b.nMinY = std::min(b.nMinY, y);
    b.nMaxY = std::max(b.nMaxY, y);
    if (y - 1 < 0 || x - 1 < 0 || y + 1 >= h || x + 1 >= w) return;
    for (int dx = -1; dx <= 1; ++dx)
        for (int dy = -1; dy <= 1; ++dy)
            if (dx != 0 || dy != 0) RecursiveBlob(pBinary, pVisited, x + dx, y + dy, b, w, h);
}

struct ClusterResult {
    Box box;
    int nCount, nSumX, nSumY;
};

// The cluster growing as recursion with reach (rx, ry) (for small clusters only).
inline void RecursiveCluster(const int* pCentres, int* pVisited, int x, int y, ClusterResult& r,
                             int w, int h, int rx, int ry) {
    const std::size_t i = static_cast<std::size_t>(y) * w + x;
    if (pCentres[i] == 0 || pVisited[i] != 0) return;
    ++r.nCount;
    pVisited[i] = 1;
    r.box.nMinX = std::min(r.box.nMinX, x);
    r.box.nMaxX = std::max(r.box.nMaxX, x);
    r.box.nMinY = std::min(r.box.nMinY, y);
    r.box.nMaxY = std::max(r.box.nMaxY, y);
    r.nSumX += x;
    r.nSumY += y;
    if (x - rx < 0 || x + rx >= w || y - ry < 0 || y + ry >= h) return;
    for (int dx = -rx; dx <= rx; ++dx)
        for (int dy = -ry; dy <= ry; ++dy)
            if (dx != 0 || dy != 0)
                RecursiveCluster(pCentres, pVisited, x + dx, y + dy, r, w, h, rx, ry);
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_CAD_IMAGES_H
