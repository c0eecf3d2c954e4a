// Wavelet decomposition, reconstruction and set difference of images.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <tuple>
#include <utility>
#include <vector>

#include "DipWavelet.h"
#include "support/images.h"
#include "support/wavelet_reference.h"
#include "wavelet/pyramid.h"

namespace {

using zetdip::test::Bytes;
using zetdip::test::RandomImage;
using Bytes8 = std::vector<unsigned char>;
using Words = std::vector<unsigned short>;
using Coefs = std::vector<double>;

struct Pyramid {
    Coefs coef;
    int nLowWidth = -1, nLowHeight = -1, nLevels = 0;
    int widthOdd[4] = {7, 7, 7, 7}, heightOdd[4] = {7, 7, 7, 7};  // 7: not written
};

template <class T>
Pyramid Decompose(std::vector<T>& image, int nWidth, int nHeight) {
    Pyramid p;
    p.coef.assign(image.size(), -1.0);
    EXPECT_TRUE(CDipWavelet::ApplyWaveletDecomposition(
        Bytes(image), p.coef.data(), nWidth, nHeight, 8 * sizeof(T), sizeof(T) == 1 ? 8 : 12,
        p.nLowWidth, p.nLowHeight, p.widthOdd, p.heightOdd, 4));
    while (p.nLevels < 4 && p.widthOdd[p.nLevels] != 7) ++p.nLevels;
    return p;
}

bool Reconstruct8(Pyramid& p, Bytes8& out, int nWidth, int nHeight, int nKeepA, int nKeepB) {
    return CDipWavelet::ApplyWaveletReconstruction(p.coef.data(), out.data(), 8, 8, nWidth, nHeight,
                                                   nKeepA, nKeepB, p.nLowWidth, p.nLowHeight,
                                                   p.widthOdd, p.heightOdd, p.nLevels);
}

// Applies f to the first nRun values of rows 0 .. nRows-1 of m; the columns
// are handled as the rows of the transposed image.
template <class F>
void OnRows(Coefs& m, int nWidth, int nRows, int nRun, F f) {
    for (int r = 0; r < nRows; ++r) {
        const Coefs head = f(Coefs(m.begin() + r * nWidth, m.begin() + r * nWidth + nRun));
        std::copy(head.begin(), head.end(), m.begin() + r * nWidth);
    }
}
Coefs Transposed(const Coefs& m, int nWidth, int nHeight) {
    Coefs t(m.size());
    for (int r = 0; r < nHeight; ++r)
        for (int c = 0; c < nWidth; ++c) t[c * nHeight + r] = m[r * nWidth + c];
    return t;
}

Coefs ReferenceDecompose(Coefs m, int nWidth, int nHeight) {
    using zetdip::test::ReferenceForward;
    for (int k = 0, w = nWidth, h = nHeight; k < 4 && w >= 16 && h >= 16; ++k) {
        OnRows(m, nWidth, h, w, [&](const Coefs& x) { return ReferenceForward(x, w % 2); });
        m = Transposed(m, nWidth, nHeight);
        OnRows(m, nHeight, w, h, [&](const Coefs& x) { return ReferenceForward(x, h % 2); });
        m = Transposed(m, nHeight, nWidth);
        w = (w + 1) / 2;
        h = (h + 1) / 2;
    }
    return m;
}

Coefs ReferenceReconstruct(Coefs m, int nWidth, int nHeight, int nKeepA, int nKeepB,
                           const Pyramid& p) {
    using zetdip::test::ReferenceInverse;
    for (int k = p.nLevels - 1, w = p.nLowWidth, h = p.nLowHeight; k >= 0; --k) {
        const int nW = 2 * w - p.widthOdd[k], nH = 2 * h - p.heightOdd[k];
        for (int r = 0; r < nHeight; ++r)
            for (int c = 0; c < nWidth; ++c) {
                const bool bApprox = k == p.nLevels - 1 && r < h && c < w;
                const bool bStripe = (r >= h && r < nH) || (c >= w && c < nW);
                if (bApprox || (k != nKeepA && k != nKeepB && bStripe)) m[r * nWidth + c] = 0.0;
            }
        m = Transposed(m, nWidth, nHeight);
        const int nOddH = p.heightOdd[k], nOddW = p.widthOdd[k];
        OnRows(m, nHeight, nW, nH, [&](const Coefs& x) { return ReferenceInverse(x, h, nOddH); });
        m = Transposed(m, nHeight, nWidth);
        OnRows(m, nWidth, nH, nW, [&](const Coefs& x) { return ReferenceInverse(x, w, nOddW); });
        w = nW;
        h = nH;
    }
    return m;
}

TEST(WaveletDecomposition, LevelGeometry) {
    // {width, height, levels, low width, low height, width parity at level 0}
    // 512 x 512: four levels. 40 x 100: 20 x 50, then width 10 stops. 63 x 40:
    // odd width, 32 x 20, then height 10 stops. Below 16: no level, pixels as they are.
    for (auto [nW, nH, nLevels, nLowW, nLowH, nOdd0] :
         {std::array{512, 512, 4, 32, 32, 0}, std::array{40, 100, 2, 10, 25, 0},
          std::array{63, 40, 2, 16, 10, 1}, std::array{1, 1, 0, 1, 1, 7},
          std::array{2, 2, 0, 2, 2, 7}, std::array{3, 1, 0, 3, 1, 7}, std::array{1, 3, 0, 1, 3, 7},
          std::array{15, 100, 0, 15, 100, 7}, std::array{100, 15, 0, 100, 15, 7}}) {
        auto image = RandomImage<unsigned short>(nW, nH, 0, 4095, 1);
        const Pyramid p = Decompose(image, nW, nH);
        EXPECT_EQ(p.nLevels, nLevels);
        EXPECT_EQ(std::pair(p.nLowWidth, p.nLowHeight), std::pair(nLowW, nLowH));
        EXPECT_EQ(p.widthOdd[0], nOdd0);
        for (int k = 1; k < nLevels; ++k) EXPECT_EQ(p.widthOdd[k] + p.heightOdd[k], 0);
        if (nLevels == 0) {
            EXPECT_EQ(p.coef, Coefs(image.begin(), image.end()));
        }
    }
}

TEST(WaveletDecomposition, MatchesReferenceAndDepthsAgree) {
    for (auto [nWidth, nHeight] : {std::pair{67, 33}, std::pair{130, 70}, std::pair{16, 17}}) {
        auto image = RandomImage<unsigned char>(nWidth, nHeight, 0, 255, nWidth);
        const Pyramid p = Decompose(image, nWidth, nHeight);
        EXPECT_EQ(p.coef, ReferenceDecompose(Coefs(image.begin(), image.end()), nWidth, nHeight));
        Words words(image.begin(), image.end());  // no scaling in either depth
        EXPECT_EQ(Decompose(words, nWidth, nHeight).coef, p.coef);
    }
}

TEST(WaveletPyramid, RefusesBadDepthColourAndMissingParity) {
    Bytes8 image(3 * 32 * 32, 9), out(image.size(), 9);
    Coefs coef(image.size(), -1.0);
    int nW = 0, nH = 0, odd[4] = {};
    const std::tuple<int, int, int*> cases[] = {
        {8, 7, odd}, {8, 17, odd}, {24, 8, odd}, {8, 8, nullptr}, {16, 12, nullptr}};
    for (auto [nBitsPerPixel, nBits, pOdd] : cases) {
        EXPECT_FALSE(CDipWavelet::ApplyWaveletDecomposition(
            image.data(), coef.data(), 32, 32, nBitsPerPixel, nBits, nW, nH, odd, pOdd, 4));
        EXPECT_FALSE(CDipWavelet::ApplyWaveletReconstruction(
            coef.data(), out.data(), nBitsPerPixel, nBits, 32, 32, 0, 1, 16, 16, pOdd, odd, 1));
    }
    EXPECT_EQ(coef, Coefs(coef.size(), -1.0));
    EXPECT_EQ(out, Bytes8(out.size(), 9));
}

TEST(WaveletReconstruction, KeepingNoLevelGivesAllZero) {
    auto image = RandomImage<unsigned char>(64, 64, 0, 255, 5);
    Pyramid p = Decompose(image, 64, 64);
    Bytes8 out(image.size(), 77);
    ASSERT_TRUE(Reconstruct8(p, out, 64, 64, -1, p.nLevels));
    EXPECT_EQ(out, Bytes8(out.size(), 0));
}

TEST(WaveletReconstruction, MatchesReferenceBitForBit) {
    // Three levels (130 x 70, 65 x 35, 33 x 18): odd bands at levels 1 and 2.
    auto image = RandomImage<unsigned char>(130, 70, 0, 255, 6);
    Pyramid p = Decompose(image, 130, 70);
    ASSERT_EQ(p.nLevels, 3);
    const Coefs expected = ReferenceReconstruct(p.coef, 130, 70, 1, 0, p);
    Bytes8 out(image.size());
    ASSERT_TRUE(Reconstruct8(p, out, 130, 70, 1, 0));
    EXPECT_EQ(p.coef, expected);
    for (std::size_t i = 0; i < out.size(); ++i)
        ASSERT_EQ(out[i], static_cast<int>(std::abs(expected[i])) % 256 >= 128 ? 255 : 0) << i;
}

TEST(WaveletReconstruction, StripesReachFinerLevelsAndApproximationIsDropped) {
    // 64 x 64, three levels, low band 8 x 8. Level 1 (rows and columns 16 .. 31)
    // is not kept: its stripe also clears the level-0 coefficient at (20, 50).
    auto image = RandomImage<unsigned char>(64, 64, 0, 255, 7);
    const Pyramid base = Decompose(image, 64, 64);
    auto reconstructed = [&](int nRow, int nColumn) {
        Pyramid p = base;
        p.coef[nRow * 64 + nColumn] += 500.0;
        Bytes8 out(image.size());
        EXPECT_TRUE(Reconstruct8(p, out, 64, 64, 0, 2));
        return p.coef;
    };
    const Coefs reference = reconstructed(0, 0);  // (0, 0) is in the dropped approximation
    EXPECT_EQ(reconstructed(20, 50), reference);
    EXPECT_NE(reconstructed(40, 50), reference);  // level 0, kept
    EXPECT_NE(reconstructed(4, 12), reference);   // level 2, kept
}

TEST(WaveletReconstruction, ConversionStoresLowBitsOfTheMagnitude) {
    using namespace zetdip::detail;
    EXPECT_EQ(CoefficientSample<Reconstruction8>(-200.7, 8), 200);
    EXPECT_EQ(CoefficientSample<Reconstruction8>(300.0, 8), 44);
    EXPECT_EQ(CoefficientSample<Reconstruction8>(1e12, 8), 0);  // beyond int: INT_MIN's low bits
    EXPECT_EQ(CoefficientSample<Reconstruction16>(1000.0, 12), 16000);  // * 4096 / 256
    EXPECT_EQ(CoefficientSample<Reconstruction16>(5000.0, 16), 34816);  // 1280000 mod 65536

    // No level: only conversion and thresholding at half the range.
    Pyramid p;
    p.coef = {-200.7, 300.0, 127.9, 384.0};
    Bytes8 out(4);
    ASSERT_TRUE(Reconstruct8(p, out, 2, 2, 0, 0));
    EXPECT_EQ(out, (Bytes8{255, 0, 0, 255}));
    p.coef = {128.0, 127.99, -200.0, 4096.0};
    Words words(4);
    ASSERT_TRUE(CDipWavelet::ApplyWaveletReconstruction(p.coef.data(), Bytes(words), 16, 12, 2, 2,
                                                        0, 0, 0, 0, p.widthOdd, p.heightOdd, 0));
    EXPECT_EQ(words, (Words{4095, 0, 4095, 0}));
}

TEST(WaveletReconstruction, InconsistentGeometryStaysInsideTheImage) {
    // More levels than the 40 x 100 pyramid has, and parities no pyramid makes.
    Coefs coef(40 * 100, 1.0);
    Bytes8 out(coef.size());
    int odd[4] = {0, 0, 0, 0}, garbage[4] = {INT_MIN, 5, -3, 1};
    for (int nLevels : {4, 3})
        for (int* pOdd : {odd, garbage})
            EXPECT_TRUE(CDipWavelet::ApplyWaveletReconstruction(
                coef.data(), out.data(), 8, 8, 40, 100, 0, 1, 10, 25, pOdd, odd, nLevels));
    EXPECT_TRUE(CDipWavelet::ApplyWaveletReconstruction(coef.data(), out.data(), 8, 8, 40, 100, 0,
                                                        1, INT_MAX, -7, odd, garbage, 2));
}

template <class T>
class WaveletSubtraction : public ::testing::Test {};
using SampleTypes = ::testing::Types<unsigned char, unsigned short>;
TYPED_TEST_SUITE(WaveletSubtraction, SampleTypes);

TYPED_TEST(WaveletSubtraction, SelfGivesZeroAndMaskClearsOnlyItsPixels) {
    using D = zetdip::test::DepthOf<TypeParam>;
    using Image = std::vector<TypeParam>;
    auto subtract = [](Image& a, Image& b, Image& out, int nBits, int nWidth, int nHeight) {
        return CDipWavelet::ApplySubstraction(Bytes(a), Bytes(b), Bytes(out), D::kBitsPerPixel,
                                              nBits, nWidth, nHeight);
    };
    auto a = RandomImage<TypeParam>(67, 33, 0, D::kMax, 9);
    Image out(a.size(), 5), x = {5, 6, 7, 0}, mask = {0, 1, 0, TypeParam(D::kMax)};
    ASSERT_TRUE(subtract(a, a, out, D::kBits, 67, 33));
    EXPECT_EQ(out, Image(a.size(), 0));
    ASSERT_TRUE(subtract(x, mask, x, D::kBits, 2, 2));  // in place
    EXPECT_EQ(x, (Image{5, 0, 7, 0}));
    EXPECT_FALSE(subtract(x, mask, x, 17, 2, 2));
}

TEST(WaveletSubtraction, ColourCoversEverySample) {
    Bytes8 a(3 * 2 * 2, 50), b(a.size(), 0), out(a.size(), 9);
    b[11] = 1;
    ASSERT_TRUE(CDipWavelet::ApplySubstraction(a.data(), b.data(), out.data(), 24, 8, 2, 2));
    a[11] = 0;
    EXPECT_EQ(out, a);
}

}  // namespace
