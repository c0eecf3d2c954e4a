// Blob growing, shape check and the microcalcification scan.
#include <gtest/gtest.h>

#include "cad/microcalcifications.h"
#include "support/cad_images.h"

namespace {

using namespace zetdip::test;
using zetdip::detail::BlobStack, zetdip::detail::GrowMicrocalcification;

template <class T>
class Microcalcifications : public ::testing::Test {};
TYPED_TEST_SUITE(Microcalcifications, SampleTypes);

TYPED_TEST(Microcalcifications, GrowingMatchesRecursionAndStopsAtMarks) {
    std::uint32_t seed = 5;
    for (auto [w, h] : {std::pair{1, 1}, {2, 2}, {3, 1}, {1, 3}, {67, 33}}) {
        const auto binary = RandomImage<TypeParam>(w, h, 0, 1, ++seed);
        auto visited = RandomImage<int>(w, h, -3, 1, ++seed);
        for (int& m : visited) m = m > 0;
        auto expected = visited;
        BlobStack stack;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                Grown want{w, h, 0, 0}, got = want;
                Recurse(binary.data(), expected.data(), x, y, want, w, h, 1, 1);
                want[4] = want[5] = want[6] = 0;
                ASSERT_TRUE(GrowMicrocalcification(binary.data(), visited.data(), x, y, got[0],
                                                   got[1], got[2], got[3], w, h, stack));
                ASSERT_EQ(got, want) << w << "x" << h << " at " << x << "," << y;
            }
        EXPECT_EQ(visited, expected);
    }
}

TYPED_TEST(Microcalcifications, ShapeCheckCentreRowRunBoundsDifferByDepth) {
    using T = TypeParam;
    Plane<T> s(40, 20);  // wider than high
    for (int x = 10; x <= 30; ++x) s.at(x, 10) = DepthOf<T>::kMax;
    s.at(12, 9) = s.at(12, 11) = DepthOf<T>::kMax;
    // 8-bit: 19 + 3 = 22, too long: the longest run, 21; 16-bit: stops at column h = 20: 8 + 3.
    EXPECT_EQ(zetdip::detail::SearchAnObject(s.v.data(), 12, 10, 40, 20, -3, -5, 27, 25, 0.1,
                                             DepthOf<T>::kMax),
              sizeof(T) == 1 ? 21 : 12);
}

// Indices of the centres marked in a scan of the whole image.
template <class T>
std::vector<int> Marked(Plane<T>& grey, Plane<T>& binary, double dX, double dY,
                        std::vector<int>& visited) {
    std::vector<int> centres(grey.v.size(), 0), marked;
    visited.assign(grey.v.size(), 0);
    BlobStack stack;
    EXPECT_TRUE(zetdip::detail::SearchEveryMicrocalcification(
        grey.v.data(), binary.v.data(), visited.data(), centres.data(), DepthOf<T>::kBits, 0, 0,
        grey.h, grey.w, dX, dY, grey.w, grey.h, stack));
    for (std::size_t i = 0; i < centres.size(); ++i)
        if (centres[i] != 0) marked.push_back(static_cast<int>(i));
    return marked;
}

TYPED_TEST(Microcalcifications, SizeTestAndAcceptanceRule) {
    const TypeParam kMax = DepthOf<TypeParam>::kMax;
    const int w = 160;
    Plane<TypeParam> grey(w, 120), binary(w, 120);
    auto blob = [&](int x0, int y0, int nW, int nH, int r) {
        for (int y = y0; y < y0 + nH; ++y)
            for (int x = x0; x < x0 + nW; ++x) binary.at(x, y) = 1;
        if (r >= 0) grey.square(x0 + nW / 2, y0 + nH / 2, r, kMax);
    };
    blob(20, 20, 1, 1, 1);                                    // one pixel: accepted
    blob(40, 20, 11, 3, 1);                                   // 11 x 3: too long
    blob(70, 20, 10, 3, -1), grey.at(75, 21) = kMax / 8 * 5;  // 10 x 3, bright: centre (75, 21)
    blob(100, 20, 1, 1, -1);                                  // dark centre: rejected
    blob(130, 30, 1, 1, 10);                                  // longest run 21: rejected
    std::fill(grey.v.begin() + 80 * w, grey.v.end(), kMax);   // rows 80 on saturated
    blob(80, 100, 1, 1, -1);                                  // longest run beyond 6.1 mm: accepted
    std::vector<int> visited;
    EXPECT_EQ(Marked(grey, binary, 0.1, 0.1, visited),
              (std::vector<int>{20 * w + 20, 21 * w + 75, 100 * w + 80}));
    // 0.05 mm across: single pixels are too small (0.1 / 0.05 = 2), yet examined; 11 x 3 fits
    // the size test, but its spot now gives the run maximum 23, above the small limit 14.
    EXPECT_EQ(Marked(grey, binary, 0.05, 0.1, visited), std::vector<int>{21 * w + 75});
    EXPECT_EQ(visited[20 * w + 20], 1);
}

}  // namespace
