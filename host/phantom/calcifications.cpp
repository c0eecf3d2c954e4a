#include "calcifications.h"

#include <algorithm>
#include <cmath>
#include <random>

#include "random.h"

namespace zetdip::phantom {
namespace {

constexpr double kPi = 3.14159265358979323846;

std::size_t At(int x, int y, int W) {
    return static_cast<std::size_t>(y) * W + x;
}

// Counts of area pixels (bInside) or of the others in any rectangle.
class Counts {
public:
    Counts(const std::vector<unsigned short>& area, int W, int H, bool bInside)
        : m_nWidth(W), m_nHeight(H), m_sat(static_cast<std::size_t>(W + 1) * (H + 1), 0) {
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                m_sat[At(x + 1, y + 1, W + 1)] =
                    ((area[At(x, y, W)] != 0) == bInside) + m_sat[At(x + 1, y, W + 1)] +
                    m_sat[At(x, y + 1, W + 1)] - m_sat[At(x, y, W + 1)];
    }
    // Pixels counted in columns x0..x1, rows y0..y1 (inclusive, clipped);
    // the part outside the image counts as counted pixels.
    long long In(int x0, int y0, int x1, int y1) const {
        const long long nAll = static_cast<long long>(x1 - x0 + 1) * (y1 - y0 + 1);
        const int cx0 = std::max(0, x0), cy0 = std::max(0, y0);
        const int cx1 = std::min(m_nWidth - 1, x1), cy1 = std::min(m_nHeight - 1, y1);
        if (cx0 > cx1 || cy0 > cy1) return nAll;
        const long long nClipped = static_cast<long long>(cx1 - cx0 + 1) * (cy1 - cy0 + 1);
        const int W1 = m_nWidth + 1;
        return nAll - nClipped + m_sat[At(cx1 + 1, cy1 + 1, W1)] - m_sat[At(cx0, cy1 + 1, W1)] -
               m_sat[At(cx1 + 1, cy0, W1)] + m_sat[At(cx0, cy0, W1)];
    }

private:
    int m_nWidth, m_nHeight;
    std::vector<long long> m_sat;
};

double Mean(const std::vector<unsigned short>& image, int W, int H, double cx, double cy, int r) {
    double s = 0.0;
    int n = 0;
    for (int y = std::max(0, static_cast<int>(cy) - r);
         y <= std::min(H - 1, static_cast<int>(cy) + r); ++y)
        for (int x = std::max(0, static_cast<int>(cx) - r);
             x <= std::min(W - 1, static_cast<int>(cx) + r); ++x) {
            s += image[At(x, y, W)];
            ++n;
        }
    return n > 0 ? s / n : 0.0;
}

}  // namespace

std::vector<InsertedCluster> InsertClusters(std::vector<unsigned short>& image,
                                            const std::vector<unsigned short>& area, int W, int H,
                                            const ClusterOptions& o) {
    std::vector<InsertedCluster> clusters;
    if (W <= 0 || H <= 0 || o.dPixelSize <= 0.0) return clusters;
    Random rng(o.nSeed);
    const Counts outside(area, W, H, false);
    const std::vector<unsigned short> original = image;
    const double px = o.dPixelSize;
    const double nMax = static_cast<double>((1 << o.nBitsStored) - 1);
    const int nSignal = std::max(1, static_cast<int>(1.0 / px));
    for (int c = 0; c < o.nClusters; ++c) {
        const double dSpread = rng.Uniform(o.dMinSpreadMm, o.dMaxSpreadMm) / px;
        const double a = dSpread / 2.0, b = a * rng.Uniform(0.5, 1.0);
        const double dTheta = rng.Uniform(0.0, kPi);
        const int nReach = static_cast<int>(std::ceil(a + 3.0 / px));
        // A centre with the whole cluster and a 3 mm margin inside the area,
        // 10 mm clear of every earlier cluster.
        bool bPlaced = false;
        double cx = 0.0, cy = 0.0;
        for (int nTry = 0; nTry < 4000 && !bPlaced; ++nTry) {
            cx = rng.Uniform(0.0, W - 1.0);
            cy = rng.Uniform(0.0, H - 1.0);
            const int ix = static_cast<int>(cx), iy = static_cast<int>(cy);
            if (outside.In(ix - nReach, iy - nReach, ix + nReach, iy + nReach) != 0) continue;
            bPlaced = true;
            for (const auto& k : clusters)
                if (std::hypot(k.centre.x - cx, k.centre.y - cy) < k.dRadius + a + 10.0 / px)
                    bPlaced = false;
        }
        if (!bPlaced) break;

        InsertedCluster cluster;
        const int nMembers = rng.Integer(o.nMinMembers, o.nMaxMembers);
        std::vector<double> sizes;
        for (int nTry = 0;
             nTry < 200 * nMembers && static_cast<int>(cluster.members.size()) < nMembers; ++nTry) {
            // Uniform in the ellipse.
            const double r = std::sqrt(rng.Uniform()), phi = rng.Uniform(0.0, 2.0 * kPi);
            const double u = a * r * std::cos(phi), v = b * r * std::sin(phi);
            const Point p{cx + u * std::cos(dTheta) - v * std::sin(dTheta),
                          cy + u * std::sin(dTheta) + v * std::cos(dTheta)};
            const double d = rng.Uniform(o.dMinSizeMm, o.dMaxSizeMm) / px;
            // Members do not touch: they stay single spots.
            bool bFree = true;
            for (std::size_t k = 0; k < cluster.members.size(); ++k)
                if (std::hypot(cluster.members[k].x - p.x, cluster.members[k].y - p.y) <
                    (d + sizes[k]) / 2.0 + 0.4 / px)
                    bFree = false;
            if (!bFree) continue;
            cluster.members.push_back(p);
            sizes.push_back(d);
        }
        for (std::size_t k = 0; k < cluster.members.size(); ++k) {
            const Point& p = cluster.members[k];
            const double dRise = o.dContrast * Mean(original, W, H, p.x, p.y, nSignal);
            const double ra = sizes[k] / 2.0, rb = ra / rng.Uniform(1.0, 1.8);
            const double dPhi = rng.Uniform(0.0, kPi), cs = std::cos(dPhi), sn = std::sin(dPhi);
            const int nBox = static_cast<int>(std::ceil(ra)) + 1;
            constexpr int kSub = 4;
            for (int y = static_cast<int>(p.y) - nBox; y <= static_cast<int>(p.y) + nBox; ++y)
                for (int x = static_cast<int>(p.x) - nBox; x <= static_cast<int>(p.x) + nBox; ++x) {
                    if (x < 0 || y < 0 || x >= W || y >= H) continue;
                    double t = 0.0;
                    for (int sy = 0; sy < kSub; ++sy)
                        for (int sx = 0; sx < kSub; ++sx) {
                            const double dx = x + (sx + 0.5) / kSub - 0.5 - p.x;
                            const double dy = y + (sy + 0.5) / kSub - 0.5 - p.y;
                            const double u = (dx * cs + dy * sn) / ra,
                                         v = (-dx * sn + dy * cs) / rb;
                            t += std::sqrt(std::max(0.0, 1.0 - u * u - v * v));
                        }
                    t /= kSub * kSub;
                    if (t <= 0.0) continue;
                    const double dv = image[At(x, y, W)] + dRise * t;
                    image[At(x, y, W)] =
                        static_cast<unsigned short>(std::min(nMax, std::floor(dv + 0.5)));
                }
        }
        double sx = 0.0, sy = 0.0;
        for (const auto& p : cluster.members) {
            sx += p.x;
            sy += p.y;
        }
        const double n = static_cast<double>(cluster.members.size());
        cluster.centre = {sx / n, sy / n};
        for (std::size_t k = 0; k < cluster.members.size(); ++k)
            cluster.dRadius =
                std::max(cluster.dRadius, std::hypot(cluster.members[k].x - cluster.centre.x,
                                                     cluster.members[k].y - cluster.centre.y) +
                                              sizes[k] / 2.0);
        clusters.push_back(std::move(cluster));
    }
    return clusters;
}

void AddFilmArtefacts(std::vector<unsigned short>& image, const std::vector<unsigned short>& area,
                      int W, int H, const FilmOptions& o) {
    if (W <= 0 || H <= 0 || o.dPixelSize <= 0.0) return;
    Random rng(o.nSeed);
    const double nMax = static_cast<double>((1 << o.nBitsStored) - 1);
    const double px = o.dPixelSize;
    auto put = [&](int x, int y, double v) {
        if (x >= 0 && y >= 0 && x < W && y < H)
            image[At(x, y, W)] =
                static_cast<unsigned short>(std::clamp(std::floor(v + 0.5), 0.0, nMax));
    };
    const Counts inside(area, W, H, true);
    // A place in the background for a box of half sides hx, hy, 5 mm clear
    // of the area; false when there is none.
    auto place = [&](double hx, double hy, int& x, int& y) {
        const int m = static_cast<int>(5.0 / px);
        for (int nTry = 0; nTry < 2000; ++nTry) {
            x = rng.Integer(static_cast<int>(hx), W - 1 - static_cast<int>(hx));
            y = rng.Integer(static_cast<int>(hy), H - 1 - static_cast<int>(hy));
            if (inside.In(x - static_cast<int>(hx) - m, y - static_cast<int>(hy) - m,
                          x + static_cast<int>(hx) + m, y + static_cast<int>(hy) + m) == 0 &&
                x - hx >= 0 && y - hy >= 0)
                return true;
        }
        return false;
    };
    if (o.bLabel) {
        const double hx = 10.0 / px, hy = 14.0 / px;
        int lx = 0, ly = 0;
        if (hx * 2 < W && hy * 2 < H && place(hx, hy, lx, ly)) {
            const double dPaper = 0.9 * nMax, dInk = 0.35 * nMax;
            for (int y = ly - static_cast<int>(hy); y <= ly + static_cast<int>(hy); ++y)
                for (int x = lx - static_cast<int>(hx); x <= lx + static_cast<int>(hx); ++x)
                    put(x, y, dPaper);
            // Letter strokes: a few bars 0.8 mm wide.
            const int w = std::max(1, static_cast<int>(0.8 / px));
            for (int s = 0; s < 5; ++s) {
                const bool bVertical = rng.Uniform() < 0.5;
                const int x0 = lx + static_cast<int>(rng.Uniform(-0.6, 0.3) * hx);
                const int y0 = ly + static_cast<int>(rng.Uniform(-0.6, 0.3) * hy);
                const int len = static_cast<int>(rng.Uniform(0.3, 0.6) * (bVertical ? hy : hx));
                for (int k = 0; k < len; ++k)
                    for (int j = 0; j < w; ++j)
                        put(bVertical ? x0 + j : x0 + k, bVertical ? y0 + k : y0 + j, dInk);
            }
        }
    }
    if (o.bMarkers)
        for (double dLevel : {0.95 * nMax, 0.0}) {
            const double r = 3.0 / px;
            int mx = 0, my = 0;
            if (r * 2 < W && r * 2 < H && place(r, r, mx, my))
                for (int y = my - static_cast<int>(r); y <= my + static_cast<int>(r); ++y)
                    for (int x = mx - static_cast<int>(r); x <= mx + static_cast<int>(r); ++x)
                        if (std::hypot(x - mx, y - my) <= r) put(x, y, dLevel);
        }
    for (int s = 0; s < o.nStreaks; ++s) {
        const int x0 = rng.Integer(0, W - 1), w = rng.Integer(1, 2);
        const double dOffset = rng.Uniform(-0.02, 0.02) * nMax;
        for (int y = 0; y < H; ++y)
            for (int x = x0; x < std::min(W, x0 + w); ++x) put(x, y, image[At(x, y, W)] + dOffset);
    }
    if (o.dGrain > 0.0)
        for (auto& v : image) {
            const double dv = v + o.dGrain * v * rng.Normal();
            v = static_cast<unsigned short>(std::clamp(std::floor(dv + 0.5), 0.0, nMax));
        }
}

}  // namespace zetdip::phantom
