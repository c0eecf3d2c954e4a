#include "calcification_candidates.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace zetdip::host {
namespace {

// Band of a microcalcification: the small Gaussian keeps spots down to
// 0.1 mm; the large one is the local background a spot stands out from.
// Tissue has structure at every scale, and a background taken close to the
// spot removes more of it: the nearer one serves the small spots, the farther
// one those of up to 1 mm, and each answer counts in its own noise.
constexpr double kInnerSigmaMm = 0.1;
constexpr double kOuterSigmasMm[] = {0.3, 0.5};
// Below this many pixels a Gaussian is no smoothing at all.
constexpr double kMinSigmaPx = 0.6;
// Tiles over which the noise of the band is measured.
constexpr double kNoiseTileMm = 6.0;
// A blob is its peak's region above this fraction of the threshold.
constexpr double kRegionFraction = 0.5;
// That region must fit a box of this half side...
constexpr double kRegionHalfMm = 0.8;
// ... and not be a line: ratio of its principal second moments.
constexpr double kMaxMomentRatio = 9.0;
// Peaks closer than this are one microcalcification.
constexpr double kPeakSpacingMm = 0.6;
// Floor of the noise, grey levels: a flat image has no noise to divide by.
constexpr double kNoiseFloor = 0.5;
// A microcalcification seldom comes alone: a peak down to this fraction of
// the threshold is a candidate too when a peak at the threshold lies within
// this distance. Noise peaks that weak are common, but rarely beside a strong
// one. The fraction stays above 0.742, where the library's stretch of the
// grey image turns a centre dark.
constexpr double kContextFraction = 0.75;
constexpr double kContextMm = 3.0;

int Px(double dMm, double dPixelSize) {
    return static_cast<int>(std::lround(dMm / dPixelSize));
}

int Mirror(int i, int n) {
    if (n == 1) return 0;
    while (i < 0 || i >= n) i = i < 0 ? -i - 1 : 2 * n - i - 1;
    return i;
}

// Rows and columns blurred in turn by a symmetric kernel.
void ConvolveRows(const float* pSrc, float* pDst, int W, int H, const std::vector<double>& k) {
    const int r = static_cast<int>(k.size()) / 2;
    std::vector<float> line(static_cast<std::size_t>(W) + 2 * r);
    for (int y = 0; y < H; ++y) {
        const float* src = pSrc + static_cast<std::size_t>(y) * W;
        for (int x = -r; x < W + r; ++x) line[static_cast<std::size_t>(x + r)] = src[Mirror(x, W)];
        float* dst = pDst + static_cast<std::size_t>(y) * W;
        for (int x = 0; x < W; ++x) {
            double s = 0.0;
            const float* p = line.data() + x;
            for (std::size_t j = 0; j < k.size(); ++j) s += k[j] * static_cast<double>(p[j]);
            dst[x] = static_cast<float>(s);
        }
    }
}

void ConvolveColumns(const float* pSrc, float* pDst, int W, int H, const std::vector<double>& k) {
    const int r = static_cast<int>(k.size()) / 2;
    std::vector<double> acc(static_cast<std::size_t>(W));
    for (int y = 0; y < H; ++y) {
        std::fill(acc.begin(), acc.end(), 0.0);
        for (int j = -r; j <= r; ++j) {
            const float* src = pSrc + static_cast<std::size_t>(Mirror(y + j, H)) * W;
            const double kj = k[static_cast<std::size_t>(j + r)];
            for (int x = 0; x < W; ++x) acc[static_cast<std::size_t>(x)] += kj * src[x];
        }
        float* dst = pDst + static_cast<std::size_t>(y) * W;
        for (int x = 0; x < W; ++x) dst[x] = static_cast<float>(acc[static_cast<std::size_t>(x)]);
    }
}

// Pixels whose square neighbourhood of half side nRadius lies wholly in the
// mask (and in the image), counted with a summed-area table.
std::vector<unsigned char> Erode(const std::vector<unsigned char>& in, int W, int H, int nRadius) {
    std::vector<std::int64_t> sat(static_cast<std::size_t>(W + 1) * (H + 1), 0);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            sat[static_cast<std::size_t>(y + 1) * (W + 1) + x + 1] =
                (in[static_cast<std::size_t>(y) * W + x] == 0) +
                sat[static_cast<std::size_t>(y) * (W + 1) + x + 1] +
                sat[static_cast<std::size_t>(y + 1) * (W + 1) + x] -
                sat[static_cast<std::size_t>(y) * (W + 1) + x];
    std::vector<unsigned char> out(in.size(), 0);
    for (int y = nRadius; y < H - nRadius; ++y)
        for (int x = nRadius; x < W - nRadius; ++x) {
            const int x0 = x - nRadius, y0 = y - nRadius, x1 = x + nRadius + 1,
                      y1 = y + nRadius + 1;
            const std::int64_t outside = sat[static_cast<std::size_t>(y1) * (W + 1) + x1] -
                                         sat[static_cast<std::size_t>(y0) * (W + 1) + x1] -
                                         sat[static_cast<std::size_t>(y1) * (W + 1) + x0] +
                                         sat[static_cast<std::size_t>(y0) * (W + 1) + x0];
            out[static_cast<std::size_t>(y) * W + x] = outside == 0;
        }
    return out;
}

// Local noise of the band per pixel: the robust noise of each tile,
// interpolated bilinearly between tile centres. Tiles with too little of the
// area take the median of the others.
std::vector<float> LocalNoise(const std::vector<float>& band,
                              const std::vector<unsigned char>& area, int W, int H,
                              double dPixelSize) {
    const int T = std::max(16, Px(kNoiseTileMm, dPixelSize));
    const int nx = (W + T - 1) / T, ny = (H + T - 1) / T;
    std::vector<double> tile(static_cast<std::size_t>(nx) * ny, -1.0);
    std::vector<float> values;
    std::vector<unsigned char> ones;
    for (int ty = 0; ty < ny; ++ty)
        for (int tx = 0; tx < nx; ++tx) {
            values.clear();
            for (int y = ty * T; y < std::min(H, (ty + 1) * T); ++y)
                for (int x = tx * T; x < std::min(W, (tx + 1) * T); ++x) {
                    const std::size_t i = static_cast<std::size_t>(y) * W + x;
                    if (area[i]) values.push_back(band[i]);
                }
            if (values.size() * 8 >= static_cast<std::size_t>(T) * T)
                tile[static_cast<std::size_t>(ty) * nx + tx] =
                    RobustNoise(values.data(), nullptr, values.size());
        }
    std::vector<double> valid;
    for (double v : tile)
        if (v >= 0.0) valid.push_back(v);
    double fill = RobustNoise(band.data(), area.data(), band.size()) / 1.0;
    if (!valid.empty()) {
        std::nth_element(valid.begin(), valid.begin() + valid.size() / 2, valid.end());
        fill = valid[valid.size() / 2];
    }
    for (double& v : tile) v = std::max(kNoiseFloor, v >= 0.0 ? v : fill);

    std::vector<float> noise(band.size());
    for (int y = 0; y < H; ++y) {
        const double fy = std::clamp((y + 0.5) / T - 0.5, 0.0, static_cast<double>(ny - 1));
        const int y0 = static_cast<int>(fy), y1 = std::min(y0 + 1, ny - 1);
        const double wy = fy - y0;
        for (int x = 0; x < W; ++x) {
            const double fx = std::clamp((x + 0.5) / T - 0.5, 0.0, static_cast<double>(nx - 1));
            const int x0 = static_cast<int>(fx), x1 = std::min(x0 + 1, nx - 1);
            const double wx = fx - x0;
            auto at = [&](int ix, int iy) { return tile[static_cast<std::size_t>(iy) * nx + ix]; };
            const double v = (1.0 - wy) * ((1.0 - wx) * at(x0, y0) + wx * at(x1, y0)) +
                             wy * ((1.0 - wx) * at(x0, y1) + wx * at(x1, y1));
            noise[static_cast<std::size_t>(y) * W + x] = static_cast<float>(v);
        }
    }
    return noise;
}

}  // namespace

double RobustNoise(const float* pValues, const unsigned char* pArea, std::size_t n) {
    std::vector<float> a;
    a.reserve(n);
    for (std::size_t i = 0; i < n; ++i)
        if (pArea == nullptr || pArea[i]) a.push_back(std::fabs(pValues[i]));
    if (a.empty()) return 0.0;
    std::nth_element(a.begin(), a.begin() + a.size() / 2, a.end());
    return static_cast<double>(a[a.size() / 2]) / 0.6745;
}

std::vector<float> GaussianBlur(const std::vector<float>& image, int W, int H, double dSigma) {
    if (dSigma <= 0.0 || W <= 0 || H <= 0) return image;
    const int r = std::max(1, static_cast<int>(std::ceil(3.0 * dSigma)));
    std::vector<double> k(static_cast<std::size_t>(2 * r + 1));
    double sum = 0.0;
    for (int j = -r; j <= r; ++j) {
        const double v = std::exp(-0.5 * (j * j) / (dSigma * dSigma));
        k[static_cast<std::size_t>(j + r)] = v;
        sum += v;
    }
    for (double& v : k) v /= sum;
    std::vector<float> tmp(image.size()), out(image.size());
    ConvolveRows(image.data(), tmp.data(), W, H, k);
    ConvolveColumns(tmp.data(), out.data(), W, H, k);
    return out;
}

int CandidateBlobSide(double dPixelSize) {
    return std::max(2, Px(0.3, dPixelSize));
}

CandidateResponse ComputeCandidateResponse(const unsigned short* pImage,
                                           const unsigned short* pMask, int W, int H,
                                           double dPixelSize) {
    CandidateResponse r;
    r.nWidth = W;
    r.nHeight = H;
    r.dPixelSize = dPixelSize;
    const std::size_t n = static_cast<std::size_t>(W) * static_cast<std::size_t>(H);
    if (n == 0 || dPixelSize <= 0.0) return r;
    std::vector<float> image(n);
    for (std::size_t i = 0; i < n; ++i) image[i] = static_cast<float>(pImage[i]);
    const double s1 = std::max(kMinSigmaPx, kInnerSigmaMm / dPixelSize);
    const std::vector<float> spot = GaussianBlur(image, W, H, s1);
    double dReach = 0.0;
    for (double dOuterMm : kOuterSigmasMm)
        dReach = std::max(dReach, std::max(2.0 * s1, dOuterMm / dPixelSize));
    std::vector<unsigned char> mask(n, 1);
    if (pMask != nullptr)
        for (std::size_t i = 0; i < n; ++i) mask[i] = pMask[i] != 0;
    // The background Gaussians reach 3 sigma: nearer the mask's edge the
    // skin line itself answers.
    r.area = Erode(mask, W, H, static_cast<int>(std::ceil(3.0 * dReach)));
    r.z.assign(n, 0.0f);
    bool bFirst = true;
    for (double dOuterMm : kOuterSigmasMm) {
        const double s2 = std::max(2.0 * s1, dOuterMm / dPixelSize);
        std::vector<float> band = GaussianBlur(image, W, H, s2);
        for (std::size_t i = 0; i < n; ++i) band[i] = spot[i] - band[i];
        std::vector<float> noise = LocalNoise(band, r.area, W, H, dPixelSize);
        for (std::size_t i = 0; i < n; ++i) {
            if (!r.area[i]) continue;
            const float z = static_cast<float>(band[i] / noise[i]);
            r.z[i] = bFirst ? z : std::max(r.z[i], z);
        }
        if (bFirst) r.noise = std::move(noise);
        bFirst = false;
    }
    return r;
}

CandidateImages SelectCandidates(const CandidateResponse& r, double dThreshold, int nBitsStored) {
    CandidateImages out;
    const int W = r.nWidth, H = r.nHeight;
    const std::size_t n = static_cast<std::size_t>(W) * static_cast<std::size_t>(H);
    const int nMax = (1 << nBitsStored) - 1;
    out.binary.assign(n, 0);
    out.grey.assign(n, 0);
    if (n == 0 || dThreshold <= 0.0) return out;

    // Grey: the library stretches [max / 2, max / 1.41] onto the full range,
    // so the answer is scaled to reach the top of that span at the
    // threshold and to lie below its bottom where it is weak. Saturating
    // lower would join the neighbours of a tight cluster into runs that the
    // shape check takes for a line.
    const double dTop = static_cast<double>(static_cast<int>((1 << nBitsStored) / 1.41));
    const double dSaturation = dThreshold;
    for (std::size_t i = 0; i < n; ++i) {
        const double v = std::floor(static_cast<double>(r.z[i]) / dSaturation * dTop);
        out.grey[i] = static_cast<unsigned short>(std::clamp(v, 0.0, static_cast<double>(nMax)));
    }

    const double dFloor = kContextFraction * dThreshold;
    const int nSide = CandidateBlobSide(r.dPixelSize);
    const int nSpacing = std::max(nSide + 1, Px(kPeakSpacingMm, r.dPixelSize));
    const int nHalf = std::max(2, Px(kRegionHalfMm, r.dPixelSize));
    std::vector<unsigned char> region(static_cast<std::size_t>(2 * nHalf + 1) * (2 * nHalf + 1));
    std::vector<int> stack;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const float zc = r.z[static_cast<std::size_t>(y) * W + x];
            if (!(zc >= dFloor)) continue;
            // A peak is above every pixel within the spacing; of equal ones
            // the first in row-major order.
            bool bPeak = true;
            for (int dy = -nSpacing; dy <= nSpacing && bPeak; ++dy) {
                const int yy = y + dy;
                if (yy < 0 || yy >= H) continue;
                for (int dx = -nSpacing; dx <= nSpacing; ++dx) {
                    const int xx = x + dx;
                    if (xx < 0 || xx >= W || (dx == 0 && dy == 0)) continue;
                    const float zn = r.z[static_cast<std::size_t>(yy) * W + xx];
                    if (zn > zc || (zn == zc && (dy < 0 || (dy == 0 && dx < 0)))) {
                        bPeak = false;
                        break;
                    }
                }
            }
            if (!bPeak) continue;
            ++out.counts.nPeaks;

            // The peak's region above the saturation level, grown within
            // the box; touching the box's edge means wider than a
            // microcalcification.
            std::fill(region.begin(), region.end(), 0);
            const double dRegion = kRegionFraction * static_cast<double>(zc);
            const int B = 2 * nHalf + 1;
            bool bTooLarge = false;
            double sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0;
            int nPixels = 0;
            stack.assign(1, nHalf * B + nHalf);
            region[static_cast<std::size_t>(nHalf) * B + nHalf] = 1;
            while (!stack.empty()) {
                const int k = stack.back();
                stack.pop_back();
                const int bx = k % B, by = k / B;
                const double ddx = bx - nHalf, ddy = by - nHalf;
                ++nPixels;
                sx += ddx;
                sy += ddy;
                sxx += ddx * ddx;
                syy += ddy * ddy;
                sxy += ddx * ddy;
                if (bx == 0 || by == 0 || bx == B - 1 || by == B - 1) bTooLarge = true;
                for (int oy = -1; oy <= 1; ++oy)
                    for (int ox = -1; ox <= 1; ++ox) {
                        const int nbx = bx + ox, nby = by + oy;
                        if (nbx < 0 || nby < 0 || nbx >= B || nby >= B) continue;
                        const int ix = x - nHalf + nbx, iy = y - nHalf + nby;
                        if (ix < 0 || iy < 0 || ix >= W || iy >= H) continue;
                        const std::size_t kb = static_cast<std::size_t>(nby) * B + nbx;
                        if (region[kb] || !(r.z[static_cast<std::size_t>(iy) * W + ix] >= dRegion))
                            continue;
                        region[kb] = 1;
                        stack.push_back(static_cast<int>(kb));
                    }
            }
            if (bTooLarge) {
                ++out.counts.nTooLarge;
                continue;
            }
            if (nPixels >= 5) {
                const double mx = sx / nPixels, my = sy / nPixels;
                const double cxx = sxx / nPixels - mx * mx, cyy = syy / nPixels - my * my,
                             cxy = sxy / nPixels - mx * my;
                const double tr = cxx + cyy, det = cxx * cyy - cxy * cxy;
                const double disc = std::sqrt(std::max(0.0, tr * tr / 4.0 - det));
                const double l1 = tr / 2.0 + disc, l2 = tr / 2.0 - disc;
                if (l1 > kMaxMomentRatio * std::max(l2, 0.0)) {
                    ++out.counts.nElongated;
                    continue;
                }
            }
            out.candidates.push_back({x, y, zc});
        }

    // Peaks under the threshold stay only beside one at it. The peaks were
    // found in row-major order, so the strong ones are sorted by row and only
    // those in the rows within reach are looked at.
    std::vector<Candidate> strong;
    for (const Candidate& k : out.candidates)
        if (k.z >= dThreshold) strong.push_back(k);
    const double dContext = kContextMm / r.dPixelSize;
    const int nReach = static_cast<int>(dContext);
    std::size_t nKept = 0;
    for (const Candidate& k : out.candidates) {
        bool bKeep = k.z >= dThreshold;
        auto it = std::lower_bound(strong.begin(), strong.end(), k.y - nReach,
                                   [](const Candidate& c, int y) { return c.y < y; });
        for (; it != strong.end() && it->y <= k.y + nReach && !bKeep; ++it)
            bKeep =
                std::abs(it->x - k.x) <= nReach && std::hypot(it->x - k.x, it->y - k.y) <= dContext;
        if (!bKeep) {
            ++out.counts.nAlone;
            continue;
        }
        out.candidates[nKept++] = k;
        const int x0 = k.x - nSide / 2, y0 = k.y - nSide / 2;
        for (int yy = std::max(0, y0); yy < std::min(H, y0 + nSide); ++yy)
            for (int xx = std::max(0, x0); xx < std::min(W, x0 + nSide); ++xx)
                out.binary[static_cast<std::size_t>(yy) * W + xx] =
                    static_cast<unsigned short>(nMax);
    }
    out.candidates.resize(nKept);
    out.counts.nCandidates = static_cast<long long>(out.candidates.size());
    return out;
}

}  // namespace zetdip::host
