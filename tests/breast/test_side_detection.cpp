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

TEST(SideDetection, StrictLevelsAndCounts) {
    struct Case {
        int bits;
        std::vector<int> probes;
        int side;
    } cases[] = {
        {8, {26, 0, 0, 0, 25, 25, 25, 25}, 0},  // 25 is not bright, 26 is
        {8, {25, 25, 0, 0, 0, 0, 0, 26}, 1},
        {8, {200, 200, 200, 0, 0, 200, 200, 200}, -1},  // 3 against 3
        {12, {409, 0, 0, 0, 0, 0, 0, 0}, -1},           // level 4096 / 10 = 409
        {12, {410, 0, 0, 0, 0, 0, 0, 0}, 0},
        {16, {0, 0, 0, 0, 0, 0, 6553, 6554}, 1},  // level 6553
    };
    for (const auto& c : cases) {
        auto bytes = ProbeImage<unsigned char>(c.probes);
        auto words = ProbeImage<unsigned short>(c.probes);
        unsigned char* p = c.bits == 8 ? bytes.data() : Bytes(words);
        EXPECT_EQ(CDipFilters::IsOnTheRightOrLeftSideOfTheImage(p, c.bits == 8 ? 8 : 16, c.bits, 16,
                                                                4, 0.5f),
                  c.side);
    }
}

TEST(SideDetection, NarrowImageProbesColumnMinusOne) {
    // Width 4: probes at columns -1, 0, 0, 1 | 1, 2, 2, 3. Column -1 is the last
    // sample of the row before; on the top row it lies before the buffer and is not bright.
    std::vector<unsigned char> image = {0, 0, 0, 200,                        // row 0
                                        0, 0, 0, 0};                         // row 1
    EXPECT_EQ(zetdip::detail::DetectSide(image.data(), 4, 2, 0.5f, 25), 0);  // reads row 0's last
    EXPECT_EQ(zetdip::detail::DetectSide(image.data(), 4, 2, 0.0f, 25), 1);  // column 3 only
    EXPECT_EQ(zetdip::detail::DetectSide(image.data(), 0, 0, 0.5f, 25), -1);
}

}  // namespace
