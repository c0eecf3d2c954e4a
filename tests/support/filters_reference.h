// Straightforward convolution engine for the filter tests: sample by sample,
// with the row store advanced column by column exactly as the library's
// rule states it, no ring, no runs. Only for images with at least h + 1 rows
// (the store is filled from rows 0..h before anything else).
#ifndef ZETDIP_TESTS_SUPPORT_FILTERS_REFERENCE_H
#define ZETDIP_TESTS_SUPPORT_FILTERS_REFERENCE_H

#include <vector>

namespace zetdip::test {

template <class T>
void ReferenceConvolve(T* pDst, const float* pKernel, int n, float fDivisor, int nOffset,
                       const T* pSrc, int w, int hgt, int nMax, bool bRefreshAtCentre) {
    const int h = n / 2;
    if (fDivisor == 0.0f) fDivisor = 1.0f;
    std::vector<T> store((h + 1) * w);
    auto S = [&](int row, int col) -> T& { return store[row * w + col]; };
    for (int j = 0; j <= h; ++j)
        for (int x = 0; x < w; ++x) S(j, x) = pSrc[j * w + x];
    auto shiftUp = [&](int col) {
        for (int k = 1; k <= h; ++k) S(k - 1, col) = S(k, col);
    };
    for (int y = 0; y < hgt; ++y) {
        for (int x = 0; x < w; ++x) {
            const int i = y * w + x;
            if (y < h || y > hgt - h - 1 || x < h) {
                pDst[i] = pSrc[i];
            } else if (x > w - h - 1) {
                pDst[i] = pSrc[i];
                shiftUp(x - h);
                shiftUp(x);
                S(h, x - h) = pSrc[(y + 1) * w + x - h];
                S(h, x) = pSrc[(y + 1) * w + x];
            } else {
                double sum = 0.0;
                for (int dy = -h; dy <= h; ++dy) {
                    for (int dx = -h; dx <= h; ++dx) {
                        const bool fromSource = dy < 0 || (dy == 0 && dx >= 0);
                        const T s = fromSource ? pSrc[(y - dy) * w + x + dx] : S(h - dy, x + dx);
                        sum += static_cast<double>(pKernel[(dy + h) * n + dx + h]) * s;
                    }
                }
                const double v = sum / fDivisor + nOffset;
                pDst[i] = v < 0 ? T(0) : v > nMax ? static_cast<T>(nMax) : static_cast<T>(v);
                shiftUp(x - h);
                if (bRefreshAtCentre)
                    S(h, x) = pSrc[(y + 1) * w + x];
                else
                    S(h, x - h) = pSrc[(y + 1) * w + x - h];
            }
        }
    }
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_FILTERS_REFERENCE_H
