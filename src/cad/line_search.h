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
    int nMaxSample;            // the bright value of the thresholded image
};

// A two-level image (0 and one bright value) as one bit per sample, in
// sample order, with a zero margin on both sides so that every neighbour
// fetch of an erosion stays inside the words.
class BitPlane {
public:
    // Null planes when there is no sample or the scratch is refused.
    BitPlane(long long nCount, long long nMargin)
        : m_nCount(nCount),
          m_nPad(nMargin / 64 + 2),
          m_nWords((nCount + 63) / 64 + 2 * m_nPad),
          m_p(nCount > 0 ? NewScratch<std::uint64_t>(static_cast<std::size_t>(m_nWords))
                         : nullptr) {
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

// The searches erode and dilate a two-level image (0 and nMax) with 3x3
// elements of two members besides the centre. There the engine's rule
// reduces to bit logic: an interior sample stays bright under erosion when
// it, both members and the top-left corner (which seeds the engine's
// extreme) are all bright, and turns bright under dilation when any of them
// is; the frame keeps its samples. So the image is held as bit planes for
// the loop and written back once. A false object (too small an image, or
// scratch refused) leaves the work to the public entries.
template <class T>
class TwoLevelImage {
public:
    TwoLevelImage(const T* pS, int nWidth, int nHeight, T nMax)
        : m_nWidth(nWidth),
          m_nCount(static_cast<long long>(nWidth) * nHeight),
          m_nMax(nMax),
          m_bUsable(nWidth >= 3 && nHeight >= 3 && m_nCount <= INT_MAX),
          m_a(m_bUsable ? m_nCount : 0, m_bUsable ? nWidth + 1LL : 0),
          m_b(m_bUsable ? m_nCount : 0, m_bUsable ? nWidth + 1LL : 0),
          m_inner(m_bUsable ? m_nCount : 0, m_bUsable ? nWidth + 1LL : 0) {
        m_bUsable = m_bUsable && m_a && m_b && m_inner;
        if (!m_bUsable) return;
        const long long W = nWidth, n = m_nCount;
        std::uint64_t* pA = m_a.Words();
        for (long long w = 0; w < m_a.WordCount(); ++w) {
            std::uint64_t mZero = 0, mUnused = 0;
            if (64 * w + 64 <= n) {
                EqualityMasks(pS + 64 * w, T(0), T(0), mZero, mUnused);
                pA[w] = ~mZero;
            } else {
                for (long long i = 64 * w; i < n; ++i)
                    pA[w] |= static_cast<std::uint64_t>(pS[i] != 0) << (i - 64 * w);
            }
        }
        std::uint64_t* pInner = m_inner.Words();
        // Bits y W + 1 .. y W + W - 2 of each inner row, a word at a time.
        for (long long y = 1; y + 1 < nHeight; ++y) {
            for (long long i = y * W + 1, nEnd = y * W + W - 1; i < nEnd;) {
                const long long nBits = std::min(64 - (i & 63), nEnd - i);
                const std::uint64_t ones =
                    nBits == 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << nBits) - 1;
                pInner[i >> 6] |= ones << (i & 63);
                i += nBits;
            }
        }
    }
    explicit operator bool() const { return m_bUsable; }

    // One pass of the erosion (bErode) or dilation engine with element pSE.
    void Pass(const int* pSE, bool bErode) {
        // Offsets in samples: element row r applies to image row y + 1 - r.
        long long off[2] = {0, 0};
        for (int k = 0, m = 0; k < 9 && m < 2; ++k)
            if (pSE[k] != 0 && k != 4) off[m++] = (1 - k / 3) * m_nWidth + (k % 3 - 1);
        const BitPlane::Shifted fCorner = BitPlane::ShiftOf(-m_nWidth - 1),
                                f0 = BitPlane::ShiftOf(off[0]), f1 = BitPlane::ShiftOf(off[1]);
        const std::uint64_t* pI = m_a.Words();
        const std::uint64_t* pInner = m_inner.Words();
        std::uint64_t* pO = m_b.Words();
        const long long nWords = m_a.WordCount();
        if (bErode) {
            for (long long w = 0; w < nWords; ++w)
                pO[w] = pI[w] & ((m_a.At(w, fCorner) & m_a.At(w, f0) & m_a.At(w, f1)) | ~pInner[w]);
        } else {
            for (long long w = 0; w < nWords; ++w)
                pO[w] = pI[w] | ((m_a.At(w, fCorner) | m_a.At(w, f0) | m_a.At(w, f1)) & pInner[w]);
        }
        std::swap(m_a, m_b);
    }
    // The dilatation: its four quarter passes.
    void Dilatation() {
        for (const int* pSE : kQuarterSE) Pass(pSE, false);
    }
    // The image's Thresholding1 level.
    int Level() const {
        return ThresholdFromDeviationOfBits(m_a.Words(), static_cast<int>(m_nCount), m_nMax);
    }
    void Store(T* pDst) const {
        // Eight samples at a time, from a table of the 256 bytes.
        T expand[256][8];
        for (int v = 0; v < 256; ++v)
            for (int k = 0; k < 8; ++k) expand[v][k] = ((v >> k) & 1) ? m_nMax : T(0);
        const std::uint64_t* pI = m_a.Words();
        long long i = 0;
        for (; i + 8 <= m_nCount; i += 8) {
            const auto byte = static_cast<unsigned>((pI[i >> 6] >> (i & 63)) & 0xffu);
            std::memcpy(pDst + i, expand[byte], sizeof expand[0]);
        }
        for (; i < m_nCount; ++i) pDst[i] = ((pI[i >> 6] >> (i & 63)) & 1u) ? m_nMax : T(0);
    }

private:
    long long m_nWidth, m_nCount;
    T m_nMax;
    bool m_bUsable;
    BitPlane m_a, m_b, m_inner;  // the image, the next pass, the interior
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

    auto go = [&](int nT, int nPrev) { return nT > d.nLevel / 14 && nT != nPrev; };
    if (TwoLevelImage<T> image(pS, nWidth, nHeight, static_cast<T>(d.nMaxSample)); image) {
        for (int nPrev = -1; go(t, nPrev);) {
            image.Pass(kLineSE, true);
            nPrev = t;
            t = image.Level();
        }
        for (int i = 0; i < 4; ++i) image.Dilatation();
        image.Store(pDst);
        return true;
    }
    for (int nPrev = -1; go(t, nPrev);) {
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
    auto go = [&](int nT, int nPrev) { return nT > nBound && nT < nPrev; };
    if (TwoLevelImage<T> image(pS, nWidth, nHeight, static_cast<T>(d.nMaxSample)); image) {
        for (int nPrev = d.nTop; go(t, nPrev);) {
            image.Pass(kDiagSWNESE, true);
            nPrev = t;
            t = image.Level();
        }
        // The 8-bit dilatation reports false after its first run, which ends
        // the search with only the scratch written.
        if (DilatationReport<T>::kLastPassInverted) return false;
        for (int i = 0; i < 4; ++i) image.Dilatation();
        image.Store(pS);
    } else {
        for (int nPrev = d.nTop; go(t, nPrev);) {
            CDipMorphMath::ApplyErosionDiagSWNE(pW, pW, bpp, bits, nWidth, nHeight);
            nPrev = t;
            t = CDipThresholding::CalculateThresholding1(pW, bpp, bits, nWidth, nHeight);
        }
        for (int i = 0; i < 4; ++i)
            if (!CDipMorphMath::ApplyDilatation(pW, pW, bpp, bits, nWidth, nHeight)) return false;
    }

    return CDipThickness::CreateUnionBetweenImages(AsBytes(pLines), pW, AsBytes(pLines), nWidth,
                                                   nHeight, bpp, bits, nWidth, nHeight, bpp, bits);
}

}  // namespace zetdip::detail

#endif  // ZETDIP_CAD_LINE_SEARCH_H
