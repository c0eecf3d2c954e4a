// Removal of isolated and excluded candidate pixels.
#include <gtest/gtest.h>

#include <vector>

#include "DipClustering.h"
#include "support/cad_images.h"
#include "support/images.h"

namespace {

using zetdip::test::Plane;

// The rule written out pixel by pixel: the rows above come from the input,
// one row late in the last three columns from row 3 on.
template <class T>
std::vector<T> Reference(const std::vector<T>& exclusion, const std::vector<T>& src, int h, int w,
                         bool bUseExclusion) {
    std::vector<T> out = src;
    auto at = [&](int x, int y) { return src[static_cast<std::size_t>(y) * w + x]; };
    for (int y = 2; y <= h - 3; ++y) {
        for (int x = 2; x <= w - 3; ++x) {
            if (at(x, y) == 0) continue;
            bool bIsolated = true;
            for (int c = x - 2; c <= x + 2; ++c) {
                const int above = (c >= w - 3 && y >= 3) ? y - 1 : y - 2;
                bIsolated = bIsolated && at(c, above) == 0 && at(c, above + 1) == 0;
            }
            for (int dy = 1; dy <= 2; ++dy)
                for (int dx : {-2, -1, 1, 2}) bIsolated = bIsolated && at(x + dx, y + dy) == 0;
            const std::size_t i = static_cast<std::size_t>(y) * w + x;
            if (bIsolated || (bUseExclusion && exclusion[i] != 0)) out[i] = 0;
        }
    }
    return out;
}

template <class T>
bool Run(Plane<T>* pExclusion, Plane<T>& src, Plane<T>& dst, bool bUseExclusion) {
    constexpr int kBits = zetdip::test::DepthOf<T>::kBits;
    return CDipClustering::ApplyFPRemovalCAD(pExclusion ? pExclusion->bytes() : nullptr,
                                             src.bytes(), dst.bytes(), 8 * sizeof(T), kBits, src.h,
                                             src.w, bUseExclusion);
}

template <class T>
class FPRemoval : public ::testing::Test {};
using SampleTypes = ::testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(FPRemoval, SampleTypes);

TYPED_TEST(FPRemoval, IsolatedPixelIsRemovedAndNeighbourPairsAsStated) {
    using T = TypeParam;
    Plane<T> src(13, 12), dst(13, 12, T(7));
    src.at(4, 3) = 1;                    // alone
    src.at(3, 6) = 1, src.at(4, 6) = 1;  // side by side: each still isolated
    src.at(8, 5) = 5, src.at(8, 7) = 9;  // two rows apart: the lower sees the upper
    ASSERT_TRUE(Run<T>(nullptr, src, dst, false));
    Plane<T> expected(13, 12);
    expected.at(8, 7) = 9;  // keeps its value
    EXPECT_EQ(dst.v, expected.v);
}

TYPED_TEST(FPRemoval, FrameIsCopiedUnchangedEvenWhenExcluded) {
    using T = TypeParam;
    const T kMax = static_cast<T>(zetdip::test::DepthOf<T>::kMax);
    Plane<T> src(12, 11), dst(12, 11), exclusion(12, 11, T(1));
    const std::pair<int, int> frame[] = {{1, 5}, {0, 9},  {6, 0},  {5, 1},
                                         {6, 9}, {3, 10}, {10, 4}, {11, 7}};
    for (auto [x, y] : frame) src.at(x, y) = kMax;
    ASSERT_TRUE(Run(&exclusion, src, dst, true));
    EXPECT_EQ(dst.v, src.v);
}

TYPED_TEST(FPRemoval, ExclusionRemovesOnlyWhenAsked) {
    using T = TypeParam;
    Plane<T> src(10, 10), dst(10, 10), exclusion(10, 10);
    src.at(4, 4) = 1, src.at(5, 5) = 1;  // diagonal pair: each sees the other
    exclusion.at(5, 5) = 3, exclusion.at(1, 1) = 3;
    ASSERT_TRUE(Run(&exclusion, src, dst, false));
    EXPECT_EQ(dst.v, src.v);
    ASSERT_TRUE(Run(&exclusion, src, dst, true));
    EXPECT_EQ(dst.at(5, 5), 0);
    EXPECT_EQ(dst.at(4, 4), 1);
}

TYPED_TEST(FPRemoval, LastColumnsReadOwnRowFromFourthRow) {
    using T = TypeParam;
    // Column nWidth - 3 reads its own row as "above" from row 3 on, so a lone
    // candidate there survives; in row 2 it does not.
    Plane<T> src(12, 14), dst(12, 14);
    src.at(9, 2) = 1;
    src.at(9, 11) = 1;
    src.at(8, 6) = 1, src.at(10, 6) = 1;  // (8, 6) sees its right neighbour in its row
    ASSERT_TRUE(Run<T>(nullptr, src, dst, false));
    EXPECT_EQ(dst.at(9, 2), 0);
    EXPECT_EQ(dst.at(9, 11), 1);
    EXPECT_EQ(dst.at(8, 6), 1);
    EXPECT_EQ(dst.at(10, 6), 1);  // the last two columns are never removed
}

TYPED_TEST(FPRemoval, MatchesReferenceAndInPlaceOnAwkwardSizes) {
    using T = TypeParam;
    const std::pair<int, int> sizes[] = {{1, 1}, {2, 2}, {3, 1}, {1, 3},   {4, 4},
                                         {5, 5}, {6, 5}, {5, 6}, {67, 33}, {33, 67}};
    std::uint32_t seed = 11;
    for (auto [w, h] : sizes) {
        for (int density : {1, 4}) {  // about one in two, one in five
            auto src = zetdip::test::RandomImage<T>(w, h, 0, 1, ++seed);
            auto noise = zetdip::test::RandomImage<T>(w, h, 0, density, ++seed);
            for (std::size_t i = 0; i < src.size(); ++i) src[i] = src[i] && noise[i] <= 1 ? 3 : 0;
            auto exclusion = zetdip::test::RandomImage<T>(w, h, 0, 3, ++seed);
            for (bool bUse : {false, true}) {
                std::vector<T> out(src.size(), 9), inPlace = src;
                auto* pEx = zetdip::test::Bytes(exclusion);
                ASSERT_TRUE(CDipClustering::ApplyFPRemovalCAD(
                    pEx, zetdip::test::Bytes(src), zetdip::test::Bytes(out), 8 * sizeof(T),
                    zetdip::test::DepthOf<T>::kBits, h, w, bUse));
                ASSERT_TRUE(CDipClustering::ApplyFPRemovalCAD(
                    pEx, zetdip::test::Bytes(inPlace), zetdip::test::Bytes(inPlace), 8 * sizeof(T),
                    zetdip::test::DepthOf<T>::kBits, h, w, bUse));
                EXPECT_EQ(out, Reference(exclusion, src, h, w, bUse)) << w << "x" << h;
                EXPECT_EQ(inPlace, out) << w << "x" << h;
            }
        }
    }
}

TEST(FPRemoval, ColourAndBadDepthsWriteNothing) {
    Plane<unsigned char> src(6, 6, 1), dst(6, 6, 42);
    EXPECT_FALSE(
        CDipClustering::ApplyFPRemovalCAD(nullptr, src.bytes(), dst.bytes(), 24, 8, 6, 6, false));
    for (int bits : {7, 17})
        EXPECT_FALSE(CDipClustering::ApplyFPRemovalCAD(nullptr, src.bytes(), dst.bytes(), 8, bits,
                                                       6, 6, false));
    EXPECT_EQ(dst.v, std::vector<unsigned char>(36, 42));
    // A 24-bit flag with 12 stored bits is a one-channel 16-bit run.
    Plane<unsigned short> words(6, 6, 1), out(6, 6);
    EXPECT_TRUE(CDipClustering::ApplyFPRemovalCAD(nullptr, words.bytes(), out.bytes(), 24, 12, 6, 6,
                                                  false));
    EXPECT_EQ(out.v, words.v);
}

}  // namespace
