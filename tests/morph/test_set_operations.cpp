// Union, intersection and the thickness stage.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "DipThickness.h"
#include "morph/set_operations.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;
using Words = std::vector<unsigned short>;

// Thickness stage with the same element and count for hit and miss.
template <class T>
bool Stage(std::vector<T>& a, std::vector<T>& b, std::vector<T>& d, int bits, int w, int h,
           const int* se, int seH, int n) {
    return CDipThickness::ApplyThicknessWavStage(Bytes(a), Bytes(b), Bytes(d), 8 * sizeof(T), bits,
                                                 w, h, se, seH, 3, n, se, seH, 3, n);
}

TEST(SetOperations, UnionWritesFullScaleOfItsDepthAndRefusesMismatches) {
    // Width, pixel size and stored bits of A, then of B (4 pixels each).
    const int cases[][6] = {{2, 16, 10, 2, 8, 8},   {2, 8, 8, 2, 16, 10},   {2, 16, 7, 2, 16, 7},
                            {2, 16, 17, 2, 16, 17}, {4, 16, 12, 2, 16, 12}, {2, 8, 8, 2, 24, 8}};
    Words a = {0, 5, 0, 65535}, b = {0, 0, 3, 1}, out(4, 42);
    auto Union = [&](int wA, int bppA, int bitsA, int wB, int bppB, int bitsB) {
        return CDipThickness::CreateUnionBetweenImages(Bytes(a), Bytes(b), Bytes(out), wA, 4 / wA,
                                                       bppA, bitsA, wB, 4 / wB, bppB, bitsB);
    };
    for (const auto& c : cases) EXPECT_FALSE(Union(c[0], c[1], c[2], c[3], c[4], c[5]));
    EXPECT_EQ(out, Words(4, 42));
    ASSERT_TRUE(Union(2, 16, 10, 2, 16, 10));
    EXPECT_EQ(out, (Words{0, 1023, 1023, 1023}));
}

// Union and intersection, sixteen bytes at a time, against the sample rule:
// sparse images, lengths around the vector width, results written over
// either source, and over a source shifted by one sample (the sample loop's
// answer then propagates).
template <class T>
void ExpectSetsAsTheSampleRule(T nFull) {
    using zetdip::detail::CombineSets;
    for (int n : {0, 7, 16, 33, 1000}) {
        auto a = zetdip::test::RandomImage<T>(n + 1, 1, 0, 3, n + 1);
        auto b = zetdip::test::RandomImage<T>(n + 1, 1, 0, 2, n + 2);
        for (auto* v : {&a, &b})
            for (auto& x : *v) x = x == 1 ? T(0) : x;  // about half zeros
        std::vector<T> u(n + 1), both(n + 1);
        for (int i = 0; i < n; ++i) {
            u[i] = (a[i] != 0 || b[i] != 0) ? nFull : T(0);
            both[i] = (a[i] != 0 && b[i] != 0) ? nFull : T(0);
        }
        std::vector<T> out(n + 1, 0);
        CombineSets<true>(a.data(), b.data(), out.data(), n, nFull);
        EXPECT_TRUE(std::equal(u.begin(), u.begin() + n, out.begin())) << n;
        auto inA = a;
        CombineSets<false>(inA.data(), b.data(), inA.data(), n, nFull);
        EXPECT_TRUE(std::equal(both.begin(), both.begin() + n, inA.begin())) << n;
        auto inB = b;
        CombineSets<true>(a.data(), inB.data(), inB.data(), n, nFull);
        EXPECT_TRUE(std::equal(u.begin(), u.begin() + n, inB.begin())) << n;
        auto shifted = a, expected = a;
        for (int i = 0; i < n; ++i)
            expected[i + 1] = (expected[i] != 0 || b[i] != 0) ? nFull : T(0);
        CombineSets<true>(shifted.data(), b.data(), shifted.data() + 1, n, nFull);
        EXPECT_EQ(shifted, expected) << n;
    }
}

TEST(SetOperations, VectorsAsTheSampleRule) {
    ExpectSetsAsTheSampleRule<unsigned char>(255);
    ExpectSetsAsTheSampleRule<unsigned short>(4095);
}

TEST(ThicknessStage, TwelveBitTwoLevelMaskComesBackClippedToConstraint) {
    // Full 3x3 elements, and one-row elements whose refused erosions are ignored.
    const int full[9] = {1, 1, 1, 1, 1, 1, 1, 1, 1};
    auto mask = zetdip::test::RandomImage<unsigned short>(31, 19, 0, 1, 3);
    auto constraint = zetdip::test::RandomImage<unsigned short>(31, 19, 0, 2, 4);
    for (auto& v : mask) v = v ? 4095 : 0;
    for (int seH : {3, 1}) {
        Words out(mask.size());
        ASSERT_TRUE(Stage(mask, constraint, out, 12, 31, 19, full, seH, 9));
        for (std::size_t i = 0; i < mask.size(); ++i)
            ASSERT_EQ(out[i], mask[i] && constraint[i] ? 4095 : 0) << i;
    }
}

TEST(ThicknessStage, SixteenBitComplementNeverVanishesSoHitErosionIsAdded) {
    // Centre-only elements, count 1: each erosion copies the top-left pixel into the centre. The
    // eroded complement is 61440 there, not 0, so the copied mask pixel is added.
    const int centre[9] = {0, 0, 0, 0, 1};
    Words mask = {4095, 0, 0, 0, 0, 0, 0, 0, 0}, all(9, 1), out(9);
    ASSERT_TRUE(Stage(mask, all, out, 12, 3, 3, centre, 3, 1));
    EXPECT_EQ(out, (Words{4095, 0, 0, 0, 4095, 0, 0, 0, 0}));
}

}  // namespace
