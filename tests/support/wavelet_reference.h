// Straightforward wavelet references for the tests: every row written out
// with its decimal taps, every term added into its slot one at a time, and
// the run padded with zeros so that short runs need no special case.
#ifndef ZETDIP_TESTS_SUPPORT_WAVELET_REFERENCE_H
#define ZETDIP_TESTS_SUPPORT_WAVELET_REFERENCE_H

#include <cstddef>
#include <vector>

namespace zetdip::test {

inline constexpr int kRefPad = 16;

inline const std::vector<std::vector<double>>& ReferenceEdgeRows() {
    static const std::vector<std::vector<double>> rows = {
        {0.7265625, 0.546875, -0.15625, -0.234375, 0.1171875},
        {-0.15690104166666666, 0.3138020833333333, 0.6380208333333334, 0.41015625, -0.181640625,
         -0.046875, 0.0234375},
        {0.053385416666666664, -0.10677083333333333, -0.06770833333333333, 0.2421875, 0.73046875,
         0.296875, -0.125, -0.046875, 0.0234375},
        {-0.009765625, 0.01953125, 0.0078125, -0.03515625, -0.130859375, 0.296875, 0.703125,
         0.296875, -0.125, -0.046875, 0.0234375}};
    return rows;
}

// Forward transform of x (nOdd 0 or 1); samples outside the run read as 0.
inline std::vector<double> ReferenceForward(const std::vector<double>& x, int nOdd) {
    const int n = static_cast<int>(x.size());
    const int nL = (n + nOdd) / 2, nH = nL - nOdd, nE = n - nOdd;
    const double interior[9] = {0.0234375, -0.046875, -0.125,    0.296875, 0.703125,
                                0.296875,  -0.125,    -0.046875, 0.0234375};
    std::vector<double> out(n + 2 * kRefPad, 0.0);
    auto in = [&](int i) { return i >= 0 && i < n ? x[i] : 0.0; };
    auto slot = [&](int k) -> double& { return out[k + kRefPad]; };
    const auto& edge = ReferenceEdgeRows();
    for (int r = 0; r < 4; ++r)
        for (std::size_t t = 0; t < edge[r].size(); ++t)
            slot(r) += edge[r][t] * in(static_cast<int>(t));
    for (int k = 4; k <= nL - 5; ++k)
        for (int t = 0; t < 9; ++t) slot(k) += interior[t] * in(2 * k - 4 + t);
    for (int r = 3; r >= 0; --r)
        for (std::size_t t = 0; t < edge[r].size(); ++t)
            slot(nL - 1 - r) += edge[r][t] * in(nE - 1 - static_cast<int>(t));
    for (int j = 0; j <= nH - 12; ++j) {
        slot(nL + j) += -0.5 * in(2 * j);
        slot(nL + j) += in(2 * j + 1);
        slot(nL + j) += -0.5 * in(2 * j + 2);
    }
    slot(nE - 1) += -0.5 * in(nE - 2);
    slot(nE - 1) += in(nE - 1);
    return std::vector<double>(out.begin() + kRefPad, out.begin() + kRefPad + n);
}

// Inverse of nLowCount low values followed by nLowCount - nOdd high values.
inline std::vector<double> ReferenceInverse(const std::vector<double>& c, int nLowCount, int nOdd) {
    const int nL = nLowCount, nH = nL - nOdd, n = nL + nH;
    const double d0[8] = {-0.546875,    0.5696614583333334,  -0.3138020833333333,
                          -0.103515625, 0.10677083333333333, 0.043619791666666664,
                          -0.01953125,  -0.009765625};
    const double d1[8] = {0.234375,   -0.087890625, -0.41015625, 0.673828125,
                          -0.2421875, -0.103515625, 0.03515625,  0.017578125};
    const double dLast1[8] = {0.017578125, 0.03515625,  -0.103515625, -0.2421875,
                              0.673828125, -0.41015625, -0.087890625, 0.234375};
    const double dLast0[8] = {-0.009765625,        -0.01953125,  0.043619791666666664,
                              0.10677083333333333, -0.103515625, -0.3138020833333333,
                              0.5696614583333334,  -0.546875};
    const double interior[9] = {0.0234375, 0.046875, -0.125,   -0.296875, 0.703125,
                                -0.296875, -0.125,   0.046875, 0.0234375};
    std::vector<double> out(n + 2 * kRefPad, 0.0);
    auto put = [&](int o, double v) { out[o + kRefPad] += v; };
    auto high = [&](int j, int nFirst, const double* taps) {
        if (j < 0 || j >= nH) return;
        for (int t = 0; t < 8; ++t) put(nFirst + t, taps[t] * c[nL + j]);
    };
    high(0, 0, d0);
    high(1, 0, d1);
    for (int j = 2; j <= nH - 3; ++j)
        for (int t = 0; t < 9; ++t) put(2 * j - 3 + t, interior[t] * c[nL + j]);
    high(nH - 2, 2 * nH - 8, dLast1);
    high(nH - 1, 2 * nH - 8, dLast0);
    if (nL >= 1) {
        put(0, 1.0 * c[0]);
        put(1, 0.5 * c[0]);
        for (int k = 1; k <= nL - 2; ++k) {
            put(2 * k - 1, 0.5 * c[k]);
            put(2 * k, c[k]);
            put(2 * k + 1, 0.5 * c[k]);
        }
        put(2 * nL - 3, 0.5 * c[nL - 1]);
        put(2 * nL - 2, c[nL - 1]);
        if (nOdd != 1) put(2 * nL - 1, 0.5 * c[nL - 1]);
    }
    return std::vector<double>(out.begin() + kRefPad, out.begin() + kRefPad + n);
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_WAVELET_REFERENCE_H
