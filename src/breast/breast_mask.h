// Kernel of the breast mask, one body for both sample types. The steps that
// differ between the depths come in as named fields and as two callables
// (smoothing and edge image), supplied by the class's variants.
#ifndef ZETDIP_BREAST_BREAST_MASK_H
#define ZETDIP_BREAST_BREAST_MASK_H

#include <algorithm>
#include <cstdint>

#include "DipMorphMath.h"
#include "DipThresholding.h"
#include "breast/side_detection.h"
#include "core/common.h"

namespace zetdip::detail {

template <class T>
struct BreastMaskDepth {
    int nBitsPerPixel;  // format passed to the public entries called
    int nBitsStored;
    T nFull;              // value of a pixel inside the mask
    T nFillNoSide;        // fill when no probe row decides the side
    int nSideLevel;       // background level of the side probes
    int nBackground;      // threshold separating breast from background
    int nEdgeThreshold;   // threshold of the edge image
    bool bWritesSide;     // a probe saying "right" sets bBreastOnRight
    bool bClearsTopBand;  // clear the top corner away from the breast
};

// Derived lengths: margins in pixels from 5 mm and 6.4 mm.
struct BreastMaskBounds {
    int nMargin, nRowFullLimit, nTop, nBottom, nScanRows;
    double dEdgeBand;
};

inline BreastMaskBounds MakeBreastMaskBounds(int nWidth, int nHeight, double dPixelSize) {
    BreastMaskBounds b;
    b.nMargin = TruncToInt(5.0 / dPixelSize);
    b.dEdgeBand = 6.4 / dPixelSize;
    b.nRowFullLimit = TruncToInt(nWidth - 6.4 / dPixelSize);
    b.nTop = nHeight / 10;
    b.nBottom = WrapMul(9, nHeight) / 10;
    b.nScanRows = WrapSub(nHeight, b.nMargin);
    return b;
}

// For each column x in [x0, x1) of a W-wide image whose pDst sample on row
// nRow + 1 is set: walks up from row nRow while pEdge is non-zero (stopping
// before row 0), setting pDst to nFull. The columns are independent, so they
// go up together, 64 at a time, row by row rather than down the stride.
template <class T>
void PatchUpward(const T* pEdge, T* pDst, long long W, long long nRow, long long x0, long long x1,
                 T nFull) {
    for (long long xa = x0; xa < x1; xa += 64) {
        const int nCount = static_cast<int>(std::min<long long>(64, x1 - xa));
        std::uint64_t active = 0;
        const T* pBelow = pDst + (nRow + 1) * W + xa;
        for (int i = 0; i < nCount; ++i)
            if (pBelow[i] != 0) active |= std::uint64_t{1} << i;
        for (long long y = nRow; y >= 1 && active != 0; --y) {
            const T* pE = pEdge + y * W + xa;
            T* pD = pDst + y * W + xa;
            for (std::uint64_t m = active; m != 0; m &= m - 1) {
                const int i = __builtin_ctzll(m);
                if (pE[i] != 0)
                    pD[i] = nFull;
                else
                    active &= ~(std::uint64_t{1} << i);
            }
        }
    }
}

template <class T, class SmoothFn, class EdgeFn>
bool BuildBreastMask(T* pSrc, T* pDst, int nWidth, int nHeight, bool& bBreastOnRight,
                     double dPixelSize, const BreastMaskDepth<T>& depth, SmoothFn smooth,
                     EdgeFn edgeImage) {
    const int W = nWidth > 0 ? nWidth : 0, H = nHeight > 0 ? nHeight : 0;
    auto at = [W](auto* p, long long y, long long x) -> auto& {
        return p[y * W + x];
    };

    // Stage 1: side probe at five rows; the first decided answer counts.
    const float fractions[] = {static_cast<float>(1.0 / 3.0), 0.5f, static_cast<float>(1.0 / 6.0),
                               static_cast<float>(2.0 / 3.0), static_cast<float>(5.0 / 6.0)};
    int nSide = -1;
    for (float f : fractions) {
        nSide = DetectSide(pSrc, nWidth, nHeight, f, depth.nSideLevel);
        if (nSide != -1) break;
    }
    if (nSide == -1) {
        std::fill(pDst, pDst + SampleCount(nWidth, nHeight), depth.nFillNoSide);
        return true;
    }
    if (depth.bWritesSide && nSide == 1) bBreastOnRight = true;  // never set back to false
    const bool bRight = bBreastOnRight;

    // Stage 2: background threshold into the work image.
    auto pWork = NewScratch<T>(SampleCount(nWidth, nHeight));
    if (!pWork) return false;
    T* pW = pWork.get();
    if (!CDipThresholding::ApplyThresholding(AsBytes(pSrc), AsBytes(pW), depth.nBitsPerPixel,
                                             depth.nBitsStored, nWidth, nHeight, depth.nBackground))
        return false;

    // Stages 3 and 5: smoothing, diagonal edge image, threshold at mid-scale.
    if (!smooth(pW)) return false;
    const BreastMaskBounds b = MakeBreastMaskBounds(nWidth, nHeight, dPixelSize);
    if (!edgeImage(pW, bRight)) return false;
    if (!CDipThresholding::ApplyThresholding(AsBytes(pW), AsBytes(pW), depth.nBitsPerPixel,
                                             depth.nBitsStored, nWidth, nHeight,
                                             depth.nEdgeThreshold))
        return false;

    // Stage 6: the run of edge-image pixels from the breast edge of each row.
    // A run that fills the whole row stops at the row's end: walking on into
    // the neighbouring row would rewrite that row with the values it gets anyway.
    for (long long y = 0; y < H; ++y) {
        if (!bRight) {
            long long x = 0;
            for (; x < W && at(pW, y, x) != 0; ++x) at(pDst, y, x) = depth.nFull;
            for (; x < W; ++x) at(pDst, y, x) = 0;
        } else {
            long long x = W - 1;
            for (; x >= 0 && at(pW, y, x) != 0; --x) at(pDst, y, x) = depth.nFull;
            for (; x >= 0; --x) at(pDst, y, x) = 0;
        }
    }

    // Stage 7: widest row between the top and bottom tenths, and widening by
    // the margin (one sample more on the right side, as intended).
    long long nBestX = bRight ? W - 1 : 0, nBestRow = 0;
    const long long nScanRows = std::min<long long>(b.nScanRows, H);
    for (long long y = 0; y < nScanRows; ++y) {
        const bool bMeasured = b.nTop < y && y < b.nBottom;
        if (!bRight) {
            long long x0 = 0;
            while (x0 < W && at(pDst, y, x0) != 0) ++x0;
            if (bMeasured && x0 > nBestX) nBestX = x0, nBestRow = y;
            const long long nEnd = std::min<long long>(W, x0 + static_cast<long long>(b.nMargin));
            for (long long x = x0; x < nEnd; ++x) at(pDst, y, x) = depth.nFull;
        } else {
            long long x0 = W - 1;
            for (; x0 >= 0 && at(pDst, y, x0) != 0; --x0)
                if (bMeasured && x0 < nBestX) nBestX = x0, nBestRow = y;
            const long long nEnd = std::max<long long>(0, x0 - static_cast<long long>(b.nMargin));
            for (long long x = x0; x >= nEnd && x >= 0; --x) at(pDst, y, x) = depth.nFull;
        }
    }

    // Stage 8: clear the rows below the bottom tenth, and on upward through
    // the first short row if none was met there. Stops at row 0.
    bool bShortSeen = false;
    for (long long y = H - 1; y >= 0 && (y > b.nBottom || !bShortSeen); --y) {
        long long nCount = 0;
        for (long long x = 0; x < W; ++x) {
            nCount += at(pDst, y, x) != 0;
            at(pDst, y, x) = 0;
        }
        if (nCount < b.nRowFullLimit) bShortSeen = true;
    }

    // Stage 9: the top corner on the side away from the breast.
    if (depth.bClearsTopBand) {
        const long long nBand = W / 10;
        for (long long y = std::min<long long>(b.nTop, H - 1); y >= 0; --y)
            for (long long x = bRight ? 0 : W - nBand; x < (bRight ? nBand : W); ++x)
                at(pDst, y, x) = 0;
    }

    // Stage 10: two line erosions. The erosion gives in place what it gives
    // into another buffer and keeps only a few rows of its own, so no second
    // image is needed; on failure pDst may be left partly eroded.
    for (int nPass = 0; nPass < 2; ++nPass)
        if (!CDipMorphMath::ApplyErosionLine(AsBytes(pDst), AsBytes(pDst), depth.nBitsPerPixel,
                                             depth.nBitsStored, nWidth, nHeight))
            return false;

    // Stage 11: patch upward from the widest row in the breast's columns
    // (row 0 is never written).
    if (nBestRow + 1 < H) {
        if (!bRight) {
            const long long nEnd = std::max(0LL, std::min<long long>(nBestX, b.nRowFullLimit));
            PatchUpward(pW, pDst, W, nBestRow, 0, nEnd, depth.nFull);
        } else {
            long long x = W - 1;
            while (x > nBestX && static_cast<double>(x) > b.dEdgeBand) --x;
            PatchUpward(pW, pDst, W, nBestRow, x + 1, W, depth.nFull);
        }
    }
    return true;
}

}  // namespace zetdip::detail

#endif  // ZETDIP_BREAST_BREAST_MASK_H
