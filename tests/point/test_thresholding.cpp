// Thresholding and the thresholds from single-precision statistics.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "DipThresholding.h"
#include "point/thresholding.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;

TEST(Thresholding, SampleEqualToThresholdBecomesMaximum) {
    Bytes8 in = {127, 128, 0, 255}, out(4);
    ASSERT_TRUE(CDipThresholding::ApplyThresholding(in.data(), out.data(), 8, 8, 2, 2, 128));
    EXPECT_EQ(out, (Bytes8{0, 255, 0, 255}));
    Words w = {127, 128, 4095, 0};
    ASSERT_TRUE(CDipThresholding::ApplyThresholding(Bytes(w), Bytes(w), 16, 12, 4, 1, 128));
    EXPECT_EQ(w, (Words{0, 4095, 4095, 0}));
    Words w16 = {1, 0};  // nThreshold <= 0: everything becomes the maximum
    ASSERT_TRUE(CDipThresholding::ApplyThresholding(Bytes(w16), Bytes(w16), 16, 16, 2, 1, 0));
    EXPECT_EQ(w16, (Words{65535, 65535}));
}

TEST(Thresholds, HandComputedValues) {
    Bytes8 flat(64, 100), halves(64, 0), colour(3 * 64, 100);
    for (int i = 32; i < 64; ++i) halves[i] = 200;
    EXPECT_EQ(CDipThresholding::CalculateThresholdingTHwMD(flat.data(), 8, 8, 8, 8), 100);
    EXPECT_EQ(CDipThresholding::CalculateThresholding1(flat.data(), 8, 8, 8, 8), 0);
    // (int)(100 + 100 * 3.299999952316284) = 429, returned although above 255.
    EXPECT_EQ(CDipThresholding::CalculateThresholdingTHwMD(halves.data(), 8, 8, 8, 8), 429);
    EXPECT_EQ(CDipThresholding::CalculateThresholding1(halves.data(), 8, 8, 8, 8), 250);
    EXPECT_EQ(CDipThresholding::CalculateThresholdingTHwMD(colour.data(), 24, 8, 8, 8), 0);
    EXPECT_EQ(CDipThresholding::CalculateThresholding1(colour.data(), 24, 8, 8, 8), 0);
}

TEST(Statistics, SquaredTermFormedInDouble) {
    // Samples 1 and 4097 around mean 0: 1 + 4097 * 4097 = 16785410 in double
    // is a float; with a float product the sum would round to 16785408.
    std::vector<unsigned short> image = {1, 4097};
    EXPECT_EQ(zetdip::detail::StandardDeviation(image.data(), 2, 0.0f),
              static_cast<float>(std::sqrt(8392705.0)));
    EXPECT_EQ(zetdip::detail::Mean(image.data(), 0), 0.0f);
}

}  // namespace
