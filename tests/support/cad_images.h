// Test helpers of the detection stages: planes, point lists, a naive recursive growing.
#ifndef ZETDIP_TESTS_SUPPORT_CAD_IMAGES_H
#define ZETDIP_TESTS_SUPPORT_CAD_IMAGES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "HostFramework.h"
#include "support/images.h"

namespace zetdip::test {

using Array = CArray<CPoint, const CPoint&>;
using Points = std::vector<CPoint>;

inline Points ToPoints(const Array& arr) {
    return Points(arr.GetData(), arr.GetData() + arr.GetSize());
}

// A w x h image of samples, row-major, with coordinate access.
template <class T>
struct Plane {
    int w, h;
    std::vector<T> v;
    Plane(int nWidth, int nHeight, T fill = T(0))
        : w(nWidth), h(nHeight), v(static_cast<std::size_t>(nWidth) * nHeight, fill) {}
    T& at(int x, int y) { return v[static_cast<std::size_t>(y) * w + x]; }
    unsigned char* bytes() { return reinterpret_cast<unsigned char*>(v.data()); }
    void square(int x, int y, int r, T value) {  // the (2r + 1)^2 square around (x, y)
        for (int dy = -r; dy <= r; ++dy)
            for (int dx = -r; dx <= r; ++dx) at(x + dx, y + dy) = value;
    }
};

using Grown = std::array<int, 7>;  // minX, minY, maxX, maxY, count, sumX, sumY

// The growing as plain recursion with reach (rx, ry); a blob has reach (1, 1).
template <class T>
void Recurse(const T* pSet, int* pVisited, int x, int y, Grown& g, int w, int h, int rx, int ry) {
    const std::size_t i = static_cast<std::size_t>(y) * w + x;
    if (pSet[i] == 0 || pVisited[i] != 0) return;
    pVisited[i] = 1;
    g = {std::min(g[0], x), std::min(g[1], y), std::max(g[2], x), std::max(g[3], y),
         g[4] + 1,          g[5] + x,          g[6] + y};
    if (x - rx < 0 || x + rx >= w || y - ry < 0 || y + ry >= h) return;
    for (int dx = -rx; dx <= rx; ++dx)
        for (int dy = -ry; dy <= ry; ++dy)
            if (dx != 0 || dy != 0) Recurse(pSet, pVisited, x + dx, y + dy, g, w, h, rx, ry);
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_CAD_IMAGES_H
