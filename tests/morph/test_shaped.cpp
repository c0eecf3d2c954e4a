// Shaped morphology: line, diagonals, circle, dilatation, opening, closing.
#include <gtest/gtest.h>

#include <vector>

#include "DipMorphMath.h"
#include "support/images.h"
#include "support/morph_reference.h"

namespace {

using zetdip::test::Bytes;
using zetdip::test::RandomImage;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;
using Entry = bool (*)(unsigned char*, unsigned char*, int, int, int, int);

// Reaches the protected variants.
struct Morph : CDipMorphMath {
    using CDipMorphMath::ApplyClosing16Bits;
    using CDipMorphMath::ApplyClosing8Bits;
    using CDipMorphMath::ApplyDilatation8Bits;
    using CDipMorphMath::ApplyErosionCircle8Bits;
    using CDipMorphMath::ApplyErosionDiagNWSE16Bits;
    using CDipMorphMath::ApplyErosionLine8Bits;
    using CDipMorphMath::ApplyOpening16Bits;
    using CDipMorphMath::ApplyOpening8Bits;
};

const Entry kEntries[] = {CDipMorphMath::ApplyErosionLine,     CDipMorphMath::ApplyErosionDiagNWSE,
                          CDipMorphMath::ApplyErosionDiagSWNE, CDipMorphMath::ApplyErosionCircle,
                          CDipMorphMath::ApplyDilatation,      CDipMorphMath::ApplyOpening,
                          CDipMorphMath::ApplyClosing};

// The quarters by geometry: centre plus left+below, below+right,
// right+above, above+left, stored flipped top to bottom.
template <class T>
std::vector<T> QuarterPasses(bool bErode, std::vector<T> img, int w, int h) {
    const std::vector<int> quarters[4] = {{0, 1, 0, 1, 1, 0, 0, 0, 0},
                                          {0, 1, 0, 0, 1, 1, 0, 0, 0},
                                          {0, 0, 0, 0, 1, 1, 0, 1, 0},
                                          {0, 0, 0, 1, 1, 0, 0, 1, 0}};
    for (const auto& q : quarters) {
        std::vector<T> next(img.size());
        zetdip::test::ReferenceRankRule(bErode, img.data(), next.data(), w, h, q.data(), 3, 3, 3);
        img = next;
    }
    return img;
}

TEST(ShapedErosion, OnePixelHighRunVanishesUnderLineErosion) {
    const int w = 9, h = 5;
    Bytes8 img(w * h, 0), out(w * h, 7);
    Words img16(w * h, 0), out16(w * h, 7);
    for (int x = 1; x < 8; ++x) img[2 * w + x] = 255, img16[2 * w + x] = 4095;
    ASSERT_TRUE(CDipMorphMath::ApplyErosionLine(img.data(), out.data(), 8, 8, w, h));
    ASSERT_TRUE(CDipMorphMath::ApplyErosionLine(Bytes(img16), Bytes(out16), 16, 12, w, h));
    EXPECT_EQ(out, Bytes8(w * h, 0));  // the middle pixels fall through the dark corner
    EXPECT_EQ(out16, Words(w * h, 0));
}

TEST(ShapedErosion, DiagonalsAreAppliedFlippedAndCornerSeedCounts) {
    // Bright 3x3 with one dark pixel: the centre darkens only through a
    // member of the applied diagonal or through the top-left seed.
    auto centreAfter = [](Entry entry, int darkIndex) {
        Bytes8 img(9, 200), out(9);
        img[darkIndex] = 10;
        entry(img.data(), out.data(), 8, 8, 3, 3);
        return out[4];
    };
    EXPECT_EQ(centreAfter(CDipMorphMath::ApplyErosionDiagNWSE, 2), 10);  // top-right
    EXPECT_EQ(centreAfter(CDipMorphMath::ApplyErosionDiagNWSE, 8), 200);
    EXPECT_EQ(centreAfter(CDipMorphMath::ApplyErosionDiagSWNE, 8), 10);  // bottom-right
    EXPECT_EQ(centreAfter(CDipMorphMath::ApplyErosionDiagSWNE, 6), 200);
    EXPECT_EQ(centreAfter(CDipMorphMath::ApplyErosionLine, 0), 10);  // seed, not a member
    EXPECT_EQ(centreAfter(CDipMorphMath::ApplyErosionLine, 7), 200);
}

TEST(ShapedOperations, SixteenBitCircleDilatationClosingRunQuartersInOrder) {
    const int w = 23, h = 17;
    auto img = RandomImage<unsigned short>(w, h, 0, 3, 4);
    Words ero(img.size()), dil(img.size()), clo(img.size()), prot(img.size());
    ASSERT_TRUE(CDipMorphMath::ApplyErosionCircle(Bytes(img), Bytes(ero), 16, 12, w, h));
    ASSERT_TRUE(CDipMorphMath::ApplyDilatation(Bytes(img), Bytes(dil), 16, 12, w, h));
    ASSERT_TRUE(CDipMorphMath::ApplyClosing(Bytes(img), Bytes(clo), 16, 12, w, h));
    ASSERT_TRUE(Morph::ApplyClosing16Bits(img.data(), prot.data(), w, h));
    EXPECT_EQ(ero, QuarterPasses(true, img, w, h));
    EXPECT_EQ(dil, QuarterPasses(false, img, w, h));
    EXPECT_EQ(clo, QuarterPasses(true, dil, w, h));
    EXPECT_EQ(prot, clo);
}

TEST(ShapedOperations, EightBitDilatationAndOpeningWriteButReportFalse) {
    const int w = 40, h = 21;
    auto img = RandomImage<unsigned char>(w, h, 0, 255, 10);
    Words img16(img.begin(), img.end()), dil16(img.size()), open16(img.size()), prot16(img.size());
    Bytes8 dil(img.size()), open(img.size()), prot(img.size());
    EXPECT_FALSE(CDipMorphMath::ApplyDilatation(img.data(), dil.data(), 8, 8, w, h));
    EXPECT_FALSE(CDipMorphMath::ApplyOpening(img.data(), open.data(), 8, 8, w, h));
    EXPECT_FALSE(Morph::ApplyOpening8Bits(img.data(), prot.data(), 1, w, h));
    EXPECT_TRUE(CDipMorphMath::ApplyDilatation(Bytes(img16), Bytes(dil16), 16, 12, w, h));
    EXPECT_TRUE(CDipMorphMath::ApplyOpening(Bytes(img16), Bytes(open16), 16, 12, w, h));
    EXPECT_TRUE(Morph::ApplyOpening16Bits(img16.data(), prot16.data(), w, h));
    EXPECT_EQ(Words(dil.begin(), dil.end()), dil16);
    EXPECT_EQ(Words(open.begin(), open.end()), open16);
    EXPECT_EQ(Words(prot.begin(), prot.end()), open16);
    EXPECT_EQ(prot16, open16);
    EXPECT_NE(open16, img16);
}

TEST(ShapedOperations, ClosingEightBitLeavesDestination) {
    auto img = RandomImage<unsigned char>(19, 14, 0, 255, 12);
    Bytes8 out(img.size(), 77);
    EXPECT_FALSE(CDipMorphMath::ApplyClosing(img.data(), out.data(), 8, 8, 19, 14));
    EXPECT_FALSE(Morph::ApplyClosing8Bits(img.data(), out.data(), 1, 19, 14));
    EXPECT_EQ(out, Bytes8(img.size(), 77));
}

TEST(ShapedOperations, InPlaceEqualsSeparateAndFramePassesUnchanged) {
    const int w = 67, h = 33;
    auto img = RandomImage<unsigned short>(w, h, 0, 4095, 13);
    for (Entry entry : kEntries) {
        Words out(img.size()), inPlace = img;
        ASSERT_TRUE(entry(Bytes(img), Bytes(out), 16, 12, w, h));
        ASSERT_TRUE(entry(Bytes(inPlace), Bytes(inPlace), 16, 12, w, h));
        EXPECT_EQ(inPlace, out);
        for (int i = 0; i < w * h; ++i) {
            const bool bFrame = i < w || i >= (h - 1) * w || i % w == 0 || i % w == w - 1;
            ASSERT_TRUE(!bFrame || out[i] == img[i]);
        }
    }
}

TEST(ShapedOperations, ColourBadDepthsAndUnallocatableScratchAreRefused) {
    Bytes8 colour(3 * 16, 9), out(3 * 16, 42);
    for (Entry entry : kEntries) {
        EXPECT_FALSE(entry(colour.data(), out.data(), 24, 8, 4, 4));
        EXPECT_FALSE(entry(colour.data(), out.data(), 8, 7, 4, 4));
        EXPECT_FALSE(entry(colour.data(), out.data(), 16, 17, 4, 4));
    }
    EXPECT_FALSE(Morph::ApplyErosionLine8Bits(colour.data(), out.data(), 3, 4, 4));
    EXPECT_FALSE(Morph::ApplyErosionCircle8Bits(colour.data(), out.data(), 3, 4, 4));
    EXPECT_FALSE(Morph::ApplyDilatation8Bits(colour.data(), out.data(), 3, 4, 4));
#if !defined(__SANITIZE_ADDRESS__)
    // A 2^24 x 2^24 scratch image cannot be allocated; nothing is read.
    EXPECT_FALSE(
        CDipMorphMath::ApplyErosionCircle(colour.data(), out.data(), 16, 12, 1 << 24, 1 << 24));
    EXPECT_FALSE(CDipMorphMath::ApplyOpening(colour.data(), out.data(), 8, 8, 1 << 24, 1 << 24));
#endif
    EXPECT_EQ(out, Bytes8(3 * 16, 42));
    // The 16-bit line and diagonal variants report true whatever the engine did.
    Words tiny = {5};
    EXPECT_TRUE(Morph::ApplyErosionDiagNWSE16Bits(tiny.data(), tiny.data(), 1, 1));
}

}  // namespace
