// Kernels of the line-structure searches, one body for both sample types:
// fixed pipelines of the library's public entries, the erosion loops on bit planes.
#ifndef ZETDIP_CAD_LINE_SEARCH_H
#define ZETDIP_CAD_LINE_SEARCH_H

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "DipEnhancement.h"
#include "DipFilters.h"
#include "DipMorphMath.h"
#include "DipThickness.h"
#include "DipThresholding.h"
#include "core/common.h"
#include "morph/shaped.h"
#include "point/float_sum.h"
#include "point/thresholding.h"

namespace zetdip::detail {

struct LineSearchDepth {
    int nBitsPerPixel;  // format passed to the public entries called
    int nBitsStored;
    int nLevel;                // scale of the gate and the erosion bound: 256, or 1 << nBitsStored
    int nTop;                  // start and scale of the diagonal loop: 255, or 1 << nBitsStored
    bool bClearsDstWhenGated;  // 16-bit: a refused gate leaves pDst all 0
};

// A two-level image (0 and one bright value) as one bit per sample, in
// sample order, with a zero margin on both sides so that every neighbour
// fetch of an erosion stays inside the words.
class BitPlane {
public:
    // Null planes when the scratch is refused.
    BitPlane(long long nCount, long long nMargin)
        : m_nCount(nCount),
          m_nPad(nMargin / 64 + 2),
          m_nWords((nCount + 63) / 64 + 2 * m_nPad),
          m_p(NewScratch<std::uint64_t>(static_cast<std::size_t>(m_nWords))) {
        if (m_p) std::fill(m_p.get(), m_p.get() + m_nWords, std::uint64_t{0});
    }
    explicit operator bool() const { return m_p != nullptr; }
    // Word w of the samples (sample 64 w + k is bit k).
    std::uint64_t* Words() const { return m_p.get() + m_nPad; }
    long long WordCount() const { return (m_nCount + 63) / 64; }
    // The 64 samples from sample pos on, for every word w of a plane: pos =
    // 64 w + nOffset (the neighbours may lie in the margins).
    struct Shifted {
        long long q;
        int s;
    };
    static Shifted ShiftOf(long long nOffset) {
        return {nOffset >> 6, static_cast<int>(nOffset & 63)};  // floor, also when negative
    }
    std::uint64_t At(long long w, Shifted f) const {
        const std::uint64_t* p = Words() + w + f.q;
        // Two shifts for the high part keep s = 0 defined.
        return (p[0] >> f.s) | ((p[1] << 1) << (63 - f.s));
    }

private:
    long long m_nCount, m_nPad, m_nWords;
    std::unique_ptr<std::uint64_t[]> m_p;
};

// The erosions of the searches run on a two-level image with a 3x3 element
// of two members besides the centre. There the engine's rule reduces to: an
// interior sample stays bright when it, both members and the top-left
// corner (which seeds the engine's minimum) are all bright; the frame keeps
// its samples. The loop erodes and measures the level (Thresholding1) on
// bit planes, while go(t, nPrev) holds, and writes the image back once.
// Returns the last level. Images the planes cannot take go through the
// public entries.
template <class T, class Go>
int ErodeTwoLevelWhile(T* pS, int nWidth, int nHeight, const LineSearchDepth& d, const int* pSE,
                       bool (*erode)(unsigned char*, unsigned char*, int, int, int, int), int t,
                       int nPrev, Go go) {
    const int bpp = d.nBitsPerPixel, bits = d.nBitsStored;
    const long long W = nWidth, H = nHeight, n = W * H;
    const T nMax = sizeof(T) == 1 ? T(255) : MaxValue16(bits);
    bool bPlanes = go(t, nPrev) && W >= 3 && H >= 3 && n <= INT_MAX;
    BitPlane a(bPlanes ? n : 0, W + 1), b(bPlanes ? n : 0, W + 1), inner(bPlanes ? n : 0, W + 1);
    if (!a || !b || !inner) bPlanes = false;
    if (!bPlanes) {
        unsigned char* pW = AsBytes(pS);
        for (; go(t, nPrev);) {
            erode(pW, pW, bpp, bits, nWidth, nHeight);
            nPrev = t;
            t = CDipThresholding::CalculateThresholding1(pW, bpp, bits, nWidth, nHeight);
        }
        return t;
    }
    // Neighbour offsets in samples: element row r applies to image row y + 1 - r.
    long long off[2] = {0, 0};
    for (int k = 0, m = 0; k < 9 && m < 2; ++k)
        if (pSE[k] != 0 && k != 4) off[m++] = (1 - k / 3) * W + (k % 3 - 1);
    const long long nCorner = -W - 1;

    const long long nWords = a.WordCount();
    std::uint64_t* pA = a.Words();
    for (long long w = 0; w < nWords; ++w) {
        std::uint64_t mZero = 0, mUnused = 0;
        if (64 * w + 64 <= n) {
            EqualityMasks(pS + 64 * w, T(0), T(0), mZero, mUnused);
            pA[w] = ~mZero;
        } else {
            for (long long i = 64 * w; i < n; ++i)
                pA[w] |= static_cast<std::uint64_t>(pS[i] != 0) << (i - 64 * w);
        }
    }
    std::uint64_t* pInner = inner.Words();
    for (long long y = 1; y + 1 < H; ++y)
        for (long long i = y * W + 1; i < y * W + W - 1; ++i)
            pInner[i >> 6] |= std::uint64_t{1} << (i & 63);

    BitPlane* pIn = &a;
    BitPlane* pOut = &b;
    const BitPlane::Shifted fCorner = BitPlane::ShiftOf(nCorner), f0 = BitPlane::ShiftOf(off[0]),
                            f1 = BitPlane::ShiftOf(off[1]);
    for (; go(t, nPrev);) {
        const std::uint64_t* pI = pIn->Words();
        std::uint64_t* pO = pOut->Words();
        for (long long w = 0; w < nWords; ++w) {
            const std::uint64_t kept = pIn->At(w, fCorner) & pIn->At(w, f0) & pIn->At(w, f1);
            pO[w] = pI[w] & (kept | ~pInner[w]);
        }
        std::swap(pIn, pOut);
        nPrev = t;
        t = ThresholdFromDeviationOfBits(pIn->Words(), static_cast<int>(n), nMax);
    }
    // Back to samples eight at a time, from a table of the 256 bytes.
    T expand[256][8];
    for (int v = 0; v < 256; ++v)
        for (int k = 0; k < 8; ++k) expand[v][k] = ((v >> k) & 1) ? nMax : T(0);
    const std::uint64_t* pI = pIn->Words();
    long long i = 0;
    for (; i + 8 <= n; i += 8) {
        const auto byte = static_cast<unsigned>((pI[i >> 6] >> (i & 63)) & 0xffu);
        std::memcpy(pS + i, expand[byte], sizeof expand[0]);
    }
    for (; i < n; ++i) pS[i] = ((pI[i >> 6] >> (i & 63)) & 1u) ? nMax : T(0);
    return t;
}

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

    ErodeTwoLevelWhile(pS, nWidth, nHeight, d, kLineSE, CDipMorphMath::ApplyErosionLine, t, -1,
                       [&](int nT, int nPrev) { return nT > d.nLevel / 14 && nT != nPrev; });
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
    ErodeTwoLevelWhile(pS, nWidth, nHeight, d, kDiagSWNESE, CDipMorphMath::ApplyErosionDiagSWNE, t,
                       d.nTop, [&](int nT, int nPrev) { return nT > nBound && nT < nPrev; });
    for (int i = 0; i < 4; ++i)
        if (!CDipMorphMath::ApplyDilatation(pW, pW, bpp, bits, nWidth, nHeight)) return false;

    return CDipThickness::CreateUnionBetweenImages(AsBytes(pLines), pW, AsBytes(pLines), nWidth,
                                                   nHeight, bpp, bits, nWidth, nHeight, bpp, bits);
}

}  // namespace zetdip::detail

#endif  // ZETDIP_CAD_LINE_SEARCH_H
