// The convolution engine of both depths and the Gaussian kernel.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numeric>
#include <vector>

#include "core/cpu.h"
#include "filters/convolution.h"
#include "support/filters_reference.h"
#include "support/images.h"

namespace {

using namespace zetdip::detail;
using namespace zetdip::test;

template <class T>
class Engine : public ::testing::Test {};

std::vector<float> Gaussian(float fSigma) {
    float fSum = 0.0f;
    std::unique_ptr<float[]> k(CreateGaussianKernel(3, fSigma, fSum));
    return std::vector<float>(k.get(), k.get() + 9);
}
TYPED_TEST_SUITE(Engine, SampleTypes);

// Engine against the literal one (8-bit unfiltered rows, 16-bit store rule), in place and
// not; bad kernel sizes write nothing, images without interior are copied.
TYPED_TEST(Engine, MatchesColumnByColumnReferenceInPlaceAndNot) {
    using T = TypeParam;
    const EngineDepth depth = sizeof(T) == 1 ? Engine8() : Engine16(12);
    const int cases[][3] = {{3, 2, 2}, {3, 3, 3},   {3, 4, 3},   {3, 517, 4}, {5, 4, 9},
                            {5, 5, 5}, {5, 67, 33}, {7, 23, 19}, {1, 6, 6},   {4, 6, 6}};
    std::uint32_t seed = 1;
    for (const auto& c : cases) {
        const int n = c[0], w = c[1], hgt = c[2];
        const bool bBad = n < 3 || n % 2 == 0;
        auto src = RandomImage<T>(w, hgt, 0, depth.nMax, seed++);
        auto k = RandomImage<float>(n, n, -4, 8, seed++);  // some zero: the engine skips those
        for (auto& v : k) v /= 1.7f * n * n;
        const float fDivisor = static_cast<float>(seed % 7) * 0.75f;  // 0 stands for 1
        const int nOffset = static_cast<int>(seed % 5) * 40 - 60;
        auto expected = src;
        if (!bBad && w >= n && hgt >= n)
            ReferenceConvolve(expected.data(), k.data(), n, fDivisor, nOffset, src.data(), w, hgt,
                              depth.nMax, sizeof(T) == 2);  // 16-bit: store rule
        std::vector<T> out(src.size(), T(7));
        Convolve(out.data(), k.data(), n, fDivisor, nOffset, src.data(), w, hgt, depth);
        EXPECT_EQ(out, bBad ? std::vector<T>(src.size(), T(7)) : expected)
            << n << " " << w << "x" << hgt;
        Convolve(src.data(), k.data(), n, fDivisor, nOffset, src.data(), w, hgt, depth);
        EXPECT_EQ(src, expected) << "in place " << n << " " << w << "x" << hgt;
    }
}

// The fused runs (at most nine non-zero taps; int sums for whole weights up to the bound, sums
// by equal weight where every double addition is exact) on every path, against the literal
// engine: weights at and just past the int bound, fractional weights with exact and with
// rounding sums, sparse and dense 5 x 5 kernels, on random, saturated and two-level images wider
// than one run.
TYPED_TEST(Engine, FusedRunsMatchReferenceOnEveryPathAndContent) {
    using T = TypeParam;
    const EngineDepth depth = sizeof(T) == 1 ? Engine8() : Engine16(12);
    const int nMax = sizeof(T) == 1 ? 255 : 65535;  // 16-bit samples beyond the bits stored too
    const int w = 525, hgt = 7;                     // 523 interior: a 16-sample tail of 11
    std::vector<std::vector<T>> images = {RandomImage<T>(w, hgt, 0, nMax, 11),
                                          std::vector<T>(w * hgt, static_cast<T>(nMax))};
    images.push_back(images[0]);
    for (auto& v : images.back()) v = v % 2 ? static_cast<T>(nMax) : T(0);
    images.push_back(images[0]);  // black with sparse spots: all-zero sums beside others
    for (auto& v : images.back()) v = v % 13 == 0 ? v : T(0);
    const float fBound = static_cast<float>(conv::kMaxIntegerWeight);
    std::vector<std::pair<int, std::vector<float>>> kernels = {
        {3, {fBound, -fBound, fBound, -fBound, fBound, -fBound, fBound, -fBound, fBound}},
        {3, {fBound + 1, -fBound, fBound, 0, fBound, -fBound, fBound, -fBound, fBound}},
        {3, std::vector<float>(9, fBound)},  // the largest int sum
        {3, {1, 1, 1, 1, 1, 1, 1, 1, 1}},
        {3, {0, -10, -10, 10, 0, -10, 10, 10, 0}},
        {3, {0.5f, -1.25f, 3, 0, 1, 0, 2, 0.1f, -7}},  // sums exact in any order
        {3,
         {1, 1e20f, -1e20f, 1, 0, 0, 0, 0, 0}},  // sums that round: only tap order keeps the last 1
        {3, Gaussian(0.5f)},  // corners, edges and centre: three groups of equal weight
        {3, Gaussian(1.0f)},
        {3, Gaussian(2.5f)},
        {5, std::vector<float>(25, 0.0f)},
        {5, RandomImage<float>(5, 5, -2000, 2000, 5)}};
    auto& sparse = kernels[10].second;
    for (int k : {0, 3, 7, 12, 13, 17, 21, 24}) sparse[k] = static_cast<float>(k * 97 - 1200);
    for (VectorPath path : {VectorPath::kBaseline, VectorPath::kAvx2}) {
        if (!VectorPathAvailable(path)) continue;
        for (std::size_t i = 0; i < images.size(); ++i)
            for (const auto& [n, k] : kernels)
                for (auto [fDivisor, nOffset] :
                     {std::pair{1.0f, 2048}, {9.0f, 0}, {-3.5f, 70}, {0.7794802f, 0}}) {
                    auto src = images[i], expected = src, out = src;
                    ReferenceConvolve(expected.data(), k.data(), n, fDivisor, nOffset, src.data(),
                                      w, hgt, depth.nMax, sizeof(T) == 2);
                    Convolve(out.data(), k.data(), n, fDivisor, nOffset, src.data(), w, hgt, depth,
                             path);
                    EXPECT_EQ(out, expected) << i << ' ' << k[0] << ' ' << fDivisor;
                    Convolve(src.data(), k.data(), n, fDivisor, nOffset, src.data(), w, hgt, depth,
                             path);
                    EXPECT_EQ(src, expected) << "in place " << i << ' ' << k[0];
                }
    }
}

// Gaussians divided by their own float sum on flat stretches of every grey level: there the
// quotient falls a rounding short of or onto a whole number (a flat 200 may give 199), which a
// shortcut must settle as the double division does; sparse spots beside black test the rest.
TEST(Engine8, GaussianOnFlatStretchesOnEveryPath) {
    const int w = 1100, hgt = 5;
    std::vector<unsigned char> flat(w * hgt), spots = RandomImage<unsigned char>(w, hgt, 0, 255, 9);
    for (int i = 0; i < w * hgt; ++i) flat[i] = static_cast<unsigned char>(i % w / 4);
    for (auto& v : spots) v = v % 11 == 0 ? v : 0;
    for (float fSigma : {0.3f, 0.5f, 1.0f, 2.5f, 40.0f})
        for (const auto& src : {flat, spots})
            for (VectorPath path : {VectorPath::kBaseline, VectorPath::kAvx2}) {
                if (!VectorPathAvailable(path)) continue;
                float fSum = 0.0f;
                std::unique_ptr<float[]> k(CreateGaussianKernel(3, fSigma, fSum));
                auto expected = src, out = src;
                ReferenceConvolve(expected.data(), k.get(), 3, fSum, 0, src.data(), w, hgt, 255,
                                  false);
                Convolve(out.data(), k.get(), 3, fSum, 0, src.data(), w, hgt, Engine8(), path);
                EXPECT_EQ(out, expected) << fSigma;
            }
}

// One-hot taps above, left, above left, above right, below left on a 4 x 5 image of 10 * row +
// column: from row 2 on, taps above read row y but at columns 0 and 3, left ones row y + 1.
TEST(Engine16, StoreRuleMakesTapsReadShiftedRows) {
    std::vector<unsigned short> img(20);
    for (int i = 0; i < 20; ++i) img[i] = static_cast<unsigned short>(10 * (i / 4) + i % 4);
    const std::pair<int, std::vector<int>> cases[] = {{7, {1, 2, 21, 22, 31, 32}},
                                                      {3, {10, 21, 10, 31, 10, 41}},
                                                      {6, {0, 1, 10, 21, 10, 31}},
                                                      {8, {2, 3, 22, 13, 32, 23}},
                                                      {0, {20, 21, 30, 31, 40, 41}}};
    for (const auto& c : cases) {
        std::vector<float> k(9, 0.0f);
        k[c.first] = 1.0f;
        auto out = img;
        Convolve(out.data(), k.data(), 3, 1.0f, 0, img.data(), 4, 5, Engine16(12));
        EXPECT_EQ(Interior(out, 4, 5), c.second) << "tap " << c.first;
    }
}

// Centre 1 / (2 pi), edges exp(-1/2) and corners exp(-1) times it; float running sum.
TEST(GaussianKernel, WeightsAndSumForSigmaOne) {
    float fSum = 5.0f;
    std::unique_ptr<float[]> k(CreateGaussianKernel(3, 1.0f, fSum));
    ASSERT_TRUE(k);
    EXPECT_NEAR(k[4], 0.15915494, 5e-9);
    for (int i : {1, 3, 5, 7}) EXPECT_NEAR(k[i], std::exp(-0.5) * 0.15915494, 1e-8) << i;
    for (int i : {0, 2, 6, 8}) EXPECT_NEAR(k[i], std::exp(-1.0) * 0.15915494, 1e-8) << i;
    EXPECT_NEAR(fSum, 0.77948, 5e-6);
    EXPECT_EQ(fSum, std::accumulate(k.get(), k.get() + 9, 0.0f));
}

}  // namespace
