// 16-bit pixel word adjustment, un-adjustment and the sign-bit toggle.
#include <gtest/gtest.h>

#include <climits>
#include <vector>

#include "DipBasic.h"
#include "core/pixel_words.h"

namespace {

using Words = std::vector<unsigned short>;

TEST(AdjustPixels, MasksOrShiftsDependingOnHighBit) {
    struct Case {
        int bits, highBit;
        Words in, expected;
    } cases[] = {
        {12, 11, {0xF123, 0x0FFF, 0x1000}, {0x0123, 0x0FFF, 0x0000}},  // mask only
        {12, 15, {0xABC7, 0xFFF0, 0x0010}, {0x0ABC, 0x0FFF, 0x0001}},  // shift by 4, mask
        {16, 15, {0xFFFF, 0x1234, 0x0000}, {0xFFFF, 0x1234, 0x0000}},  // unchanged
        {12, 10, {0xFFFF, 0x8001, 0x0F0F}, {0xFFFF, 0x8001, 0x0F0F}},  // shift -1: untouched
    };
    for (auto& c : cases) {
        Words w = c.in;
        CDipBasic::AdjustPixels16Bits(w.data(), c.bits, c.highBit, 3, 1);
        EXPECT_EQ(w, c.expected) << c.bits << "/" << c.highBit;
    }
}

TEST(AdjustPixels, UnAdjustAfterAdjustRestoresStoredBits) {
    Words w = {0xABC7, 0x1238, 0xFFFF};
    CDipBasic::AdjustPixels16Bits(w.data(), 12, 15, 1, 3);
    CDipBasic::UnAdjustPixels16Bits(w.data(), 12, 15, 3);
    EXPECT_EQ(w, (Words{0xABC0, 0x1230, 0xFFF0}));
}

TEST(AdjustPixels, UnAdjustWithNegativeShiftClearsEveryWord) {
    Words w = {0xFFFF, 0x0001, 0x8000};
    CDipBasic::UnAdjustPixels16Bits(w.data(), 12, 10, 3);  // shift -1, count taken mod 32
    EXPECT_EQ(w, (Words{0, 0, 0}));
    Words same = {0x0123};
    CDipBasic::UnAdjustPixels16Bits(same.data(), 12, 11, 1);  // shift 0: nothing
    EXPECT_EQ(same[0], 0x0123);
}

TEST(AdjustPixels, OutOfRangeBitCountsDoNotCrash) {
    // Shift counts wrap modulo 32: 0xFFFF >> (16 - 40) is 0xFFFF >> 8.
    Words w = {0xFFFF, 0x1234};
    zetdip::detail::AdjustWords(w.data(), 40, 39, 2);
    EXPECT_EQ(w, (Words{0x00FF, 0x0034}));
    zetdip::detail::UnAdjustWords(w.data(), 0, 40, 2);  // shift 41 -> 9
    EXPECT_EQ(w, (Words{0xFE00, 0x6800}));

    // The counts wrap instead of overflowing: 16 - INT_MIN is 16 modulo 32,
    // so the mask is 0, and INT_MAX - INT_MIN + 1 is a shift of 0.
    CDipBasic::AdjustPixels16Bits(w.data(), INT_MIN, INT_MAX, 2, 1);
    EXPECT_EQ(w, (Words{0, 0}));
    Words one = {0x1234};
    CDipBasic::ConvertToSignedIfNeeded(one.data(), 1, 16, 1, INT_MIN);  // bit 31: none of 16
    EXPECT_EQ(one[0], 0x1234);
}

TEST(SignConversion, TogglesStoredSignBitOnlyForSignedWords) {
    Words w = {0x0FFF, 0x0800, 0x0000};
    CDipBasic::ConvertToSignedIfNeeded(w.data(), 1, 16, 3, 12);
    EXPECT_EQ(w, (Words{0x07FF, 0x0000, 0x0800}));
    CDipBasic::ConvertToUnsignedIfNeeded(w.data(), 1, 16, 3, 12);
    EXPECT_EQ(w, (Words{0x0FFF, 0x0800, 0x0000}));

    for (int bpp : {8, 24}) {
        Words same = {0x0FFF};
        CDipBasic::ConvertToSignedIfNeeded(same.data(), 1, bpp, 1, 12);
        EXPECT_EQ(same[0], 0x0FFF);
    }
    Words unsignedWords = {0x0FFF};
    CDipBasic::ConvertToSignedIfNeeded(unsignedWords.data(), 0, 16, 1, 12);
    EXPECT_EQ(unsignedWords[0], 0x0FFF);
}

TEST(SignConversion, TwosComplementTogglesOneWord) {
    EXPECT_EQ(zetdip::detail::ToggleSignBit(12, 0x0FFF), 0x07FF);
    EXPECT_EQ(zetdip::detail::ToggleSignBit(16, 0x0000), 0x8000);
    EXPECT_EQ(zetdip::detail::ToggleSignBit(16, 0x8000), 0x0000);
}

}  // namespace
