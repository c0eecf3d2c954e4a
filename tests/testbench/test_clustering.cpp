// The test bench's simpler clustering.
#include <gtest/gtest.h>

#include <vector>

#include "DipTest.h"
#include "support/cad_images.h"
#include "support/images.h"

namespace {

using zetdip::test::Plane;
using zetdip::test::Points;
using zetdip::test::ToPoints;
using Array = CArray<CPoint, const CPoint&>;

// Opens the protected members to the tests.
struct Bench : CDipTest {
    using CDipTest::SearchAWholeCluster;
    using CDipTest::SearchAWholeMicrocalcification16Bits;
};

template <class T>
bool Cluster(Plane<T>& binary, Array& arr, double dX = 0.1, double dY = 0.1,
             int nBits = zetdip::test::DepthOf<T>::kBits, int nBitsPerPixel = 8 * sizeof(T)) {
    // A high bit at the top of the stored bits: the adjustment only masks.
    return CDipTest::ApplyClustering(binary.bytes(), arr, nBitsPerPixel, nBits, binary.w, binary.h,
                                     nBits - 1, dX, dY);
}

template <class T>
class BenchClustering : public ::testing::Test {};
using SampleTypes = ::testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(BenchClustering, SampleTypes);

TYPED_TEST(BenchClustering, MembersAreLinkedWithin64WithoutMargin) {
    Plane<TypeParam> binary(300, 200);
    binary.at(64, 90) = 1, binary.at(70, 90) = 1;
    binary.at(135, 95) = 1;  // 65 columns from the nearest: linked at 6.8 mm, not at 6.4
    Array arr;
    ASSERT_TRUE(Cluster(binary, arr));
    EXPECT_EQ(arr.GetSize(), 0);  // two members are not enough
    binary.at(0, 100) = 1;        // on the border, reached from (64, 90)
    ASSERT_TRUE(Cluster(binary, arr));
    EXPECT_EQ(ToPoints(arr), (Points{{44, 107}}));  // (134 / 3, 200 - 280 / 3)
    ASSERT_TRUE(Cluster(binary, arr));              // appended again, no merging
    EXPECT_EQ(ToPoints(arr), (Points{{44, 107}, {44, 107}}));
}

TYPED_TEST(BenchClustering, SizeAndExtentLimits) {
    Plane<TypeParam> blobs(200, 200);
    for (int x = 90; x < 101; ++x) blobs.at(x, 90) = 1;  // 11 x 1: too long at 0.1 mm
    blobs.at(90, 100) = 1, blobs.at(100, 100) = 1;
    Array arr;
    ASSERT_TRUE(Cluster(blobs, arr));
    EXPECT_EQ(arr.GetSize(), 0);

    // Steps of at most 64 columns, extent 211 > 210: dropped; 210 is kept.
    Plane<TypeParam> wide(400, 200);
    for (int x : {80, 144, 208, 272, 291}) wide.at(x, 100) = 1;
    ASSERT_TRUE(Cluster(wide, arr));
    EXPECT_EQ(arr.GetSize(), 0);
    wide.at(291, 100) = 0, wide.at(290, 100) = 1;
    ASSERT_TRUE(Cluster(wide, arr));
    EXPECT_EQ(ToPoints(arr), (Points{{198, 100}}));  // 994 / 5
}

TEST(BenchClustering, SixteenBitRunAdjustsTheCallersImage) {
    Plane<unsigned short> binary(200, 200);
    binary.at(90, 90) = 0x0010, binary.at(100, 90) = 0x0010;
    binary.at(90, 100) = 0x000F;  // only unused low bits: 0 once adjusted
    Array arr;
    // 12 bits stored with high bit 15: words move down by 4.
    ASSERT_TRUE(CDipTest::ApplyClustering(binary.bytes(), arr, 16, 12, 200, 200, 15, 0.1, 0.1));
    EXPECT_EQ(arr.GetSize(), 0);
    EXPECT_EQ(binary.at(90, 90), 1);
    EXPECT_EQ(binary.at(90, 100), 0);
    for (auto [x, y] : {std::pair{90, 90}, {100, 90}, {90, 100}}) binary.at(x, y) = 0x0010;
    ASSERT_TRUE(CDipTest::ApplyClustering(binary.bytes(), arr, 16, 12, 200, 200, 15, 0.1, 0.1));
    EXPECT_EQ(ToPoints(arr), (Points{{93, 107}}));
    // A second call shifts the adjusted words again: every candidate is gone.
    ASSERT_TRUE(CDipTest::ApplyClustering(binary.bytes(), arr, 16, 12, 200, 200, 15, 0.1, 0.1));
    EXPECT_EQ(arr.GetSize(), 1);
    EXPECT_EQ(binary.at(90, 90), 0);
}

TYPED_TEST(BenchClustering, BadInputLeavesTheArrayUntouched) {
    Plane<TypeParam> binary(200, 200);
    binary.at(90, 90) = 1, binary.at(100, 90) = 1, binary.at(90, 100) = 1;
    Array arr;
    arr.Add(CPoint(5, 6));
    EXPECT_FALSE(Cluster(binary, arr, 0.1, 0.1, 7));
    EXPECT_FALSE(Cluster(binary, arr, 0.1, 0.1, 17));
    EXPECT_FALSE(Cluster(binary, arr, 0.1, 0.1, 8, 24));
    EXPECT_EQ(ToPoints(arr), (Points{{5, 6}}));
}

TEST(BenchClustering, ProtectedGrowingsAreTheClusteringOnes) {
    // The cluster growing reaches 64 columns at 0.1 mm, the blob growing
    // stops at border pixels.
    const int w = 200, h = 200;
    std::vector<int> centres(w * h, 0), visited(w * h, 0);
    centres[100 * w + 100] = centres[100 * w + 164] = centres[100 * w + 165] = 1;
    int nMinX = w, nMinY = h, nMaxX = 0, nMaxY = 0, nCount = 0, nSumX = 0, nSumY = 0;
    Bench::SearchAWholeCluster(centres.data(), visited.data(), 100, 100, nMinX, nMinY, nMaxX, nMaxY,
                               nCount, w, h, 0.1, 0.1, nSumX, nSumY);
    EXPECT_EQ(nCount, 2);  // (165, 100) is one step too far and (164, 100) cannot spread
    EXPECT_EQ(nSumX, 264);
    EXPECT_EQ(nMaxX, 164);

    Plane<unsigned short> words(4, 4);
    words.at(1, 1) = 9, words.at(0, 2) = 9, words.at(0, 3) = 9;
    std::vector<int> taken(16, 0);
    int b[4] = {4, 4, 0, 0};
    Bench::SearchAWholeMicrocalcification16Bits(words.data(), taken.data(), 1, 1, b[0], b[1], b[2],
                                                b[3], 4, 4);
    EXPECT_EQ(taken[3 * 4 + 0], 0);  // reachable only through the border pixel (0, 2)
    EXPECT_EQ(std::vector<int>(b, b + 4), (std::vector<int>{0, 1, 1, 2}));
}

TEST(BenchClustering, ThousandsOfMembersAndAFullySetImageRunWithoutRecursion) {
    Plane<unsigned char> grid(400, 400);
    for (int y = 100; y < 300; y += 3)
        for (int x = 100; x < 300; x += 3) grid.at(x, y) = 1;  // 4489 single pixels
    Array arr;
    ASSERT_TRUE(Cluster(grid, arr));
    EXPECT_EQ(ToPoints(arr), (Points{{199, 201}}));
    Plane<unsigned short> full(4000, 3000, 1);
    ASSERT_TRUE(Cluster(full, arr));
    EXPECT_EQ(arr.GetSize(), 1);  // one blob, far too large
}

}  // namespace
