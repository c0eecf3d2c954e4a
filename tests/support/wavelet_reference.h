// Straightforward wavelet references for the tests: every row written out
// with its decimal taps, every term added into its slot one at a time, and
// the run padded with zeros so that short runs need no special case.
#ifndef ZETDIP_TESTS_SUPPORT_WAVELET_REFERENCE_H
#define ZETDIP_TESTS_SUPPORT_WAVELET_REFERENCE_H

#include <vector>

namespace zetdip::test {

inline const std::vector<std::vector<double>> kReferenceEdgeRows = {
    {0.7265625, 0.546875, -0.15625, -0.234375, 0.1171875},
    {-0.15690104166666666, 0.3138020833333333, 0.6380208333333334, 0.41015625, -0.181640625,
     -0.046875, 0.0234375},
    {0.053385416666666664, -0.10677083333333333, -0.06770833333333333, 0.2421875, 0.73046875,
     0.296875, -0.125, -0.046875, 0.0234375},
    {-0.009765625, 0.01953125, 0.0078125, -0.03515625, -0.130859375, 0.296875, 0.703125, 0.296875,
     -0.125, -0.046875, 0.0234375}};
// Synthesis rows of d[0], d[1], d[nH-2], d[nH-1] and the interior ones.
inline const std::vector<std::vector<double>> kReferenceSynthesisRows = {
    {-0.546875, 0.5696614583333334, -0.3138020833333333, -0.103515625, 0.10677083333333333,
     0.043619791666666664, -0.01953125, -0.009765625},
    {0.234375, -0.087890625, -0.41015625, 0.673828125, -0.2421875, -0.103515625, 0.03515625,
     0.017578125},
    {0.017578125, 0.03515625, -0.103515625, -0.2421875, 0.673828125, -0.41015625, -0.087890625,
     0.234375},
    {-0.009765625, -0.01953125, 0.043619791666666664, 0.10677083333333333, -0.103515625,
     -0.3138020833333333, 0.5696614583333334, -0.546875},
    {0.0234375, 0.046875, -0.125, -0.296875, 0.703125, -0.296875, -0.125, 0.046875, 0.0234375}};

constexpr int kRefPad = 16;

// Forward transform of x (nOdd 0 or 1); samples outside the run read as 0.
inline std::vector<double> ReferenceForward(const std::vector<double>& x, int nOdd) {
    const int n = static_cast<int>(x.size()), nL = (n + nOdd) / 2, nH = nL - nOdd, nE = n - nOdd;
    const std::vector<double> interior = {0.0234375, -0.046875, -0.125,    0.296875, 0.703125,
                                          0.296875,  -0.125,    -0.046875, 0.0234375};
    std::vector<double> out(n + 2 * kRefPad, 0.0);
    auto in = [&](int i) { return i >= 0 && i < n ? x[i] : 0.0; };
    auto row = [&](int k, const std::vector<double>& taps, int nFirst, int nStep) {
        for (int t = 0; t < static_cast<int>(taps.size()); ++t)
            out[k + kRefPad] += taps[t] * in(nFirst + nStep * t);
    };
    for (int r = 0; r < 4; ++r) row(r, kReferenceEdgeRows[r], 0, 1);
    for (int k = 4; k <= nL - 5; ++k) row(k, interior, 2 * k - 4, 1);
    for (int r = 3; r >= 0; --r) row(nL - 1 - r, kReferenceEdgeRows[r], nE - 1, -1);
    for (int j = 0; j <= nH - 12; ++j) row(nL + j, {-0.5, 1.0, -0.5}, 2 * j, 1);
    row(nE - 1, {-0.5, 1.0}, nE - 2, 1);
    return std::vector<double>(out.begin() + kRefPad, out.begin() + kRefPad + n);
}

// Inverse of nLowCount low values followed by nLowCount - nOdd high values.
inline std::vector<double> ReferenceInverse(const std::vector<double>& c, int nLowCount, int nOdd) {
    const int nL = nLowCount, nH = nL - nOdd;
    std::vector<double> out(nL + nH + 2 * kRefPad, 0.0);
    auto put = [&](int nFirst, const std::vector<double>& taps, double v) {
        for (int t = 0; t < static_cast<int>(taps.size()); ++t)
            out[nFirst + t + kRefPad] += taps[t] * v;
    };
    const auto& rows = kReferenceSynthesisRows;
    if (nH > 0) put(0, rows[0], c[nL]);
    if (nH > 1) put(0, rows[1], c[nL + 1]);
    for (int j = 2; j <= nH - 3; ++j) put(2 * j - 3, rows[4], c[nL + j]);
    if (nH > 1) put(2 * nH - 8, rows[2], c[nL + nH - 2]);
    if (nH > 0) put(2 * nH - 8, rows[3], c[nL + nH - 1]);
    if (nL >= 1) {
        put(0, {1.0, 0.5}, c[0]);
        for (int k = 1; k <= nL - 2; ++k) put(2 * k - 1, {0.5, 1.0, 0.5}, c[k]);
        put(2 * nL - 3, {0.5, 1.0}, c[nL - 1]);
        if (nOdd != 1) put(2 * nL - 1, {0.5}, c[nL - 1]);
    }
    return std::vector<double>(out.begin() + kRefPad, out.begin() + kRefPad + nL + nH);
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_WAVELET_REFERENCE_H
