// Cluster growing, circle merging and the clustering entry.
#include <gtest/gtest.h>

#include <climits>

#include "DipClustering.h"
#include "cad/clusters.h"
#include "support/cad_images.h"

namespace {

using namespace zetdip::test;
using zetdip::detail::ClusterStack, zetdip::detail::GrowCluster;

// The growing from every pixel against plain recursion, and every cluster of the column-link
// scan against the growing started from each free centre in row-major order: reaches of 3 x 5
// and 0 x 1 pixels, windows that leave the image, one reach larger than the image, dense and
// sparse maps.
TEST(ClusterScan, GrowingMatchesRecursionAndColumnLinksGatherTheSame) {
    const double sizes[][2] = {{2.0, 1.3}, {7.0, 6.0}, {0.1, 0.1}};
    std::uint32_t seed = 40;
    for (auto [w, h] : {std::pair{67, 33}, {20, 90}, {1, 1}, {5, 3}})
        for (const auto& [dX, dY] : sizes)
            for (int nSparse : {1, 6}) {
                auto centres = RandomImage<int>(w, h, -nSparse, 1, ++seed);
                for (int& c : centres) c = c > 0;
                std::vector<int> visited(centres.size(), 0), expected(visited), links(visited);
                std::vector<Grown> want, got;
                ClusterStack stack;
                for (int y = 0; y < h; ++y)
                    for (int x = 0; x < w; ++x) {
                        const bool bFree = centres[y * w + x] && !visited[y * w + x];
                        Grown r{w, h, 0, 0, 0, 0, 0}, g = r;
                        Recurse(centres.data(), expected.data(), x, y, r, w, h,
                                static_cast<int>(6.8 / dX), static_cast<int>(6.8 / dY));
                        ASSERT_TRUE(GrowCluster(centres.data(), visited.data(), x, y, g[0], g[1],
                                                g[2], g[3], g[4], w, h, dX, dY, g[5], g[6], 6.8,
                                                stack));
                        ASSERT_EQ(g, r) << x << "," << y;
                        if (bFree) want.push_back(g);
                    }
                EXPECT_EQ(visited, expected);
                ASSERT_TRUE(zetdip::detail::ForEachCluster(
                    centres.data(), links.data(), dX, dY, w, h, 6.8, stack,
                    [&](const zetdip::detail::ClusterSummary& s) {
                        got.push_back(
                            {s.nMinX, s.nMinY, s.nMaxX, s.nMaxY, s.nCount, s.nSumX, s.nSumY});
                    }));
                EXPECT_EQ(got, want) << w << "x" << h << " " << dX;
            }
}

TEST(ClusterScan, ThousandsOfCentresFormOneClusterWithoutRecursion) {
    std::vector<int> centres(400 * 400, 0), visited(400 * 400, 0);
    for (int y = 100; y < 300; y += 3)  // 67 x 67 = 4489 centres over 19.8 mm
        for (int x = 100; x < 300; x += 3) centres[y * 400 + x] = 1;
    ClusterStack stack;
    Array arr;
    ASSERT_TRUE(zetdip::detail::SearchEveryCluster(arr, visited.data(), centres.data(), 0.1, 0.1,
                                                   400, 400, stack));
    // Centre (199, 199) -> y = 201; r = (198 + 50) / 2 = 124 -> rim (75, 77).
    EXPECT_EQ(ToPoints(arr), (Points{{199, 201}, {75, 77}}));
}

TEST(ReplaceCircles, FirstOverlappingPairWithinTheLimitTakesTheCircle) {
    Array arr;
    for (CPoint p : {CPoint(0, 0), {0, 600}, {100, 100}, {70, 70}, {110, 100}, {110, 130}})
        arr.Add(p);
    // Pair 1 would grow past 28 mm; pair 2 takes it, pair 3 is left:
    // half = (int)(20.02 + 42.43 + 5 - 50) / 2 = 8 right of the midpoint (110, 100).
    EXPECT_FALSE(zetdip::detail::ReplaceNonNecessaryCircles(arr, CPoint(120, 101), 5.0f, 0.1));
    EXPECT_EQ(ToPoints(arr),
              (Points{{0, 0}, {0, 600}, {110, 100}, {118, 100}, {110, 100}, {110, 130}}));
}

// A grey stand-in stretching to 0, 3x3 saturated spots on single candidates, a full mask.
template <class T>
struct Scene {
    Plane<T> grey, binary, mask;
    Scene(int w, int h, T b = 0) : grey(w, h, T(100)), binary(w, h, b), mask(w, h, T(1)) {}
    void Spot(int x, int y) { grey.square(x, y, 1, DepthOf<T>::kMax), binary.at(x, y) = 1; }
    void Quad(int x, int y) { Spot(x, y), Spot(x + 10, y), Spot(x, y + 10), Spot(x + 10, y + 10); }
    bool Run(Array& arr, int nBpp = 8 * sizeof(T), int nBits = DepthOf<T>::kBits) {
        return CDipClustering::ApplyClustering(grey.bytes(), binary.bytes(), mask.bytes(), arr,
                                               nBpp, nBits, grey.w, grey.h, 0.1, 0.1);
    }
};

template <class T>
class Clustering : public ::testing::Test {};
TYPED_TEST_SUITE(Clustering, SampleTypes);

TYPED_TEST(Clustering, FourMakeACircleAndARepeatMerges) {
    Scene<TypeParam> s(200, 200);
    s.Quad(80, 80), s.Spot(63, 85);  // (63, 85) is one column inside the 6.4 mm margin
    s.mask.at(90, 90) = 0;
    Array arr;
    ASSERT_TRUE(s.Run(arr));
    EXPECT_EQ(arr.GetSize(), 0);  // three make no cluster
    s.mask.at(90, 90) = 1;
    ASSERT_TRUE(s.Run(arr));
    // Centre (85, 85) -> y = 200 - 85; r = (10 + 50) / 2 = 30: rim (55, 85).
    EXPECT_EQ(ToPoints(arr), (Points{{85, 115}, {55, 85}}));
    ASSERT_TRUE(s.Run(arr));  // the twin coincides: half = (int)(0 + 2 * 42.43 - 50) / 2 = 17
    EXPECT_EQ(ToPoints(arr), (Points{{85, 115}, {102, 115}}));
}

TYPED_TEST(Clustering, OverlappingClustersGiveOneRewrittenPair) {
    Scene<TypeParam> s(300, 200);
    s.Quad(80, 80), s.Quad(160, 80);  // 70 px apart: not linked; circles of radius 42.4 overlap
    Array arr;
    ASSERT_TRUE(s.Run(arr));
    // d1 = 80: half = (int)(80 + 84.85 - 50) / 2 = 57 right of the midpoint (125, 115).
    EXPECT_EQ(ToPoints(arr), (Points{{125, 115}, {182, 115}}));
}

}  // namespace
