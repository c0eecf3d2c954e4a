// Blob growing, shape check and the microcalcification scan.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

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
    for (auto [w, h] : {std::pair{1, 1}, {3, 1}, {1, 3}, {67, 33}}) {
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

// Stretched images where saturated runs matter: mostly saturated with
// scattered gaps, whole saturated rows and columns, and fully saturated.
template <class T>
std::vector<T> SaturatedContent(int w, int h, int nKind, std::uint32_t nSeed) {
    const int kMax = DepthOf<T>::kMax;
    auto image = RandomImage<T>(w, h, kMax - 4, kMax + 2, nSeed);
    for (T& v : image) v = static_cast<T>(std::min<int>(v, kMax));
    if (nKind == 1)
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                if ((y % 5 != 2) && (x % 7 != 3)) image[static_cast<std::size_t>(y) * w + x] = 0;
    if (nKind == 2) std::fill(image.begin(), image.end(), static_cast<T>(kMax));
    return image;
}

template <class R, class T>
void ExpectRunsMatchWalks(const std::vector<T>& image, int w, int h, double dPixelSize,
                          std::uint32_t nSeed) {
    constexpr int kCap = zetdip::detail::SaturationRuns<R>::kCap;
    const int kMax = DepthOf<T>::kMax;
    zetdip::detail::SaturationRuns<R> runs;
    ASSERT_TRUE(runs.Build(image.data(), w, h, kMax));
    std::mt19937 rng(nSeed);
    auto pick = [&](int n) { return std::uniform_int_distribution<int>(-2, n + 1)(rng); };
    for (int i = 0; i < 300; ++i) {
        const int x = pick(w), y = pick(h), l = pick(w), t = pick(h);
        const int r = i % 3 == 0 ? pick(w) : l + i % 9, b = i % 3 == 0 ? pick(h) : t + i % 7;
        const int want =
            zetdip::detail::SearchAnObject(image.data(), x, y, w, h, l, t, r, b, dPixelSize, kMax);
        const int got = zetdip::detail::SearchAnObjectByRuns(runs, image.data(), x, y, w, h, l, t,
                                                             r, b, dPixelSize, kMax);
        // Beyond the cap only the walk itself, taken outside the image, counts on.
        ASSERT_EQ(std::min(got, kCap), std::min(want, kCap))
            << w << "x" << h << " centre " << x << "," << y << " window " << l << "," << t << " "
            << r << "," << b;
        // Bounded walks: the same up to their cap, wherever the window lies.
        for (int nCap : {1, 7, 40}) {
            long long nSteps = 0;
            const int bounded = zetdip::detail::SearchAnObjectBounded(
                image.data(), x, y, w, h, l, t, r, b, dPixelSize, kMax, nCap, nSteps);
            ASSERT_EQ(std::min(bounded, nCap), std::min(want, nCap))
                << "cap " << nCap << " " << w << "x" << h << " centre " << x << "," << y;
        }
    }
}

TYPED_TEST(Microcalcifications, ShapeChecksByRunsAndBoundedWalksMatchWalksUpToTheirCaps) {
    std::uint32_t seed = 40;
    for (auto [w, h] : {std::pair{1, 1}, {3, 1}, {2, 2}, {67, 33}, {300, 9}})
        for (int nKind = 0; nKind < 3; ++nKind) {
            const auto image = SaturatedContent<TypeParam>(w, h, nKind, ++seed);
            // 0.1 mm: a run maximum of 12; 0.02 mm: 56; 0.5 mm: 3.
            for (double d : {0.1, 0.02, 0.5}) {
                ExpectRunsMatchWalks<signed char>(image, w, h, d, ++seed);
                ExpectRunsMatchWalks<short>(image, w, h, d, ++seed);
            }
        }
}

}  // namespace
