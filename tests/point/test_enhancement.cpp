// Contrast stretching and contrast manipulation.
#include <gtest/gtest.h>

#include <vector>

#include "DipEnhancement.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;

TEST(Stretching, EightBitBandsUseIntegralGain) {
    Bytes8 in = {0, 99, 100, 150, 199, 200, 255};
    Bytes8 out(in.size(), 7);
    ASSERT_TRUE(CDipEnhancement::ApplyStretching(in.data(), out.data(), 8, 8, 7, 1, 0, 200));
    EXPECT_EQ(out, (Bytes8{0, 99, 100, 150, 199, 255, 255}));  // gain 1: 199 stays 199

    Bytes8 in2 = {49, 50, 99, 100};
    ASSERT_TRUE(CDipEnhancement::ApplyStretching(in2.data(), out.data(), 8, 8, 4, 1, 50, 100));
    EXPECT_EQ(Bytes8(out.begin(), out.begin() + 4), (Bytes8{0, 0, 245, 255}));  // gain 5
}

TEST(Stretching, SwappedBandIsTheSameAndEqualBoundsWriteNothing) {
    auto in = zetdip::test::RandomImage<unsigned char>(17, 5, 0, 255, 1);
    Bytes8 a(in.size()), b(in.size());
    CDipEnhancement::ApplyStretching(in.data(), a.data(), 8, 8, 17, 5, 100, 200);
    CDipEnhancement::ApplyStretching(in.data(), b.data(), 8, 8, 17, 5, 200, 100);
    EXPECT_EQ(a, b);
    Bytes8 untouched(in.size(), 42);
    EXPECT_TRUE(
        CDipEnhancement::ApplyStretching(in.data(), untouched.data(), 8, 8, 17, 5, 30, 30));
    EXPECT_EQ(untouched, Bytes8(in.size(), 42));
}

TEST(Stretching, SixteenBitMaximaAndColourCoverage) {
    Words in = {4094, 4095, 0, 65535};
    Words out(4);
    ASSERT_TRUE(CDipEnhancement::ApplyStretching(Bytes(in), Bytes(out), 16, 12, 2, 1, 0, 4095));
    EXPECT_EQ(out[0], 4094);
    EXPECT_EQ(out[1], 4095);
    ASSERT_TRUE(CDipEnhancement::ApplyStretching(Bytes(in), Bytes(out), 16, 16, 4, 1, 0, 65535));
    EXPECT_EQ(out, (Words{4094, 4095, 0, 65535}));

    Bytes8 colour(2 * 2 * 3, 200), dst(colour.size(), 0);
    ASSERT_TRUE(CDipEnhancement::ApplyStretching(colour.data(), dst.data(), 24, 8, 2, 2, 0, 100));
    EXPECT_EQ(dst, Bytes8(colour.size(), 255));  // all three samples of every pixel
}

TEST(Stretching, BandWiderThanRangeMapsBandToZero) {
    Bytes8 in = {0, 128, 255};
    Bytes8 out(3, 9);
    CDipEnhancement::ApplyStretching(in.data(), out.data(), 8, 8, 3, 1, -10, 300);
    EXPECT_EQ(out, (Bytes8{0, 0, 0}));
}

TEST(ContrastManip, TwoImageFormSpreadsUpperHalf) {
    Bytes8 in = {10, 99, 100, 150, 200};
    Bytes8 out(in.size());
    ASSERT_TRUE(CDipEnhancement::ApplyContrastManip(in.data(), out.data(), 8, 8, 5, 1));
    EXPECT_EQ(out, (Bytes8{0, 0, 0, 100, 200}));
    Bytes8 zeros(4, 0);
    ASSERT_TRUE(CDipEnhancement::ApplyContrastManip(zeros.data(), zeros.data(), 8, 8, 2, 2));
    EXPECT_EQ(zeros, Bytes8(4, 0));
}

TEST(ContrastManip, MaskedFormUsesTwoRoundingsOf205) {
    // max = 200 inside the mask: 200 maps to 199 (199.99999999999994), and the
    // threshold is a hair above 200 / 2.05.
    for (int m : {50, 100, 128, 200}) {
        Bytes8 in = {static_cast<unsigned char>(m)}, mask = {1}, out = {0};
        CDipEnhancement::ApplyContrastManip(in.data(), mask.data(), out.data(), 8, 8, 1, 1);
        EXPECT_EQ(out[0], m - 1) << m;
    }
    Bytes8 in = {255}, mask = {1}, out = {0};
    CDipEnhancement::ApplyContrastManip(in.data(), mask.data(), out.data(), 8, 8, 1, 1);
    EXPECT_EQ(out[0], 255);
}

TEST(ContrastManip, MaskedFormWrapsLowByteOutsideMask) {
    Bytes8 in = {100, 255, 48, 49};
    Bytes8 mask = {1, 0, 0, 0};
    Bytes8 out(4);
    ASSERT_TRUE(CDipEnhancement::ApplyContrastManip(in.data(), mask.data(), out.data(), 8, 8, 4, 1));
    // 255: (255 * 2.05 - 100) / 1.05 = 402.6 -> 402 -> low byte 146.
    // Threshold (float)(100 / 2.05f) = 48.78...: 48 is cleared, 49 is kept.
    EXPECT_EQ(out, (Bytes8{99, 146, 0, 0}));
    // 49 -> (100.45 - 100) / 1.05 = 0.43 -> 0; an empty mask keeps trunc(v * 2.05 / 1.05).
    Bytes8 none(4, 0);
    CDipEnhancement::ApplyContrastManip(in.data(), none.data(), out.data(), 8, 8, 4, 1);
    EXPECT_EQ(out, (Bytes8{195, static_cast<unsigned char>(497 & 0xFF), 93, 95}));
}

TEST(ContrastManip, SixteenBitMaskedFormKeepsLowWord) {
    Words in = {4000, 65535}, mask = {1, 0}, out(2);
    ASSERT_TRUE(CDipEnhancement::ApplyContrastManip(Bytes(in), Bytes(mask), Bytes(out), 16, 12, 2, 1));
    EXPECT_EQ(out[0], 4000);   // (8200.000000000001 - 4000) / 1.05 = 4000.0000000000005
    EXPECT_EQ(out[1], 58603);  // 124139 keeps its low 16 bits
}

TEST(ContrastManip, ColourAndBadDepthsAreRefusedWithoutWriting) {
    Bytes8 in(12, 100), mask(12, 1), out(12, 7);
    EXPECT_FALSE(CDipEnhancement::ApplyContrastManip(in.data(), out.data(), 24, 8, 2, 2));
    EXPECT_FALSE(CDipEnhancement::ApplyContrastManip(in.data(), mask.data(), out.data(), 24, 8, 2, 2));
    for (int bits : {7, 17}) {
        EXPECT_FALSE(CDipEnhancement::ApplyContrastManip(in.data(), out.data(), 8, bits, 2, 2));
        EXPECT_FALSE(CDipEnhancement::ApplyStretching(in.data(), out.data(), 8, bits, 2, 2, 0, 9));
    }
    EXPECT_EQ(out, Bytes8(12, 7));
}

TEST(PointOperations, InPlaceEqualsOutOfPlace) {
    auto in = zetdip::test::RandomImage<unsigned short>(33, 7, 0, 4095, 3);
    auto mask = zetdip::test::RandomImage<unsigned short>(33, 7, 0, 1, 4);
    for (int op = 0; op < 3; ++op) {
        auto a = in, b = in;
        std::vector<unsigned short> sep(in.size());
        if (op == 0) {
            CDipEnhancement::ApplyStretching(Bytes(a), Bytes(sep), 16, 12, 33, 7, 1000, 3000);
            CDipEnhancement::ApplyStretching(Bytes(b), Bytes(b), 16, 12, 33, 7, 1000, 3000);
        } else if (op == 1) {
            CDipEnhancement::ApplyContrastManip(Bytes(a), Bytes(sep), 16, 12, 33, 7);
            CDipEnhancement::ApplyContrastManip(Bytes(b), Bytes(b), 16, 12, 33, 7);
        } else {
            CDipEnhancement::ApplyContrastManip(Bytes(a), Bytes(mask), Bytes(sep), 16, 12, 33, 7);
            CDipEnhancement::ApplyContrastManip(Bytes(b), Bytes(mask), Bytes(b), 16, 12, 33, 7);
        }
        EXPECT_EQ(sep, b) << op;
    }
}

}  // namespace
