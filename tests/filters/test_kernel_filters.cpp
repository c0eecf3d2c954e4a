// The kernel filters through their public entries, and the clipped image difference.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "DipFilters.h"
#include "core/common.h"
#include "filters/kernel_filters.h"
#include "support/filters_reference.h"
#include "support/images.h"

namespace {

using namespace zetdip::test;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;

using F = CDipFilters;  // the entries under test

template <class T>
class Filters : public ::testing::Test {};
TYPED_TEST_SUITE(Filters, SampleTypes);

// 100 above 110: 128 + 10 * (300 - 330) = -172 gives 0 on the edge rows; the mirror gives 255.
TEST(Filters8, GradientNSSaturatesAtASmallStep) {
    for (int e : {0, 255}) {
        Bytes8 img(6 * 6, e ? 110 : 100);
        for (int i = 18; i < 36; ++i) img[i] = e ? 100 : 110;
        ASSERT_TRUE(F::ApplyGradientNS(img.data(), img.data(), 8, 8, 6, 6));
        EXPECT_EQ(Interior(img, 6, 6), (std::vector<int>{128, 128, 128, 128, e, e, e, e, e, e, e, e,
                                                         128, 128, 128, 128}));
    }
}

// Offset (1 << bits) / 2; 24 bits per pixel with 12 stored is one 16-bit channel.
TEST(Filters16, GradientOffsetIsHalfTheStoredRange) {
    const int cases[][3] = {{16, 9, 256}, {16, 16, 32768}, {24, 12, 2048}};
    for (const auto& c : cases) {
        Words img(4 * 3, 1000);
        ASSERT_TRUE(F::ApplyGradientNWSE(Bytes(img), Bytes(img), c[0], c[1], 4, 3));
        EXPECT_EQ(Interior(img, 4, 3), (std::vector<int>{c[2], c[2]})) << c[1];
    }
}

// Peak 200, sigma 1 (centre weight / sum 0.204): blur 40, high-pass 160, blurs 32, 32 * gain - 32.
TEST(Dog, NoUpperClampValuesWrap) {
    Bytes8 img = {0, 0, 0, 0, 200, 0, 0, 0, 0};
    ASSERT_TRUE(F::ApplyDOG(img.data(), img.data(), 8, 8, 3, 3, 1.f, 10.f, 1.f, 1.f));
    EXPECT_EQ(img, (Bytes8{0, 0, 0, 0, 288 & 0xFF, 0, 0, 0, 0}));
    // 95968 wraps; 16 - 32 < 0 gives 0; past the int range the truncation gives INT_MIN, so 0.
    for (float fGain : {3000.f, 0.5f, 1e12f}) {
        Words img16 = {0, 0, 0, 0, 200, 0, 0, 0, 0};
        ASSERT_TRUE(F::ApplyDOG(Bytes(img16), Bytes(img16), 16, 12, 3, 3, 1.f, fGain, 1.f, 1.f));
        EXPECT_EQ(img16[4], fGain == 3000.f ? (32 * 3000 - 32) & 0xFFFF : 0);
    }
}

// A grey difference of Gaussians runs row by row; it must give what the whole-image steps give
// (blur, clipped difference, two blurs of the high-pass, gain difference) at both depths (the
// 16-bit engine's store rule included), in place too, on images without interior, with a vector
// tail, and past the int range (INT_MIN, so 0).
TYPED_TEST(Filters, DogRowByRowMatchesWholeImageSteps) {
    using T = TypeParam;
    const int bpp = 8 * sizeof(T), bits = sizeof(T) == 1 ? 8 : 12, nMax = (1 << bits) - 1;
    const int sizes[][2] = {{1, 1}, {2, 5}, {5, 2}, {3, 3}, {4, 3}, {37, 40}, {525, 9}};
    const float params[][4] = {{1.0f, 3.0f, 0.7f, 1.5f},
                               {0.5f, 1.0f, 2.0f, 2.0f},
                               {2.0f, 250.0f, 0.3f, 4.0f},
                               {1.0f, 1e12f, 0.8f, 0.9f}};
    std::uint32_t seed = 3;
    for (const auto& sz : sizes)
        for (const auto& p : params) {
            const int w = sz[0], h = sz[1], n = w * h;
            const std::vector<T> src = RandomImage<T>(w, h, 0, nMax, seed++);
            std::vector<T> in = src, a = src, b(n), c(n), expected(n);
            ASSERT_TRUE(F::ApplyGauss(Bytes(in), Bytes(a), bpp, bits, w, h, p[0]));
            for (int i = 0; i < n; ++i) a[i] = static_cast<T>(std::max(0, src[i] - a[i]));
            ASSERT_TRUE(F::ApplyGauss(Bytes(a), Bytes(b), bpp, bits, w, h, p[2]));
            ASSERT_TRUE(F::ApplyGauss(Bytes(a), Bytes(c), bpp, bits, w, h, p[3]));
            for (int i = 0; i < n; ++i) {
                const int v = zetdip::detail::TruncToInt(b[i] * static_cast<double>(p[1]) - c[i]);
                expected[i] = static_cast<T>(v < 0 ? 0 : v & (sizeof(T) == 1 ? 0xFF : 0xFFFF));
            }
            std::vector<T> out(n, 7);
            ASSERT_TRUE(
                F::ApplyDOG(Bytes(in), Bytes(out), bpp, bits, w, h, p[0], p[1], p[2], p[3]));
            EXPECT_EQ(out, expected) << w << "x" << h << " gain " << p[1];
            ASSERT_TRUE(F::ApplyDOG(Bytes(in), Bytes(in), bpp, bits, w, h, p[0], p[1], p[2], p[3]));
            EXPECT_EQ(in, expected) << "in place " << w << "x" << h << " gain " << p[1];
        }
}

}  // namespace
