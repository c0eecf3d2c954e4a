// The test bench's simpler clustering.
#include <gtest/gtest.h>

#include <climits>

#include "DipTest.h"
#include "support/cad_images.h"

namespace {

using namespace zetdip::test;

template <class T>  // at 0.1 mm
bool Cluster(Plane<T>& p, Array& arr, int nBits, int nHighBit, int nBpp = 8 * sizeof(T)) {
    return CDipTest::ApplyClustering(p.bytes(), arr, nBpp, nBits, p.w, p.h, nHighBit, 0.1, 0.1);
}

TEST(BenchClustering, ThreeMembersWithin64MakeOnePointPerCall) {
    Plane<unsigned char> b(300, 200);
    b.at(64, 90) = b.at(70, 90) = b.at(135, 95) = 1;  // (135, 95): 65 columns from the nearest
    for (int x = 75; x < 86; ++x) b.at(x, 80) = 1;    // 11 x 1: too long
    Array arr;
    ASSERT_TRUE(Cluster(b, arr, 8, 7));
    EXPECT_EQ(arr.GetSize(), 0);  // two members are not enough
    b.at(0, 100) = 1;             // on the border (no margin), reached from (64, 90)
    ASSERT_TRUE(Cluster(b, arr, 8, 7));
    EXPECT_EQ(ToPoints(arr), (Points{{44, 107}}));  // (134 / 3, 200 - 280 / 3)
    ASSERT_TRUE(Cluster(b, arr, 8, 7));             // appended again, no merging
    EXPECT_EQ(ToPoints(arr), (Points{{44, 107}, {44, 107}}));
    for (auto [nBpp, nBits] : {std::pair{24, 8}, {8, 7}, {8, 17}})
        EXPECT_FALSE(Cluster(b, arr, nBits, 7, nBpp));
    EXPECT_EQ(arr.GetSize(), 2);  // refusals leave the array untouched
}

TEST(BenchClustering, SixteenBitRunAdjustsTheCallersImage) {
    Plane<unsigned short> b(200, 200);
    b.at(90, 90) = b.at(100, 90) = 0x0010;
    b.at(90, 100) = 0x000F;  // only unused low bits: 0 once adjusted
    Array arr;
    ASSERT_TRUE(Cluster(b, arr, 12, 15));  // 12 bits with high bit 15: words move down by 4
    EXPECT_EQ(arr.GetSize(), 0);
    EXPECT_EQ(b.at(90, 90), 1);
    EXPECT_EQ(b.at(90, 100), 0);
    b.at(90, 90) = b.at(100, 90) = b.at(90, 100) = 0x0010;
    ASSERT_TRUE(Cluster(b, arr, 12, 15));
    EXPECT_EQ(ToPoints(arr), (Points{{93, 107}}));
    ASSERT_TRUE(Cluster(b, arr, 12, 15));  // shifted again: every candidate is gone
    EXPECT_EQ(arr.GetSize(), 1);
    EXPECT_EQ(b.at(90, 90), 0);
}

}  // namespace
