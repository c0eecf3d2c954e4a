// The candidate step: one blob per spot at its centre whatever the pixel
// size, few on noise, nothing on lines, edges or outside the mask.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "calcification_candidates.h"

namespace {

using namespace zetdip::host;

std::vector<unsigned short> Noise(int W, int H, double dMean, double dSigma, unsigned nSeed) {
    std::mt19937 rng(nSeed);
    std::normal_distribution<double> normal(dMean, dSigma);
    std::vector<unsigned short> image(static_cast<std::size_t>(W) * H);
    for (auto& v : image) v = static_cast<unsigned short>(std::lround(normal(rng)));
    return image;
}

// Adds a disc of the given diameter rising by dRise at (cx, cy).
void AddSpot(std::vector<unsigned short>& image, int W, double cx, double cy, double dDiameterPx,
             double dRise) {
    const int r = static_cast<int>(dDiameterPx) + 1;
    for (int y = static_cast<int>(cy) - r; y <= static_cast<int>(cy) + r; ++y)
        for (int x = static_cast<int>(cx) - r; x <= static_cast<int>(cx) + r; ++x) {
            const double d = std::hypot(x - cx, y - cy) / (dDiameterPx / 2.0);
            if (d < 1.0)
                image[static_cast<std::size_t>(y) * W + x] +=
                    static_cast<unsigned short>(dRise * std::sqrt(1.0 - d * d));
        }
}

// Spots of 0.3 mm rising 15 noise sigmas, at three pixel sizes: one
// candidate at each, none else within 3 mm, few noise peaks elsewhere.
TEST(SelectCandidates, OneBlobPerSpotAtEveryPixelSize) {
    for (double px : {0.05, 0.1, 0.2}) {
        const int W = static_cast<int>(60.0 / px), H = static_cast<int>(40.0 / px);
        auto image = Noise(W, H, 1500.0, 10.0, 7);
        std::vector<std::pair<int, int>> spots;
        for (int k = 0; k < 6; ++k) {
            spots.push_back(
                {static_cast<int>((8.0 + 8.0 * k) / px), static_cast<int>((10.0 + 3.0 * k) / px)});
            AddSpot(image, W, spots.back().first, spots.back().second, std::max(1.5, 0.3 / px),
                    150.0);
        }
        const auto r = ComputeCandidateResponse(image.data(), nullptr, W, H, px);
        const auto c = SelectCandidates(r, kDefaultCandidateThreshold, 12);
        int nElsewhere = 0;
        for (const auto& k : c.candidates) {
            int nNear = 0;
            for (const auto& sp : spots) {
                const double d = std::hypot(k.x - sp.first, k.y - sp.second);
                EXPECT_TRUE(d <= 1.5 || d > 3.0 / px) << px << ": " << k.x << ", " << k.y;
                nNear += d <= 1.5;
            }
            nElsewhere += nNear == 0;
        }
        EXPECT_EQ(static_cast<int>(c.candidates.size()) - nElsewhere, 6) << px;
        EXPECT_LE(nElsewhere, 5) << px;
    }
}

TEST(SelectCandidates, NoneOnLinesEdgesOrOutsideTheMask) {
    const int W = 500, H = 400;
    auto image = Noise(W, H, 1500.0, 10.0, 11);
    // A vessel 0.3 mm wide across the image, and a step edge.
    for (int y = 0; y < H; ++y) {
        for (int x = 240; x < 243; ++x) image[static_cast<std::size_t>(y) * W + x] += 150;
        for (int x = 400; x < W; ++x) image[static_cast<std::size_t>(y) * W + x] += 300;
    }
    auto r = ComputeCandidateResponse(image.data(), nullptr, W, H, 0.1);
    auto c = SelectCandidates(r, kDefaultCandidateThreshold, 12);
    EXPECT_GT(c.counts.nPeaks, 20);      // the line's noise gives many peaks ...
    EXPECT_LE(c.counts.nCandidates, 2);  // ... none of them a spot

    image = Noise(300, 200, 1500.0, 10.0, 13);
    std::vector<unsigned short> mask(image.size(), 0);
    for (int y = 0; y < 200; ++y) std::fill_n(&mask[static_cast<std::size_t>(y) * 300], 150, 4095);
    for (int x : {200, 147, 80})  // outside, on the mask's edge, inside
        AddSpot(image, 300, x, 100, 3.0, 300.0);
    r = ComputeCandidateResponse(image.data(), mask.data(), 300, 200, 0.1);
    c = SelectCandidates(r, kDefaultCandidateThreshold, 12);
    ASSERT_EQ(c.candidates.size(), 1u);
    EXPECT_EQ(c.candidates[0].x, 80);
}

}  // namespace
