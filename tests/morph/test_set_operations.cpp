// Set operations (union, intersection, complement) and the thickness stage.
#include <gtest/gtest.h>

#include <vector>

#include "DipThickness.h"
#include "morph/set_operations.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;
using zetdip::test::RandomImage;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;
using Element = std::vector<int>;

const Element kFull3(9, 1), kCentreOnly = {0, 0, 0, 0, 1, 0, 0, 0, 0};

// Union of two 2x2 images with the given formats into out.
bool Union(Words& a, Words& b, Words& out, int wA, int bppA, int bitsA, int bppB, int bitsB) {
    return CDipThickness::CreateUnionBetweenImages(Bytes(a), Bytes(b), Bytes(out), wA, 4 / wA, bppA,
                                                   bitsA, 2, 2, bppB, bitsB);
}

// Thickness stage with the same element (and count) for hit and miss.
template <class T>
bool Stage(std::vector<T>& a, std::vector<T>& b, std::vector<T>& out, int bpp, int bits, int w,
           int h, const Element& se, int seH, int nCount) {
    return CDipThickness::ApplyThicknessWavStage(Bytes(a), Bytes(b), Bytes(out), bpp, bits, w, h,
                                                 se.data(), seH, 3, nCount, se.data(), seH, 3,
                                                 nCount);
}

TEST(SetOperations, UnionOfMismatchedFormatsOrSizesFails) {
    Words a(4, 1), b(4, 0), out(4, 42);
    EXPECT_FALSE(Union(a, b, out, 2, 16, 10, 8, 8));
    EXPECT_FALSE(Union(a, b, out, 2, 8, 8, 16, 10));
    EXPECT_FALSE(Union(a, b, out, 2, 16, 7, 16, 12));
    EXPECT_FALSE(Union(a, b, out, 2, 16, 17, 16, 17));
    EXPECT_FALSE(Union(a, b, out, 4, 16, 12, 16, 12));  // 4x1 against 2x2
    EXPECT_FALSE(Union(a, b, out, 2, 8, 8, 24, 8));     // one channel against three
    EXPECT_EQ(out, Words(4, 42));
}

TEST(SetOperations, UnionWritesFullScaleOfItsDepth) {
    Words a = {0, 5, 0, 65535}, b = {0, 0, 3, 1}, out(4);
    ASSERT_TRUE(Union(a, b, out, 2, 16, 10, 16, 10));
    EXPECT_EQ(out, (Words{0, 1023, 1023, 1023}));
    // 24-bit: three samples a pixel, each by itself; pDst may be a source.
    Bytes8 ca = {0, 1, 0, 0, 0, 0}, cb = {0, 0, 0, 0, 0, 9}, untouched(4, 42);
    ASSERT_TRUE(CDipThickness::CreateUnionBetweenImages(ca.data(), cb.data(), ca.data(), 2, 1, 24,
                                                        8, 2, 1, 24, 8));
    EXPECT_EQ(ca, (Bytes8{0, 255, 0, 0, 0, 255}));
    EXPECT_TRUE(CDipThickness::CreateUnionBetweenImages(ca.data(), cb.data(), untouched.data(), 0,
                                                        3, 8, 8, 0, 3, 8, 8));
    EXPECT_EQ(untouched, Bytes8(4, 42));
}

TEST(SetOperations, ComplementSpansTheWholeWord) {
    Words in = {0, 4095, 100, 65535}, out(4);
    zetdip::detail::Complement(in.data(), out.data(), 4);
    EXPECT_EQ(out, (Words{65535, 61440, 65435, 0}));
    Bytes8 in8 = {0, 255, 100}, out8(3);
    zetdip::detail::Complement(in8.data(), out8.data(), 3);
    EXPECT_EQ(out8, (Bytes8{255, 0, 155}));
}

TEST(ThicknessStage, TwelveBitMaskComesBackClippedToConstraint) {
    const int w = 31, h = 19;
    auto mask = RandomImage<unsigned short>(w, h, 0, 1, 3);
    for (auto& v : mask) v = v ? 4095 : 0;
    auto constraint = RandomImage<unsigned short>(w, h, 0, 2, 4);
    Words out(mask.size());
    ASSERT_TRUE(Stage(mask, constraint, out, 16, 12, w, h, kFull3, 3, 9));
    for (std::size_t i = 0; i < mask.size(); ++i)
        ASSERT_EQ(out[i], mask[i] && constraint[i] ? 4095 : 0);
}

TEST(ThicknessStage, SixteenBitComplementKeepsShiftedHitSet) {
    // Centre-only elements with count 1 make each erosion copy the top-left
    // corner. In 16 bits the complement of a 12-bit mask is never 0, so the
    // shifted pixel (2,2) is added; in 8 bits the complement hides it.
    Words mask(25, 0), all(25, 4095), out(25);
    Bytes8 mask8(25, 0), all8(25, 255), out8(25);
    mask[6] = 4095, mask8[6] = 255;
    ASSERT_TRUE(Stage(mask, all, out, 16, 12, 5, 5, kCentreOnly, 3, 1));
    ASSERT_TRUE(Stage(mask8, all8, out8, 8, 8, 5, 5, kCentreOnly, 3, 1));
    Words expected(25, 0);
    expected[6] = expected[12] = 4095;
    EXPECT_EQ(out, expected);
    EXPECT_EQ(out8, mask8);
}

TEST(ThicknessStage, EightBitResultContainsMaskWithinConstraint) {
    const int w = 40, h = 23;
    auto mask = RandomImage<unsigned char>(w, h, 0, 1, 5);
    for (auto& v : mask) v = v ? 255 : 0;
    auto constraint = RandomImage<unsigned char>(w, h, 0, 3, 6);
    const Element se = {1, 0, 1, 0, 1, 0, 0, 1, 0};
    Bytes8 out(mask.size()), inPlace = mask;
    ASSERT_TRUE(Stage(mask, constraint, out, 8, 8, w, h, se, 3, 2));
    ASSERT_TRUE(Stage(inPlace, constraint, inPlace, 8, 8, w, h, se, 3, 2));
    EXPECT_EQ(inPlace, out);
    for (std::size_t i = 0; i < mask.size(); ++i) {
        ASSERT_GE(out[i], mask[i] && constraint[i] ? 255 : 0);
        ASSERT_LE(out[i], constraint[i] ? 255 : 0);
    }
}

TEST(ThicknessStage, RefusedErosionsAreIgnoredAndBadFormatsFail) {
    // One-row elements: both erosions fail and the stage still returns the
    // mask clipped to the constraint.
    Words mask = {0, 4095, 4095, 0, 4095, 0}, constraint = {1, 1, 0, 1, 1, 1}, out(6);
    ASSERT_TRUE(Stage(mask, constraint, out, 16, 12, 3, 2, kFull3, 1, 9));
    EXPECT_EQ(out, (Words{0, 4095, 0, 0, 4095, 0}));
    Bytes8 colour(18, 255), dst(18, 42);
    EXPECT_FALSE(Stage(colour, colour, dst, 24, 8, 3, 2, kFull3, 3, 9));
    EXPECT_FALSE(Stage(colour, colour, dst, 16, 7, 3, 2, kFull3, 3, 9));
    EXPECT_FALSE(Stage(colour, colour, dst, 16, 17, 3, 2, kFull3, 3, 9));
    EXPECT_EQ(dst, Bytes8(18, 42));
}

}  // namespace
