// Cluster growing, circle merging and the clustering entry.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "DipClustering.h"
#include "ZetMath.h"
#include "cad/clusters.h"
#include "support/cad_images.h"
#include "support/images.h"

namespace {

using zetdip::test::Plane;
using zetdip::test::Points;
using zetdip::test::ToPoints;
using Array = CArray<CPoint, const CPoint&>;

TEST(ClusterGrowing, MatchesRecursionWithRectangularReach) {
    const int w = 67, h = 33;
    auto centres = zetdip::test::RandomImage<int>(w, h, -30, 1, 9);
    for (int& c : centres) c = c > 0;
    // 6.8 / 2.0 -> 3 columns, 6.8 / 1.3 -> 5 rows.
    std::vector<int> visited(centres.size(), 0), expected(centres.size(), 0);
    zetdip::detail::ClusterStack stack;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            zetdip::test::ClusterResult want{{w, h, 0, 0}, 0, 0, 0};
            zetdip::test::RecursiveCluster(centres.data(), expected.data(), x, y, want, w, h, 3, 5);
            zetdip::detail::ClusterSummary s{w, h, 0, 0, 0, 0, 0};
            ASSERT_TRUE(zetdip::detail::GrowCluster(
                centres.data(), visited.data(), x, y, s.nMinX, s.nMinY, s.nMaxX, s.nMaxY, s.nCount,
                w, h, 2.0, 1.3, s.nSumX, s.nSumY, zetdip::detail::kClusteringReachMm, stack));
            ASSERT_EQ((zetdip::test::Box{s.nMinX, s.nMinY, s.nMaxX, s.nMaxY}), want.box);
            ASSERT_EQ(s.nCount, want.nCount);
            ASSERT_EQ(s.nSumX, want.nSumX);
            ASSERT_EQ(s.nSumY, want.nSumY);
        }
    }
    EXPECT_EQ(visited, expected);
}

// Runs the circle scan over a centre map.
Points Circles(std::vector<int>& centres, int w, int h, double dX, double dY, Array& arr) {
    std::vector<int> visited(centres.size(), 0);
    zetdip::detail::ClusterStack stack;
    EXPECT_TRUE(zetdip::detail::SearchEveryCluster(arr, visited.data(), centres.data(), dX, dY, w,
                                                   h, stack));
    return ToPoints(arr);
}

TEST(ClusterScan, ThousandsOfCentresFormOneClusterWithoutRecursion) {
    const int w = 400, h = 400;
    std::vector<int> centres(w * h, 0);
    for (int y = 100; y < 300; y += 3)  // 67 x 67 = 4489 centres over 19.8 mm
        for (int x = 100; x < 300; x += 3) centres[y * w + x] = 1;
    Array arr;
    const Points points = Circles(centres, w, h, 0.1, 0.1, arr);
    // Centre (199, 199) -> y = 201; r = (198 + 50) / 2 = 124 -> rim (75, 77).
    EXPECT_EQ(points, (Points{{199, 201}, {75, 77}}));
}

TEST(ClusterScan, StoredFrameCountsRowsFromTheBottom) {
    // 1 mm across, 10 mm down: a reach of 6 columns and 0 rows.
    std::vector<int> top(40 * 20, 0), bottom(40 * 20, 0);
    for (int x : {10, 12, 14, 16}) top[x] = 1, bottom[19 * 40 + x] = 1;
    Array a, b;
    // Centre (13, 0): y = 20; r = (6 + 5) / 2 = 5.5: rim (7.5, 14.5) truncated.
    EXPECT_EQ(Circles(top, 40, 20, 1.0, 10.0, a), (Points{{13, 20}, {7, 14}}));
    // Centre (13, 19): y = 1; the rim's y, 1 - 5.5, truncates toward zero to -4.
    EXPECT_EQ(Circles(bottom, 40, 20, 1.0, 10.0, b), (Points{{13, 1}, {7, -4}}));
}

TEST(ClusterScan, ExtentLimitIsLastMinusFirst) {
    const int w = 500, h = 200;
    std::vector<int> centres(w * h, 0);
    for (int i = 0; i < 6; ++i) centres[100 * w + 70 + 61 * i] = 1;  // extent 305 > 302
    Array arr;
    EXPECT_EQ(Circles(centres, w, h, 0.1, 0.1, arr).size(), 0u);
    centres[100 * w + 375] = 0, centres[100 * w + 372] = 1;  // extent 302: kept
    EXPECT_EQ(Circles(centres, w, h, 0.1, 0.1, arr).size(), 2u);
}

TEST(ReplaceCircles, MergeRules) {
    const float r30 = C2dGeo::GetDistanceBetweenPoints(CPoint(0, 0), CPoint(30, 30));
    Array arr;
    arr.Add(CPoint(0, 0)), arr.Add(CPoint(0, 600));        // overlaps, merged radius > 280
    arr.Add(CPoint(100, 100)), arr.Add(CPoint(70, 70));    // overlaps and fits
    arr.Add(CPoint(110, 100)), arr.Add(CPoint(110, 130));  // overlaps too, left as it is
    // d1 = 20.02, d2 = r30: half = (int)(20.02 + 2 * 42.43 - 50) / 2 = 27 from
    // the midpoint (110, 100), straight to the right.
    EXPECT_FALSE(zetdip::detail::ReplaceNonNecessaryCircles(arr, CPoint(120, 101), r30, 0.1));
    EXPECT_EQ(ToPoints(arr),
              (Points{{0, 0}, {0, 600}, {110, 100}, {137, 100}, {110, 100}, {110, 130}}));

    Array small;
    small.Add(CPoint(0, 0)), small.Add(CPoint(3, 4));  // radius 5
    EXPECT_TRUE(zetdip::detail::ReplaceNonNecessaryCircles(small, CPoint(10, 0), 5.0f, 0.1));
    EXPECT_EQ(small.GetSize(), 2);  // touching is not overlapping
    // half = (int)(3.16 + 10 - 50) / 2 = -18: the rim lies to the left.
    EXPECT_FALSE(zetdip::detail::ReplaceNonNecessaryCircles(small, CPoint(-3, -1), 5.0f, 0.1));
    EXPECT_EQ(ToPoints(small), (Points{{-1, 0}, {-19, 0}}));  // midpoints truncate toward zero
}

TEST(ReplaceCircles, OddSizedArrayThrowsAtItsIncompletePair) {
    Array arr;
    arr.Add(CPoint(0, 0)), arr.Add(CPoint(0, 5)), arr.Add(CPoint(500, 500));
    EXPECT_THROW(zetdip::detail::ReplaceNonNecessaryCircles(arr, CPoint(300, 0), 5.0f, 0.1),
                 CInvalidArgException);
    // A merge into an earlier pair returns before the incomplete one is read.
    EXPECT_FALSE(zetdip::detail::ReplaceNonNecessaryCircles(arr, CPoint(2, 0), 5.0f, 0.1));
    EXPECT_EQ(arr.GetSize(), 3);
}

// A grey mammogram stand-in: background that stretches to 0, 3x3 spots that
// saturate, one candidate pixel per spot, and a full mask.
template <class T>
struct Scene {
    static constexpr int kBits = zetdip::test::DepthOf<T>::kBits;
    Plane<T> grey, binary, mask;
    Scene(int w, int h) : grey(w, h, T(100)), binary(w, h), mask(w, h, T(1)) {}
    void Microcalcification(int x, int y) {
        grey.square(x, y, 1, static_cast<T>(zetdip::test::DepthOf<T>::kMax));
        binary.at(x, y) = 1;
    }
    bool Run(Array& arr, double dX = 0.1, double dY = 0.1, int nBitsPerPixel = 8 * sizeof(T),
             int nBits = kBits) {
        return CDipClustering::ApplyClustering(grey.bytes(), binary.bytes(), mask.bytes(), arr,
                                               nBitsPerPixel, nBits, grey.w, grey.h, dX, dY);
    }
};

template <class T>
class Clustering : public ::testing::Test {};
using SampleTypes = ::testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(Clustering, SampleTypes);

TYPED_TEST(Clustering, FourMicrocalcificationsMakeACircleAndARepeatMerges) {
    Scene<TypeParam> s(200, 200);
    for (auto [x, y] : {std::pair{80, 80}, {90, 80}, {80, 90}}) s.Microcalcification(x, y);
    Array arr;
    ASSERT_TRUE(s.Run(arr));
    EXPECT_EQ(arr.GetSize(), 0);  // three make no cluster
    s.Microcalcification(90, 90);
    ASSERT_TRUE(s.Run(arr));
    // Centre (85, 85) -> y = 115; r = (10 + 50) / 2 = 30: rim (55, 85).
    EXPECT_EQ(ToPoints(arr), (Points{{85, 115}, {55, 85}}));
    ASSERT_TRUE(s.Run(arr));
    // The twin coincides with it: half = (int)(0 + 2 * 42.43 - 50) / 2 = 17.
    EXPECT_EQ(ToPoints(arr), (Points{{85, 115}, {102, 115}}));
}

TYPED_TEST(Clustering, MaskAndMarginKeepBlobsOut) {
    Scene<TypeParam> s(300, 300);
    for (auto [x, y] : {std::pair{120, 150}, {130, 150}, {120, 160}, {130, 160}})
        s.Microcalcification(x, y);
    s.mask.at(130, 160) = 0;  // outside the mask: not a microcalcification
    Array arr;
    ASSERT_TRUE(s.Run(arr));
    EXPECT_EQ(arr.GetSize(), 0);
    s.Microcalcification(63, 155);  // one column inside the 6.4 mm margin
    ASSERT_TRUE(s.Run(arr));
    EXPECT_EQ(arr.GetSize(), 0);
    s.Microcalcification(64, 155);  // reached from (120, 150); spreads no further
    ASSERT_TRUE(s.Run(arr));
    // Centre (434 / 4, 615 / 4) = (108, 153) -> y = 147; r = (66 + 50) / 2 = 58.
    EXPECT_EQ(ToPoints(arr), (Points{{108, 147}, {50, 89}}));
}

TYPED_TEST(Clustering, OverlappingClustersGiveOneRewrittenPair) {
    Scene<TypeParam> s(300, 200);
    // Two clusters 70 px apart (not linked), circles of radius 42.4 overlap.
    for (int x0 : {80, 160})
        for (auto [dx, dy] : {std::pair{0, 0}, {10, 0}, {0, 10}, {10, 10}})
            s.Microcalcification(x0 + dx, 80 + dy);
    Array arr;
    ASSERT_TRUE(s.Run(arr));
    // d1 = 80: half = (int)(80 + 84.85 - 50) / 2 = 57 from the midpoint (125, 115).
    EXPECT_EQ(ToPoints(arr), (Points{{125, 115}, {182, 115}}));
}

TYPED_TEST(Clustering, OddSizedArrayThrowsAndIsLeftAsItWas) {
    Scene<TypeParam> s(200, 200);
    for (auto [dx, dy] : {std::pair{0, 0}, {10, 0}, {0, 10}, {10, 10}})
        s.Microcalcification(80 + dx, 80 + dy);
    Array arr;
    arr.Add(CPoint(1000, 1000));
    EXPECT_THROW(s.Run(arr), CInvalidArgException);  // maps freed: the leak checker agrees
    EXPECT_EQ(ToPoints(arr), (Points{{1000, 1000}}));
}

TYPED_TEST(Clustering, BadInputLeavesTheArrayUntouched) {
    Scene<TypeParam> s(200, 200);
    for (auto [dx, dy] : {std::pair{0, 0}, {10, 0}, {0, 10}, {10, 10}})
        s.Microcalcification(80 + dx, 80 + dy);
    Array arr;
    arr.Add(CPoint(1, 2));
    EXPECT_FALSE(s.Run(arr, 0.1, 0.1, 8, 7));
    EXPECT_FALSE(s.Run(arr, 0.1, 0.1, 8, 17));
    EXPECT_FALSE(s.Run(arr, 0.1, 0.1, 24, 8));  // 8-bit colour
    EXPECT_EQ(ToPoints(arr), (Points{{1, 2}}));
}

TYPED_TEST(Clustering, ExtremePixelSizesStayInsideTheBuffers) {
    using T = TypeParam;
    const double kNaN = std::numeric_limits<double>::quiet_NaN();
    for (double dX : {100.0, 0.7, 1e-7, 0.0, -0.1, kNaN}) {
        for (double dY : {100.0, 0.1, 0.3, 3.0, -0.1}) {
            // (-0.1, 0.3): every column searched, windows of 11 reach past the sides.
            Scene<T> s(61, 47);
            s.grey.v = zetdip::test::RandomImage<T>(61, 47, 0, zetdip::test::DepthOf<T>::kMax, 5);
            s.binary.v = zetdip::test::RandomImage<T>(61, 47, 0, 1, 6);
            Array arr;
            EXPECT_TRUE(s.Run(arr, dX, dY)) << dX << " " << dY;
        }
    }
}

TEST(Clustering, FullySetCandidateImageRunsWithoutRecursion) {
    const int w = 4000, h = 3000;
    Plane<unsigned char> grey(w, h, 200), binary(w, h, 1), mask(w, h, 1);
    Array arr;
    EXPECT_TRUE(CDipClustering::ApplyClustering(grey.bytes(), binary.bytes(), mask.bytes(), arr, 8,
                                                8, w, h, 0.1, 0.1));
    EXPECT_EQ(arr.GetSize(), 0);  // one blob, far too large
}

}  // namespace
