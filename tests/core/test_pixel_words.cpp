// 16-bit pixel word adjustment, un-adjustment and the sign-bit toggle.
#include <gtest/gtest.h>

#include <climits>
#include <tuple>
#include <vector>

#include "DipBasic.h"
#include "core/pixel_words.h"

namespace {

using Words = std::vector<unsigned short>;

struct WordCase {
    int bits, highBit;
    Words in, expected;
};

TEST(AdjustPixels, MasksOrShiftsDependingOnHighBit) {
    const WordCase cases[] = {
        {12, 11, {0xF123, 0x0FFF, 0x1000}, {0x0123, 0x0FFF, 0x0000}},  // mask only
        {12, 15, {0xABC7, 0xFFF0, 0x0010}, {0x0ABC, 0x0FFF, 0x0001}},  // shift by 4, mask
        {16, 15, {0xFFFF, 0x1234, 0x0000}, {0xFFFF, 0x1234, 0x0000}},  // unchanged
        {12, 10, {0xFFFF, 0x8001, 0x0F0F}, {0xFFFF, 0x8001, 0x0F0F}},  // shift -1: untouched
        {40, 39, {0xFFFF, 0x1234, 0x0000}, {0x00FF, 0x0034, 0x0000}},  // counts wrap mod 32: >> 8
        {INT_MIN, INT_MAX, {0xFFFF, 0x1234, 0x0001}, {0, 0, 0}},       // 16 - INT_MIN wraps: mask 0
    };
    for (const auto& c : cases) {
        Words w = c.in;
        CDipBasic::AdjustPixels16Bits(w.data(), c.bits, c.highBit, 3, 1);
        EXPECT_EQ(w, c.expected) << c.bits << "/" << c.highBit;
    }
}

TEST(AdjustPixels, UnAdjustShiftsBackAndClearsOnNegativeShift) {
    const WordCase cases[] = {
        {12, 15, {0x0ABC, 0x0123, 0x0FFF}, {0xABC0, 0x1230, 0xFFF0}},  // after an adjustment
        {12, 10, {0xFFFF, 0x0001, 0x8000}, {0, 0, 0}},                 // shift -1, taken mod 32
        {12, 11, {0x0123, 0xFFFF, 0x0000}, {0x0123, 0xFFFF, 0x0000}},  // shift 0: nothing
        {0, 40, {0x00FF, 0x0034, 0x0001}, {0xFE00, 0x6800, 0x0200}},   // shift 41 -> 9
    };
    for (const auto& c : cases) {
        Words w = c.in;
        CDipBasic::UnAdjustPixels16Bits(w.data(), c.bits, c.highBit, 3);
        EXPECT_EQ(w, c.expected) << c.bits << "/" << c.highBit;
    }
    Words w = {0xABC7, 0x1238, 0xFFFF};  // the round trip keeps the stored bits
    CDipBasic::AdjustPixels16Bits(w.data(), 12, 15, 1, 3);
    CDipBasic::UnAdjustPixels16Bits(w.data(), 12, 15, 3);
    EXPECT_EQ(w, (Words{0xABC0, 0x1230, 0xFFF0}));
}

TEST(SignConversion, TogglesStoredSignBitOnlyForSignedWords) {
    Words w = {0x0FFF, 0x0800, 0x0000};
    CDipBasic::ConvertToSignedIfNeeded(w.data(), 1, 16, 3, 12);
    EXPECT_EQ(w, (Words{0x07FF, 0x0000, 0x0800}));
    CDipBasic::ConvertToUnsignedIfNeeded(w.data(), 1, 16, 3, 12);
    EXPECT_EQ(w, (Words{0x0FFF, 0x0800, 0x0000}));
    Words w16 = {0x0000, 0x8000};
    CDipBasic::ConvertToSignedIfNeeded(w16.data(), 1, 16, 2, 16);
    EXPECT_EQ(w16, (Words{0x8000, 0x0000}));
    // Unsigned words, 8 or 24 bits per pixel, and a sign bit beyond the word are left alone.
    for (auto [nRepresentation, nBpp, nBits] :
         {std::tuple{0, 16, 12}, {1, 8, 12}, {1, 24, 12}, {1, 16, INT_MIN}}) {
        Words same = {0x0FFF};
        CDipBasic::ConvertToSignedIfNeeded(same.data(), nRepresentation, nBpp, 1, nBits);
        EXPECT_EQ(same[0], 0x0FFF) << nBpp << "/" << nBits;
    }
}

}  // namespace
