// Removal of isolated and excluded candidate pixels, one body for both
// sample types. The image is passed height first, as the entry takes it.
#ifndef ZETDIP_CAD_FP_REMOVAL_H
#define ZETDIP_CAD_FP_REMOVAL_H

#include <cstddef>

#include "core/common.h"

namespace zetdip::detail {

// Copies pSrc to pDst and clears, inside a frame two pixels wide at the top,
// bottom and left and two columns at the right, every candidate with no other
// candidate among its 18 pattern positions, and (with bUseExclusion) every
// candidate set in pExclusion. pDst may equal pSrc: the rows above are read
// from a rolling three-row copy of the unaltered candidates. False only when
// the rolling copy cannot be allocated (nothing written then).
template <class T>
bool RemoveFalsePositives(const T* pExclusion, const T* pSrc, T* pDst, int nHeight, int nWidth,
                          bool bUseExclusion) {
    // No pixel, nothing to do; the column bounds below assume nWidth > 0.
    if (nWidth <= 0 || nHeight <= 0) return true;
    const std::size_t w = nWidth > 0 ? static_cast<std::size_t>(nWidth) : 0;
    std::unique_ptr<T[]> pRows = NewScratch<T>(SampleCount(3, nWidth));
    if (!pRows) return false;
    T* const pRow0 = pRows.get();
    T* const pRow1 = pRow0 + w;
    T* const pRow2 = pRow1 + w;
    // Rows 0, 1, 2 as far as the image has them; the copy is only consulted
    // for images of five rows or more.
    T* const pFill[3] = {pRow0, pRow1, pRow2};
    for (int k = 0; k < 3 && k < nHeight; ++k)
        for (std::size_t c = 0; c < w; ++c) pFill[k][c] = pSrc[static_cast<std::size_t>(k) * w + c];

    for (int y = 0; y < nHeight; ++y) {
        const std::size_t nRow = static_cast<std::size_t>(y) * w;
        const T* const pCur = pSrc + nRow;
        T* const pOut = pDst + nRow;
        // Every pixel is first copied; only the pixel itself is read from
        // this row afterwards, so an in-place run sees the same values.
        for (std::size_t c = 0; c < w; ++c) pOut[c] = pCur[c];
        if (y < 2 || y > nHeight - 3) continue;

        const T* const pBelow1 = pCur + w;
        const T* const pBelow2 = pBelow1 + w;
        // Column c of the copy moves down one row: it then holds y - 1, y, y + 1.
        auto advance = [&](int c) {
            pRow0[c] = pRow1[c];
            pRow1[c] = pRow2[c];
            pRow2[c] = pBelow1[c];
        };
        for (int x = 2; x <= nWidth - 3; ++x) {
            if (pCur[x] != 0) {
                bool bIsolated = true;
                for (int c = x - 2; c <= x + 2 && bIsolated; ++c)
                    bIsolated = pRow0[c] == 0 && pRow1[c] == 0;
                bIsolated = bIsolated && pBelow1[x - 2] == 0 && pBelow1[x - 1] == 0 &&
                            pBelow1[x + 1] == 0 && pBelow1[x + 2] == 0 && pBelow2[x - 2] == 0 &&
                            pBelow2[x - 1] == 0 && pBelow2[x + 1] == 0 && pBelow2[x + 2] == 0;
                if (bIsolated) pOut[x] = 0;
                if (bUseExclusion && pExclusion[nRow + static_cast<std::size_t>(x)] != 0)
                    pOut[x] = 0;
            }
            advance(x - 2);
        }
        // Each of the last two columns advances everything from x - 2 on, so
        // the last three columns move twice per row and the later rows see
        // rows y - 1 and y there in place of y - 2 and y - 1: intended.
        for (int x = nWidth - 2 > 2 ? nWidth - 2 : 2; x < nWidth; ++x)
            for (int c = x - 2; c < nWidth; ++c) advance(c);
    }
    return true;
}

}  // namespace zetdip::detail

#endif  // ZETDIP_CAD_FP_REMOVAL_H
