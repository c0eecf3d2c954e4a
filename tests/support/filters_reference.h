// Literal column-by-column convolution engine for the tests (not in place, >= h + 1 rows).
#ifndef ZETDIP_TESTS_SUPPORT_FILTERS_REFERENCE_H
#define ZETDIP_TESTS_SUPPORT_FILTERS_REFERENCE_H

#include <vector>

namespace zetdip::test {

template <class T>
void ReferenceConvolve(T* pDst, const float* pKernel, int n, float fDivisor, int nOffset,
                       const T* pSrc, int w, int hgt, int nMax, bool bRefreshAtCentre) {
    const int h = n / 2;
    if (fDivisor == 0.0f) fDivisor = 1.0f;
    std::vector<T> store(pSrc, pSrc + (h + 1) * w);
    auto advance = [&](int c, int y, int cNew) {  // c moves up a row; row y + 1 enters at cNew
        for (int k = 1; k <= h; ++k) store[(k - 1) * w + c] = store[k * w + c];
        store[h * w + cNew] = pSrc[(y + 1) * w + cNew];
    };
    for (int y = 0; y < hgt; ++y) {
        for (int x = 0; x < w; ++x) {
            pDst[y * w + x] = pSrc[y * w + x];  // border samples are copied
            if (y < h || y > hgt - h - 1 || x < h) continue;
            if (x > w - h - 1) {  // right border: two store columns advance
                advance(x - h, y, x - h);
                advance(x, y, x);
                continue;
            }
            double sum = 0.0;  // rows above and the left part of row y come from the store
            for (int dy = -h; dy <= h; ++dy)
                for (int dx = -h; dx <= h; ++dx)
                    sum += static_cast<double>(pKernel[(dy + h) * n + dx + h]) *
                           (dy < 0 || (dy == 0 && dx >= 0) ? pSrc[(y - dy) * w + x + dx]
                                                           : store[(h - dy) * w + x + dx]);
            const double v = sum / fDivisor + nOffset;
            pDst[y * w + x] = v < 0 ? T(0) : v > nMax ? static_cast<T>(nMax) : static_cast<T>(v);
            advance(x - h, y, bRefreshAtCentre ? x : x - h);
        }
    }
}

// Interior samples (rows and columns 1 .. size - 2) of a w x h image.
template <class T>
std::vector<int> Interior(const std::vector<T>& img, int w, int h) {
    std::vector<int> v;
    for (int y = 1; y < h - 1; ++y)
        for (int x = 1; x < w - 1; ++x) v.push_back(img[y * w + x]);
    return v;
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_FILTERS_REFERENCE_H
