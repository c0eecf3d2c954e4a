// The working frame: cropping a film's zero padding, reversing the rows,
// and mapping back to the file's pixel frame.
#include <gtest/gtest.h>

#include <random>

#include "frame.h"

namespace {

using zetdip::host::Box;
using zetdip::host::FindContent;
using zetdip::host::Frame;

Frame MakeFrame(bool bFlip) {
    Frame f;
    f.fileWidth = 11;
    f.fileHeight = 7;
    f.left = 3;
    f.top = 1;
    f.width = 5;
    f.height = 4;
    f.flipRows = bFlip;
    return f;
}

TEST(Frame, MapsEveryWorkingPixelToItsFileSampleAndBack) {
    for (bool bFlip : {false, true}) {
        const Frame f = MakeFrame(bFlip);
        std::vector<unsigned char> file(77);
        for (std::size_t i = 0; i < file.size(); ++i) file[i] = static_cast<unsigned char>(i);
        std::vector<unsigned short> work(20);
        f.ToWork(file.data(), work.data(), 4);
        for (int y = 0; y < f.height; ++y)
            for (int x = 0; x < f.width; ++x) {
                const int fx = f.FileColumn(x), fy = f.FileRow(y);
                EXPECT_EQ(work[f.WorkIndex(x, y)], file[f.FileIndex(fx, fy)] << 4);
                EXPECT_EQ(f.WorkColumn(fx), x);
                EXPECT_EQ(f.WorkRow(fy), y);
            }
        // Working row 0 is the box's top row, or its bottom row when flipped.
        EXPECT_EQ(f.FileRow(0), bFlip ? 4 : 1);
        // The library's stored y counts up from the bottom: y = height is the top row.
        EXPECT_EQ(f.FileRowOfStoredY(f.height), f.FileRow(0));
        EXPECT_EQ(f.FileRowOfStoredY(1), f.FileRow(f.height - 1));
    }
}

TEST(Frame, BinaryToFileMarksTheSamePixelsOnlyInsideTheBox) {
    for (bool bFlip : {false, true}) {
        const Frame f = MakeFrame(bFlip);
        std::vector<unsigned short> work(20, 0);
        work[f.WorkIndex(1, 0)] = 4095;
        work[f.WorkIndex(4, 3)] = 1;
        const auto file = f.BinaryToFile(work);
        ASSERT_EQ(file.size(), 77u);
        int nSet = 0;
        for (unsigned char v : file) nSet += v == 255;
        EXPECT_EQ(nSet, 2);
        EXPECT_EQ(file[f.FileIndex(4, bFlip ? 4 : 1)], 255);
        EXPECT_EQ(file[f.FileIndex(7, bFlip ? 1 : 4)], 255);
    }
}

TEST(FindContent, CropsZeroColumnsDespiteStraySamples) {
    // A film centred in a zero matrix, with one bright sample in the first
    // column as scanners leave them, and a narrow strip beyond a gap.
    const int W = 300, H = 200;
    std::vector<unsigned char> image(W * H, 0);
    std::mt19937 random(7);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            if ((x >= 40 && x < 240) || x >= 290)
                image[y * W + x] = static_cast<unsigned char>(1 + random() % 200);
    image[5 * W] = 255;
    const Box box = FindContent(image.data(), W, H);
    EXPECT_EQ(box.left, 40);
    EXPECT_EQ(box.width, 200);
    EXPECT_EQ(box.top, 0);
    EXPECT_EQ(box.height, H);
}

TEST(FindContent, KeepsAnImageWithoutPaddingOrWithoutContent) {
    std::vector<unsigned short> full(64 * 32, 9), blank(64 * 32, 0);
    for (const auto* p : {&full, &blank}) {
        const Box box = FindContent(p->data(), 64, 32);
        EXPECT_EQ(box.left, 0);
        EXPECT_EQ(box.top, 0);
        EXPECT_EQ(box.width, 64);
        EXPECT_EQ(box.height, 32);
    }
}

}  // namespace
