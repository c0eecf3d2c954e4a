// Wavelet transform, decomposition, reconstruction and set difference.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <tuple>

#include "DipWavelet.h"
#include "support/images.h"
#include "wavelet/pyramid.h"

namespace {

using namespace zetdip::detail;
using namespace zetdip::test;
using Vec = std::vector<double>;
using Bytes8 = std::vector<unsigned char>;

// Straightforward reference: the rows as listed, in decimals, terms added one at a time.
const std::vector<Vec> kRefLowEdge = {
    {0.7265625, 0.546875, -0.15625, -0.234375, 0.1171875},
    {-0.15690104166666666, 0.3138020833333333, 0.6380208333333334, 0.41015625, -0.181640625,
     -0.046875, 0.0234375},
    {0.053385416666666664, -0.10677083333333333, -0.06770833333333333, 0.2421875, 0.73046875,
     0.296875, -0.125, -0.046875, 0.0234375},
    {-0.009765625, 0.01953125, 0.0078125, -0.03515625, -0.130859375, 0.296875, 0.703125, 0.296875,
     -0.125, -0.046875, 0.0234375}};
const std::vector<Vec> kRefHighEdge = {  // d[0], d[1]; reversed for d[nH-1], d[nH-2]
    {-0.546875, 0.5696614583333334, -0.3138020833333333, -0.103515625, 0.10677083333333333,
     0.043619791666666664, -0.01953125, -0.009765625},
    {0.234375, -0.087890625, -0.41015625, 0.673828125, -0.2421875, -0.103515625, 0.03515625,
     0.017578125}};
const Vec kRefLow = {0.0234375, -0.046875, -0.125,    0.296875, 0.703125,
                     0.296875,  -0.125,    -0.046875, 0.0234375};
const Vec kRefHigh = {0.0234375, 0.046875, -0.125,   -0.296875, 0.703125,
                      -0.296875, -0.125,   0.046875, 0.0234375};

// Forward transform; terms outside the run are dropped.
Vec ReferenceForward(const Vec& x, int nOdd) {
    const int n = static_cast<int>(x.size()), nL = (n + nOdd) / 2, nH = nL - nOdd, nE = n - nOdd;
    Vec out(n, 0.0);
    auto row = [&](int k, const Vec& taps, int i, int nStep) {
        for (std::size_t t = 0; t < taps.size(); ++t, i += nStep)
            if (k >= 0 && k < n && i >= 0 && i < n) out[k] += taps[t] * x[i];
    };
    for (int r = 0; r < 4; ++r) row(r, kRefLowEdge[r], 0, 1);
    for (int k = 4; k <= nL - 5; ++k) row(k, kRefLow, 2 * k - 4, 1);
    for (int r = 3; r >= 0; --r) row(nL - 1 - r, kRefLowEdge[r], nE - 1, -1);
    for (int j = 0; j <= nH - 12; ++j) row(nL + j, {-0.5, 1.0, -0.5}, 2 * j, 1);
    row(nE - 1, {-0.5, 1.0}, nE - 2, 1);
    return out;
}

// Inverse of nL low values then nL - nOdd high values; terms outside the run are dropped.
Vec ReferenceInverse(const Vec& c, int nL, int nOdd) {
    const int nH = nL - nOdd, n = nL + nH;
    const Vec &d0 = kRefHighEdge[0], &d1 = kRefHighEdge[1];
    Vec out(n, 0.0);
    auto put = [&](int o, const Vec& taps, double v) {
        for (std::size_t t = 0; t < taps.size(); ++t, ++o)
            if (o >= 0 && o < n) out[o] += taps[t] * v;
    };
    if (nH > 0) put(0, d0, c[nL]);
    if (nH > 1) put(0, d1, c[nL + 1]);
    for (int j = 2; j <= nH - 3; ++j) put(2 * j - 3, kRefHigh, c[nL + j]);
    if (nH > 1) put(2 * nH - 8, Vec(d1.rbegin(), d1.rend()), c[nL + nH - 2]);
    if (nH > 0) put(2 * nH - 8, Vec(d0.rbegin(), d0.rend()), c[nL + nH - 1]);
    put(0, {1.0, 0.5}, c[0]);
    for (int k = 1; k <= nL - 2; ++k) put(2 * k - 1, {0.5, 1.0, 0.5}, c[k]);
    put(2 * nL - 3, {0.5, 1.0}, c[nL - 1]);
    if (nOdd != 1) put(2 * nL - 1, {0.5}, c[nL - 1]);
    return out;
}

// Decomposition: the reference forward on the rows, then the columns, of each band.
Vec ReferenceDecompose(Vec m, int nWidth, int nHeight) {
    for (int k = 0, w = nWidth, h = nHeight; k < 4 && w >= 16 && h >= 16;
         ++k, w = (w + 1) / 2, h = (h + 1) / 2)
        for (int l = 0; l < h + w; ++l) {  // rows 0 .. h-1, then columns 0 .. w-1
            const int nRun = l < h ? w : h, d = l < h ? 1 : nWidth, p = l < h ? l * nWidth : l - h;
            Vec run(nRun);
            for (int i = 0; i < nRun; ++i) run[i] = m[p + i * d];
            run = ReferenceForward(run, nRun % 2);
            for (int i = 0; i < nRun; ++i) m[p + i * d] = run[i];
        }
    return m;
}

Vec RandomRun(int n, std::uint32_t nSeed) {
    Vec x = RandomImage<double>(n, 1, -30000, 30000, nSeed);
    for (auto& v : x) v /= 97.0;  // fractional, so that the order of the sums shows
    return x;
}

Vec Transformed(Vec x, int nOdd, int nLow = -1) {  // library forward, or inverse if nLow >= 0
    EXPECT_TRUE(nLow < 0 ? WaveletForward(x.data(), static_cast<int>(x.size()), nOdd)
                         : WaveletInverse(x.data(), nLow, nOdd));
    return x;
}

struct Pyramid {
    Vec coef;
    int nLowW = -1, nLowH = -1, nLevels = 0;
    int widthOdd[4] = {7, 7, 7, 7}, heightOdd[4] = {7, 7, 7, 7};  // 7: not written
    template <class T>
    Pyramid(std::vector<T>& image, int nWidth, int nHeight) : coef(image.size(), -1.0) {
        EXPECT_TRUE(CDipWavelet::ApplyWaveletDecomposition(
            Bytes(image), coef.data(), nWidth, nHeight, 8 * sizeof(T), sizeof(T) == 1 ? 8 : 12,
            nLowW, nLowH, widthOdd, heightOdd, 4));
        while (nLevels < 4 && widthOdd[nLevels] != 7) ++nLevels;
    }
};

TEST(WaveletForward, LeavesTenHighSlotsZeroAndPutsTheLastValueInSlotEMinus1) {
    // {offset, slope, H[nH-1]} of 64 samples: low rows sum to 1 and keep a ramp (the mirrored
    // right rows give x[2k+1]), high rows kill both, the last value is one-sided.
    const double cases[][3] = {{100.0, 0.0, 50.0}, {0.0, 1.0, 32.0}};
    for (auto [dOffset, dSlope, dLast] : cases) {
        Vec x(64);
        for (int i = 0; i < 64; ++i) x[i] = dOffset + dSlope * i;
        const Vec c = Transformed(x, 0);
        for (int k = 0; k < 32; ++k) EXPECT_NEAR(c[k], x[2 * k + (k >= 28)], 1e-12) << k;
        EXPECT_EQ(Vec(c.begin() + 32, c.end() - 1), Vec(31, 0.0));
        EXPECT_EQ(c[63], dLast);
    }
    const Vec x = RandomRun(65, 3), c = Transformed(x, 1);  // nL = 33, nH = 32: H[30], H[31] = 0
    EXPECT_EQ(Vec(c.begin() + 33 + 21, c.end()),
              (Vec{0, 0, 0, 0, 0, 0, 0, 0, 0, -0.5 * x[62] + x[63], 0}));
}

// Every length through the entry (runs shorter than 22 take the guarded path), and the
// unguarded runs on each vector path, the forward one writing its whole output.
TEST(WaveletTransform, MatchesReferenceBitForBit) {
    for (int n = 0; n <= 130; ++n)
        for (int nOdd : {0, 1}) {
            Vec x = RandomRun(n, 100 + n);
            EXPECT_EQ(Transformed(x, nOdd), ReferenceForward(x, nOdd)) << n << nOdd;
            if (n < 1 || n > 66) continue;
            x = RandomRun(2 * n - nOdd, 200 + n);
            EXPECT_EQ(Transformed(x, nOdd, n), ReferenceInverse(x, n, nOdd)) << n << nOdd;
        }
    for (VectorPath path : {VectorPath::kBaseline, VectorPath::kAvx2})
        for (int n : {11, 12, 13, 22, 23, 64, 101, 3328})
            for (int nOdd : {0, 1}) {
                if (!VectorPathAvailable(path)) continue;
                const Vec x = RandomRun(n, 400 + n);
                Vec out(x.size(), std::nan(""));  // every value is written
                WaveletForwardInto(x.data(), n, nOdd, out.data(), path);
                EXPECT_EQ(out, ReferenceForward(x, nOdd)) << n << ' ' << nOdd;
                const int nLow = (n + nOdd) / 2;
                if (2 * nLow - nOdd != n || !WaveletInverseLanesFit(nLow, nOdd)) continue;
                std::fill(out.begin(), out.end(), 0.0);
                WaveletInverseInto(x.data(), nLow, nOdd, out.data(), path);
                EXPECT_EQ(out, ReferenceInverse(x, nLow, nOdd)) << n << ' ' << nOdd;
            }
}

// The column transforms, many columns at once, write every row of their output (filled with
// NaN first) with each column's reference values, at every length where they apply.
TEST(WaveletTransform, LanesMatchReferencePerColumn) {
    for (VectorPath path : {VectorPath::kBaseline, VectorPath::kAvx2})
        for (int nLanes : {kWaveletLanes, kWaveletNarrowLanes})
            for (int n = 11; n <= 90; ++n)
                for (int nOdd : {0, 1}) {
                    if (!VectorPathAvailable(path)) continue;
                    const Vec x = RandomRun(n * nLanes, 700 + n);  // row-major, nLanes wide
                    const int nLow = (n + nOdd) / 2;
                    for (bool bInverse : {false, true}) {
                        if (bInverse ? 2 * nLow - nOdd != n || !WaveletInverseLanesFit(nLow, nOdd)
                                     : !WaveletLanesFit(n, nOdd))
                            continue;
                        Vec out(x.size(), std::nan(""));
                        if (bInverse)
                            WaveletInverseLanes(x.data(), nLanes, nLow, nOdd, out.data(), path,
                                                nLanes);
                        else
                            WaveletForwardLanes(x.data(), nLanes, n, nOdd, out.data(), path,
                                                nLanes);
                        for (int l = 0; l < nLanes; l += 7) {
                            Vec column(n), got(n);
                            for (int i = 0; i < n; ++i)
                                column[i] = x[i * nLanes + l], got[i] = out[i * nLanes + l];
                            EXPECT_EQ(got, bInverse ? ReferenceInverse(column, nLow, nOdd)
                                                    : ReferenceForward(column, nOdd))
                                << n << ' ' << nOdd << ' ' << bInverse << ' ' << l;
                        }
                    }
                }
}

TEST(WaveletDecomposition, LevelGeometryAndCoefficientsOfBothDepthsMatchReference) {
    // {width, height, levels, low width, low height}; below 16 no level is performed; from
    // 32 rows on the first level's columns take rows as they are made.
    const int cases[][5] = {{512, 512, 4, 32, 32}, {40, 100, 2, 10, 25},  {63, 40, 2, 16, 10},
                            {67, 33, 2, 17, 9},    {16, 17, 1, 8, 9},     {1, 1, 0, 1, 1},
                            {100, 90, 3, 13, 12},  // wide and narrow column blocks, one by one
                            {3, 1, 0, 3, 1},       {15, 100, 0, 15, 100}, {20, 32, 1, 10, 16},
                            {18, 47, 1, 9, 24},    {16, 35, 1, 8, 18}};
    for (auto [nW, nH, nLevels, nLowW, nLowH] : cases) {
        auto image = RandomImage<unsigned char>(nW, nH, 0, 255, nW);
        std::vector<unsigned short> words(image.begin(), image.end());
        const Pyramid p(image, nW, nH);
        EXPECT_EQ(std::tuple(p.nLevels, p.nLowW, p.nLowH), std::tuple(nLevels, nLowW, nLowH));
        for (int k = 0, w = nW, h = nH; k < nLevels; ++k, w = (w + 1) / 2, h = (h + 1) / 2)
            EXPECT_EQ(std::pair(p.widthOdd[k], p.heightOdd[k]), std::pair(w % 2, h % 2)) << k;
        EXPECT_EQ(p.coef, ReferenceDecompose(Vec(image.begin(), image.end()), nW, nH));
        EXPECT_EQ(Pyramid(words, nW, nH).coef, p.coef);  // no scaling in either depth
    }
}

// Reconstruction's coefficients: the bands cleared as the library does, then
// the reference inverse on the columns, then the rows, of each band.
Vec ReferenceReconstruct(Vec m, int nWidth, const Pyramid& p, int nKeepA, int nKeepB) {
    auto zero = [&](int r0, int r1, int c0, int c1) {
        for (int r = r0; r < r1; ++r)
            for (int c = c0; c < c1; ++c) m[static_cast<std::size_t>(r) * nWidth + c] = 0.0;
    };
    const int nHeight = static_cast<int>(m.size()) / nWidth;
    for (int k = p.nLevels - 1, w = p.nLowW, h = p.nLowH; k >= 0; --k) {
        const int nW = 2 * w - p.widthOdd[k], nH = 2 * h - p.heightOdd[k];
        if (k == p.nLevels - 1) zero(0, h, 0, w);
        if (k != nKeepA && k != nKeepB) zero(h, nH, 0, nWidth), zero(0, nHeight, w, nW);
        for (int l = 0; l < nW + nH; ++l) {  // columns 0 .. nW-1, then rows 0 .. nH-1
            const bool bColumn = l < nW;
            const int nRun = bColumn ? nH : nW, d = bColumn ? nWidth : 1;
            const int p0 = bColumn ? l : (l - nW) * nWidth;
            Vec run(nRun);
            for (int i = 0; i < nRun; ++i) run[i] = m[p0 + i * d];
            run = ReferenceInverse(run, bColumn ? h : w, bColumn ? p.heightOdd[k] : p.widthOdd[k]);
            for (int i = 0; i < nRun; ++i) m[p0 + i * d] = run[i];
        }
        w = nW, h = nH;
    }
    return m;
}

TEST(WaveletReconstruction, CoefficientsOfBothDepthsMatchReference) {
    // 100 x 90 takes wide and narrow column blocks and single columns.
    for (auto [nW, nH, nKeepA, nKeepB] :
         {std::tuple{100, 90, 0, 2}, {67, 33, 1, 1}, {64, 64, 0, 1}}) {
        auto image = RandomImage<unsigned char>(nW, nH, 0, 255, 7 * nW);
        std::vector<unsigned short> words(image.begin(), image.end());
        Pyramid p8(image, nW, nH), p16(words, nW, nH);
        const Vec expected = ReferenceReconstruct(p8.coef, nW, p8, nKeepA, nKeepB);
        Bytes8 out8(image.size());
        std::vector<unsigned short> out16(image.size());
        EXPECT_TRUE(CDipWavelet::ApplyWaveletReconstruction(p8.coef.data(), out8.data(), 8, 8, nW,
                                                            nH, nKeepA, nKeepB, p8.nLowW, p8.nLowH,
                                                            p8.widthOdd, p8.heightOdd, p8.nLevels));
        EXPECT_TRUE(CDipWavelet::ApplyWaveletReconstruction(
            p16.coef.data(), Bytes(out16), 16, 12, nW, nH, nKeepA, nKeepB, p16.nLowW, p16.nLowH,
            p16.widthOdd, p16.heightOdd, p16.nLevels));
        EXPECT_EQ(p8.coef, expected) << nW;
        EXPECT_EQ(p16.coef, expected) << nW;
    }
}

TEST(WaveletReconstruction, StripesReachFinerLevelsAndKeepingNoLevelClearsAll) {
    // {row, column, kept levels, cleared}: one value in a 64 x 64 pyramid, low band 8 x 8. Level
    // 1's rows 16 .. 31 clear (20, 50) of level 0; the approximation (0, 0) always goes.
    const int cases[][5] = {{20, 50, 0, 2, 1}, {40, 50, 0, 2, 0},  {4, 12, 0, 2, 0},
                            {0, 0, 0, 2, 1},   {40, 50, -1, 3, 1}, {4, 12, -1, 3, 1}};
    Bytes8 zeros(64 * 64), out(zeros.size());
    for (auto [nRow, nColumn, nKeepA, nKeepB, bCleared] : cases) {
        Pyramid p(zeros, 64, 64);
        p.coef[nRow * 64 + nColumn] = 500.0;
        EXPECT_TRUE(CDipWavelet::ApplyWaveletReconstruction(p.coef.data(), out.data(), 8, 8, 64, 64,
                                                            nKeepA, nKeepB, p.nLowW, p.nLowH,
                                                            p.widthOdd, p.heightOdd, p.nLevels));
        EXPECT_EQ(p.coef == Vec(zeros.size(), 0.0), bCleared == 1) << nRow << ',' << nColumn;
    }
}

TEST(WaveletReconstruction, NoLevelForNonPositiveLevelCounts) {
    // Only the conversion and the threshold run: |-200.7| -> 200 -> 255, 300 -> 44 -> 0.
    for (int nLevels : {0, -1, INT_MIN}) {
        Vec coef(16 * 16, 0.0);
        coef[3] = -200.7, coef[17] = 300.0;
        const Vec before = coef;
        Bytes8 out(coef.size(), 9), expected(coef.size(), 0);
        expected[3] = 255;
        int odd[4] = {1, 1, 1, 1};
        EXPECT_TRUE(CDipWavelet::ApplyWaveletReconstruction(coef.data(), out.data(), 8, 8, 16, 16,
                                                            0, 1, 8, 8, odd, odd, nLevels));
        EXPECT_EQ(coef, before) << nLevels;
        EXPECT_EQ(out, expected) << nLevels;
    }
}

TEST(WaveletReconstruction, ConversionStoresLowBitsOfTheMagnitude) {
    EXPECT_EQ(CoefficientSample<Reconstruction8>(-200.7, 8), 200);
    EXPECT_EQ(CoefficientSample<Reconstruction8>(300.0, 8), 44);
    EXPECT_EQ(CoefficientSample<Reconstruction8>(1e12, 8), 0);  // beyond int: INT_MIN's low bits
    EXPECT_EQ(CoefficientSample<Reconstruction16>(5000.0, 12), 14464);  // * 16 (intended) mod 2^16
}

TEST(WaveletSubtraction, MaskClearsEverySampleAndSelfGivesZero) {
    for (int nBitsPerPixel : {8, 16, 24}) {  // 2 x 3 pixels; the mask hits the last sample
        Bytes8 a(nBitsPerPixel / 8 * 6, 50), b(a.size(), 0), expected = a;
        b.back() = 1;
        std::fill(expected.end() - 1 - (nBitsPerPixel == 16), expected.end(), 0);
        for (Bytes8* pB : {&b, &a}) {  // in place
            ASSERT_TRUE(CDipWavelet::ApplySubstraction(
                a.data(), pB->data(), a.data(), nBitsPerPixel, nBitsPerPixel == 16 ? 12 : 8, 2, 3));
            EXPECT_EQ(a, pB == &a ? Bytes8(a.size(), 0) : expected);
        }
    }
}

}  // namespace
