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

TYPED_TEST(FPRemoval, HandWorkedPairsAndRightEdge) {
    using T = TypeParam;
    Plane<T> src(13, 14), dst(13, 14, T(7));
    src.at(4, 3) = 1;                     // alone
    src.at(3, 6) = 1, src.at(4, 6) = 1;   // side by side: each still isolated
    src.at(6, 9) = 5, src.at(6, 11) = 9;  // two rows apart: only the lower sees the other
    // Column nWidth - 3 reads its own row as "above" from row 3 on: a lone
    // candidate there survives in row 5 but not in row 2.
    src.at(10, 2) = 1, src.at(10, 5) = 1;
    ASSERT_TRUE(Run<T>(nullptr, src, dst, false));
    Plane<T> expected(13, 14);
    expected.at(6, 11) = 9;  // keeps its value
    expected.at(10, 5) = 1;
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
    for (auto [bpp, bits] : {std::pair{24, 8}, {8, 7}, {8, 17}})
        EXPECT_FALSE(CDipClustering::ApplyFPRemovalCAD(nullptr, src.bytes(), dst.bytes(), bpp, bits,
                                                       6, 6, false));
    EXPECT_EQ(dst.v, std::vector<unsigned char>(36, 42));
}

}  // namespace
