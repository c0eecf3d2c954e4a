// Removal of isolated and excluded candidate pixels, one body for both
// sample types. The image is passed height first, as the entry takes it.
#ifndef ZETDIP_CAD_FP_REMOVAL_H
#define ZETDIP_CAD_FP_REMOVAL_H

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <memory>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/common.h"

namespace zetdip::detail {

#if defined(__SSE2__)
// The same for images of eight columns or more, a vector of samples at a
// time. The rolling copy keeps the rows as the sample loop leaves them: each
// row reads the copy as it stood when the row began (a column is advanced
// only after every test that reads it), then every column moves down one
// row, and the last three columns, advanced twice, hold rows y and y + 1.
template <class T>
bool RemoveFalsePositivesWide(const T* pExclusion, const T* pSrc, T* pDst, int nHeight, int nWidth,
                              bool bUseExclusion) {
    const std::size_t w = static_cast<std::size_t>(nWidth);
    std::unique_ptr<T[]> pRows = NewScratch<T>(SampleCount(3, nWidth));
    if (!pRows) return false;
    T* pRow[3] = {pRows.get(), pRows.get() + w, pRows.get() + 2 * w};
    for (int k = 0; k < 3 && k < nHeight; ++k)
        std::memcpy(pRow[k], pSrc + static_cast<std::size_t>(k) * w, w * sizeof(T));

    constexpr int kLanes = 16 / static_cast<int>(sizeof(T));
    const __m128i zero = _mm_setzero_si128();
    auto load = [](const T* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    auto isZero = [&zero](__m128i v) {
        return sizeof(T) == 1 ? _mm_cmpeq_epi8(v, zero) : _mm_cmpeq_epi16(v, zero);
    };
    for (int y = 0; y < nHeight; ++y) {
        const std::size_t nRow = static_cast<std::size_t>(y) * w;
        const T* const pCur = pSrc + nRow;
        T* const pOut = pDst + nRow;
        if (pOut != pCur) std::memmove(pOut, pCur, w * sizeof(T));
        if (y < 2 || y > nHeight - 3) continue;

        const T* const pB1 = pCur + w;
        const T* const pB2 = pB1 + w;
        const T* const pR0 = pRow[0];
        const T* const pR1 = pRow[1];
        const T* const pEx = bUseExclusion ? pExclusion + nRow : nullptr;  // may be null unused
        auto clearAt = [&](int x) {  // the sample rule at one column
            bool bIsolated = true;
            for (int c = x - 2; c <= x + 2; ++c)
                bIsolated = bIsolated && pR0[c] == 0 && pR1[c] == 0 &&
                            (c == x || (pB1[c] == 0 && pB2[c] == 0));
            return pCur[x] != 0 && (bIsolated || (bUseExclusion && pEx[x] != 0));
        };
        int x = 2;
        for (; x + kLanes - 1 <= nWidth - 3; x += kLanes) {
            __m128i any = _mm_or_si128(load(pR0 + x - 2), load(pR1 + x - 2));
            for (int c : {-1, 0, 1, 2})
                any = _mm_or_si128(any, _mm_or_si128(load(pR0 + x + c), load(pR1 + x + c)));
            for (int c : {-2, -1, 1, 2})
                any = _mm_or_si128(any, _mm_or_si128(load(pB1 + x + c), load(pB2 + x + c)));
            __m128i clear = isZero(any);
            if (bUseExclusion)
                clear = _mm_or_si128(
                    clear, _mm_andnot_si128(isZero(load(pEx + x)), _mm_cmpeq_epi8(zero, zero)));
            // A zero sample stays zero either way.
            _mm_storeu_si128(reinterpret_cast<__m128i*>(pOut + x),
                             _mm_andnot_si128(clear, load(pOut + x)));
        }
        for (; x <= nWidth - 3; ++x)
            if (clearAt(x)) pOut[x] = 0;

        // Every column down one row; the last three once more.
        T* const pOldest = pRow[0];
        pRow[0] = pRow[1];
        pRow[1] = pRow[2];
        pRow[2] = pOldest;
        std::memcpy(pRow[2], pB1, w * sizeof(T));
        for (std::size_t c = w - 3; c < w; ++c) {
            pRow[0][c] = pRow[1][c];
            pRow[1][c] = pB1[c];
        }
    }
    return true;
}
#endif

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
#if defined(__SSE2__)
    if (nWidth >= 8)
        return RemoveFalsePositivesWide(pExclusion, pSrc, pDst, nHeight, nWidth, bUseExclusion);
#endif
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
