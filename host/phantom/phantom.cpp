#include "phantom.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>

#include "random.h"

namespace zetdip::phantom {
namespace {

constexpr double kPi = 3.14159265358979323846;

// Smooth value noise: random values on a coarse grid, interpolated with a
// smoothstep, several octaves; roughly in [-1, 1].
class Texture {
public:
    Texture(Random& rng, int nWidth, int nHeight, double dPixelSize) {
        const double spacingsMm[] = {8.0, 4.0, 2.0, 1.0};
        const double weights[] = {1.0, 0.7, 0.45, 0.3};
        for (int o = 0; o < 4; ++o) {
            Octave oct;
            oct.dStep = std::max(1.0, spacingsMm[o] / dPixelSize);
            oct.nCols = static_cast<int>(nWidth / oct.dStep) + 3;
            oct.nRows = static_cast<int>(nHeight / oct.dStep) + 3;
            oct.dWeight = weights[o];
            oct.values.resize(static_cast<std::size_t>(oct.nCols) * oct.nRows);
            for (auto& v : oct.values) v = rng.Uniform(-1.0, 1.0);
            m_octaves.push_back(std::move(oct));
        }
    }

    double At(double x, double y) const {
        double sum = 0.0, norm = 0.0;
        for (const Octave& o : m_octaves) {
            const double gx = x / o.dStep, gy = y / o.dStep;
            const int ix = static_cast<int>(gx), iy = static_cast<int>(gy);
            const double fx = Smooth(gx - ix), fy = Smooth(gy - iy);
            auto v = [&](int c, int r) {
                return o.values[static_cast<std::size_t>(r) * o.nCols + c];
            };
            const double top = v(ix, iy) * (1 - fx) + v(ix + 1, iy) * fx;
            const double bottom = v(ix, iy + 1) * (1 - fx) + v(ix + 1, iy + 1) * fx;
            sum += o.dWeight * (top * (1 - fy) + bottom * fy);
            norm += o.dWeight;
        }
        return sum / norm * 1.8;
    }

private:
    struct Octave {
        double dStep = 1.0;
        int nCols = 0, nRows = 0;
        double dWeight = 1.0;
        std::vector<double> values;
    };
    static double Smooth(double t) { return t * t * (3.0 - 2.0 * t); }
    std::vector<Octave> m_octaves;
};

// Breast outline: distance (mm) of the skin line from the chest wall for a
// row at fraction f of the height; 0 outside the breast rows.
double BreastExtentMm(double f, double dWidthMm) {
    const double fStart = 0.05, fNipple = 0.42;
    const double dMax = 0.62 * dWidthMm;
    if (f < fStart) return 0.0;
    if (f <= fNipple) {
        const double t = (fNipple - f) / (fNipple - fStart);
        return dMax * std::sqrt(std::max(0.0, 1.0 - t * t));
    }
    const double t = (f - fNipple) / (1.0 - fNipple);
    return dMax * (1.0 - 0.4 * t * t);
}

// Pectoral muscle: a wedge along the chest wall, widening toward the last row.
double MuscleExtentMm(double f, double dWidthMm) {
    const double fApex = 0.5;
    if (f <= fApex) return 0.0;
    return 0.33 * dWidthMm * std::pow((f - fApex) / (1.0 - fApex), 0.9);
}

double DistanceToPolyline(const std::vector<Point>& line, double x, double y) {
    double best = 1e30;
    for (std::size_t i = 1; i < line.size(); ++i) {
        const double ax = line[i - 1].x, ay = line[i - 1].y;
        const double dx = line[i].x - ax, dy = line[i].y - ay;
        const double len2 = dx * dx + dy * dy;
        double t = len2 > 0 ? ((x - ax) * dx + (y - ay) * dy) / len2 : 0.0;
        t = std::clamp(t, 0.0, 1.0);
        const double ex = ax + t * dx - x, ey = ay + t * dy - y;
        best = std::min(best, ex * ex + ey * ey);
    }
    return std::sqrt(best);
}

}  // namespace

Mammogram MakeMammogram(const Options& opt) {
    Random rng(opt.nSeed);
    Mammogram m;
    m.dPixelSize = opt.dPixelSize;
    m.nBitsStored = opt.nBitsStored;
    m.nWidth = static_cast<int>(std::lround(opt.dWidthMm / opt.dPixelSize));
    m.nHeight = static_cast<int>(std::lround(opt.dHeightMm / opt.dPixelSize));
    const int W = m.nWidth, H = m.nHeight;
    const double px = opt.dPixelSize;
    const std::size_t n = static_cast<std::size_t>(W) * H;
    m.image.assign(n, 0);
    m.truth.bBreastOnRight = opt.bBreastOnRight;
    m.truth.breast.assign(n, 0);
    m.truth.muscle.assign(n, 0);

    // Distance from the chest wall in pixels for column x.
    auto depthOf = [&](int x) { return opt.bBreastOnRight ? W - 1 - x : x; };
    auto columnOf = [&](double depth) { return opt.bBreastOnRight ? W - 1 - depth : depth; };

    // Cluster centres inside the breast, away from the muscle, the edges and
    // each other. A cluster that finds no place is not planted.
    const double marginPx = 12.0 / px;
    for (int nMembers : opt.clusterSizes) {
        Cluster c{};
        bool bPlaced = false;
        for (int attempt = 0; attempt < 10000 && !bPlaced; ++attempt) {
            const double y = rng.Uniform(0.12, 0.78) * H;
            const double extent = BreastExtentMm(y / H, opt.dWidthMm) / px;
            const double muscle = MuscleExtentMm(y / H, opt.dWidthMm) / px;
            const double lo = std::max(muscle, 0.0) + marginPx, hi = extent - marginPx;
            if (hi <= lo) continue;
            const Point p{columnOf(rng.Uniform(lo, hi)), y};
            bool ok = true;
            for (const auto& other : m.truth.clusters)
                ok = ok && std::hypot(other.centre.x - p.x, other.centre.y - p.y) > 35.0 / px;
            if (!ok) continue;
            c.centre = p;
            bPlaced = true;
        }
        if (!bPlaced) continue;
        // Members within 4 mm, at least 1.2 mm apart (as many as fit).
        for (int attempt = 0; attempt < 10000 && static_cast<int>(c.members.size()) < nMembers;
             ++attempt) {
            const double r = rng.Uniform(0.0, 4.0) / px, a = rng.Uniform(0.0, 2.0 * kPi);
            const Point p{c.centre.x + r * std::cos(a), c.centre.y + r * std::sin(a)};
            bool ok = true;
            for (const auto& q : c.members) ok = ok && std::hypot(q.x - p.x, q.y - p.y) > 1.2 / px;
            if (ok) c.members.push_back(p);
        }
        double sx = 0, sy = 0;
        for (const auto& q : c.members) sx += q.x, sy += q.y;
        c.centre = {sx / c.members.size(), sy / c.members.size()};
        m.truth.clusters.push_back(std::move(c));
    }

    // Vessels: sinuous lines from the chest wall toward the nipple, kept
    // 8 mm away from the clusters (a line that passes closer is drawn anew).
    std::vector<std::vector<Point>> vessels;
    for (int v = 0, attempt = 0; v < opt.nVessels && attempt < 1000; ++attempt) {
        const double f0 = rng.Uniform(0.2, 0.85);
        const double slope = rng.Uniform(-0.35, 0.15);
        const double amp = rng.Uniform(2.0, 6.0) / px, period = rng.Uniform(25.0, 50.0) / px;
        const double phase = rng.Uniform(0.0, 2.0 * kPi);
        const double lengthFrac = rng.Uniform(0.55, 0.85);
        std::vector<Point> line;
        for (double d = 0.0;; d += 0.5 / px) {
            const double y = f0 * H + slope * d + amp * std::sin(2.0 * kPi * d / period + phase);
            if (y < 0 || y >= H) break;
            if (d > lengthFrac * BreastExtentMm(y / H, opt.dWidthMm) / px) break;
            line.push_back({columnOf(d), y});
        }
        bool ok = line.size() >= 2;
        for (const auto& cl : m.truth.clusters)
            for (const auto& q : cl.members)
                ok = ok && DistanceToPolyline(line, q.x, q.y) > 8.0 / px;
        if (!ok) continue;
        vessels.push_back(std::move(line));
        ++v;
    }

    Texture texture(rng, W, H, px);
    const double fullScale = (1 << opt.nBitsStored) - 1;
    for (int y = 0; y < H; ++y) {
        const double extent = BreastExtentMm(static_cast<double>(y) / H, opt.dWidthMm) / px;
        const double muscle = MuscleExtentMm(static_cast<double>(y) / H, opt.dWidthMm) / px;
        for (int x = 0; x < W; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * W + x;
            const double depth = depthOf(x);
            double v;
            if (depth < extent) {
                m.truth.breast[i] = 1;
                // Tissue thins toward the skin line.
                const double skin = std::min(1.0, (extent - depth) * px / 8.0);
                const double tissue = opt.dTissue + opt.dTextureAmplitude * texture.At(x, y);
                v = opt.dBackground + (tissue - opt.dBackground) * std::sqrt(skin);
                if (depth < muscle) {
                    m.truth.muscle[i] = 1;
                    // A soft 1 mm transition into the muscle.
                    const double w = std::min(1.0, (muscle - depth) * px / 1.0);
                    // The muscle's own texture: the tissue texture mirrored.
                    const double level = opt.dMuscle + 0.25 * opt.dTextureAmplitude *
                                                           texture.At(W - 1 - x, H - 1 - y);
                    v = v * (1.0 - w) + level * w;
                }
                v += opt.dNoise * rng.Normal();
            } else {
                v = opt.dBackground + opt.dBackgroundNoise * rng.Normal();
            }
            m.image[i] = static_cast<unsigned short>(std::clamp(v, 0.0, fullScale));
        }
    }

    // Vessels: a Gaussian ridge of sigma 0.5 mm around each centre line,
    // from the distance of each pixel to the nearest line.
    const double sigma = 0.5 / px;
    const int reach = static_cast<int>(3 * sigma) + 1;
    std::vector<float> nearest(n, 1e9f);
    for (const auto& line : vessels)
        for (std::size_t k = 1; k < line.size(); ++k) {
            const std::vector<Point> segment = {line[k - 1], line[k]};
            const int x0 = static_cast<int>(std::min(line[k - 1].x, line[k].x)) - reach;
            const int x1 = static_cast<int>(std::max(line[k - 1].x, line[k].x)) + reach;
            const int y0 = static_cast<int>(std::min(line[k - 1].y, line[k].y)) - reach;
            const int y1 = static_cast<int>(std::max(line[k - 1].y, line[k].y)) + reach;
            for (int y = std::max(0, y0); y <= std::min(H - 1, y1); ++y)
                for (int x = std::max(0, x0); x <= std::min(W - 1, x1); ++x) {
                    const std::size_t i = static_cast<std::size_t>(y) * W + x;
                    nearest[i] =
                        std::min(nearest[i], static_cast<float>(DistanceToPolyline(segment, x, y)));
                }
        }
    for (std::size_t i = 0; i < n; ++i) {
        if (nearest[i] > reach || !m.truth.breast[i] || m.truth.muscle[i]) continue;
        const double d = nearest[i];
        const double v = m.image[i] + opt.dVesselContrast * std::exp(-d * d / (2 * sigma * sigma));
        m.image[i] = static_cast<unsigned short>(std::min(fullScale, v));
    }
    m.truth.vessels = vessels;

    // Microcalcifications: bright discs of 0.3 to 0.8 mm with a soft rim.
    for (const auto& c : m.truth.clusters)
        for (const auto& p : c.members) {
            const double radius = rng.Uniform(0.15, 0.4) / px;
            const int r = static_cast<int>(radius) + 2;
            for (int y = std::max(0, static_cast<int>(p.y) - r);
                 y <= std::min(H - 1, static_cast<int>(p.y) + r); ++y)
                for (int x = std::max(0, static_cast<int>(p.x) - r);
                     x <= std::min(W - 1, static_cast<int>(p.x) + r); ++x) {
                    const double d = std::hypot(x + 0.5 - p.x, y + 0.5 - p.y);
                    const double w = std::clamp(radius + 0.5 - d, 0.0, 1.0);
                    if (w <= 0) continue;
                    const std::size_t i = static_cast<std::size_t>(y) * W + x;
                    const double v =
                        m.image[i] * (1 - w) + (opt.dCalcification + 40 * rng.Normal()) * w;
                    m.image[i] = static_cast<unsigned short>(
                        std::clamp(std::max<double>(v, m.image[i]), 0.0, fullScale));
                }
        }
    return m;
}

std::vector<unsigned char> To8Bits(const Mammogram& m) {
    std::vector<unsigned char> out(m.image.size());
    const int shift = m.nBitsStored - 8;
    for (std::size_t i = 0; i < out.size(); ++i)
        out[i] = static_cast<unsigned char>(m.image[i] >> shift);
    return out;
}

bool WritePgm(const char* pszPath, const std::vector<unsigned char>& image, int nWidth,
              int nHeight) {
    std::FILE* f = std::fopen(pszPath, "wb");
    if (!f) return false;
    std::fprintf(f, "P5\n%d %d\n255\n", nWidth, nHeight);
    const bool ok = std::fwrite(image.data(), 1, image.size(), f) == image.size();
    return std::fclose(f) == 0 && ok;
}

}  // namespace zetdip::phantom
