// Structuring-element erosion and dilation: the conditional rank rule.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "DipMorphMath.h"
#include "morph/se_engine.h"
#include "support/images.h"
#include "support/morph_reference.h"

namespace {

using zetdip::detail::EnginePath;
using zetdip::test::Bytes;
using zetdip::test::RandomImage;
using zetdip::test::ReferenceRankRule;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;
using Element = std::vector<int>;

const Element kFull3(9, 1), kFull5(25, 1), kLine = {0, 0, 0, 1, 1, 1, 0, 0, 0};

template <class T>
bool Engine(bool bErode, const T* pSrc, T* pDst, int w, int h, const Element& se, int seH, int seW,
            int nCount, EnginePath path = EnginePath::kBlocked) {
    using namespace zetdip::detail;
    return bErode ? ApplyWithSE<ErodeOp>(pSrc, pDst, w, h, se.data(), seH, seW, nCount, path)
                  : ApplyWithSE<DilateOp>(pSrc, pDst, w, h, se.data(), seH, seW, nCount, path);
}

// 8-bit erosion through the public entry.
bool Erode8(Bytes8& in, Bytes8& out, int w, int h, const Element& se, int seH, int seW, int n) {
    return CDipMorphMath::ApplyErosionWithSE(in.data(), out.data(), 8, 8, w, h, se.data(), seH, seW,
                                             n);
}

template <class T>
class SeEngine : public ::testing::Test {};
using SampleTypes = ::testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(SeEngine, SampleTypes);

// Blocked and general paths, in place and not, against the column-by-column
// cache on random images, elements (square, wide, tall, even, large) and counts.
TYPED_TEST(SeEngine, MatchesColumnByColumnCache) {
    using T = TypeParam;
    const int sizes[][2] = {{1, 1}, {2, 2}, {3, 1}, {1, 3},   {3, 3},
                            {4, 5}, {6, 6}, {9, 8}, {67, 33}, {300, 11}};
    const int shapes[][2] = {{3, 3}, {5, 5}, {5, 7}, {7, 5}, {3, 4}, {4, 3},
                             {3, 1}, {9, 3}, {3, 9}, {7, 7}, {4, 6}, {21, 21}};
    std::mt19937 rng(7);
    for (const auto& size : sizes) {
        for (const auto& shape : shapes) {
            const int w = size[0], h = size[1], seH = shape[0], seW = shape[1];
            Element se(static_cast<std::size_t>(seH) * seW);
            for (int& v : se) v = rng() % 3 == 0 ? 0 : static_cast<int>(rng() % 7) - 3;
            const int nMembers = zetdip::test::MemberCount(se);
            for (int nCount : {nMembers, nMembers - 1, static_cast<int>(rng() % 4)}) {
                const auto src = RandomImage<T>(w, h, 0, rng() % 2 ? 3 : T(~0u), rng());
                for (bool bErode : {true, false}) {
                    std::vector<T> expected(src.size());
                    ASSERT_TRUE(ReferenceRankRule(bErode, src.data(), expected.data(), w, h,
                                                  se.data(), seH, seW, nCount));
                    for (EnginePath path : {EnginePath::kBlocked, EnginePath::kGeneralOnly}) {
                        std::vector<T> out(src.size()), inPlace = src;
                        ASSERT_TRUE(Engine(bErode, src.data(), out.data(), w, h, se, seH, seW,
                                           nCount, path));
                        ASSERT_TRUE(Engine(bErode, inPlace.data(), inPlace.data(), w, h, se, seH,
                                           seW, nCount, path));
                        ASSERT_EQ(out, expected) << w << "x" << h << " element " << seH << "x"
                                                 << seW << " count " << nCount;
                        ASSERT_EQ(inPlace, expected);
                    }
                }
            }
        }
    }
}

TYPED_TEST(SeEngine, TrueCountErosionDarkensDilationBrightensFlatImagePasses) {
    using T = TypeParam;
    const auto src = RandomImage<T>(67, 33, 0, 200, 3);
    std::vector<T> ero(src.size()), dil(src.size());
    ASSERT_TRUE(Engine(true, src.data(), ero.data(), 67, 33, kFull3, 3, 3, 9));
    ASSERT_TRUE(Engine(false, src.data(), dil.data(), 67, 33, kFull3, 3, 3, 9));
    for (std::size_t i = 0; i < src.size(); ++i) ASSERT_TRUE(ero[i] <= src[i] && dil[i] >= src[i]);
    const std::vector<T> flat(67 * 33, 100);
    ASSERT_TRUE(Engine(true, flat.data(), ero.data(), 67, 33, kFull3, 3, 3, 9));
    EXPECT_EQ(ero, flat);
}

TEST(SeEngine, GreyPixelWithOneBrighterMemberStays) {
    // Centre 100 with a darker left neighbour and a brighter right one.
    Words img = {50, 50, 50, 50, 100, 101, 50, 50, 50}, out(9);
    ASSERT_TRUE(CDipMorphMath::ApplyErosionWithSE(Bytes(img), Bytes(out), 16, 12, 3, 3,
                                                  kLine.data(), 3, 3, 3));
    EXPECT_EQ(out, img);
    img[5] = 100;  // now both members qualify: the corner seed 50 wins
    ASSERT_TRUE(CDipMorphMath::ApplyErosionWithSE(Bytes(img), Bytes(out), 24, 12, 3, 3,
                                                  kLine.data(), 3, 3, 3));
    EXPECT_EQ(out[4], 50);
}

TEST(SeEngine, RightBorderRefreshHidesRowAboveFromFollowingRow) {
    // 6x6 of 9 with one 0 at (4, 1); full 5x5 element. Row 2 sees it; in row
    // 3 the over-advanced cache columns 3 and 4 hold rows 2, 3, 3, so the 0
    // is no longer read there.
    Bytes8 img(36, 9), out(36);
    img[1 * 6 + 4] = 0;
    ASSERT_TRUE(Erode8(img, out, 6, 6, kFull5, 5, 5, 25));
    Bytes8 expected = img;
    expected[2 * 6 + 2] = expected[2 * 6 + 3] = 0;
    EXPECT_EQ(out, expected);
}

TEST(SeEngine, CountThatCannotMatchChangesNothing) {
    auto img = RandomImage<unsigned char>(67, 33, 0, 255, 11);
    for (int nCount : {10, 11, 100, -5}) {
        Bytes8 out(img.size());
        ASSERT_TRUE(Erode8(img, out, 67, 33, kFull3, 3, 3, nCount));
        EXPECT_EQ(out, img);
    }
}

TEST(SeEngine, FramesAreCopiedAndSmallImagesPassUnchanged) {
    auto img = RandomImage<unsigned char>(20, 12, 0, 255, 5);
    Bytes8 out(img.size());
    ASSERT_TRUE(Erode8(img, out, 20, 12, kFull5, 5, 5, 1));
    for (int i = 0; i < 240; ++i) {
        const int x = i % 20, y = i / 20;
        const bool bFrame = y < 2 || y >= 10 || x < 2 || x >= 18;
        ASSERT_TRUE(!bFrame || out[i] == img[i]) << x << "," << y;
    }
    // Fewer than 2 * hA + 1 rows or 2 * hB + 1 columns: everything is copied.
    for (auto [w, h] : {std::pair{20, 6}, std::pair{6, 12}, std::pair{1, 1}}) {
        Bytes8 small(img.begin(), img.begin() + w * h), dst(small.size(), 1);
        ASSERT_TRUE(Erode8(small, dst, w, h, Element(49, 1), 7, 7, 1));
        EXPECT_EQ(dst, small);
    }
}

TEST(SeEngine, RefusedInputsWriteNothing) {
    auto img = RandomImage<unsigned char>(8, 8, 0, 255, 2);
    Bytes8 out(3 * 64, 42), colour(3 * 64, 7);
    for (int seH : {1, 2, 0, -3}) EXPECT_FALSE(Erode8(img, out, 8, 8, kFull3, seH, 3, 9));
    EXPECT_FALSE(Erode8(img, out, 8, 8, kFull3, 3, 0, 9));
    EXPECT_FALSE(CDipMorphMath::ApplyErosionWithSE(colour.data(), out.data(), 24, 8, 8, 8,
                                                   kFull3.data(), 3, 3, 9));
    for (int bits : {7, 17})
        EXPECT_FALSE(CDipMorphMath::ApplyErosionWithSE(img.data(), out.data(), 8, bits, 8, 8,
                                                       kFull3.data(), 3, 3, 9));
    EXPECT_TRUE(Erode8(img, out, 0, 8, kFull3, 3, 3, 9));  // empty images succeed
    EXPECT_TRUE(Erode8(img, out, 8, -1, kFull3, 3, 3, 9));
    EXPECT_EQ(out, Bytes8(3 * 64, 42));
}

#if !defined(__SANITIZE_ADDRESS__)
TEST(SeEngine, UnallocatableCacheReportsFalse) {
    // 2^30 cache rows of 2^22 samples cannot be allocated; nothing is read.
    Bytes8 img(4, 1), out(4, 42);
    EXPECT_FALSE(Erode8(img, out, 1 << 22, 1, kFull3, 0x7fffffff, 3, 9));
    EXPECT_EQ(out, Bytes8(4, 42));
}
#endif

}  // namespace
