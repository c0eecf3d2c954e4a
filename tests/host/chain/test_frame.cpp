// The working frame: cropping a film's zero padding, reversing the rows,
// mapping back to the file's pixel frame; and the preparation's own crop,
// side and chest-wall end on the synthetic breast.
#include <gtest/gtest.h>

#include <random>

#include "calcification_chain.h"
#include "calcifications.h"
#include "frame.h"
#include "phantom.h"
#include "preparation.h"

namespace {

using namespace zetdip::host;

TEST(Frame, MapsEveryWorkingPixelToItsFileSampleAndBack) {
    for (bool bFlip : {false, true}) {
        const Frame f{11, 7, 3, 1, 5, 4, bFlip};
        std::vector<unsigned char> file(77);
        for (std::size_t i = 0; i < file.size(); ++i) file[i] = static_cast<unsigned char>(i);
        std::vector<unsigned short> work(20), binary(20, 0);
        f.ToWork(file.data(), work.data(), 4);
        for (int y = 0; y < f.height; ++y)
            for (int x = 0; x < f.width; ++x) {
                EXPECT_EQ(work[f.WorkIndex(x, y)],
                          file[f.FileIndex(f.FileColumn(x), f.FileRow(y))] << 4);
                EXPECT_EQ(f.WorkColumn(f.FileColumn(x)), x);
                EXPECT_EQ(f.WorkRow(f.FileRow(y)), y);
            }
        // Working row 0 is the box's top row, or its bottom row when flipped;
        // the library's stored y counts up from the bottom.
        EXPECT_EQ(f.FileRow(0), bFlip ? 4 : 1);
        EXPECT_EQ(f.FileRowOfStoredY(f.height), f.FileRow(0));
        EXPECT_EQ(f.FileRowOfStoredY(1), f.FileRow(f.height - 1));
        // A binary image comes back with the same pixels, only inside the box.
        binary[f.WorkIndex(1, 0)] = 4095;
        binary[f.WorkIndex(4, 3)] = 1;
        const auto back = f.BinaryToFile(binary);
        ASSERT_EQ(back.size(), 77u);
        EXPECT_EQ(std::count(back.begin(), back.end(), 255), 2);
        EXPECT_EQ(back[f.FileIndex(4, bFlip ? 4 : 1)], 255);
        EXPECT_EQ(back[f.FileIndex(7, bFlip ? 1 : 4)], 255);
    }
}

TEST(FindContent, CropsZeroColumnsDespiteStraySamplesAndKeepsFullOrBlankImages) {
    // A film in a zero matrix, one bright sample in the first column as
    // scanners leave them, and a narrow strip beyond a gap.
    const int W = 300, H = 200;
    std::vector<unsigned char> image(W * H, 0);
    std::mt19937 random(7);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            if ((x >= 40 && x < 240) || x >= 290)
                image[y * W + x] = static_cast<unsigned char>(1 + random() % 200);
    image[5 * W] = 255;
    Box box = FindContent(image.data(), W, H);
    EXPECT_EQ((std::vector<int>{box.left, box.top, box.width, box.height}),
              (std::vector<int>{40, 0, 200, H}));
    std::vector<unsigned short> full(64 * 32, 9), blank(64 * 32, 0);
    for (const auto* p : {&full, &blank}) {
        box = FindContent(p->data(), 64, 32);
        EXPECT_EQ((std::vector<int>{box.left, box.top, box.width, box.height}),
                  (std::vector<int>{0, 0, 64, 32}));
    }
}

TEST(FindZeroPadding, CropsNoisyZeroColumnsAndRowsOnly) {
    const int W = 40, H = 130;
    std::vector<unsigned short> image(W * H, 0);
    for (int y = 3; y < 28; ++y)
        for (int x = 5; x < 33; ++x) image[y * W + x] = 900;
    image[0] = 80;              // a speck in the padding, below 4096 / 40
    image[10 * W + 36] = 3000;  // one bright sample in a column of 130: not film either
    const Rect r = FindZeroPadding(image.data(), W, H, 12);
    EXPECT_EQ((std::vector<int>{r.x0, r.y0, r.nWidth, r.nHeight}),
              (std::vector<int>{5, 3, 28, 25}));
    const auto crop = CropImage(image.data(), W, r);
    EXPECT_EQ(crop, std::vector<unsigned short>(28 * 25, 900));
    std::vector<unsigned short> zeros(W * H, 0);  // all padding: nothing cropped
    const Rect z = FindZeroPadding(zeros.data(), W, H, 12);
    EXPECT_EQ(z.nWidth * 1000 + z.nHeight, W * 1000 + H);

    std::vector<unsigned short> v = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    FlipRows(v, 3, 3);
    EXPECT_EQ(v, (std::vector<unsigned short>{7, 8, 9, 4, 5, 6, 1, 2, 3}));
    // The background level lies between background and breast.
    std::vector<unsigned short> half(100 * 50, 200);
    for (int y = 0; y < 50; ++y)
        for (int x = 0; x < 60; ++x)
            half[y * 100 + x] = static_cast<unsigned short>(2000 + (x % 7) * 10);
    const int nLevel = BackgroundLevel(half.data(), 100, 50, 12);
    EXPECT_GE(nLevel, 200);
    EXPECT_LT(nLevel, 2000);
}

struct Orientation {
    bool bRight;
    bool bTop;  // the file has the chest-wall end at row 0
};

class SideAndChestWall : public ::testing::TestWithParam<Orientation> {};

// The synthetic breast padded with zero columns as a digitiser does, stored
// either way up, with a label and markers: side, chest-wall end, crop and
// the mapping back come out right, and neither label nor marker is in the mask.
TEST_P(SideAndChestWall, FromTheImage) {
    const Orientation o = GetParam();
    zetdip::phantom::Options po;
    po.bBreastOnRight = o.bRight;
    po.dPixelSize = 0.2;
    po.nSeed = o.bRight ? 4 : 9;
    po.clusterSizes = {};
    auto m = zetdip::phantom::MakeMammogram(po);
    std::vector<unsigned short> area(m.truth.breast.begin(), m.truth.breast.end());
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
        std::copy_n(&m.image[static_cast<std::size_t>(y) * m.nWidth], m.nWidth,
                    &file[static_cast<std::size_t>(y) * W + nPad]);

    const PreparedImage p = PrepareImage(file.data(), W, H, 12, 0.2, {});
    EXPECT_EQ(p.crop.x0, nPad);
    EXPECT_EQ(p.crop.nWidth, m.nWidth);
    EXPECT_EQ(p.bBreastOnRight, o.bRight);
    EXPECT_EQ(p.bFlipped, o.bTop);
    long long nWrong = 0, nInside = 0;
    for (int y = 0; y < p.nHeight; ++y)
        for (int x = 0; x < p.nWidth; ++x) {
            double fx = 0, fy = 0;
            WorkingToFile(p, x, y, fx, fy);
            const bool bMask = p.mask[static_cast<std::size_t>(y) * p.nWidth + x] != 0;
            nWrong += bMask && !area[static_cast<std::size_t>(fy) * m.nWidth +
                                     static_cast<std::size_t>(fx) - nPad];
            nInside += bMask;
        }
    EXPECT_GT(nInside, 0);
    EXPECT_LT(nWrong * 100, nInside);  // the label and markers would be far more
}

INSTANTIATE_TEST_SUITE_P(BothSidesBothEnds, SideAndChestWall,
                         ::testing::Values(Orientation{false, false}, Orientation{false, true},
                                           Orientation{true, false}, Orientation{true, true}));

}  // namespace
