// Breast side detection: probe positions, levels and refusals.
#include <gtest/gtest.h>

#include <vector>

#include "DipFilters.h"
#include "breast/side_detection.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;

// A 16 x 4 image whose probes of row 2 (columns 1, 3, ..., 15) get the given values.
template <class T>
std::vector<T> ProbeImage(const std::vector<int>& probes) {
    std::vector<T> image(16 * 4, 0);
    for (int k = 0; k < 8; ++k) image[2 * 16 + 2 * k + 1] = static_cast<T>(probes[k]);
    return image;
}

TEST(SideDetection, EightBitLevelIsStrict) {
    auto left = ProbeImage<unsigned char>({26, 0, 0, 0, 25, 25, 25, 25});
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(left.data(), 8, 8, 16, 4, 0.5f), 0);
    auto right = ProbeImage<unsigned char>({25, 25, 0, 0, 0, 0, 0, 26});
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(right.data(), 8, 8, 16, 4, 0.5f), 1);
    auto none = ProbeImage<unsigned char>({25, 25, 25, 25, 25, 25, 25, 25});
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(none.data(), 8, 8, 16, 4, 0.5f), -1);
}

TEST(SideDetection, EqualCountsAreUndecided) {
    auto three = ProbeImage<unsigned char>({200, 200, 200, 0, 0, 200, 200, 200});
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(three.data(), 8, 8, 16, 4, 0.5f), -1);
}

TEST(SideDetection, SixteenBitLevelIsATenthOfTheRange) {
    auto at409 = ProbeImage<unsigned short>({409, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(Bytes(at409), 16, 12, 16, 4, 0.5f), -1);
    auto at410 = ProbeImage<unsigned short>({410, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(Bytes(at410), 16, 12, 16, 4, 0.5f), 0);
    auto at16 = ProbeImage<unsigned short>({0, 0, 0, 0, 0, 0, 6553, 6554});
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(Bytes(at16), 16, 16, 16, 4, 0.5f), 1);
}

TEST(SideDetection, RefusalsGiveMinusOne) {
    std::vector<unsigned char> bright(3 * 16 * 4, 255);
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(bright.data(), 24, 8, 16, 4, 0.5f), -1);
    auto left = ProbeImage<unsigned char>({200, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(left.data(), 8, 7, 16, 4, 0.5f), -1);
    EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(left.data(), 8, 17, 16, 4, 0.5f), -1);
}

TEST(SideDetection, NarrowImageProbesColumnMinusOne) {
    // Width 4: the probes sit at columns -1, 0, 0, 1 | 1, 2, 2, 3. Column -1
    // is the last sample of the row before; on the top row that index lies
    // before the buffer and counts as not bright.
    std::vector<unsigned char> image = {0, 0, 0, 200,  // row 0
                                        0, 0, 0, 0};   // row 1
    // Row 1: column -1 reads row 0's last sample: one bright probe on the left.
    EXPECT_EQ(zetdip::detail::DetectSide(image.data(), 4, 2, 0.5f, 25), 0);
    // Row 0: only column 3 (right half) is bright.
    EXPECT_EQ(zetdip::detail::DetectSide(image.data(), 4, 2, 0.0f, 25), 1);
    // An empty image decides nothing.
    EXPECT_EQ(zetdip::detail::DetectSide(image.data(), 0, 0, 0.5f, 25), -1);
}

}  // namespace
