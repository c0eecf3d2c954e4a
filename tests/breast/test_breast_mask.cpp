// Breast mask and pectoral muscle removal on synthetic mammograms.
#include <gtest/gtest.h>

#include <cstdio>
#include <tuple>
#include <vector>

#include "DipFilters.h"
#include "breast/breast_mask.h"
#include "phantom.h"
#include "support/images.h"
#include "support/phantom_metrics.h"

namespace {

using zetdip::phantom::Mammogram;
using zetdip::test::Bytes;
using zetdip::test::MeasureOverlap;

Mammogram MakePhantom(bool bRight, double dPixelSize) {
    zetdip::phantom::Options options;
    options.bBreastOnRight = bRight;
    options.dPixelSize = dPixelSize;
    options.nSeed = bRight ? 11 : 7;
    return zetdip::phantom::MakeMammogram(options);
}

struct PhantomCase {
    bool bRight;
    double dPixelSize;
};

class BreastOnPhantom : public ::testing::TestWithParam<PhantomCase> {};

// The mask is widened by 5 mm past the detected skin line, so mask pixels
// within 6 mm of the breast (in the same row) are not leaks. Coverage is
// measured between the tenth rows, where the mask is built; below 9/10 of
// the height the mask is always cleared.
TEST_P(BreastOnPhantom, SixteenBitMaskCoversBreastAndMuscleIsCleared) {
    const auto [bRight, dPixelSize] = GetParam();
    Mammogram m = MakePhantom(bRight, dPixelSize);
    const int W = m.nWidth, H = m.nHeight;
    std::vector<unsigned short> mask(m.image.size(), 7);
    bool bBreastOnRight = false;
    ASSERT_TRUE(CDipFilters::CreateMaskOfBreast(Bytes(m.image), Bytes(mask), 16, 12, W, H,
                                                bBreastOnRight, dPixelSize));
    EXPECT_EQ(bBreastOnRight, bRight);
    for (unsigned short v : mask) ASSERT_TRUE(v == 0 || v == 4095);

    const int nTolerance = static_cast<int>(6.0 / dPixelSize);
    const auto overlap =
        MeasureOverlap(mask, m.truth.breast, W, H / 10 + 1, 9 * H / 10, nTolerance);
    std::printf("mask: coverage %.4f, leak %.5f\n", overlap.dCoverage, overlap.dLeak);
    EXPECT_GT(overlap.dCoverage, 0.98);
    EXPECT_LT(overlap.dLeak, 0.002);
    for (int y = 9 * H / 10 + 1; y < H; ++y)
        for (int x = 0; x < W; ++x) ASSERT_EQ(mask[static_cast<std::size_t>(y) * W + x], 0);

    // Pectoral muscle: cleared from the rows the walk reaches, tissue kept.
    // What remains of the muscle is its soft 1 mm rim (below the muscle
    // threshold) and its tip, narrower than the 3 mm that ends the walk.
    std::vector<unsigned short> cleared = mask;
    ASSERT_TRUE(CDipFilters::RemovePectoralMuscleFromMask(Bytes(m.image), Bytes(cleared), 16, 12, W,
                                                          H, bRight, dPixelSize));
    long long nMuscle = 0, nMuscleLeft = 0, nTissue = 0, nTissueLost = 0;
    for (std::size_t i = 0; i < mask.size(); ++i) {
        if (!mask[i]) continue;
        if (m.truth.muscle[i]) {
            ++nMuscle;
            nMuscleLeft += cleared[i] != 0;
        } else {
            ++nTissue;
            nTissueLost += cleared[i] == 0;
        }
    }
    const double dMuscleLeft = static_cast<double>(nMuscleLeft) / nMuscle;
    const double dTissueLost = static_cast<double>(nTissueLost) / nTissue;
    std::printf("pectoral: muscle left %.4f, tissue lost %.4f\n", dMuscleLeft, dTissueLost);
    EXPECT_LT(dMuscleLeft, 0.10);
    EXPECT_LT(dTissueLost, 0.01);
}

INSTANTIATE_TEST_SUITE_P(SidesAndPixelSizes, BreastOnPhantom,
                         ::testing::Values(PhantomCase{false, 0.1}, PhantomCase{true, 0.07}));

TEST(BreastOnPhantom8Bit, PectoralRemovalReportsFalseAndLeavesMask) {
    Mammogram m = MakePhantom(false, 0.1);
    auto image = zetdip::phantom::To8Bits(m);
    std::vector<unsigned char> mask(image.size());
    bool bBreastOnRight = false;
    ASSERT_TRUE(CDipFilters::CreateMaskOfBreast(image.data(), mask.data(), 8, 8, m.nWidth,
                                                m.nHeight, bBreastOnRight, 0.1));
    const auto overlap =
        MeasureOverlap(mask, m.truth.breast, m.nWidth, m.nHeight / 10 + 1, 9 * m.nHeight / 10, 60);
    EXPECT_GT(overlap.dCoverage, 0.98);
    const auto before = mask;
    EXPECT_FALSE(CDipFilters::RemovePectoralMuscleFromMask(image.data(), mask.data(), 8, 8,
                                                           m.nWidth, m.nHeight, false, 0.1));
    EXPECT_EQ(mask, before);
}

TEST(BreastMask, SideIsWrittenOnlyBySixteenBitAndOnlyToRight) {
    // 8-bit: a probe saying right leaves the caller's false alone.
    Mammogram right = MakePhantom(true, 0.1);
    auto image8 = zetdip::phantom::To8Bits(right);
    std::vector<unsigned char> mask8(image8.size());
    bool bSide = false;
    ASSERT_TRUE(CDipFilters::CreateMaskOfBreast(image8.data(), mask8.data(), 8, 8, right.nWidth,
                                                right.nHeight, bSide, 0.1));
    EXPECT_FALSE(bSide);
    // 16-bit: a probe saying left never sets the caller's true back to false.
    Mammogram left = MakePhantom(false, 0.1);
    std::vector<unsigned short> mask(left.image.size());
    bSide = true;
    ASSERT_TRUE(CDipFilters::CreateMaskOfBreast(Bytes(left.image), Bytes(mask), 16, 12, left.nWidth,
                                                left.nHeight, bSide, 0.1));
    EXPECT_TRUE(bSide);
}

// The upward patch, 64 columns at a time, against the literal walk up each column, on
// random edge images with long vertical runs; ranges that start and end inside a strip.
TEST(BreastMask, UpwardPatchMatchesColumnWalk) {
    const int w = 203, h = 40;
    for (std::uint32_t seed : {1u, 2u, 3u}) {
        auto edge = zetdip::test::RandomImage<unsigned short>(w, h, 0, 9, seed);
        for (auto& v : edge) v = v == 0 ? 0 : 4095;  // one zero in ten ends a walk
        auto dst = zetdip::test::RandomImage<unsigned short>(w, h, 0, 1, seed + 10);
        for (auto [nRow, x0, x1] :
             {std::tuple{h - 2, 0, w}, {20, 5, 131}, {0, 63, 65}, {9, 7, 7}}) {
            auto expected = dst, out = dst;
            for (int x = x0; x < x1; ++x) {
                if (expected[(nRow + 1) * w + x] == 0) continue;
                for (int y = nRow; y >= 1 && edge[y * w + x] != 0; --y) expected[y * w + x] = 4095;
            }
            zetdip::detail::PatchUpward<unsigned short>(edge.data(), out.data(), w, nRow, x0, x1,
                                                        4095);
            EXPECT_EQ(out, expected) << seed << ' ' << nRow << ' ' << x0;
        }
    }
}

TEST(BreastMask, UndecidedImageIsFilled) {
    std::vector<unsigned char> dark8(40 * 30, 25), mask8(dark8.size());
    bool bRight = false;
    ASSERT_TRUE(
        CDipFilters::CreateMaskOfBreast(dark8.data(), mask8.data(), 8, 8, 40, 30, bRight, 0.1));
    EXPECT_EQ(mask8, std::vector<unsigned char>(dark8.size(), 255));
    for (int bits : {12, 16}) {
        std::vector<unsigned short> dark(40 * 30, 100), mask(dark.size(), 1);
        ASSERT_TRUE(CDipFilters::CreateMaskOfBreast(Bytes(dark), Bytes(mask), 16, bits, 40, 30,
                                                    bRight, 0.1));
        // One above the full-scale value: 4096 at 12 bits, 0 at 16 bits.
        EXPECT_EQ(mask, std::vector<unsigned short>(dark.size(), bits == 12 ? 4096 : 0));
    }
}

// 8-bit: 85 passes the darkness test (and then reports the opening's false), 84 fails before
// anything else; 12-bit: a reference below 4096 / 3 = 1365 is dark. The mask stays.
TEST(PectoralRemoval, ReferencePixelDarknessTest) {
    for (int v : {84, 85, 1364}) {
        std::vector<unsigned short> words(40 * 40, static_cast<unsigned short>(v)),
            mask(40 * 40, 255);
        std::vector<unsigned char> bytes(words.begin(), words.end());
        auto* p = v > 255 ? Bytes(words) : bytes.data();
        EXPECT_FALSE(CDipFilters::RemovePectoralMuscleFromMask(
            p, Bytes(mask), v > 255 ? 16 : 8, v > 255 ? 12 : 8, 40, 40, false, 0.1));
        EXPECT_EQ(mask, std::vector<unsigned short>(mask.size(), 255)) << v;
    }
}

TEST(PectoralRemoval, SixteenBitClearsMuscleBandFromStartRowUpward) {
    // Left side, 1 mm pixels: start offset 5, minimum run 3, so the walk
    // starts at row 64 - 5 - 1 = 58. A bright band 4 columns wide along the
    // chest wall is cleared from row 58 up to row 0; the rows below the start
    // and the tissue away from the band keep their mask. (The opening may
    // widen the band by a few columns.)
    const int W = 32, H = 64;
    std::vector<unsigned short> image(W * H, 100), mask(W * H, 4095);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < 4; ++x) image[y * W + x] = 3000;
    ASSERT_TRUE(CDipFilters::RemovePectoralMuscleFromMask(Bytes(image), Bytes(mask), 16, 12, W, H,
                                                          false, 1.0));
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const unsigned short v = mask[y * W + x];
            if (y > 58 || x >= 10) {
                EXPECT_EQ(v, 4095) << x << "," << y;
            } else if (x < 4) {
                EXPECT_EQ(v, 0) << x << "," << y;
            }
        }
}

TEST(PectoralRemoval, OverflowingOffsetsGiveNegativeStartRow) {
    // At 1e-9 mm the offsets (int)(5 / px) overflow and the start row wraps
    // below 0: nothing is cleared, the result is still true.
    for (bool bRight : {false, true}) {
        std::vector<unsigned short> image(100, 4095), mask(100, 4095);
        EXPECT_TRUE(CDipFilters::RemovePectoralMuscleFromMask(Bytes(image), Bytes(mask), 16, 12, 10,
                                                              10, bRight, 1e-9));
        EXPECT_EQ(mask, image);
    }
}

}  // namespace
