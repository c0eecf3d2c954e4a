// Kernel of the pectoral muscle removal, one body for both sample types.
#ifndef ZETDIP_BREAST_PECTORAL_H
#define ZETDIP_BREAST_PECTORAL_H

#include <algorithm>

#include "DipEnhancement.h"
#include "DipMorphMath.h"
#include "DipThresholding.h"
#include "core/common.h"

namespace zetdip::detail {

struct PectoralDepth {
    int nBitsPerPixel;  // format passed to the public entries called
    int nBitsStored;
    int nFullP1;  // one above the full-scale value: 256, or 1 << nBitsStored
    // Threshold of a bright reference pixel: a third of the full range
    // (16-bit) or a third of the reference value (8-bit); the difference is intended.
    bool bHighThresholdFromRange;
    // Start row of the right-hand walk relative to nHeight - nStartOffset:
    // 0 for 8-bit, -1 for 16-bit (the 8-bit walk starts one row further on, as intended).
    int nRightStartShift;
};

// The muscle level used for a reference value v.
inline int PectoralThreshold(int v, const PectoralDepth& d) {
    if (static_cast<double>(v) >= d.nFullP1 / 1.45)
        return d.bHighThresholdFromRange ? d.nFullP1 / 3 : v / 3;
    return TruncToInt(v / 2.5);
}

// A reference pixel outside the buffer (images under ten rows or columns
// whose derived row or column falls past the end) is treated as dark: the
// call returns false and the mask is untouched.
template <class T>
bool RemovePectoralMuscle(T* pSrc, T* pMask, int nWidth, int nHeight, bool bBreastOnRight,
                          double dPixelSize, const PectoralDepth& d) {
    const long long W = nWidth > 0 ? nWidth : 0, H = nHeight > 0 ? nHeight : 0;
    const int nStartOffset = TruncToInt(5.0 / dPixelSize);
    const int nMinRun = TruncToInt(3.0 / dPixelSize);
    auto pMuscle = NewScratch<T>(SampleCount(nWidth, nHeight));
    if (!pMuscle) return false;
    T* pM = pMuscle.get();

    const long long nRef = H - H / 10;
    const long long nRefX = bBreastOnRight ? W - W / 10 : W / 10;
    const long long nRefIndex = nRef * W + nRefX;
    if (nRefIndex < 0 || nRefIndex >= W * H) return false;
    const int v = pSrc[nRefIndex];
    const int nDark = d.nFullP1 / 3;
    if (v < nDark) return false;
    const int nThreshold = PectoralThreshold(v, d);

    // The opening's result is taken as it comes: the 8-bit opening reports
    // false after a successful run, so the 8-bit removal ends here, as intended.
    if (!CDipEnhancement::ApplyStretching(AsBytes(pSrc), AsBytes(pM), d.nBitsPerPixel,
                                          d.nBitsStored, nWidth, nHeight, nDark, d.nFullP1) ||
        !CDipThresholding::ApplyThresholding(AsBytes(pM), AsBytes(pM), d.nBitsPerPixel,
                                             d.nBitsStored, nWidth, nHeight, nThreshold) ||
        !CDipMorphMath::ApplyOpening(AsBytes(pM), AsBytes(pM), d.nBitsPerPixel, d.nBitsStored,
                                     nWidth, nHeight))
        return false;

    // Clear the muscle run from the chest-wall edge, row by row upward, while
    // the runs stay at least nMinRun wide. The bounds are int arithmetic that
    // wraps (a pixel size so small that the offsets overflow gives a negative
    // start row: nothing is cleared). The 8-bit right-hand walk may start on
    // row nHeight, which does not exist; it starts on the last row instead,
    // with the same result, since the stop test cannot fire there (its
    // minimum run is then 0).
    const int nWidthInt = static_cast<int>(W);
    auto at = [W](T* p, long long y, long long x) -> T& { return p[y * W + x]; };
    if (!bBreastOnRight) {
        int nRun = nStartOffset;
        const int nStart = WrapSub(WrapSub(nHeight, nStartOffset), 1);
        for (long long y = std::min<long long>(nStart, H - 1); y >= 0; --y) {
            if (nRun < nMinRun) break;
            int x = 0;
            for (; x < nWidthInt && at(pM, y, x) != 0; ++x) at(pMask, y, x) = 0;
            nRun = std::min(nRun, x);
        }
    } else {
        int nEdge = WrapSub(nWidthInt, nStartOffset);
        const int nEdgeLimit = WrapSub(nWidthInt, nMinRun);
        const int nStart = WrapAdd(WrapSub(nHeight, nStartOffset), d.nRightStartShift);
        for (long long y = std::min<long long>(nStart, H - 1); y >= 0; --y) {
            if (nEdge > nEdgeLimit) break;
            int x = nWidthInt - 1;
            for (; x >= 0 && at(pM, y, x) != 0; --x) at(pMask, y, x) = 0;
            nEdge = std::max(nEdge, x);
        }
    }
    return true;
}

}  // namespace zetdip::detail

#endif  // ZETDIP_BREAST_PECTORAL_H
