// One-level wavelet transform and inverse on runs of doubles.
#include <gtest/gtest.h>

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

TEST(WaveletTables, FractionsGiveTheListedDecimals) {
    for (int r = 0; r < 4; ++r)
        EXPECT_EQ(Values(kAnalysisEdge[r], kAnalysisEdge[r] + kAnalysisEdgeTaps[r]),
                  zetdip::test::kReferenceEdgeRows[r]);
    for (int r = 0; r < 2; ++r)
        EXPECT_EQ(Values(kSynthesisEdge[r], kSynthesisEdge[r] + 8),
                  zetdip::test::kReferenceSynthesisRows[r]);
}

TEST(WaveletTables, InteriorLowPassIsTheScaledStandardFilter) {
    // Analysis low-pass of the 2/4 biorthogonal spline wavelet (sums to sqrt 2).
    const double standard[9] = {0.03314563036811942,  -0.06629126073623884, -0.17677669529663687,
                                0.4198446513295126,   0.9943689110435825,   0.4198446513295126,
                                -0.17677669529663687, -0.06629126073623884, 0.03314563036811942};
    for (int t = 0; t < 9; ++t) EXPECT_NEAR(kAnalysisLow[t], standard[t] / std::sqrt(2.0), 1e-15);
}

TEST(WaveletForward, ConstantRunGivesConstantLowAndZeroHigh) {
    const Values c = Forward(Values(64, 100.0), 0);
    for (int k = 0; k < 32; ++k) EXPECT_NEAR(c[k], 100.0, 1e-12) << k;  // rows sum to 1
    EXPECT_EQ(Values(c.begin() + 32, c.end() - 1), Values(31, 0.0));
    EXPECT_EQ(c[63], 50.0);  // the last value is one-sided: -0.5 * 100 + 100
}

TEST(WaveletForward, RampLeavesTenHighSlotsAtZeroAndMirrorsTheRightRows) {
    Values x(64);
    for (int i = 0; i < 64; ++i) x[i] = i;
    const Values c = Forward(x, 0);
    EXPECT_EQ(Values(c.begin() + 32, c.end() - 1), Values(31, 0.0));  // 21 computed, 10 skipped
    EXPECT_EQ(c[63], 32.0);
    // Left and interior rows give x[2k]; the right rows, mirrored about the
    // even part, give E - 1 - 2r instead.
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

TEST(WaveletTransform, MatchesReferenceBitForBitAtEveryLength) {
    // Runs shorter than 22 take the guarded path; both values of nOdd are tried.
    for (int n = 0; n <= 130; ++n)
        for (int nOdd : {0, 1}) {
            const Values x = RandomRun(n, 100 + n);
            EXPECT_EQ(Forward(x, nOdd), zetdip::test::ReferenceForward(x, nOdd)) << n << nOdd;
            if (n > 66 || 2 * n - nOdd < 0) continue;
            const Values c = RandomRun(2 * n - nOdd, 200 + n);
            EXPECT_EQ(Inverse(c, n, nOdd), zetdip::test::ReferenceInverse(c, n, nOdd)) << n << nOdd;
        }
}

TEST(WaveletTransform, RoundTripRestoresTheRunExceptNearTheRightEnd) {
    const Values x = RandomRun(64, 9);
    const Values y = Inverse(Forward(x, 0), 32, 0);
    for (int i = 0; i < 39; ++i) EXPECT_NEAR(y[i], x[i], 1e-9) << i;
    EXPECT_GT(std::abs(y[63] - x[63]), 1.0);  // the ten skipped high-pass slots are lost
}

TEST(WaveletTransform, RefusedRunsLeaveDataAndOddArgumentsStayInside) {
    Values x = {1.0, 2.0};
    EXPECT_FALSE(WaveletForward(x.data(), -1, 0));
    EXPECT_FALSE(WaveletInverse(x.data(), 0, 1));        // N = -1
    EXPECT_FALSE(WaveletInverse(x.data(), INT_MAX, 0));  // N beyond int
    EXPECT_EQ(x, (Values{1.0, 2.0}));
    // Parities other than 0 and 1 never come from the pyramid; every access
    // must still stay inside the run (checked by the sanitizer build).
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
