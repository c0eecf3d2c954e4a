// Kernels of the line-structure searches, one body for both sample types.
// Both are fixed pipelines of the library's public entries.
#ifndef ZETDIP_CAD_LINE_SEARCH_H
#define ZETDIP_CAD_LINE_SEARCH_H

#include <algorithm>

#include "DipEnhancement.h"
#include "DipFilters.h"
#include "DipMorphMath.h"
#include "DipThickness.h"
#include "DipThresholding.h"
#include "core/common.h"

namespace zetdip::detail {

struct LineSearchDepth {
    int nBitsPerPixel;  // format passed to the public entries called
    int nBitsStored;
    int nLevel;                // scale of the gate and the erosion bound: 256, or 1 << nBitsStored
    int nTop;                  // start and scale of the diagonal loop: 255, or 1 << nBitsStored
    bool bClearsDstWhenGated;  // 16-bit: a refused gate leaves pDst all 0
};

// North-south search: gradient, three means, gate on the smoothed level,
// contrast manipulation, threshold at half the level, line erosions until
// the level repeats, four dilatations. The results of the called operations
// are not examined.
template <class T>
bool SearchLinesNorthSouth(T* pSrc, T* pDst, int nWidth, int nHeight, const LineSearchDepth& d) {
    // A negative side is taken as 0: the scratch holds no sample then, while
    // the entries called on it would count -5 x -5 as 25 samples.
    nWidth = std::max(nWidth, 0);
    nHeight = std::max(nHeight, 0);
    const std::size_t n = SampleCount(nWidth, nHeight);
    const int bpp = d.nBitsPerPixel, bits = d.nBitsStored;
    auto pGrad = NewScratch<T>(n);
    if (!pGrad) return false;
    CDipFilters::ApplyGradientNS(AsBytes(pSrc), AsBytes(pGrad.get()), bpp, bits, nWidth, nHeight);
    auto pWork = NewScratch<T>(n);
    if (!pWork) return false;
    unsigned char* pW = AsBytes(pWork.get());
    CDipFilters::ApplyMean(AsBytes(pGrad.get()), pW, bpp, bits, nWidth, nHeight);
    CDipFilters::ApplyMean(pW, pW, bpp, bits, nWidth, nHeight);
    CDipFilters::ApplyMean(pW, pW, bpp, bits, nWidth, nHeight);

    // A two-sample frame of the smoothed gradient is set to 0.
    T* pS = pWork.get();
    // An empty image has no rows to visit, however long its other side.
    const long long W = nWidth > 0 ? nWidth : 0, H = nHeight > 0 && W > 0 ? nHeight : 0;
    for (long long y = 0; y < H; ++y)
        for (long long x : {0LL, 1LL, W - 2, W - 1})
            if (x >= 0 && x < W) pS[y * W + x] = 0;
    for (long long y : {0LL, 1LL, H - 2, H - 1})
        if (y >= 0 && y < H) std::fill(pS + y * W, pS + y * W + W, T(0));

    int t = CDipThresholding::CalculateThresholding1(pW, bpp, bits, nWidth, nHeight);
    if (!(d.nLevel / 6.3 <= t && t <= d.nLevel / 5.6)) {
        // Only the 16-bit search clears pDst when the gate refuses (intended).
        if (d.bClearsDstWhenGated) std::fill(pDst, pDst + n, T(0));
        return false;
    }
    CDipEnhancement::ApplyContrastManip(AsBytes(pGrad.get()), pW, bpp, bits, nWidth, nHeight);
    pGrad.reset();
    t = CDipThresholding::CalculateThresholding1(pW, bpp, bits, nWidth, nHeight);
    CDipThresholding::ApplyThresholding(pW, pW, bpp, bits, nWidth, nHeight, t / 2);

    for (int nPrev = -1; t > d.nLevel / 14 && t != nPrev;) {
        CDipMorphMath::ApplyErosionLine(pW, pW, bpp, bits, nWidth, nHeight);
        nPrev = t;
        t = CDipThresholding::CalculateThresholding1(pW, bpp, bits, nWidth, nHeight);
    }
    for (int i = 0; i < 3; ++i) CDipMorphMath::ApplyDilatation(pW, pW, bpp, bits, nWidth, nHeight);
    CDipMorphMath::ApplyDilatation(pW, AsBytes(pDst), bpp, bits, nWidth, nHeight);
    return true;
}

// Diagonal (south-west to north-east) search inside the mask; its lines are
// added to pLines by union. A dilatation that reports false ends the search
// with false (the 8-bit dilatation always does so after its first run).
template <class T>
bool SearchLinesDiagonal(T* pSrc, T* pLines, T* pMask, int nWidth, int nHeight, double dPixelSize,
                         const LineSearchDepth& d) {
    // A negative side is taken as 0: the scratch holds no sample then, while
    // the entries called on it would count -5 x -5 as 25 samples.
    nWidth = std::max(nWidth, 0);
    nHeight = std::max(nHeight, 0);
    const std::size_t n = SampleCount(nWidth, nHeight);
    const int bpp = d.nBitsPerPixel, bits = d.nBitsStored;
    auto pWork = NewScratch<T>(n);
    if (!pWork) return false;
    T* pS = pWork.get();
    unsigned char* pW = AsBytes(pS);
    for (std::size_t i = 0; i < n; ++i) pS[i] = pMask[i] == 0 ? T(0) : pSrc[i];

    if (!CDipFilters::ApplyGradientSWNE(pW, pW, bpp, bits, nWidth, nHeight) ||
        !CDipEnhancement::ApplyContrastManip(pW, pW, bpp, bits, nWidth, nHeight))
        return false;
    int t = CDipThresholding::CalculateThresholding1(pW, bpp, bits, nWidth, nHeight);
    if (!CDipThresholding::ApplyThresholding(pW, pW, bpp, bits, nWidth, nHeight, t / 2))
        return false;

    // Side borders: nBorder columns on the left, one fewer on the right (intended).
    const int nBorder = WrapSub(1, TruncToInt(-5.0 / dPixelSize));
    const long long W = nWidth > 0 ? nWidth : 0, H = nHeight > 0 && W > 0 ? nHeight : 0;
    // The bounds are int arithmetic that wraps (a pixel size so small that
    // -5 / dPixelSize overflows clears every column), clipped to the row.
    const long long nLeftEnd = std::clamp<long long>(nBorder, 0, W);
    const long long nRightStart = std::clamp<long long>(WrapAdd(WrapSub(nWidth, nBorder), 1), 0, W);
    for (long long y = 0; y < H; ++y) {
        std::fill(pS + y * W, pS + y * W + nLeftEnd, T(0));
        std::fill(pS + y * W + nRightStart, pS + y * W + W, T(0));
    }

    // nBorder is at least 1 for a positive pixel size; 0 would only come from
    // a negative one and is taken as a bound of 0.
    const int nBound = nBorder != 0 ? d.nTop / nBorder : 0;
    for (int nPrev = d.nTop; t > nBound && t < nPrev;) {
        CDipMorphMath::ApplyErosionDiagSWNE(pW, pW, bpp, bits, nWidth, nHeight);
        nPrev = t;
        t = CDipThresholding::CalculateThresholding1(pW, bpp, bits, nWidth, nHeight);
    }
    for (int i = 0; i < 4; ++i)
        if (!CDipMorphMath::ApplyDilatation(pW, pW, bpp, bits, nWidth, nHeight)) return false;

    return CDipThickness::CreateUnionBetweenImages(AsBytes(pLines), pW, AsBytes(pLines), nWidth,
                                                   nHeight, bpp, bits, nWidth, nHeight, bpp, bits);
}

}  // namespace zetdip::detail

#endif  // ZETDIP_CAD_LINE_SEARCH_H
