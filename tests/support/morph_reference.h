// The rank rule read literally: row cache, right-border over-advance, flat reads, library guards.
#ifndef ZETDIP_TESTS_SUPPORT_MORPH_REFERENCE_H
#define ZETDIP_TESTS_SUPPORT_MORPH_REFERENCE_H

#include <vector>

namespace zetdip::test {

template <class T>
void ReferenceRankRule(bool bErode, const T* s, T* d, int W, int H, const int* pSE, int nSEHeight,
                       int nSEWidth, int nSECount) {
    const int hA = nSEHeight / 2, hB = nSEWidth / 2;
    std::vector<T> cache(s, s + (H < hA + 1 ? H : hA + 1) * W);
    cache.resize(static_cast<std::size_t>(hA + 1) * W);
    auto advance = [&](int c, int y) {
        for (int i = 1; i <= hA; ++i) cache[(i - 1) * W + c] = cache[i * W + c];
        cache[hA * W + c] = s[(y + 1) * W + c];
    };
    for (int y = 0; y < H; ++y) {
        for (int x = 0; x < W; ++x) {
            const T vc = d[y * W + x] = s[y * W + x];
            if (y < hA || y > H - hA - 1 || x < hB) continue;
            if (x > W - hB - 1) {  // right border: every column from x - hB is advanced
                for (int c = x - hB; c < W; ++c) advance(c, y);
                continue;
            }
            T e = cache[x - hB];
            int k = 0;
            for (int dy = hB; dy >= -hB; --dy) {
                for (int dx = -hA; dx <= hA; ++dx) {
                    const long long i = static_cast<long long>(hA - dy) * nSEWidth + dx + hB;
                    if ((dy == 0 && dx == 0) || i < 0 || i >= 1LL * nSEHeight * nSEWidth ||
                        pSE[i] == 0)
                        continue;
                    const bool bFromSource = dy > 0 || (dy == 0 && dx > 0);
                    const long long f = 1LL * ((bFromSource ? y : hA) + dy) * W + x + dx;
                    if (!bFromSource && f >= static_cast<long long>(cache.size())) continue;
                    const T v = bFromSource ? s[f] : cache[f];
                    k += bErode ? v <= vc : v >= vc;
                    if (bErode ? v < e : v > e) e = v;
                }
            }
            advance(x - hB, y);
            if (k == nSECount - 1) d[y * W + x] = e;
        }
    }
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_MORPH_REFERENCE_H
