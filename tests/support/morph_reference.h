// Straightforward rank-rule engine for the morphology tests: the row cache
// is kept and advanced column by column exactly as the engine's rule reads,
// with the library's guards: element indices outside the element, row
// offsets beyond the half-height and neighbours outside the image are skipped.
#ifndef ZETDIP_TESTS_SUPPORT_MORPH_REFERENCE_H
#define ZETDIP_TESTS_SUPPORT_MORPH_REFERENCE_H

#include <cstdlib>
#include <vector>

namespace zetdip::test {

template <class T>
bool ReferenceRankRule(bool bErode, const T* pSrc, T* pDst, int nWidth, int nHeight, const int* pSE,
                       int nSEHeight, int nSEWidth, int nSECount) {
    if (nSEHeight < 3 || nSEWidth < 1) return false;
    const int hA = nSEHeight / 2, hB = nSEWidth / 2, W = nWidth;
    std::vector<T> cache(static_cast<std::size_t>(hA + 1) * W);
    for (int r = 0; r <= hA && r < nHeight; ++r)
        for (int c = 0; c < W; ++c) cache[r * W + c] = pSrc[r * W + c];
    auto advance = [&](int c, int y) {
        for (int i = 1; i <= hA; ++i) cache[(i - 1) * W + c] = cache[i * W + c];
        cache[hA * W + c] = pSrc[(y + 1) * W + c];
    };
    for (int y = 0; y < nHeight; ++y) {
        for (int x = 0; x < W; ++x) {
            if (y < hA || y > nHeight - hA - 1 || x < hB) {
                pDst[y * W + x] = pSrc[y * W + x];
                continue;
            }
            if (x > W - hB - 1) {
                for (int c = x - hB; c < W; ++c) advance(c, y);
                pDst[y * W + x] = pSrc[y * W + x];
                continue;
            }
            const T vc = pSrc[y * W + x];
            T e = cache[x - hB];
            long long k = 0;
            for (int dy = hB; dy >= -hB; --dy) {
                if (std::abs(dy) > hA) continue;
                for (int dx = -hA; dx <= hA; ++dx) {
                    if (dy == 0 && dx == 0) continue;
                    const long long i = static_cast<long long>(hA - dy) * nSEWidth + dx + hB;
                    if (i < 0 || i >= static_cast<long long>(nSEHeight) * nSEWidth || pSE[i] == 0)
                        continue;
                    if (x + dx < 0 || x + dx >= W) continue;
                    const bool bFromSource = dy > 0 || (dy == 0 && dx > 0);
                    const T v =
                        bFromSource ? pSrc[(y + dy) * W + x + dx] : cache[(hA + dy) * W + x + dx];
                    if (bErode ? v <= vc : v >= vc) ++k;
                    if (bErode ? v < e : v > e) e = v;
                }
            }
            advance(x - hB, y);
            pDst[y * W + x] = k == static_cast<long long>(nSECount) - 1 ? e : vc;
        }
    }
    return true;
}

// Number of non-zero entries of an element.
inline int MemberCount(const std::vector<int>& se) {
    int n = 0;
    for (int v : se) n += v != 0;
    return n;
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_MORPH_REFERENCE_H
