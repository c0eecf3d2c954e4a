// Breast mask and pectoral muscle removal: per-depth reports, the upward patch, the muscle walk.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "DipFilters.h"
#include "breast/breast_mask.h"
#include "phantom.h"
#include "support/images.h"

namespace {

using zetdip::phantom::Mammogram;
using zetdip::test::Bytes;

Mammogram MakePhantom(bool bRight) {
    zetdip::phantom::Options options;
    options.bBreastOnRight = bRight;
    options.dPixelSize = 0.1;
    options.nSeed = bRight ? 11 : 7;
    return zetdip::phantom::MakeMammogram(options);
}

// 8-bit: the side is never written and the pectoral removal reports false, leaving the mask.
TEST(BreastMask, SideIsWrittenOnlyBySixteenBitAndOnlyToRight) {
    Mammogram right = MakePhantom(true);
    auto image8 = zetdip::phantom::To8Bits(right);
    std::vector<unsigned char> mask8(image8.size());
    bool bSide = false;
    ASSERT_TRUE(CDipFilters::CreateMaskOfBreast(image8.data(), mask8.data(), 8, 8, right.nWidth,
                                                right.nHeight, bSide, 0.1));
    EXPECT_FALSE(bSide);
    const auto before8 = mask8;
    EXPECT_FALSE(CDipFilters::RemovePectoralMuscleFromMask(image8.data(), mask8.data(), 8, 8,
                                                           right.nWidth, right.nHeight, true, 0.1));
    EXPECT_EQ(mask8, before8);
    // 16-bit: a probe saying left never sets the caller's true back to false.
    Mammogram left = MakePhantom(false);
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
