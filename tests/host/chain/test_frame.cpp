// The working frame: the box of the film, its rows reversed or not, mapped
// to and from the file's pixel frame.
#include <gtest/gtest.h>

#include <algorithm>

#include "frame.h"

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

}  // namespace
