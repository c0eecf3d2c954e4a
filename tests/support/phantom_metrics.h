// Measures of a mask against the synthetic mammogram's truth.
#ifndef ZETDIP_TESTS_SUPPORT_PHANTOM_METRICS_H
#define ZETDIP_TESTS_SUPPORT_PHANTOM_METRICS_H

#include <cstdint>
#include <vector>

namespace zetdip::test {

struct Overlap {
    double dCoverage;  // fraction of truth pixels (in the rows measured) inside the mask
    double dLeak;      // fraction of mask pixels farther than nTolerance pixels from the truth
};

// Compares mask (non-zero = inside) with truth over rows [nRow0, nRow1).
// A mask pixel outside the truth counts as leaked only when no truth pixel
// lies within nTolerance columns in the same row.
template <class T>
Overlap MeasureOverlap(const std::vector<T>& mask, const std::vector<std::uint8_t>& truth,
                       int nWidth, int nRow0, int nRow1, int nTolerance) {
    long long nTruth = 0, nCovered = 0, nMask = 0, nLeak = 0;
    for (int y = nRow0; y < nRow1; ++y) {
        const std::size_t row = static_cast<std::size_t>(y) * nWidth;
        std::vector<int> nearest(nWidth, 1 << 30);
        int last = -(1 << 30);
        for (int x = 0; x < nWidth; ++x) {
            if (truth[row + x]) last = x;
            nearest[x] = x - last;
        }
        last = 1 << 30;
        for (int x = nWidth - 1; x >= 0; --x) {
            if (truth[row + x]) last = x;
            if (last - x < nearest[x]) nearest[x] = last - x;
        }
        for (int x = 0; x < nWidth; ++x) {
            const bool inMask = mask[row + x] != 0;
            nTruth += truth[row + x];
            nCovered += truth[row + x] && inMask;
            nMask += inMask;
            nLeak += inMask && nearest[x] > nTolerance;
        }
    }
    return {nTruth ? static_cast<double>(nCovered) / nTruth : 1.0,
            nMask ? static_cast<double>(nLeak) / nMask : 0.0};
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_SUPPORT_PHANTOM_METRICS_H
