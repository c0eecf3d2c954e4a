// The convolution engine of both depths and the Gaussian kernel.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "filters/convolution.h"
#include "support/filters_reference.h"
#include "support/images.h"

namespace {

using zetdip::detail::Convolve;
using zetdip::detail::CreateGaussianKernel;
using zetdip::detail::Engine16;
using zetdip::detail::Engine8;
using zetdip::detail::EngineDepth;
using zetdip::test::RandomImage;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;

// Engine of each sample type: 8-bit, and 16-bit with 12 stored bits.
template <class T>
EngineDepth EngineOf() {
    if constexpr (sizeof(T) == 1)
        return Engine8();
    else
        return Engine16(12);
}

// Random weights, about a quarter of them zero (the engine skips those taps).
std::vector<float> RandomKernel(int n, std::uint32_t nSeed) {
    std::mt19937 rng(nSeed);
    std::uniform_real_distribution<float> weight(-1.5f, 2.5f);
    std::vector<float> k(static_cast<std::size_t>(n) * n);
    for (auto& v : k) v = rng() % 4 == 0 ? 0.0f : weight(rng);
    return k;
}

// Single weight 1 at (row, col) of an n x n kernel.
std::vector<float> OneHot(int n, int row, int col) {
    std::vector<float> k(static_cast<std::size_t>(n) * n, 0.0f);
    k[static_cast<std::size_t>(row) * n + col] = 1.0f;
    return k;
}

template <class T>
class Engine : public ::testing::Test {};
using SampleTypes = ::testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(Engine, SampleTypes);

// The ring-buffered engine against the column-by-column store rule, out of
// place and in place, on sizes around the borders and across runs.
TYPED_TEST(Engine, MatchesColumnByColumnReference) {
    using T = TypeParam;
    const EngineDepth depth = EngineOf<T>();
    const bool bRefresh = depth.eAdvance == zetdip::detail::StoreAdvance::kRefreshAtCentre;
    struct Case {
        int n, w, h;
    } cases[] = {{3, 3, 3}, {3, 4, 3}, {3, 3, 4},   {3, 67, 33}, {3, 300, 6}, {5, 5, 5},  {5, 6, 9},
                 {5, 7, 5}, {5, 5, 9}, {5, 67, 33}, {7, 23, 19}, {7, 8, 12},  {3, 517, 4}};
    std::uint32_t seed = 1;
    for (const auto& c : cases) {
        auto src = RandomImage<T>(c.w, c.h, 0, depth.nMax, seed++);
        auto kernel = RandomKernel(c.n, seed++);
        const float fDivisor = 0.5f + static_cast<float>(seed % 7);
        const int nOffset = static_cast<int>(seed % 5) * 40 - 60;
        std::vector<T> expected(src.size()), out(src.size());
        zetdip::test::ReferenceConvolve(expected.data(), kernel.data(), c.n, fDivisor, nOffset,
                                        src.data(), c.w, c.h, depth.nMax, bRefresh);
        Convolve(out.data(), kernel.data(), c.n, fDivisor, nOffset, src.data(), c.w, c.h, depth);
        EXPECT_EQ(out, expected) << c.n << " " << c.w << "x" << c.h;
        auto inPlace = src;
        Convolve(inPlace.data(), kernel.data(), c.n, fDivisor, nOffset, inPlace.data(), c.w, c.h,
                 depth);
        EXPECT_EQ(inPlace, expected) << "in place " << c.n << " " << c.w << "x" << c.h;
    }
}

// Images without an interior sample are copied, in place or not, and never
// read outside their exact-size buffers (checked by the sanitizer build).
TYPED_TEST(Engine, ImagesWithoutInteriorAreCopied) {
    using T = TypeParam;
    struct Case {
        int n, w, h;
    } cases[] = {{3, 1, 1}, {3, 2, 2}, {3, 3, 1}, {3, 1, 3}, {3, 5, 2},
                 {3, 2, 5}, {5, 4, 9}, {5, 9, 4}, {5, 9, 2}, {5, 3, 3}};
    for (const auto& c : cases) {
        auto src = RandomImage<T>(c.w, c.h, 0, 255, 3);
        std::vector<T> out(src.size(), T(7));
        auto kernel = RandomKernel(c.n, 4);
        Convolve(out.data(), kernel.data(), c.n, 1.0f, 0, src.data(), c.w, c.h, EngineOf<T>());
        EXPECT_EQ(out, src) << c.w << "x" << c.h;
        auto inPlace = src;
        Convolve(inPlace.data(), kernel.data(), c.n, 1.0f, 0, inPlace.data(), c.w, c.h,
                 EngineOf<T>());
        EXPECT_EQ(inPlace, src);
    }
}

TYPED_TEST(Engine, BadKernelSizesAndEmptyImagesWriteNothing) {
    using T = TypeParam;
    auto src = RandomImage<T>(6, 6, 0, 255, 5);
    const std::vector<T> untouched(src.size(), T(9));
    auto out = untouched;
    std::vector<float> kernel(25, 1.0f);
    for (int n : {-3, 0, 1, 2, 4}) {
        Convolve(out.data(), kernel.data(), n, 1.0f, 0, src.data(), 6, 6, EngineOf<T>());
        EXPECT_EQ(out, untouched) << n;
    }
    Convolve(out.data(), kernel.data(), 3, 1.0f, 0, src.data(), 0, 6, EngineOf<T>());
    Convolve(out.data(), kernel.data(), 3, 1.0f, 0, src.data(), 6, -1, EngineOf<T>());
    EXPECT_EQ(out, untouched);
}

TYPED_TEST(Engine, ClampsAndTruncates) {
    using T = TypeParam;
    const int nMax = EngineOf<T>().nMax;
    // Centre weight 1: v = sample / divisor + offset at the one interior sample.
    auto centre = OneHot(3, 1, 1);
    auto run = [&](T nSample, float fDivisor, int nOffset) {
        std::vector<T> img(9, T(0)), out(9);
        img[4] = nSample;
        Convolve(out.data(), centre.data(), 3, fDivisor, nOffset, img.data(), 3, 3, EngineOf<T>());
        return static_cast<int>(out[4]);
    };
    EXPECT_EQ(run(T(200), 1.0f, -201), 0);
    EXPECT_EQ(run(T(200), 1.0f, nMax), nMax);
    EXPECT_EQ(run(T(200), 1.0f, nMax - 200), nMax);
    EXPECT_EQ(run(T(250), 0.0f, 0), 250);      // divisor 0 is taken as 1
    EXPECT_EQ(run(T(254), 1.00004f, 0), 253);  // 253.99 truncates
    EXPECT_EQ(run(T(200), -1.0f, 100), 0);     // -100
    EXPECT_EQ(run(T(199), 2.0f, 0), 99);       // 99.5
}

TEST(Engine8, ThreeByThreeMeanFiltersOnlyTheCentre) {
    Bytes8 img = {10, 20, 30, 40, 50, 60, 70, 80, 95};
    Bytes8 out(9);
    std::vector<float> ones(9, 1.0f);
    Convolve(out.data(), ones.data(), 3, 9.0f, 0, img.data(), 3, 3, Engine8());
    EXPECT_EQ(out, (Bytes8{10, 20, 30, 40, 50, 60, 70, 80, 95}));  // 455 / 9 = 50.6
}

TEST(Engine8, KernelIsMirroredVerticallyNotHorizontally) {
    auto img = RandomImage<unsigned char>(6, 5, 0, 255, 11);
    Bytes8 out(img.size());
    auto below = OneHot(3, 0, 1);  // kernel row 0 lies on the row below
    Convolve(out.data(), below.data(), 3, 1.0f, 0, img.data(), 6, 5, Engine8());
    for (int y = 1; y < 4; ++y)
        for (int x = 1; x < 5; ++x) EXPECT_EQ(out[y * 6 + x], img[(y + 1) * 6 + x]);
    auto left = OneHot(3, 1, 0);  // kernel column 0 lies on the column to the left
    Convolve(out.data(), left.data(), 3, 1.0f, 0, img.data(), 6, 5, Engine8());
    for (int y = 1; y < 4; ++y)
        for (int x = 1; x < 5; ++x) EXPECT_EQ(out[y * 6 + x], img[y * 6 + x - 1]);
}

// 16-bit store rule on a 4 x 5 image with sample 10 * row + column. The
// 8-bit engine reads the row above and the left neighbour; the 16-bit one
// reads row y itself from the second interior row on, row y + 1 for a left
// neighbour at column >= 1 and row 1 for column 0, and the unshifted row
// above at the right border column.
TEST(Engine16, StoreRuleMakesTapsReadShiftedRows) {
    Words img(20);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 4; ++x) img[y * 4 + x] = static_cast<unsigned short>(10 * y + x);
    auto interior = [&](const std::vector<float>& kernel) {
        Words out(20);
        Convolve(out.data(), kernel.data(), 3, 1.0f, 0, img.data(), 4, 5, Engine16(12));
        return Words{out[5], out[6], out[9], out[10], out[13], out[14]};  // rows 1..3, columns 1..2
    };
    EXPECT_EQ(interior(OneHot(3, 2, 1)), (Words{1, 2, 21, 22, 31, 32}));    // above
    EXPECT_EQ(interior(OneHot(3, 1, 0)), (Words{10, 21, 10, 31, 10, 41}));  // left
    EXPECT_EQ(interior(OneHot(3, 2, 0)), (Words{0, 1, 10, 21, 10, 31}));    // above left
    EXPECT_EQ(interior(OneHot(3, 2, 2)), (Words{2, 3, 22, 13, 32, 23}));    // above right
    EXPECT_EQ(interior(OneHot(3, 0, 0)), (Words{20, 21, 30, 31, 40, 41}));  // below left: exact
    // Taps in the same place on the 8-bit engine read the unfiltered neighbours.
    Bytes8 img8(img.begin(), img.end()), out8(20);
    auto above = OneHot(3, 2, 1);
    Convolve(out8.data(), above.data(), 3, 1.0f, 0, img8.data(), 4, 5, Engine8());
    EXPECT_EQ((Bytes8{out8[5], out8[6], out8[9], out8[10], out8[13], out8[14]}),
              (Bytes8{1, 2, 11, 12, 21, 22}));
}

// The per-tap rows read by the 16-bit engine, as documented beside it, for
// every tap of a 5x5 kernel: one-hot kernels on an image of distinct samples.
class Engine16Taps : public ::testing::TestWithParam<std::pair<int, int>> {};

TEST_P(Engine16Taps, EveryTapReadsTheDocumentedRow) {
    const int w = GetParam().first, hgt = GetParam().second, n = 5, h = 2;
    Words img(w * hgt);
    for (int i = 0; i < w * hgt; ++i) img[i] = static_cast<unsigned short>(i);
    auto documentedRow = [&](int y, int dy, int dx, int c) {
        if (dy < 0 || (dy == 0 && dx >= 0)) return y - dy;
        if (dy == 0) return c >= h ? y + 1 : (c < w - 2 * h ? h : y);
        if (c >= h && c < w - h) return y - dy >= h ? y - dy + 1 : y - dy;
        if (c < h && c < w - 2 * h) return std::min(y - dy, h);
        return y - dy;
    };
    Words out(img.size());
    for (int ky = 0; ky < n; ++ky) {
        for (int kx = 0; kx < n; ++kx) {
            auto kernel = OneHot(n, ky, kx);
            Convolve(out.data(), kernel.data(), n, 1.0f, 0, img.data(), w, hgt, Engine16(16));
            for (int y = h; y < hgt - h; ++y) {
                for (int x = h; x < w - h; ++x) {
                    const int c = x + kx - h;
                    const int row = documentedRow(y, ky - h, kx - h, c);
                    ASSERT_EQ(out[y * w + x], img[row * w + c])
                        << "tap " << ky << "," << kx << " at " << y << "," << x;
                }
            }
        }
    }
}

// Wide images, and narrow ones where a left column is also a right-border one.
INSTANTIATE_TEST_SUITE_P(Sizes, Engine16Taps,
                         ::testing::Values(std::make_pair(13, 11), std::make_pair(5, 9),
                                           std::make_pair(6, 8)));

TEST(GaussianKernel, WeightsAndSumForSigmaOne) {
    float fSum = 5.0f;
    std::unique_ptr<float[]> k(CreateGaussianKernel(3, 1.0f, fSum));
    ASSERT_TRUE(k);
    const double centre = 1.0 / (2.0 * 3.141592653589793);
    EXPECT_NEAR(k[4], 0.15915494, 5e-9);
    for (int i : {1, 3, 5, 7}) EXPECT_NEAR(k[i], std::exp(-0.5) * centre, 1e-8) << i;
    for (int i : {0, 2, 6, 8}) EXPECT_NEAR(k[i], std::exp(-1.0) * centre, 1e-8) << i;
    EXPECT_NEAR(fSum, 0.77948, 5e-6);
    float fExpected = 0.0f;
    for (int i = 0; i < 9; ++i) fExpected += k[i];  // running float sum in kernel order
    EXPECT_EQ(fSum, fExpected);
}

TEST(GaussianKernel, EvenSizeStaysInsideItsArray) {
    // Size 4 computes a 5 x 5 set of weights for the sum; only 16 fit.
    float fSum4 = 0.0f, fSum5 = 0.0f;
    std::unique_ptr<float[]> k4(CreateGaussianKernel(4, 1.5f, fSum4));
    std::unique_ptr<float[]> k5(CreateGaussianKernel(5, 1.5f, fSum5));
    ASSERT_TRUE(k4 && k5);
    EXPECT_EQ(fSum4, fSum5);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(k4[i], k5[i]);
}

}  // namespace
