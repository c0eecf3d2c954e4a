// Structuring-element erosion and dilation: the conditional rank rule.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

#include "morph/se_engine.h"
#include "support/images.h"
#include "support/morph_reference.h"

namespace {

using zetdip::detail::EnginePath;
using zetdip::detail::VectorPath;
using zetdip::detail::VectorPathAvailable;
using zetdip::test::RandomImage;
using zetdip::test::ReferenceRankRule;
using Bytes8 = std::vector<unsigned char>;
using Element = std::vector<int>;

// The engine for one operation and path.
template <class T>
bool Engine(const T* s, T* d, int w, int h, const Element& se, int seH, int seW, int n,
            bool bErode = true, EnginePath path = EnginePath::kBlocked,
            zetdip::detail::VectorPath vector = zetdip::detail::VectorPath::kAuto) {
    using namespace zetdip::detail;
    return bErode ? ApplyWithSE<ErodeOp>(s, d, w, h, se.data(), seH, seW, n, path, vector)
                  : ApplyWithSE<DilateOp>(s, d, w, h, se.data(), seH, seW, n, path, vector);
}

// Erosion and dilation against the reference, in place and not, on both engine paths
// (blocked and per-pixel) or on both vector paths of the blocked one.
template <class T>
void ExpectReference(const std::vector<T>& src, int w, int h, const Element& se, int seH, int seW,
                     int n, bool bVectorPaths) {
    for (int op = 0; op < 4; ++op) {
        const bool bErode = op < 2;
        const EnginePath path =
            !bVectorPaths && op % 2 ? EnginePath::kGeneralOnly : EnginePath::kBlocked;
        const VectorPath vector = !bVectorPaths ? VectorPath::kAuto
                                  : op % 2      ? VectorPath::kAvx2
                                                : VectorPath::kBaseline;
        if (!VectorPathAvailable(vector)) continue;
        std::vector<T> want(src.size()), out(src.size()), in = src;
        ReferenceRankRule(bErode, src.data(), want.data(), w, h, se.data(), seH, seW, n);
        ASSERT_TRUE(Engine(src.data(), out.data(), w, h, se, seH, seW, n, bErode, path, vector));
        ASSERT_TRUE(Engine(in.data(), in.data(), w, h, se, seH, seW, n, bErode, path, vector));
        ASSERT_EQ(out, want) << w << "x" << h << " by " << seH << "x" << seW << " n " << n << " op "
                             << op;
        ASSERT_EQ(in, want) << "in place";
    }
}

template <class T>
class SeEngine : public ::testing::Test {};
TYPED_TEST_SUITE(SeEngine, zetdip::test::SampleTypes);

// Odd/even/non-square/taller-than-wide/empty elements (narrow images make their columns wrap
// into the neighbouring rows), counts matching or not.
TYPED_TEST(SeEngine, MatchesReferenceOnRandomImages) {
    using T = TypeParam;
    const int sizes[][2] = {{1, 1},   {2, 2},    {3, 1},  {1, 3}, {4, 5},  {9, 8},
                            {67, 33}, {300, 11}, {1, 12}, {2, 9}, {3, 24}, {4, 17}};
    const int shapes[][2] = {{3, 3}, {5, 5}, {5, 7}, {4, 3}, {3, 4},  {9, 3},  {3, 9},
                             {3, 1}, {5, 3}, {7, 3}, {5, 1}, {11, 3}, {10, 2}, {5, 0}};
    std::mt19937 rng(7);
    for (const auto& [w, h] : sizes)
        for (const auto& [seH, seW] : shapes) {
            Element se(static_cast<std::size_t>(seH) * seW);
            for (int& v : se) v = rng() % 3 == 0 ? 0 : static_cast<int>(rng() % 7) - 3;
            const int nMembers = static_cast<int>(se.size() - std::count(se.begin(), se.end(), 0));
            for (int n : {nMembers, nMembers + 1, static_cast<int>(rng() % 4)})
                ExpectReference(RandomImage<T>(w, h, 0, rng() % 2 ? 3 : T(~0u), rng()), w, h, se,
                                seH, seW, n, false);
        }
}

// Elements where every member must qualify take the extremes of member runs: discs, full
// rectangles, random holes, taller and wider than square; few grey levels and full range.
TYPED_TEST(SeEngine, FullCountElementsMatchReference) {
    using T = TypeParam;
    std::mt19937 rng(9);
    struct Shape {
        Element se;
        int h, w;
    };
    std::vector<Shape> shapes;
    for (int r : {1, 4, 9}) {
        Element se(static_cast<std::size_t>(2 * r + 1) * (2 * r + 1));
        for (int y = -r; y <= r; ++y)
            for (int x = -r; x <= r; ++x)
                se[(y + r) * (2 * r + 1) + x + r] = x * x + y * y <= r * r;
        shapes.push_back({se, 2 * r + 1, 2 * r + 1});
    }
    shapes.push_back({Element(5 * 11, 1), 5, 11});
    shapes.push_back({Element(11 * 5, 1), 11, 5});
    for (int k = 0; k < 2; ++k) {
        const int seH = 3 + 2 * static_cast<int>(rng() % 5);
        Element se(static_cast<std::size_t>(seH) * seH);
        for (int& v : se) v = rng() % 4 != 0;
        shapes.push_back({se, seH, seH});
    }
    for (const Shape& s : shapes) {
        const int nCount = static_cast<int>(s.se.size() - std::count(s.se.begin(), s.se.end(), 0));
        const int nCentre = s.se[(s.h / 2) * s.w + s.w / 2] != 0;
        for (const auto& [w, h] : {std::pair{97, 43}, {300, 21}}) {
            const auto src = RandomImage<T>(w, h, 0, rng() % 2 ? 3 : T(~0u), rng());
            // The count that takes the extreme where every one is a neighbour, and one more.
            for (int n : {nCount + 1 - nCentre, nCount + 2 - nCentre})
                ExpectReference(src, w, h, s.se, s.h, s.w, n, true);
        }
    }
}

TEST(SeEngine, TallElementColumnsWrapIntoNeighbouringRows) {
    // 3x5 of 9, full 5x1 (hA 2, hB 0): row 2 reads dx -2..2 along the flat buffer. (0, 2) sees
    // (2, 1) through cache column -1; (1, 2) sees it at column -1 and (0, 3) at column 0, already
    // advanced, and at source column 3; (2, 2) sees (0, 3) and (1, 3).
    for (const auto& [zero, row2] : {std::pair{5, Bytes8{0, 0, 9}}, {9, Bytes8{9, 0, 0}}}) {
        Bytes8 img(15, 9), out(15);
        img[zero] = 0;
        ASSERT_TRUE(Engine(img.data(), out.data(), 3, 5, Element(5, 1), 5, 1, 5));
        std::copy(row2.begin(), row2.end(), img.begin() + 6);
        EXPECT_EQ(out, img) << zero;
    }
    // 4x11 of 9, 0 at (0, 5), 10x2 with one member (dy 1, dx -5): (1, 5) takes the 0; in place,
    // (2, 5) reads (1, 5) as it was before being written and keeps its 9.
    Bytes8 img(44, 9), want(44, 9);
    Element se(20, 0);
    img[20] = want[20] = want[21] = 0, se[4] = 1;
    ASSERT_TRUE(Engine(img.data(), img.data(), 4, 11, se, 10, 2, 2));
    EXPECT_EQ(img, want);
}

TEST(SeEngine, RightBorderRefreshHidesRowAboveFromFollowingRow) {
    // 6x6 of 9, 0 at (4, 1), full 5x5: row 3 misses it, its cache columns 3, 4 hold rows 2, 3, 3.
    Bytes8 img(36, 9), out(36);
    img[1 * 6 + 4] = 0;
    ASSERT_TRUE(Engine(img.data(), out.data(), 6, 6, Element(25, 1), 5, 5, 25));
    img[2 * 6 + 2] = img[2 * 6 + 3] = 0;  // the input with (2, 2) and (3, 2) darkened
    EXPECT_EQ(out, img);
}

}  // namespace
