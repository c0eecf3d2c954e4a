// Histograms: bin counts, colour planes and the 16-bit word adjustment.
#include <gtest/gtest.h>

#include <memory>
#include <numeric>
#include <vector>

#include "DipHisto.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;
using Histo = std::unique_ptr<unsigned int[]>;

unsigned long long Sum(const unsigned int* p, int nFrom, int nTo) {
    return std::accumulate(p + nFrom, p + nTo, 0ULL);
}

TEST(Histogram, EightBitGreyCountsEverySample) {
    auto image = zetdip::test::RandomImage<unsigned char>(31, 17, 0, 255, 5);
    int nBins = 0;
    Histo h(CDipHisto::CreateHisto(image.data(), 8, 8, 7, 31, 17, &nBins));
    ASSERT_TRUE(h);
    EXPECT_EQ(nBins, 256);
    EXPECT_EQ(Sum(h.get(), 0, 256), 31u * 17u);
    EXPECT_EQ(h[image[0]] > 0, true);
}

TEST(Histogram, ColourIsReadAsThreePlanes) {
    // Planes 10, 20, 30: each lands in its own block of 256 bins.
    std::vector<unsigned char> image(3 * 4 * 5);
    for (int p = 0; p < 3; ++p)
        for (int i = 0; i < 20; ++i) image[p * 20 + i] = static_cast<unsigned char>(10 * (p + 1));
    int nBins = 0;
    Histo h(CDipHisto::CreateHisto(image.data(), 24, 8, 7, 4, 5, &nBins));
    ASSERT_TRUE(h);
    EXPECT_EQ(nBins, 768);
    EXPECT_EQ(h[10], 20u);
    EXPECT_EQ(h[256 + 20], 20u);
    EXPECT_EQ(h[512 + 30], 20u);
    for (int block = 0; block < 3; ++block) EXPECT_EQ(Sum(h.get(), block * 256, block * 256 + 256), 20u);
}

TEST(Histogram, SixteenBitAdjustsCallersImageFirst) {
    std::vector<unsigned short> image = {0xABC0, 0x0010, 0xFFF0, 0x0010};
    int nBins = 0;
    Histo h(CDipHisto::CreateHisto(Bytes(image), 16, 12, 15, 2, 2, &nBins));
    ASSERT_TRUE(h);
    EXPECT_EQ(nBins, 4096);
    EXPECT_EQ(image, (std::vector<unsigned short>{0x0ABC, 0x0001, 0x0FFF, 0x0001}));
    EXPECT_EQ(h[1], 2u);
    EXPECT_EQ(h[0xABC], 1u);
    EXPECT_EQ(h[0xFFF], 1u);
}

TEST(Histogram, SixteenStoredBitsWithColourFlagCountsOnePlane) {
    std::vector<unsigned short> image = {65535, 0, 7, 7};
    int nBins = 0;
    Histo h(CDipHisto::CreateHisto(Bytes(image), 24, 16, 15, 2, 2, &nBins));
    ASSERT_TRUE(h);
    EXPECT_EQ(nBins, 196608);
    EXPECT_EQ(Sum(h.get(), 0, 65536), 4u);
    EXPECT_EQ(Sum(h.get(), 65536, 196608), 0u);
    EXPECT_EQ(h[65535], 1u);
}

TEST(Histogram, SamplesBeyondLastBinAreNotCounted) {
    // High bit 10 below the stored width: the words stay unmasked.
    std::vector<unsigned short> image = {0xFFFF, 5};
    int nBins = 0;
    Histo h(CDipHisto::CreateHisto(Bytes(image), 16, 12, 10, 2, 1, &nBins));
    ASSERT_TRUE(h);
    EXPECT_EQ(nBins, 4096);
    EXPECT_EQ(Sum(h.get(), 0, 4096), 1u);
    EXPECT_EQ(h[5], 1u);
}

TEST(Histogram, BadDepths) {
    std::vector<unsigned char> image(4, 1);
    int nBins = -1;
    EXPECT_EQ(CDipHisto::CreateHisto(image.data(), 8, 7, 6, 2, 2, &nBins), nullptr);
    EXPECT_EQ(nBins, -1);  // not written below 8 bits
    EXPECT_EQ(CDipHisto::CreateHisto(image.data(), 8, 17, 16, 2, 2, &nBins), nullptr);
    EXPECT_EQ(nBins, 131072);  // written above 16 bits
    CDipHisto::DisplayHisto(nullptr, 0);
}

}  // namespace
