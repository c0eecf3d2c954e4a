// Removal of isolated and excluded candidate pixels.
#include <gtest/gtest.h>

#include <climits>

#include "DipClustering.h"
#include "support/cad_images.h"

namespace {

using namespace zetdip::test;

// The rule read literally; the last three columns see the rows above one row late from row 3 on.
template <class T>
std::vector<T> Reference(const std::vector<T>& ex, const std::vector<T>& src, int w, int h,
                         bool bUse) {
    std::vector<T> out = src;
    auto at = [w](int x, int y) { return static_cast<std::size_t>(y) * w + x; };
    for (int y = 2; y <= h - 3; ++y)
        for (int x = 2; x <= w - 3; ++x) {
            bool bNeighbour = false;
            for (int c = x - 2; c <= x + 2; ++c) {
                const int above = (c >= w - 3 && y >= 3) ? y - 1 : y - 2;
                bNeighbour = bNeighbour || src[at(c, above)] || src[at(c, above + 1)];
                if (c != x) bNeighbour = bNeighbour || src[at(c, y + 1)] || src[at(c, y + 2)];
            }
            if (src[at(x, y)] && (!bNeighbour || (bUse && ex[at(x, y)]))) out[at(x, y)] = 0;
        }
    return out;
}

template <class T>
bool Run(std::vector<T>* pEx, std::vector<T>& src, std::vector<T>& dst, int w, int h, bool bUse) {
    return CDipClustering::ApplyFPRemovalCAD(pEx ? Bytes(*pEx) : nullptr, Bytes(src), Bytes(dst),
                                             8 * sizeof(T), DepthOf<T>::kBits, h, w, bUse);
}

template <class T>
class FPRemoval : public ::testing::Test {};
TYPED_TEST_SUITE(FPRemoval, SampleTypes);

TYPED_TEST(FPRemoval, PairsRightEdgeDoubleAdvanceAndFrame) {
    using T = TypeParam;
    Plane<T> src(13, 14), dst(13, 14, T(7)), expected(13, 14);
    src.at(4, 3) = 1;                      // alone
    src.at(3, 6) = 1, src.at(4, 6) = 1;    // side by side: the own row is not looked at
    src.at(6, 9) = 5, src.at(6, 11) = 9;   // two rows apart: only the lower sees the other
    src.at(10, 2) = 1, src.at(10, 5) = 1;  // column w - 3 sees its own row as above from row 3 on
    for (auto [x, y] : {std::pair{0, 0}, {1, 3}, {0, 9}, {2, 13}, {11, 9}, {12, 10}})
        src.at(x, y) = expected.at(x, y) = 4;  // the frame is copied
    expected.at(6, 11) = 9, expected.at(10, 5) = 1;
    ASSERT_TRUE(Run<T>(nullptr, src.v, dst.v, 13, 14, false));  // exclusion read only when asked
    EXPECT_EQ(dst.v, expected.v);
}

TYPED_TEST(FPRemoval, MatchesReferenceInPlaceAndNot) {
    using T = TypeParam;
    std::uint32_t seed = 11;
    for (auto [w, h] :
         {std::pair{1, 1}, {2, 2}, {3, 1}, {1, 3}, {5, 5}, {6, 5}, {8, 9}, {67, 33}, {300, 24}})
        for (int nSparse : {1, 4}) {  // candidates one in two, one in five
            auto src = RandomImage<T>(w, h, 0, nSparse, ++seed);
            for (T& v : src) v = v == 1 ? 3 : 0;
            auto ex = RandomImage<T>(w, h, 0, 3, ++seed);
            for (bool bUse : {false, true}) {
                std::vector<T> out(src.size(), 9), inPlace = src;
                ASSERT_TRUE(Run(&ex, src, out, w, h, bUse));
                ASSERT_TRUE(Run(&ex, inPlace, inPlace, w, h, bUse));
                EXPECT_EQ(out, Reference(ex, src, w, h, bUse)) << w << "x" << h;
                EXPECT_EQ(inPlace, out) << w << "x" << h;
            }
        }
}

}  // namespace
