// Mean, gradients, Gaussian, difference of Gaussians and the clipped image
// difference, through the public entries.
#include <gtest/gtest.h>

#include <vector>

#include "DipFilters.h"
#include "filters/kernel_filters.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;
using zetdip::test::DepthOf;
using zetdip::test::RandomImage;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;

// The fixed-kernel entries under one signature.
using FixedFilter = bool (*)(unsigned char*, unsigned char*, int, int, int, int);
const FixedFilter kFixedFilters[] = {&CDipFilters::ApplyMean, &CDipFilters::ApplyGradientNS,
                                     &CDipFilters::ApplyGradientSWNE,
                                     &CDipFilters::ApplyGradientNWSE};

bool Gauss(unsigned char* s, unsigned char* d, int bpp, int bits, int w, int h) {
    return CDipFilters::ApplyGauss(s, d, bpp, bits, w, h, 0.8f);
}
bool Dog(unsigned char* s, unsigned char* d, int bpp, int bits, int w, int h) {
    return CDipFilters::ApplyDOG(s, d, bpp, bits, w, h, 1.0f, 3.0f, 0.7f, 1.5f);
}
const FixedFilter kAllFilters[] = {&CDipFilters::ApplyMean,
                                   &CDipFilters::ApplyGradientNS,
                                   &CDipFilters::ApplyGradientSWNE,
                                   &CDipFilters::ApplyGradientNWSE,
                                   &Gauss,
                                   &Dog};

// Interior samples (rows and columns 1 .. size - 2) of a w x h image.
template <class T>
std::vector<int> Interior(const std::vector<T>& img, int w, int h) {
    std::vector<int> v;
    for (int y = 1; y < h - 1; ++y)
        for (int x = 1; x < w - 1; ++x) v.push_back(img[y * w + x]);
    return v;
}

template <class T>
class Filters : public ::testing::Test {};
using SampleTypes = ::testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(Filters, SampleTypes);

TYPED_TEST(Filters, InPlaceEqualsSeparateDestination) {
    using T = TypeParam;
    const int bits = DepthOf<T>::kBits, bpp = DepthOf<T>::kBitsPerPixel;
    const int sizes[][2] = {{3, 3}, {4, 2}, {2, 4}, {5, 3}, {3, 5}, {67, 33}, {1, 1}};
    for (auto f : kAllFilters) {
        for (const auto& s : sizes) {
            auto src = RandomImage<T>(s[0], s[1], 0, DepthOf<T>::kMax, 21);
            std::vector<T> out(src.size());
            auto inPlace = src;
            ASSERT_TRUE(f(Bytes(src), Bytes(out), bpp, bits, s[0], s[1]));
            ASSERT_TRUE(f(Bytes(inPlace), Bytes(inPlace), bpp, bits, s[0], s[1]));
            EXPECT_EQ(inPlace, out) << s[0] << "x" << s[1];
        }
    }
}

TYPED_TEST(Filters, ConstantImagesGiveConstantAndMidGrey) {
    using T = TypeParam;
    const int bits = DepthOf<T>::kBits, bpp = DepthOf<T>::kBitsPerPixel;
    const int nMid = (DepthOf<T>::kMax + 1) / 2;  // 128, or 2048 for 12 bits
    for (int v : {0, 1, 77, 200, DepthOf<T>::kMax}) {
        std::vector<T> img(8 * 6, static_cast<T>(v)), out(img.size());
        ASSERT_TRUE(CDipFilters::ApplyMean(Bytes(img), Bytes(out), bpp, bits, 8, 6));
        EXPECT_EQ(out, img) << v;
        for (float fSigma : {0.5f, 0.8f, 1.0f, 10.0f}) {
            ASSERT_TRUE(CDipFilters::ApplyGauss(Bytes(img), Bytes(out), bpp, bits, 8, 6, fSigma));
            EXPECT_EQ(out, img) << v << " sigma " << fSigma;
        }
        // For sigma 2 the float running sum of the weights (the divisor) lies
        // above their exact sum, so a constant interior truncates one level down.
        ASSERT_TRUE(CDipFilters::ApplyGauss(Bytes(img), Bytes(out), bpp, bits, 8, 6, 2.0f));
        EXPECT_EQ(Interior(out, 8, 6), std::vector<int>(6 * 4, v == 0 ? 0 : v - 1)) << v;
        EXPECT_EQ(out[0], v);
        for (auto f : {kFixedFilters[1], kFixedFilters[2], kFixedFilters[3]}) {
            ASSERT_TRUE(f(Bytes(img), Bytes(out), bpp, bits, 8, 6));
            EXPECT_EQ(Interior(out, 8, 6), std::vector<int>(6 * 4, nMid)) << v;
        }
    }
}

TYPED_TEST(Filters, DogWithEqualSigmasAndUnitGainIsZero) {
    using T = TypeParam;
    auto src = RandomImage<T>(31, 17, 0, DepthOf<T>::kMax, 8);
    std::vector<T> out(src.size(), T(5));
    ASSERT_TRUE(CDipFilters::ApplyDOG(Bytes(src), Bytes(out), DepthOf<T>::kBitsPerPixel,
                                      DepthOf<T>::kBits, 31, 17, 1.2f, 1.0f, 0.9f, 0.9f));
    EXPECT_EQ(out, std::vector<T>(src.size(), T(0)));
}

TYPED_TEST(Filters, BadDepthsWriteNothing) {
    using T = TypeParam;
    auto src = RandomImage<T>(5, 5, 0, 255, 2);
    const std::vector<T> untouched(src.size(), T(3));
    auto out = untouched;
    for (int bits : {7, 17, 0}) {
        for (auto f : kAllFilters) EXPECT_FALSE(f(Bytes(src), Bytes(out), 16, bits, 5, 5));
    }
    EXPECT_EQ(out, untouched);
}

TEST(Filters8, ColourIsLeftUntouchedExceptByDog) {
    auto src = RandomImage<unsigned char>(5 * 3, 4, 0, 255, 6);
    const Bytes8 untouched(src.size(), 3);
    for (auto f : kFixedFilters) {
        Bytes8 out = untouched;
        EXPECT_TRUE(f(src.data(), out.data(), 24, 8, 5, 4));
        EXPECT_EQ(out, untouched);
    }
    Bytes8 out = untouched;
    EXPECT_TRUE(CDipFilters::ApplyGauss(src.data(), out.data(), 24, 8, 5, 4, 1.0f));
    EXPECT_EQ(out, untouched);
    // Colour DOG skips its blurs; its zeroed scratch images make the result 0.
    EXPECT_TRUE(CDipFilters::ApplyDOG(src.data(), out.data(), 24, 8, 5, 4, 1.0f, 2.0f, 1.f, 1.f));
    EXPECT_EQ(out, Bytes8(src.size(), 0));
}

TEST(Filters8, GradientNSSaturatesAtASmallStep) {
    // Upper half 100, lower half 110: the rows on the edge see 100 above and
    // 110 below, 128 + 10 * (300 - 330) = -172 -> 0; the mirror gives 255.
    Bytes8 img(6 * 6, 100), out(img.size());
    for (int i = 18; i < 36; ++i) img[i] = 110;
    ASSERT_TRUE(CDipFilters::ApplyGradientNS(img.data(), out.data(), 8, 8, 6, 6));
    EXPECT_EQ(Interior(out, 6, 6), (std::vector<int>{128, 128, 128, 128, 0, 0, 0, 0,  //
                                                     0, 0, 0, 0, 128, 128, 128, 128}));
    for (auto& v : img) v = static_cast<unsigned char>(210 - v);
    ASSERT_TRUE(CDipFilters::ApplyGradientNS(img.data(), img.data(), 8, 8, 6, 6));
    EXPECT_EQ(img[2 * 6 + 3], 255);
    EXPECT_EQ(img[3 * 6 + 3], 255);
    EXPECT_EQ(img[0], 110);  // border copied
}

TEST(Filters8, DiagonalGradientsOfASinglePeak) {
    // A peak of 5 at (2, 2): output (y, x) = 128 + 5 * kernel[y - 1][3 - x].
    Bytes8 img(5 * 5, 0), out(img.size());
    img[12] = 5;
    ASSERT_TRUE(CDipFilters::ApplyGradientSWNE(img.data(), out.data(), 8, 8, 5, 5));
    EXPECT_EQ(Interior(out, 5, 5), (std::vector<int>{78, 78, 128, 78, 128, 178, 128, 178, 178}));
    ASSERT_TRUE(CDipFilters::ApplyGradientNWSE(img.data(), out.data(), 8, 8, 5, 5));
    EXPECT_EQ(Interior(out, 5, 5), (std::vector<int>{128, 78, 78, 178, 128, 78, 178, 178, 128}));
}

TEST(Filters16, GradientOffsetIsHalfTheStoredRange) {
    Words img(4 * 3, 1000), out(img.size());
    ASSERT_TRUE(CDipFilters::ApplyGradientNS(Bytes(img), Bytes(out), 16, 12, 4, 3));
    EXPECT_EQ(out[5], 2048);
    EXPECT_EQ(out[6], 2048);
    ASSERT_TRUE(CDipFilters::ApplyGradientNWSE(Bytes(img), Bytes(out), 16, 16, 4, 3));
    EXPECT_EQ(out[5], 32768);
    ASSERT_TRUE(CDipFilters::ApplyGradientSWNE(Bytes(img), Bytes(out), 16, 9, 4, 3));
    EXPECT_EQ(out[5], 256);
    // 24 bits per pixel with 12 bits stored is a one-channel 16-bit image.
    ASSERT_TRUE(CDipFilters::ApplyGradientNS(Bytes(img), Bytes(out), 24, 12, 4, 3));
    EXPECT_EQ(out[6], 2048);
}

TEST(Filters16, GradientNSReadsTheStoreShiftedRows) {
    // Rows of 1000, 1010, 1030, 1060 (4 x 4, 12 bits). Row 1 sees row 0 above
    // and row 2 below. Row 2 sees, above, row 1 at column 0 and the last
    // column but row 2 itself at the interior columns 1 and 2; the plain
    // formula would give 2048 + 30 * (1010 - 1060) = 548.
    Words img(16);
    const int rows[] = {1000, 1010, 1030, 1060};
    for (int i = 0; i < 16; ++i) img[i] = static_cast<unsigned short>(rows[i / 4]);
    ASSERT_TRUE(CDipFilters::ApplyGradientNS(Bytes(img), Bytes(img), 16, 12, 4, 4));
    EXPECT_EQ(img[5], 2048 + 30 * (1000 - 1030));
    EXPECT_EQ(img[6], 2048 + 30 * (1000 - 1030));
    EXPECT_EQ(img[9], 2048 + 10 * (1010 + 1030 + 1030 - 3 * 1060));
    EXPECT_EQ(img[10], 2048 + 10 * (1030 + 1030 + 1010 - 3 * 1060));
}

TEST(Dog, NoUpperClampValuesWrap) {
    // Peak 200 in a 3 x 3 image; sigma 1 gives centre weight / sum = 0.20418:
    // blur 40, high-pass 160, both second blurs 32, 32 * gain - 32.
    Bytes8 img(9, 0), out(9, 1);
    img[4] = 200;
    ASSERT_TRUE(CDipFilters::ApplyDOG(img.data(), out.data(), 8, 8, 3, 3, 1.f, 10.f, 1.f, 1.f));
    EXPECT_EQ(out, (Bytes8{0, 0, 0, 0, (288 & 0xFF), 0, 0, 0, 0}));
    Words img16(9, 0), out16(9, 1);
    img16[4] = 200;
    ASSERT_TRUE(
        CDipFilters::ApplyDOG(Bytes(img16), Bytes(out16), 16, 12, 3, 3, 1.f, 3000.f, 1.f, 1.f));
    EXPECT_EQ(out16[4], (32 * 3000 - 32) & 0xFFFF);
    ASSERT_TRUE(
        CDipFilters::ApplyDOG(Bytes(img16), Bytes(out16), 16, 12, 3, 3, 1.f, 0.5f, 1.f, 1.f));
    EXPECT_EQ(out16[4], 0);  // 16 - 32 < 0
}

TEST(Difference, ClipsAtZeroAndChecksDimensions) {
    using zetdip::detail::DifferenceBetweenImages;
    Bytes8 a = {10, 20, 30, 40, 50, 60}, b = {20, 20, 10, 0, 60, 1};
    Bytes8 out(6, 9);
    ASSERT_TRUE(DifferenceBetweenImages(a.data(), b.data(), out.data(), 1, 2, 3, 1, 2, 3));
    EXPECT_EQ(out, (Bytes8{0, 0, 20, 40, 0, 59}));
    ASSERT_TRUE(DifferenceBetweenImages(a.data(), a.data(), a.data(), 3, 2, 1, 3, 2, 1));
    EXPECT_EQ(a, Bytes8(6, 0));
    Bytes8 untouched = out;
    EXPECT_FALSE(DifferenceBetweenImages(b.data(), b.data(), out.data(), 3, 2, 1, 2, 3, 1));
    EXPECT_FALSE(DifferenceBetweenImages(b.data(), b.data(), out.data(), 3, 2, 1, 3, 2, 3));
    EXPECT_EQ(out, untouched);
    Words wa = {65535, 0, 4000}, wb = {1, 65535, 4000};
    ASSERT_TRUE(DifferenceBetweenImages(wa.data(), wb.data(), wb.data(), 3, 1, 1, 3, 1, 1));
    EXPECT_EQ(wb, (Words{65534, 0, 0}));
}

}  // namespace
