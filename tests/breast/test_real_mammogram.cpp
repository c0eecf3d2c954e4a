// The breast operations on a real 12-bit mammogram kept beside the project
// (skipped when it is absent).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "DipEnhancement.h"
#include "DipFilters.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;

constexpr int kWidth = 3064, kHeight = 4664;
constexpr double kPixelSize = 0.05;

bool LoadFlipped(std::vector<unsigned short>& image) {
    std::ifstream in(std::string(ZETDIP_SHARED_DATA) + "/mg1/MG1_3064x4664_u16le.raw",
                     std::ios::binary);
    if (!in) return false;
    std::vector<unsigned short> raw(static_cast<std::size_t>(kWidth) * kHeight);
    in.read(reinterpret_cast<char*>(raw.data()), static_cast<std::streamsize>(raw.size() * 2));
    if (!in) return false;
    // The file's rows run top-down (label at the top right); the library wants
    // the chest-wall end of the view at the high rows: flip vertically.
    image.resize(raw.size());
    for (int y = 0; y < kHeight; ++y)
        std::copy_n(raw.begin() + static_cast<std::ptrdiff_t>(y) * kWidth, kWidth,
                    image.begin() + static_cast<std::ptrdiff_t>(kHeight - 1 - y) * kWidth);
    return true;
}

TEST(RealMammogram, SideAndMask) {
    std::vector<unsigned short> image;
    if (!LoadFlipped(image)) GTEST_SKIP() << "real mammogram not available";
    // The film background (about 500 to 1100) is brought down to 0.
    ASSERT_TRUE(CDipEnhancement::ApplyStretching(Bytes(image), Bytes(image), 16, 12, kWidth,
                                                 kHeight, 1200, 4095));
    EXPECT_EQ(
        CDipFilters::IsOnTheRightOrLeftSideOfTheImage(Bytes(image), 16, 12, kWidth, kHeight, 0.5f),
        0);

    std::vector<unsigned short> mask(image.size());
    bool bBreastOnRight = false;
    ASSERT_TRUE(CDipFilters::CreateMaskOfBreast(Bytes(image), Bytes(mask), 16, 12, kWidth, kHeight,
                                                bBreastOnRight, kPixelSize));
    EXPECT_FALSE(bBreastOnRight);

    // Row by row, the mask runs from the left edge to the skin line plus the
    // 5 mm margin. The skin line is where the stretched image first falls to
    // the background level (409) for good; allow 3 mm either way.
    const int nMargin = static_cast<int>(5.0 / kPixelSize),
              nSlack = static_cast<int>(3.0 / kPixelSize);
    int nRows = 0, nGood = 0;
    for (int y = kHeight / 5; y < 4 * kHeight / 5; y += 16) {
        const unsigned short* row = &image[static_cast<std::size_t>(y) * kWidth];
        const unsigned short* mrow = &mask[static_cast<std::size_t>(y) * kWidth];
        int nSkin = 0;
        while (nSkin < kWidth && row[nSkin] > 409) ++nSkin;
        int nEnd = 0;
        while (nEnd < kWidth && mrow[nEnd] != 0) ++nEnd;
        ++nRows;
        nGood += std::abs(nEnd - (nSkin + nMargin)) <= nSlack;
    }
    std::printf("rows whose mask ends at the skin line + 5 mm: %d of %d\n", nGood, nRows);
    EXPECT_GE(nGood, nRows * 9 / 10);

    // The film label (top right of the file, so near the high rows here) and
    // the background of the right fifth stay outside. Left out: the rows of
    // the top tenth, across which the film's bright edge runs, and the last
    // column, which the line erosions copy unchanged (a row whose edge-image
    // run crossed the whole row keeps its last pixel there).
    long long nLabel = 0, nBackground = 0;
    for (int y = kHeight - 760; y < kHeight - 240; ++y)
        for (int x = 2320; x < 2840; ++x)
            nLabel += mask[static_cast<std::size_t>(y) * kWidth + x] != 0;
    for (int y = kHeight / 10 + 1; y < kHeight; ++y)
        for (int x = 4 * kWidth / 5; x < kWidth - 1; ++x)
            nBackground += mask[static_cast<std::size_t>(y) * kWidth + x] != 0;
    EXPECT_EQ(nLabel, 0);
    EXPECT_EQ(nBackground, 0);
}

}  // namespace
