// Contrast stretching and contrast manipulation.
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "DipEnhancement.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;

// A row of cases repeated past two vector widths, so that whole vectors and
// the tail see every value.
template <class V>
V Repeated(const V& v) {
    V out;
    for (int k = 0; k < 7; ++k) out.insert(out.end(), v.begin(), v.end());
    return out;
}

TEST(Stretching, IntegralGainSwappedBoundsAndWideBands) {
    struct Case {
        int lo, hi;
        Bytes8 in, out;
    } cases[] = {
        {0, 200, {0, 150, 199, 200, 255}, {0, 150, 199, 255, 255}},  // gain 1: ramp ends at 199
        {200, 0, {0, 150, 199, 200, 255}, {0, 150, 199, 255, 255}},  // bounds swapped
        {50, 100, {49, 50, 99, 100, 7}, {0, 0, 245, 255, 0}},        // gain 5
        {-10, 300, {0, 128, 255, 1, 2}, {0, 0, 0, 0, 0}},            // band wider than the range
        {-3, 40, {0, 39, 40, 255, 1}, {15, 210, 255, 255, 20}},      // gain 5 from below 0
        {300, 400, {0, 255, 128, 1, 2}, {0, 0, 0, 0, 0}},            // band above the range
        // The band's width wraps to -1, gain -255: the low 8 bits give v back.
        {INT_MIN, INT_MAX, {0, 1, 128, 254, 255}, {0, 1, 128, 254, 255}},
    };
    for (auto& c : cases) {
        Bytes8 in = Repeated(c.in), expected = Repeated(c.out);
        Bytes8 out(in.size());
        ASSERT_TRUE(CDipEnhancement::ApplyStretching(in.data(), out.data(), 8, 8,
                                                     static_cast<int>(in.size()), 1, c.lo, c.hi));
        EXPECT_EQ(out, expected) << c.lo << ".." << c.hi;
    }
    Bytes8 untouched(5, 42);  // nLow == nHigh: true, nothing written
    EXPECT_TRUE(
        CDipEnhancement::ApplyStretching(cases[0].in.data(), untouched.data(), 8, 8, 5, 1, 30, 30));
    EXPECT_EQ(untouched, Bytes8(5, 42));
}

TEST(Stretching, SixteenBitMaximaAndColourCoverage) {
    struct Case {
        int bits, lo, hi;
        Words in, out;
    } cases[] = {
        {12, 0, 4095, {4094, 4095, 0, 65535}, {4094, 4095, 0, 4095}},
        {16, 0, 65535, {4094, 4095, 0, 65535}, {4094, 4095, 0, 65535}},
        {16, -1000, 10, {0, 5, 9, 10}, {64000, 64320, 64576, 65535}},  // gain 64 from below 0
        // Gain -4095 from the wrapped width: v * 61441, low 16 bits.
        {12, INT_MIN, INT_MAX, {0, 1, 2, 65535}, {0, 61441, 57346, 4095}},
    };
    for (auto& c : cases) {
        Words in = Repeated(c.in), expected = Repeated(c.out);
        Words out(in.size());
        ASSERT_TRUE(CDipEnhancement::ApplyStretching(Bytes(in), Bytes(out), 16, c.bits,
                                                     static_cast<int>(in.size()), 1, c.lo, c.hi));
        EXPECT_EQ(out, expected) << c.lo << ".." << c.hi;
    }
    Bytes8 colour(12, 200), dst(12, 0);  // all three samples of each pixel
    ASSERT_TRUE(CDipEnhancement::ApplyStretching(colour.data(), dst.data(), 24, 8, 2, 2, 0, 100));
    EXPECT_EQ(dst, Bytes8(12, 255));
}

TEST(ContrastManip, TwoImageFormSpreadsUpperHalf) {
    Bytes8 in = {10, 99, 100, 150, 200}, out(5);
    ASSERT_TRUE(CDipEnhancement::ApplyContrastManip(in.data(), out.data(), 8, 8, 5, 1));
    EXPECT_EQ(out, (Bytes8{0, 0, 0, 100, 200}));
    Bytes8 zeros(4, 0);  // maximum 0: 0 < 0 is false, so 2 * 0 - 0
    ASSERT_TRUE(CDipEnhancement::ApplyContrastManip(zeros.data(), zeros.data(), 8, 8, 2, 2));
    EXPECT_EQ(zeros, Bytes8(4, 0));
}

// 205 / 100 and 105 / 100 each rounded: the maximum maps to max - 1 (200 gives
// 199.99999999999994), 255 to 255; outside the mask low bits wrap: 255 gives 402 (stored
// 146) and the float threshold 48.78... clears 48, keeps 49 (-> 0). An empty mask has maximum
// 0: every v becomes trunc(v * 2.05 / 1.05).
TEST(ContrastManip, MaskedFormRoundsTwiceAndWrapsLowBitsOutsideMask) {
    for (int m : {50, 128, 200, 255}) {
        Bytes8 in = {static_cast<unsigned char>(m)}, mask = {1}, out = {0};
        CDipEnhancement::ApplyContrastManip(in.data(), mask.data(), out.data(), 8, 8, 1, 1);
        EXPECT_EQ(out[0], m == 255 ? 255 : m - 1) << m;
    }
    Bytes8 in = {100, 255, 48, 49}, out(4);
    for (auto [mask, expected] : {std::pair{Bytes8{1, 0, 0, 0}, Bytes8{99, 146, 0, 0}},
                                  {Bytes8(4, 0), Bytes8{195, 497 & 0xFF, 93, 95}}}) {
        ASSERT_TRUE(
            CDipEnhancement::ApplyContrastManip(in.data(), mask.data(), out.data(), 8, 8, 4, 1));
        EXPECT_EQ(out, expected);
    }
    Words w = {4000, 65535}, wmask = {1, 0}, wout(2);
    ASSERT_TRUE(
        CDipEnhancement::ApplyContrastManip(Bytes(w), Bytes(wmask), Bytes(wout), 16, 12, 2, 1));
    EXPECT_EQ(wout, (Words{4000, 58603}));  // 124139 keeps its low 16 bits
}

}  // namespace
