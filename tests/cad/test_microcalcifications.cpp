// Blob growing, shape check and the microcalcification scan.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "cad/microcalcifications.h"
#include "support/cad_images.h"
#include "support/images.h"

namespace {

using zetdip::detail::BlobStack;
using zetdip::test::Box;
using zetdip::test::Plane;

template <class T>
class Microcalcifications : public ::testing::Test {};
using SampleTypes = ::testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(Microcalcifications, SampleTypes);

template <class T>
Box Grow(const Plane<T>& binary, std::vector<int>& visited, int x, int y) {
    Box b{binary.w, binary.h, 0, 0};
    BlobStack stack;
    EXPECT_TRUE(zetdip::detail::GrowMicrocalcification(binary.v.data(), visited.data(), x, y,
                                                       b.nMinX, b.nMinY, b.nMaxX, b.nMaxY, binary.w,
                                                       binary.h, stack));
    return b;
}

TYPED_TEST(Microcalcifications, GrowingMatchesRecursionAndStopsAtMarks) {
    using T = TypeParam;
    const std::pair<int, int> sizes[] = {{1, 1}, {2, 2}, {3, 1}, {1, 3}, {67, 33}};
    std::uint32_t seed = 5;
    for (auto [w, h] : sizes) {
        Plane<T> binary(w, h);
        binary.v = zetdip::test::RandomImage<T>(w, h, 0, 1, ++seed);
        auto marks = zetdip::test::RandomImage<int>(w, h, -3, 1, ++seed);
        std::vector<int> visited(binary.v.size()), expected(binary.v.size());
        for (std::size_t i = 0; i < marks.size(); ++i) visited[i] = expected[i] = marks[i] > 0;
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                Box want{w, h, 0, 0};
                zetdip::test::RecursiveBlob(binary.v.data(), expected.data(), x, y, want, w, h);
                ASSERT_EQ(Grow(binary, visited, x, y), want)
                    << w << "x" << h << " " << x << "," << y;
            }
        }
        EXPECT_EQ(visited, expected);
    }
}

// Shape check at 0.1 mm: run minimum 2, run maximum 12, dark answer 20.
template <class T>
int ShapeCheck(Plane<T>& s, int cx, int cy, int r, double dPixelSize = 0.1) {
    const int kMax = zetdip::test::DepthOf<T>::kMax;
    return zetdip::detail::SearchAnObject(s.data(), cx, cy, s.w, s.h, cx - r, cy - r, cx + r,
                                          cy + r, dPixelSize, kMax);
}

TYPED_TEST(Microcalcifications, ShapeCheckDarkCentreAndShortRuns) {
    using T = TypeParam;
    const T kMax = static_cast<T>(zetdip::test::DepthOf<T>::kMax);
    const T kDarkLimit = static_cast<T>((zetdip::test::DepthOf<T>::kMax + 1) / 8);
    Plane<T> s(60, 60);
    s.at(30, 30) = static_cast<T>(kDarkLimit - 1);
    EXPECT_EQ(ShapeCheck(s, 30, 30, 15), 20);
    s.at(30, 30) = kDarkLimit;  // bright enough, not saturated: both extents 0
    EXPECT_EQ(ShapeCheck(s, 30, 30, 15), 0);
    s.square(30, 30, 1, kMax);  // a run of 3 counts 4 through the centre
    EXPECT_EQ(ShapeCheck(s, 30, 30, 15), 12);
    s.square(30, 30, 5, kMax);  // run of 11 counts 12: still within
    EXPECT_EQ(ShapeCheck(s, 30, 30, 15), 12);
    s.square(30, 30, 6, kMax);  // run of 13 counts 14: the scans find 13
    EXPECT_EQ(ShapeCheck(s, 30, 30, 15), 13);
}

TYPED_TEST(Microcalcifications, ShapeCheckScansRunPastTheWindowAndReadTheBottomBound) {
    using T = TypeParam;
    const T kMax = static_cast<T>(zetdip::test::DepthOf<T>::kMax);
    Plane<T> s(100, 100);
    s.at(50, 50) = 1000 % kMax;  // not saturated, not dark
    for (int y = 20; y < 100; ++y) s.at(55, y) = kMax;
    EXPECT_EQ(ShapeCheck(s, 50, 50, 15), 65);  // from row 35 down to the last row
    Plane<T> t(40, 40);
    t.at(20, 20) = 1000 % kMax;
    t.at(22, 30) = kMax;  // on row nBottom = 20 + 10, outside the window
    t.at(24, 9) = kMax;   // row nTop - 1 is never looked at
    EXPECT_EQ(ShapeCheck(t, 20, 20, 10), 1);
}

TYPED_TEST(Microcalcifications, CentreRowRunBoundsDifferByDepth) {
    using T = TypeParam;
    const T kMax = static_cast<T>(zetdip::test::DepthOf<T>::kMax);
    Plane<T> s(40, 20);  // wider than high
    for (int x = 10; x <= 30; ++x) s.at(x, 10) = kMax;
    s.at(12, 9) = kMax, s.at(12, 11) = kMax;
    // 8-bit: horizontal extent 19 + 3 = 22, out of range: the longest run, 21.
    // 16-bit: the rightward run stops at column nHeight = 20: 8 + 3 = 11, in range.
    EXPECT_EQ(ShapeCheck(s, 12, 10, 15), sizeof(T) == 1 ? 21 : 12);

    Plane<T> t(10, 30);  // higher than wide: both depths run on into the next row
    t.at(9, 4) = kMax, t.at(9, 5) = kMax, t.at(9, 6) = kMax;
    EXPECT_EQ(ShapeCheck(t, 9, 5, 3), 3);  // horizontal extent 2: the scans decide
    for (int x = 0; x < 4; ++x) t.at(x, 6) = kMax;
    EXPECT_EQ(ShapeCheck(t, 9, 5, 3), 12);  // 5 + 1 once the run wraps
}

// Marks the accepted centres of a grey image and its candidates.
template <class T>
std::vector<int> Marked(Plane<T>& grey, Plane<T>& binary, double dX, double dY,
                        std::vector<int>* pVisited = nullptr) {
    std::vector<int> visited(grey.v.size(), 0), centres(grey.v.size(), 0), marked;
    BlobStack stack;
    EXPECT_TRUE(zetdip::detail::SearchEveryMicrocalcification(
        grey.data(), binary.data(), visited.data(), centres.data(), zetdip::test::DepthOf<T>::kBits,
        0, 0, grey.h, grey.w, dX, dY, grey.w, grey.h, stack));
    for (std::size_t i = 0; i < centres.size(); ++i)
        if (centres[i] != 0) marked.push_back(static_cast<int>(i));
    if (pVisited) *pVisited = visited;
    return marked;
}

TYPED_TEST(Microcalcifications, SizeTestAndAcceptanceRule) {
    using T = TypeParam;
    const T kMax = static_cast<T>(zetdip::test::DepthOf<T>::kMax);
    const int w = 160;
    Plane<T> grey(w, 120), binary(w, 120);
    auto blob = [&](int x0, int y0, int nW, int nH) {
        for (int y = y0; y < y0 + nH; ++y)
            for (int x = x0; x < x0 + nW; ++x) binary.at(x, y) = 1;
    };
    blob(20, 20, 1, 1), grey.square(20, 20, 1, kMax);     // one pixel: accepted
    blob(40, 20, 11, 3), grey.square(45, 21, 1, kMax);    // 11 x 3: too long
    blob(70, 20, 10, 3), grey.square(75, 21, 1, kMax);    // 10 x 3: centre (75, 21)
    blob(100, 20, 1, 1);                                  // dark centre: rejected
    blob(130, 30, 1, 1), grey.square(130, 30, 10, kMax);  // longest run 21: rejected
    for (int y = 80; y < 120; ++y)                        // run beyond 6.1 mm: accepted
        for (int x = 0; x < w; ++x) grey.at(x, y) = kMax;
    blob(60, 100, 1, 1);
    std::vector<int> visited;
    EXPECT_EQ(Marked(grey, binary, 0.1, 0.1),
              (std::vector<int>{20 * w + 20, 21 * w + 75, 100 * w + 60}));
    // At 0.05 mm one pixel is too small (0.1 / 0.05 = 2), yet it was examined.
    const auto fine = Marked(grey, binary, 0.05, 0.05, &visited);
    EXPECT_EQ(std::count(fine.begin(), fine.end(), 20 * w + 20), 0);
    EXPECT_EQ(visited[20 * w + 20], 1);
    // A wide blob is measured with the horizontal pixel size: 10 x 0.2 mm is too long.
    const auto wide = Marked(grey, binary, 0.2, 0.1);
    EXPECT_EQ(std::count(wide.begin(), wide.end(), 21 * w + 75), 0);
}

}  // namespace
