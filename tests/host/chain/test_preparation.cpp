// Preparation on buffers: cropping the padding and mapping back, the side
// and the chest-wall end from the image for both sides and both
// orientations, labels and markers kept out of the mask.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "calcification_chain.h"
#include "calcifications.h"
#include "host/fixtures.h"
#include "phantom.h"
#include "preparation.h"

namespace {

using namespace zetdip::host;

TEST(FindZeroPadding, CropsNoisyZeroColumnsAndRowsOnly) {
    const int W = 40, H = 130;
    std::vector<unsigned short> image(W * H, 0);
    for (int y = 3; y < 28; ++y)
        for (int x = 5; x < 33; ++x) image[y * W + x] = 900;
    image[0] = 80;              // a speck in the padding, below 4096 / 40
    image[10 * W + 36] = 3000;  // one bright sample in a column of 130: not film either
    const Rect r = FindZeroPadding(image.data(), W, H, 12);
    EXPECT_EQ(r.x0, 5);
    EXPECT_EQ(r.y0, 3);
    EXPECT_EQ(r.nWidth, 28);
    EXPECT_EQ(r.nHeight, 25);
    const auto crop = CropImage(image.data(), W, r);
    ASSERT_EQ(crop.size(), 28u * 25u);
    for (unsigned short v : crop) EXPECT_EQ(v, 900);
    // All padding: nothing cropped.
    std::vector<unsigned short> zeros(W * H, 0);
    const Rect z = FindZeroPadding(zeros.data(), W, H, 12);
    EXPECT_EQ(z.nWidth, W);
    EXPECT_EQ(z.nHeight, H);
}

TEST(FlipRows, TwiceIsIdentity) {
    std::vector<unsigned short> v = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    FlipRows(v, 3, 3);
    EXPECT_EQ(v, (std::vector<unsigned short>{7, 8, 9, 4, 5, 6, 1, 2, 3}));
    FlipRows(v, 3, 3);
    EXPECT_EQ(v[0], 1);
}

struct Orientation {
    bool bRight;
    bool bTop;  // the file has the chest-wall end at row 0
};

class SideAndChestWall : public ::testing::TestWithParam<Orientation> {};

// The synthetic breast, padded with zero columns on both sides as a
// digitiser does and stored with either orientation, with a label and
// markers in the background: the side, the chest-wall end, the crop and
// the mapping back to the file all come out right, and neither label nor
// marker is in the mask.
TEST_P(SideAndChestWall, FromTheImage) {
    const Orientation o = GetParam();
    zetdip::phantom::Options po;
    po.bBreastOnRight = o.bRight;
    po.dPixelSize = 0.2;
    po.nSeed = o.bRight ? 4 : 9;
    po.clusterSizes = {};
    auto m = zetdip::phantom::MakeMammogram(po);
    std::vector<unsigned short> area(m.image.size());
    for (std::size_t i = 0; i < area.size(); ++i) area[i] = m.truth.breast[i];
    zetdip::phantom::FilmOptions fo;
    fo.dPixelSize = 0.2;
    fo.nStreaks = 0;
    zetdip::phantom::AddFilmArtefacts(m.image, area, m.nWidth, m.nHeight, fo);
    if (o.bTop) {
        FlipRows(m.image, m.nWidth, m.nHeight);
        FlipRows(area, m.nWidth, m.nHeight);
    }
    const int nPad = 37, W = m.nWidth + 2 * nPad, H = m.nHeight;
    std::vector<unsigned short> file(static_cast<std::size_t>(W) * H, 0);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < m.nWidth; ++x)
            file[static_cast<std::size_t>(y) * W + x + nPad] =
                m.image[static_cast<std::size_t>(y) * m.nWidth + x];

    const PreparedImage p = PrepareImage(file.data(), W, H, 12, 0.2, {});
    EXPECT_EQ(p.crop.x0, nPad);
    EXPECT_EQ(p.crop.nWidth, m.nWidth);
    EXPECT_EQ(p.bBreastOnRight, o.bRight);
    EXPECT_EQ(p.bFlipped, o.bTop);
    // Mask against the truth, through the mapping back to the file.
    long long nWrong = 0, nInside = 0;
    for (int y = 0; y < p.nHeight; ++y)
        for (int x = 0; x < p.nWidth; ++x) {
            double fx = 0, fy = 0;
            WorkingToFile(p, x, y, fx, fy);
            const bool bMask = p.mask[static_cast<std::size_t>(y) * p.nWidth + x] != 0;
            const bool bBreast = area[static_cast<std::size_t>(fy) * m.nWidth +
                                      static_cast<std::size_t>(fx) - nPad] != 0;
            nWrong += bMask && !bBreast;
            nInside += bMask;
        }
    EXPECT_GT(nInside, 0);
    EXPECT_LT(nWrong * 100, nInside);  // the label and markers would be far more
}

INSTANTIATE_TEST_SUITE_P(BothSidesBothEnds, SideAndChestWall,
                         ::testing::Values(Orientation{false, false}, Orientation{false, true},
                                           Orientation{true, false}, Orientation{true, true}));

TEST(BackgroundLevel, LiesBetweenBackgroundAndBreast) {
    const int W = 100, H = 50;
    std::vector<unsigned short> image(W * H, 200);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < 60; ++x) image[y * W + x] = 2000 + (x % 7) * 10;
    const int nLevel = BackgroundLevel(image.data(), W, H, 12);
    EXPECT_GE(nLevel, 200);
    EXPECT_LT(nLevel, 2000);
}

// The digitised film with a label and a dark marker on the right: both stay
// outside the mask.
TEST(MakeBreastMask, Mg1LabelAndMarkerOutside) {
    const std::vector<unsigned short> image = zetdip::host::testing::Mg1Raw();
    if (image.empty()) GTEST_SKIP() << "no MG1";
    const int W = zetdip::host::testing::kMg1Width, H = zetdip::host::testing::kMg1Height;
    const BreastMask m = MakeBreastMask(image.data(), W, H, 12, 0.05);
    EXPECT_FALSE(m.bBreastOnRight);
    EXPECT_TRUE(m.bChestWallAtTop);
    // Label ("L MLO", bright, top right) and marker (dark bar, right).
    EXPECT_GT(image[350 * W + 2400], 3000);
    EXPECT_EQ(m.mask[350 * W + 2400], 0);
    EXPECT_EQ(m.mask[1800 * W + 2900], 0);
    for (int y = 0; y < H; y += 4)
        for (int x = 2300; x < W; x += 4)
            ASSERT_EQ(m.mask[static_cast<std::size_t>(y) * W + x], 0) << x << ", " << y;
}

}  // namespace
