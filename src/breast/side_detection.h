// Kernel of the breast side detection.
#ifndef ZETDIP_BREAST_SIDE_DETECTION_H
#define ZETDIP_BREAST_SIDE_DETECTION_H

#include "core/common.h"

namespace zetdip::detail {

// Background level above which a probe counts as bright.
inline int SideLevel8() {
    return 25;
}
inline int SideLevel16(int nBitsStored) {
    return PowerOfTwo(nBitsStored) / 10;
}

// Probes the eight samples at columns (k * nWidth) / 8 - 1 of row
// (int)(nHeight * fRowFraction) and compares the bright ones (strictly above
// nLevel) of the left and right halves: 1 right, 0 left, -1 undecided.
// A probe index outside the buffer (column -1 of row 0 when nWidth < 8, or
// any probe of an empty image) counts as not bright; column -1 of a later
// row is the last sample of the row before, as the index arithmetic gives.
template <class T>
int DetectSide(const T* pSrc, int nWidth, int nHeight, float fRowFraction, int nLevel) {
    const int nRow = TruncToInt(static_cast<double>(nHeight) * static_cast<double>(fRowFraction));
    const long long nTotal =
        nWidth > 0 && nHeight > 0 ? static_cast<long long>(nWidth) * nHeight : 0;
    int nLeft = 0, nRight = 0;
    for (int k = 1; k <= 8; ++k) {
        const long long x = static_cast<long long>(k) * nWidth / 8 - 1;
        const long long nIndex = static_cast<long long>(nRow) * nWidth + x;
        const bool bBright = nIndex >= 0 && nIndex < nTotal && pSrc[nIndex] > nLevel;
        if (bBright) ++(k <= 4 ? nLeft : nRight);
    }
    if (nRight > nLeft) return 1;
    if (nLeft > nRight) return 0;
    return -1;
}

}  // namespace zetdip::detail

#endif  // ZETDIP_BREAST_SIDE_DETECTION_H
