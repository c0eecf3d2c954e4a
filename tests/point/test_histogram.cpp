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

unsigned long long Sum(const Histo& h, int nFrom, int nTo) {
    return std::accumulate(h.get() + nFrom, h.get() + nTo, 0ULL);
}

TEST(Histogram, EightBitGreyAndColourPlanes) {
    auto grey = zetdip::test::RandomImage<unsigned char>(31, 17, 0, 255, 5);
    int nBins = 0;
    Histo h(CDipHisto::CreateHisto(grey.data(), 8, 8, 7, 31, 17, &nBins));
    ASSERT_TRUE(h);
    EXPECT_EQ(nBins, 256);
    EXPECT_EQ(Sum(h, 0, 256), 31u * 17u);

    // Planes of 10, 20 and 30 land in their own blocks of 256 bins.
    std::vector<unsigned char> colour(60);
    for (int i = 0; i < 60; ++i) colour[i] = static_cast<unsigned char>(10 * (i / 20 + 1));
    h.reset(CDipHisto::CreateHisto(colour.data(), 24, 8, 7, 4, 5, &nBins));
    ASSERT_TRUE(h);
    EXPECT_EQ(nBins, 768);
    EXPECT_EQ(h[10], 20u);
    EXPECT_EQ(h[256 + 20], 20u);
    EXPECT_EQ(h[512 + 30], 20u);
    EXPECT_EQ(Sum(h, 0, 768), 60u);
}

TEST(Histogram, SixteenBitAdjustsCallersImageFirstAndColourFlagCountsOnePlane) {
    std::vector<unsigned short> image = {0xABC0, 0x0010, 0xFFF0, 0x0010};
    int nBins = 0;
    Histo h(CDipHisto::CreateHisto(Bytes(image), 16, 12, 15, 2, 2, &nBins));
    ASSERT_TRUE(h);
    EXPECT_EQ(nBins, 4096);
    EXPECT_EQ(image, (std::vector<unsigned short>{0x0ABC, 0x0001, 0x0FFF, 0x0001}));
    EXPECT_EQ(h[1], 2u);
    EXPECT_EQ(h[0xABC] + h[0xFFF], 2u);
    h.reset(CDipHisto::CreateHisto(Bytes(image), 24, 16, 15, 2, 2, &nBins));
    ASSERT_TRUE(h);
    EXPECT_EQ(nBins, 196608);
    EXPECT_EQ(Sum(h, 0, 65536), 4u);
    EXPECT_EQ(Sum(h, 65536, 196608), 0u);
}

}  // namespace
