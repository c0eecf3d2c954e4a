#include "preparation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace zetdip::host {
namespace {

std::size_t At(int x, int y, int W) {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(W) + static_cast<std::size_t>(x);
}

// Threshold that maximises the between-class variance of a histogram: the
// levels above it are one class.
int SplitLevel(const std::vector<long long>& histo) {
    long long nTotal = 0;
    double dSum = 0.0;
    for (std::size_t v = 0; v < histo.size(); ++v) {
        nTotal += histo[v];
        dSum += static_cast<double>(v) * static_cast<double>(histo[v]);
    }
    if (nTotal == 0) return 0;
    long long nBelow = 0;
    double dBelow = 0.0, dBest = -1.0;
    int nBest = 0;
    for (std::size_t v = 0; v + 1 < histo.size(); ++v) {
        nBelow += histo[v];
        dBelow += static_cast<double>(v) * static_cast<double>(histo[v]);
        const long long nAbove = nTotal - nBelow;
        if (nBelow == 0 || nAbove == 0) continue;
        const double m0 = dBelow / static_cast<double>(nBelow);
        const double m1 = (dSum - dBelow) / static_cast<double>(nAbove);
        const double d =
            static_cast<double>(nBelow) * static_cast<double>(nAbove) * (m1 - m0) * (m1 - m0);
        if (d > dBest) {
            dBest = d;
            nBest = static_cast<int>(v);
        }
    }
    return nBest;
}

// 4-connected region of the pixels where bIn holds, grown from the seeds;
// marks them 1 in region.
template <class Pred>
long long Grow(std::vector<unsigned char>& region, int W, int H, std::vector<std::size_t> seeds,
               Pred bIn) {
    long long n = 0;
    std::vector<std::size_t>& stack = seeds;
    for (std::size_t s : stack) region[s] = 1;
    while (!stack.empty()) {
        const std::size_t i = stack.back();
        stack.pop_back();
        ++n;
        const int x = static_cast<int>(i % static_cast<std::size_t>(W));
        const int y = static_cast<int>(i / static_cast<std::size_t>(W));
        const int nx[4] = {x - 1, x + 1, x, x};
        const int ny[4] = {y, y, y - 1, y + 1};
        for (int k = 0; k < 4; ++k) {
            if (nx[k] < 0 || ny[k] < 0 || nx[k] >= W || ny[k] >= H) continue;
            const std::size_t j = At(nx[k], ny[k], W);
            if (region[j] || !bIn(j)) continue;
            region[j] = 1;
            stack.push_back(j);
        }
    }
    return n;
}

// Half side of the square that opens the region above the background level.
constexpr double kOpeningMm = 2.0;

// Summed-area table of a 0/1 image, (W + 1) x (H + 1).
std::vector<std::int64_t> Sums(const std::vector<unsigned char>& v, int W, int H) {
    std::vector<std::int64_t> sat(static_cast<std::size_t>(W + 1) * (H + 1), 0);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            sat[At(x + 1, y + 1, W + 1)] = v[At(x, y, W)] + sat[At(x + 1, y, W + 1)] +
                                           sat[At(x, y + 1, W + 1)] - sat[At(x, y, W + 1)];
    return sat;
}

std::int64_t BoxSum(const std::vector<std::int64_t>& sat, int W, int H, int x, int y, int r) {
    const int x0 = std::max(0, x - r), y0 = std::max(0, y - r);
    const int x1 = std::min(W, x + r + 1), y1 = std::min(H, y + r + 1);
    return sat[At(x1, y1, W + 1)] - sat[At(x0, y1, W + 1)] - sat[At(x1, y0, W + 1)] +
           sat[At(x0, y0, W + 1)];
}

// Opening of {p > nLevel} by a square of half side r. Beyond the image's
// edge counts as outside, so that a frame edge along it falls away too; a
// region wider than the square that touches the edge still reaches it
// after the dilation.
std::vector<unsigned char> Open(const unsigned short* p, unsigned short nLevel, int W, int H,
                                int r) {
    const std::size_t n = static_cast<std::size_t>(W) * static_cast<std::size_t>(H);
    std::vector<unsigned char> above(n), eroded(n), out(n);
    for (std::size_t i = 0; i < n; ++i) above[i] = p[i] > nLevel;
    const auto satAbove = Sums(above, W, H);
    const std::int64_t nFull = static_cast<std::int64_t>(2 * r + 1) * (2 * r + 1);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) eroded[At(x, y, W)] = BoxSum(satAbove, W, H, x, y, r) == nFull;
    const auto satEroded = Sums(eroded, W, H);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) out[At(x, y, W)] = BoxSum(satEroded, W, H, x, y, r) > 0;
    return out;
}

}  // namespace

Rect FindZeroPadding(const unsigned short* p, int W, int H, int nBits) {
    // A digitiser pads with zeros plus a little noise; film, even where it
    // is unexposed, carries more than 1% of samples above the level.
    const unsigned nLevel = std::max(1u, (1u << nBits) / 40u);
    auto isPadding = [&](int x0, int y0, int dx, int dy, int nCount) {
        int nAbove = 0;
        for (int k = 0; k < nCount; ++k) nAbove += p[At(x0 + k * dx, y0 + k * dy, W)] > nLevel;
        return nAbove * 100 <= nCount;
    };
    Rect r{0, 0, W, H};
    int x0 = 0, x1 = W - 1, y0 = 0, y1 = H - 1;
    while (x0 <= x1 && isPadding(x0, 0, 0, 1, H)) ++x0;
    if (x0 > x1) return r;
    while (isPadding(x1, 0, 0, 1, H)) --x1;
    while (y0 < y1 && isPadding(x0, y0, 1, 0, x1 - x0 + 1)) ++y0;
    while (y1 > y0 && isPadding(x0, y1, 1, 0, x1 - x0 + 1)) --y1;
    return {x0, y0, x1 - x0 + 1, y1 - y0 + 1};
}

std::vector<unsigned short> CropImage(const unsigned short* p, int W, const Rect& r) {
    std::vector<unsigned short> out(static_cast<std::size_t>(r.nWidth) * r.nHeight);
    for (int y = 0; y < r.nHeight; ++y)
        std::copy(p + At(r.x0, r.y0 + y, W), p + At(r.x0 + r.nWidth, r.y0 + y, W),
                  out.begin() + static_cast<std::ptrdiff_t>(At(0, y, r.nWidth)));
    return out;
}

void FlipRows(std::vector<unsigned short>& image, int W, int H) {
    for (int y = 0; y < H / 2; ++y)
        std::swap_ranges(image.begin() + static_cast<std::ptrdiff_t>(At(0, y, W)),
                         image.begin() + static_cast<std::ptrdiff_t>(At(0, y, W) + W),
                         image.begin() + static_cast<std::ptrdiff_t>(At(0, H - 1 - y, W)));
}

int BackgroundLevel(const unsigned short* p, int W, int H, int nBits) {
    std::vector<long long> histo(static_cast<std::size_t>(1) << nBits, 0);
    const std::size_t n = static_cast<std::size_t>(W) * static_cast<std::size_t>(H);
    const unsigned nMax = (1u << nBits) - 1u;
    for (std::size_t i = 0; i < n; ++i) ++histo[std::min<unsigned>(p[i], nMax)];
    // Zeros are padding or markers, not the background of the film.
    histo[0] = 0;
    const int nSplit = SplitLevel(histo);
    int nMode = 0;
    for (int v = 1; v <= nSplit; ++v)
        if (histo[static_cast<std::size_t>(v)] > histo[static_cast<std::size_t>(nMode)]) nMode = v;
    return (nMode + nSplit) / 2;
}

BreastMask MakeBreastMask(const unsigned short* p, int W, int H, int nBits, double dPixelSize) {
    BreastMask m;
    const std::size_t n = static_cast<std::size_t>(W) * static_cast<std::size_t>(H);
    m.mask.assign(n, 0);
    if (n == 0) return m;
    m.nBackground = BackgroundLevel(p, W, H, nBits);
    const unsigned short nLevel = static_cast<unsigned short>(m.nBackground);

    // Above the level, opened: frame edges and streaks thinner than the
    // opening's square fall away; the breast keeps its shape.
    const std::vector<unsigned char> above =
        Open(p, nLevel, W, H, std::max(1, static_cast<int>(std::lround(kOpeningMm / dPixelSize))));
    // Largest 4-connected region of it.
    std::vector<int> label(n, 0);
    std::vector<std::size_t> stack;
    int nLabels = 0, nBestLabel = 0;
    long long nBest = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (label[i] || !above[i]) continue;
        label[i] = ++nLabels;
        stack.assign(1, i);
        long long nArea = 0;
        while (!stack.empty()) {
            const std::size_t k = stack.back();
            stack.pop_back();
            ++nArea;
            const int x = static_cast<int>(k % static_cast<std::size_t>(W));
            const int y = static_cast<int>(k / static_cast<std::size_t>(W));
            const int nx[4] = {x - 1, x + 1, x, x};
            const int ny[4] = {y, y, y - 1, y + 1};
            for (int d = 0; d < 4; ++d) {
                if (nx[d] < 0 || ny[d] < 0 || nx[d] >= W || ny[d] >= H) continue;
                const std::size_t j = At(nx[d], ny[d], W);
                if (label[j] || !above[j]) continue;
                label[j] = nLabels;
                stack.push_back(j);
            }
        }
        if (nArea > nBest) {
            nBest = nArea;
            nBestLabel = nLabels;
        }
    }
    std::vector<unsigned char> best(n, 0);
    for (std::size_t i = 0; i < n; ++i) best[i] = nBestLabel != 0 && label[i] == nBestLabel;
    if (nBest == 0) {
        m.warnings.push_back("no breast above the background level " +
                             std::to_string(m.nBackground));
        return m;
    }
    // Holes: whatever the outside cannot reach from the image's edge.
    std::vector<unsigned char> outside(n, 0);
    std::vector<std::size_t> seeds;
    for (int x = 0; x < W; ++x)
        for (int y : {0, H - 1})
            if (!best[At(x, y, W)]) seeds.push_back(At(x, y, W));
    for (int y = 0; y < H; ++y)
        for (int x : {0, W - 1})
            if (!best[At(x, y, W)]) seeds.push_back(At(x, y, W));
    std::sort(seeds.begin(), seeds.end());
    seeds.erase(std::unique(seeds.begin(), seeds.end()), seeds.end());
    Grow(outside, W, H, seeds, [&](std::size_t j) { return !best[j]; });
    const unsigned short nMax = static_cast<unsigned short>((1u << nBits) - 1u);
    for (std::size_t i = 0; i < n; ++i)
        if (!outside[i]) {
            m.mask[i] = nMax;
            ++m.nPixels;
        }

    // Side: the vertical edge along which the breast lies.
    const int nStrip = std::max(1, W / 50);
    long long nLeft = 0, nRight = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < nStrip; ++x) {
            nLeft += m.mask[At(x, y, W)] != 0;
            nRight += m.mask[At(W - 1 - x, y, W)] != 0;
        }
    m.bBreastOnRight = nRight > nLeft;
    // Per row, only the run that starts nearest the chest wall is breast:
    // a label or marker joined to the breast through a bright film edge
    // elsewhere still lies beyond a gap of background in its own rows.
    for (int y = 0; y < H; ++y) {
        bool bInRun = false, bRunDone = false;
        for (int k = 0; k < W; ++k) {
            const int x = m.bBreastOnRight ? W - 1 - k : k;
            unsigned short& v = m.mask[At(x, y, W)];
            if (v && !bRunDone) {
                bInRun = true;
            } else if (!v && bInRun) {
                bRunDone = true;
            } else if (v && bRunDone) {
                v = 0;
                --m.nPixels;
            }
        }
    }
    // Chest-wall end of an MLO view: the end whose chest-wall corner is
    // brighter (the pectoral muscle); when a corner holds no breast, the end
    // where the breast stays wider (the axilla reaches the image's edge).
    const int nBand = std::max(1, H / 5), nDepth = std::max(1, W / 3);
    double dTop = 0.0, dBottom = 0.0;
    long long nTop = 0, nBottom = 0;
    for (int y = 0; y < nBand; ++y)
        for (int k = 0; k < nDepth; ++k) {
            const int x = m.bBreastOnRight ? W - 1 - k : k;
            if (m.mask[At(x, y, W)]) {
                dTop += p[At(x, y, W)];
                ++nTop;
            }
            if (m.mask[At(x, H - 1 - y, W)]) {
                dBottom += p[At(x, H - 1 - y, W)];
                ++nBottom;
            }
        }
    if (nTop > 0 && nBottom > 0) {
        m.bChestWallAtTop =
            dTop / static_cast<double>(nTop) > dBottom / static_cast<double>(nBottom);
    } else {
        m.bChestWallAtTop = nTop > nBottom;
        m.warnings.push_back("a chest-wall corner holds no breast; chest-wall end from its width");
    }

    if (m.nPixels < static_cast<long long>(n / 20))
        m.warnings.push_back("the breast covers only " + std::to_string(100 * m.nPixels / n) +
                             "% of the image");
    if (std::max(nLeft, nRight) < static_cast<long long>(nStrip) * H / 5)
        m.warnings.push_back("the breast hardly touches either vertical edge");
    return m;
}

long long RemovePectoralFallback(const unsigned short* p, std::vector<unsigned short>& mask, int W,
                                 int H, int nBits, bool bBreastOnRight) {
    const std::size_t n = static_cast<std::size_t>(W) * static_cast<std::size_t>(H);
    long long nMask = 0;
    for (unsigned short v : mask) nMask += v != 0;
    if (nMask == 0) return 0;
    // Level splitting the mask's samples in the chest-wall corner quarter.
    const int xa = bBreastOnRight ? W / 2 : 0, xb = bBreastOnRight ? W : (W + 1) / 2;
    std::vector<long long> histo(static_cast<std::size_t>(1) << nBits, 0);
    const unsigned nMax = (1u << nBits) - 1u;
    for (int y = H / 2; y < H; ++y)
        for (int x = xa; x < xb; ++x)
            if (mask[At(x, y, W)]) ++histo[std::min<unsigned>(p[At(x, y, W)], nMax)];
    const unsigned short nLevel = static_cast<unsigned short>(SplitLevel(histo));
    // Seeds: the bright mask pixels of the corner's edge rows and columns.
    const int nCornerX = bBreastOnRight ? W - 1 : 0;
    std::vector<std::size_t> seeds;
    for (int k = 0; k < std::min(W, H) / 20 + 1; ++k) {
        const int x = bBreastOnRight ? W - 1 - k : k;
        const std::size_t i = At(x, H - 1, W);
        if (mask[i] && p[i] > nLevel) seeds.push_back(i);
        const std::size_t j = At(nCornerX, H - 1 - k, W);
        if (mask[j] && p[j] > nLevel) seeds.push_back(j);
    }
    std::sort(seeds.begin(), seeds.end());
    seeds.erase(std::unique(seeds.begin(), seeds.end()), seeds.end());
    if (seeds.empty()) return 0;
    std::vector<unsigned char> muscle(n, 0);
    const long long nArea =
        Grow(muscle, W, H, seeds, [&](std::size_t j) { return mask[j] && p[j] > nLevel; });
    // A muscle is a sizeable part of the breast but never most of it.
    if (nArea * 50 < nMask || nArea * 3 > nMask) return 0;
    for (std::size_t i = 0; i < n; ++i)
        if (muscle[i]) mask[i] = 0;
    return nArea;
}

}  // namespace zetdip::host
