// The kernel filters through their public entries, and the clipped image difference.
#include <gtest/gtest.h>

#include <vector>

#include "DipFilters.h"
#include "filters/kernel_filters.h"
#include "support/filters_reference.h"
#include "support/images.h"

namespace {

using namespace zetdip::test;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;

using F = CDipFilters;  // the entries under test
using Filter = bool (*)(unsigned char*, unsigned char*, int, int, int, int);
bool Gauss(unsigned char* s, unsigned char* d, int bpp, int bits, int w, int h) {
    return F::ApplyGauss(s, d, bpp, bits, w, h, 0.8f);
}
bool Dog(unsigned char* s, unsigned char* d, int bpp, int bits, int w, int h) {
    return F::ApplyDOG(s, d, bpp, bits, w, h, 1.0f, 3.0f, 0.7f, 1.5f);
}
const Filter kFilters[] = {
    F::ApplyMean, F::ApplyGradientNS, F::ApplyGradientSWNE, F::ApplyGradientNWSE, Gauss, Dog};

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

}  // namespace
