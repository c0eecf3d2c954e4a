// One-level wavelet transform and inverse on runs of doubles.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <random>
#include <vector>

#include "support/wavelet_reference.h"
#include "wavelet/transform.h"

namespace {

using namespace zetdip::detail;
using Values = std::vector<double>;

Values RandomRun(int n, std::uint32_t nSeed) {
    std::mt19937 rng(nSeed);
    std::uniform_real_distribution<double> dist(-300.0, 300.0);
    Values x(n);
    for (auto& v : x) v = dist(rng);
    return x;
}

Values Forward(Values x, int nOdd) {
    EXPECT_TRUE(WaveletForward(x.data(), static_cast<int>(x.size()), nOdd));
    return x;
}

Values Inverse(Values c, int nLowCount, int nOdd) {
    EXPECT_TRUE(WaveletInverse(c.data(), nLowCount, nOdd));
    return c;
}

Values Ramp(int n) {
    Values x(n);
    for (int i = 0; i < n; ++i) x[i] = i;
    return x;
}

TEST(WaveletTables, FractionsGiveTheListedDecimals) {
    const auto& rows = zetdip::test::ReferenceEdgeRows();
    for (int r = 0; r < 4; ++r) {
        ASSERT_EQ(static_cast<int>(rows[r].size()), kAnalysisEdgeTaps[r]);
        for (int t = 0; t < kAnalysisEdgeTaps[r]; ++t)
            EXPECT_EQ(kAnalysisEdge[r][t], rows[r][t]) << r << "," << t;
    }
    const double d0[8] = {-0.546875,    0.5696614583333334,  -0.3138020833333333,
                          -0.103515625, 0.10677083333333333, 0.043619791666666664,
                          -0.01953125,  -0.009765625};
    const double d1[8] = {0.234375,   -0.087890625, -0.41015625, 0.673828125,
                          -0.2421875, -0.103515625, 0.03515625,  0.017578125};
    for (int t = 0; t < 8; ++t) {
        EXPECT_EQ(kSynthesisEdge[0][t], d0[t]) << t;
        EXPECT_EQ(kSynthesisEdge[1][t], d1[t]) << t;
    }
}

TEST(WaveletTables, EveryLowRowSumsToOne) {
    for (int r = 0; r < 4; ++r) {
        double dSum = 0.0;
        for (int t = 0; t < kAnalysisEdgeTaps[r]; ++t) dSum += kAnalysisEdge[r][t];
        EXPECT_NEAR(dSum, 1.0, 1e-15) << r;
    }
}

TEST(WaveletTables, InteriorLowPassIsTheScaledStandardFilter) {
    // Analysis low-pass of the 2/4 biorthogonal spline wavelet (sums to sqrt 2).
    const double standard[9] = {0.03314563036811942,  -0.06629126073623884, -0.17677669529663687,
                                0.4198446513295126,   0.9943689110435825,   0.4198446513295126,
                                -0.17677669529663687, -0.06629126073623884, 0.03314563036811942};
    double dSum = 0.0;
    for (double v : standard) dSum += v;
    for (int t = 0; t < 9; ++t) EXPECT_NEAR(kAnalysisLow[t], standard[t] / dSum, 1e-15) << t;
}

TEST(WaveletForward, ConstantRunGivesConstantLowAndZeroHigh) {
    const Values c = Forward(Values(64, 100.0), 0);
    for (int k = 0; k < 32; ++k) EXPECT_NEAR(c[k], 100.0, 1e-12) << k;
    for (int j = 0; j < 31; ++j) EXPECT_EQ(c[32 + j], 0.0) << j;
    EXPECT_EQ(c[63], 50.0);  // the last value is one-sided: -0.5 * 100 + 100
}

TEST(WaveletForward, RampLeavesTenHighSlotsAtZeroAndHalfLengthLast) {
    const Values c = Forward(Ramp(64), 0);
    for (int j = 0; j < 31; ++j) EXPECT_EQ(c[32 + j], 0.0) << j;  // 0..20 computed, 21..30 skipped
    EXPECT_EQ(c[63], 32.0);
}

TEST(WaveletForward, RightRowsMirrorAboutTheEvenPart) {
    // Interior and left rows reproduce the ramp at x[2k]; the mirrored right
    // rows give E - 1 - 2r instead, one more than 2k.
    const Values c = Forward(Ramp(64), 0);
    for (int k = 0; k < 28; ++k) EXPECT_NEAR(c[k], 2.0 * k, 1e-12) << k;
    for (int r = 0; r < 4; ++r) EXPECT_NEAR(c[31 - r], 63.0 - 2 * r, 1e-12) << r;
}

TEST(WaveletForward, OddRunPutsLastValueInH30AndIgnoresItsLastSample) {
    Values x = RandomRun(65, 3);
    const Values c = Forward(x, 1);
    EXPECT_EQ(c[33 + 30], -0.5 * x[62] + x[63]);
    EXPECT_EQ(c[33 + 31], 0.0);
    x[64] += 1000.0;  // the odd sample takes part in no row
    EXPECT_EQ(Forward(x, 1), c);
}

TEST(WaveletForward, MatchesReferenceBitForBitAtEveryLength) {
    // Lengths below 22 take the guarded path; both parities of nOdd are tried.
    for (int n = 0; n <= 130; ++n)
        for (int nOdd : {0, 1}) {
            const Values x = RandomRun(n, 100 + n);
            EXPECT_EQ(Forward(x, nOdd), zetdip::test::ReferenceForward(x, nOdd))
                << n << " " << nOdd;
        }
}

TEST(WaveletInverse, MatchesReferenceBitForBitAtEveryLength) {
    for (int nL = 0; nL <= 66; ++nL)
        for (int nOdd : {0, 1}) {
            if (2 * nL - nOdd < 0) continue;
            const Values c = RandomRun(2 * nL - nOdd, 200 + nL);
            EXPECT_EQ(Inverse(c, nL, nOdd), zetdip::test::ReferenceInverse(c, nL, nOdd))
                << nL << " " << nOdd;
        }
}

TEST(WaveletInverse, ImpulsesLandWhereTheRowsSay) {
    // nL = 20, nOdd 1: nH = 19, N = 39.
    Values c(39, 0.0);
    c[20 + 17] = 1.0;  // d[nH-2]: the d[1] row reversed on out[30 .. 37]
    Values out = Inverse(c, 20, 1);
    for (int t = 0; t < 8; ++t) EXPECT_EQ(out[30 + t], kSynthesisEdge[1][7 - t]) << t;
    EXPECT_EQ(out[38], 0.0);

    c.assign(39, 0.0);
    c[19] = 1.0;  // s[nL-1] with nOdd 1: no slot past out[38]
    out = Inverse(c, 20, 1);
    EXPECT_EQ(out[37], 0.5);
    EXPECT_EQ(out[38], 1.0);

    Values e(40, 0.0);
    e[19] = 1.0;  // nOdd 0: the half weight also reaches out[39]
    out = Inverse(e, 20, 0);
    EXPECT_EQ(out[39], 0.5);
}

TEST(WaveletRoundTrip, RestoresTheRunExceptNearTheRightEnd) {
    const Values x = RandomRun(64, 9);
    const Values y = Inverse(Forward(x, 0), 32, 0);
    double dRightError = 0.0;
    for (int i = 0; i < 64; ++i) {
        if (i < 39)
            EXPECT_NEAR(y[i], x[i], 1e-9) << i;
        else
            dRightError = std::max(dRightError, std::abs(y[i] - x[i]));
    }
    EXPECT_GT(dRightError, 1.0);  // the ten skipped high-pass slots are lost
}

TEST(WaveletTransform, RefusedRunsLeaveDataAndOddArgumentsStayInside) {
    Values x = {1.0, 2.0};
    EXPECT_FALSE(WaveletForward(x.data(), -1, 0));
    EXPECT_FALSE(WaveletInverse(x.data(), 0, 1));        // N = -1
    EXPECT_FALSE(WaveletInverse(x.data(), INT_MAX, 0));  // N beyond int
    EXPECT_EQ(x, (Values{1.0, 2.0}));
    // Parities other than 0 and 1 are not produced by the pyramid; they must
    // still keep every access inside the run (checked by the sanitizer build).
    for (int n : {0, 1, 5, 30})
        for (int nOdd : {2, -1, -9, INT_MAX, INT_MIN}) {
            Values r = RandomRun(n, 7);
            EXPECT_TRUE(WaveletForward(r.data(), n, nOdd));
            const long long nInverse = 2LL * n - nOdd;
            if (nInverse < 0 || nInverse > 100) continue;
            Values s = RandomRun(static_cast<int>(nInverse), 8);
            EXPECT_TRUE(WaveletInverse(s.data(), n, nOdd));
        }
}

}  // namespace
