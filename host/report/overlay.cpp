#include "overlay.h"

#include <algorithm>
#include <cmath>

namespace zetdip::host {
namespace {

constexpr unsigned char kOutline[3] = {40, 220, 40};
constexpr unsigned char kCircle[3] = {255, 40, 40};

// Grey levels at the given fractions of the breast's samples (all samples
// when the mask is empty), from a histogram of the stored values.
std::pair<int, int> Window(const Image& image, const std::vector<unsigned char>& mask) {
    const int nLevels = image.Is8Bit() ? 256 : 65536;
    std::vector<long long> histogram(nLevels, 0);
    const std::size_t n = image.PixelCount();
    const bool bMasked = std::count(mask.begin(), mask.end(), 255) > 0;
    long long total = 0;
    for (std::size_t i = 0; i < n; ++i)
        if (!bMasked || mask[i] != 0) {
            ++histogram[image.Is8Bit() ? image.bytes[i] : image.words[i]];
            ++total;
        }
    auto level = [&](double fraction) {
        const long long target = static_cast<long long>(fraction * static_cast<double>(total));
        long long sum = 0;
        for (int v = 0; v < nLevels; ++v)
            if ((sum += histogram[v]) > target) return v;
        return nLevels - 1;
    };
    const int lo = level(0.005), hi = level(0.998);
    return {lo, std::max(hi, lo + 1)};
}

void Paint(Picture& p, int x, int y, const unsigned char* colour) {
    if (x < 0 || y < 0 || x >= p.nWidth || y >= p.nHeight) return;
    std::copy_n(colour, 3, &p.pixels[(static_cast<std::size_t>(y) * p.nWidth + x) * 3]);
}

}  // namespace

int PictureScale(int nHeight, bool fullSize, int nMaxRows) {
    return fullSize ? 1 : std::max(1, (nHeight + nMaxRows - 1) / nMaxRows);
}

Picture RenderOverlay(const Image& image, const DetectionResult& r, int scale) {
    const int W = image.nWidth, H = image.nHeight;
    Picture p;
    p.nWidth = (W + scale - 1) / scale;
    p.nHeight = (H + scale - 1) / scale;
    p.nChannels = 3;
    p.pixels.assign(static_cast<std::size_t>(p.nWidth) * p.nHeight * 3, 0);
    const auto [lo, hi] = Window(image, r.mask);
    for (int py = 0; py < p.nHeight; ++py)
        for (int px = 0; px < p.nWidth; ++px) {
            double sum = 0.0;
            int n = 0;
            for (int y = py * scale; y < std::min(H, (py + 1) * scale); ++y)
                for (int x = px * scale; x < std::min(W, (px + 1) * scale); ++x, ++n)
                    sum += image.Sample(x, y);
            const double v = (sum / n - lo) * 255.0 / (hi - lo);
            const auto grey = static_cast<unsigned char>(std::clamp(v, 0.0, 255.0));
            std::fill_n(&p.pixels[(static_cast<std::size_t>(py) * p.nWidth + px) * 3], 3, grey);
        }

    // Outline: mask pixels with a 4-neighbour outside the mask; the image
    // edge is not an outline. Thick enough to see on a screen.
    const int nPen = p.nHeight >= 1000 ? 2 : 1;
    if (r.mask.size() == image.PixelCount()) {
        auto in = [&](int x, int y) {
            return x < 0 || y < 0 || x >= W || y >= H ||
                   r.mask[static_cast<std::size_t>(y) * W + x] != 0;
        };
        for (int y = 0; y < H; ++y)
            for (int x = 0; x < W; ++x)
                if (r.mask[static_cast<std::size_t>(y) * W + x] != 0 &&
                    !(in(x - 1, y) && in(x + 1, y) && in(x, y - 1) && in(x, y + 1)))
                    for (int dy = 0; dy < nPen; ++dy)
                        for (int dx = 0; dx < nPen; ++dx)
                            Paint(p, x / scale + dx, y / scale + dy, kOutline);
    }

    const double dPen = std::max(2.0, p.nHeight / 400.0);
    for (const auto& c : r.clusters) {
        const double cx = (c.x + 0.5) / scale - 0.5, cy = (c.y + 0.5) / scale - 0.5;
        const double radius = c.radius / scale, outer = radius + dPen / 2;
        for (int y = static_cast<int>(std::floor(cy - outer));
             y <= static_cast<int>(std::ceil(cy + outer)); ++y)
            for (int x = static_cast<int>(std::floor(cx - outer));
                 x <= static_cast<int>(std::ceil(cx + outer)); ++x)
                if (std::fabs(std::hypot(x - cx, y - cy) - radius) <= dPen / 2)
                    Paint(p, x, y, kCircle);
    }
    return p;
}

Picture RenderBinary(const std::vector<unsigned char>& binary, int W, int H, int scale) {
    Picture p;
    p.nWidth = (W + scale - 1) / scale;
    p.nHeight = (H + scale - 1) / scale;
    p.pixels.assign(static_cast<std::size_t>(p.nWidth) * p.nHeight, 0);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            if (binary[static_cast<std::size_t>(y) * W + x] != 0)
                p.pixels[static_cast<std::size_t>(y / scale) * p.nWidth + x / scale] = 255;
    return p;
}

}  // namespace zetdip::host
