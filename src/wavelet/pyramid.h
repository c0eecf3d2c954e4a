// Multi-level 2-D wavelet decomposition of an image into a coefficient image,
// reconstruction of chosen detail levels into a binary image, and the set
// difference of two images. One body per operation for both sample types.
#ifndef ZETDIP_WAVELET_PYRAMID_H
#define ZETDIP_WAVELET_PYRAMID_H

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>

#include "DipThresholding.h"
#include "core/common.h"
#include "wavelet/transform.h"

namespace zetdip::detail {

// The decomposition performs at most this many levels, and a level only when
// both sides of its band are at least kWaveletMinBand.
inline constexpr int kWaveletMaxLevels = 4;
inline constexpr int kWaveletMinBand = 16;

// Columns are gathered kColumnBlock at a time: neighbouring columns share
// cache lines and pages, so a block reads each line of the image once instead
// of once per column. With a full block of scratch, the columns of a run long
// enough go through the lane transforms straight from the image, kColumnBlock
// at a time and then kWaveletNarrowLanes at a time; the others run one at a
// time.
inline constexpr int kColumnBlock = kWaveletLanes;

struct ColumnScratch {
    std::unique_ptr<double[]> pData;
    int nColumns = 0;  // columns it holds, of nHeight values each
};

// Room for kColumnBlock columns, or for one when that much cannot be had;
// null only when one column cannot be allocated. nHeight must not be negative.
inline ColumnScratch NewColumnScratch(int nHeight) {
    const std::size_t n = static_cast<std::size_t>(nHeight);
    ColumnScratch s{NewScratch<double>(n * kColumnBlock), kColumnBlock};
    if (!s.pData) s = ColumnScratch{NewScratch<double>(n), 1};
    return s;
}

// Applies transform to the first nRun values (nRun <= the scratch's column
// height) of each column c < nColumns of a coefficient image. lanes(x,
// nStride, out, nLanes), when bLanes, does the same to nLanes columns at once
// into out (nRun rows of nLanes values, all written).
template <class Transform, class Lanes>
void TransformColumns(double* pCoef, int nWidth, int nColumns, int nRun,
                      const ColumnScratch& scratch, Transform transform, bool bLanes, Lanes lanes) {
    const std::size_t nStride = static_cast<std::size_t>(nWidth);
    double* pBlock = scratch.pData.get();
    int c0 = 0;
    if (bLanes && scratch.nColumns == kColumnBlock) {
        for (int nLanes : {kColumnBlock, kWaveletNarrowLanes}) {
            for (; c0 + nLanes <= nColumns; c0 += nLanes) {
                lanes(pCoef + c0, static_cast<std::ptrdiff_t>(nStride), pBlock, nLanes);
                for (int r = 0; r < nRun; ++r) {
                    const double* pRow = pBlock + static_cast<std::size_t>(r) * nLanes;
                    std::copy_n(pRow, nLanes, pCoef + r * nStride + c0);
                }
            }
        }
    }
    for (; c0 < nColumns; c0 += scratch.nColumns) {
        const int nBlock = std::min(scratch.nColumns, nColumns - c0);
        for (int r = 0; r < nRun; ++r) {
            const double* pIn = pCoef + r * nStride + c0;
            for (int i = 0; i < nBlock; ++i)
                pBlock[i * static_cast<std::size_t>(nRun) + r] = pIn[i];
        }
        for (int i = 0; i < nBlock; ++i) transform(pBlock + i * static_cast<std::size_t>(nRun));
        for (int r = 0; r < nRun; ++r) {
            double* pOut = pCoef + r * nStride + c0;
            for (int i = 0; i < nBlock; ++i)
                pOut[i] = pBlock[i * static_cast<std::size_t>(nRun) + r];
        }
    }
}

// In-place one-run transforms through a scratch run the caller holds (room
// for the run, whose length is not negative): the result of WaveletForward /
// WaveletInverse when their own scratch would be granted.
inline void ForwardThrough(double* pData, int nLength, int nOdd, double* pScratch) {
    WaveletForwardInto(pData, nLength, nOdd, pScratch);
    std::copy_n(pScratch, nLength, pData);
}
inline void InverseThrough(double* pData, int nLowCount, int nOdd, double* pScratch) {
    const auto nLength = static_cast<std::size_t>(2LL * nLowCount - nOdd);
    std::fill_n(pScratch, nLength, 0.0);
    WaveletInverseInto(pData, nLowCount, nOdd, pScratch);
    std::copy_n(pScratch, nLength, pData);
}

// Sets to 0 the coefficients of rows [r0, r1) and columns [c0, c1), both
// clipped to the image.
inline void ZeroBlock(double* pCoef, int nWidth, int nHeight, long long r0, long long r1,
                      long long c0, long long c1) {
    r0 = std::max(r0, 0LL);
    c0 = std::max(c0, 0LL);
    r1 = std::min<long long>(r1, nHeight);
    c1 = std::min<long long>(c1, nWidth);
    if (c0 >= c1) return;
    for (long long r = r0; r < r1; ++r)
        std::fill(pCoef + r * nWidth + c0, pCoef + r * nWidth + c1, 0.0);
}

// The first level's rows for the column transform: image row i converted
// to doubles and transformed along the row, made when first asked for and
// kept in a ring of kWaveletStreamRows rows (the column transform's window).
template <class T>
class FirstLevelRows final : public WaveletRowSource {
public:
    FirstLevelRows(const T* pSrc, int nWidth, int nOdd, double* pRing, double* pScratch)
        : m_pSrc(pSrc), m_nWidth(nWidth), m_nOdd(nOdd), m_pRing(pRing), m_pScratch(pScratch) {}

    const double* Row(int i) override {
        while (m_nLast < i) {
            ++m_nLast;
            std::copy_n(m_pSrc + static_cast<std::size_t>(m_nLast) * m_nWidth, m_nWidth,
                        m_pScratch);
            WaveletForwardInto(m_pScratch, m_nWidth, m_nOdd, Slot(m_nLast));
        }
        return Slot(i);
    }

private:
    double* Slot(int i) const {
        return m_pRing + static_cast<std::size_t>(i % kWaveletStreamRows) * m_nWidth;
    }

    const T* m_pSrc;
    int m_nWidth, m_nOdd;
    double* m_pRing;
    double* m_pScratch;
    int m_nLast = -1;
};

// Images at least this high take the first level as a stream (the column
// transform's window then fits the ring at both ends of the run).
inline constexpr int kStreamMinHeight = 32;

template <class T>
bool WaveletDecompose(const T* pSrc, double* pCoef, int nWidth, int nHeight, int& rLowWidth,
                      int& rLowHeight, int* pWidthOdd, int* pHeightOdd) {
    if (pWidthOdd == nullptr || pHeightOdd == nullptr) return false;
    // Every pixel becomes a coefficient as it is. When the first level runs
    // as a stream, its rows are converted as they are made instead.
    auto convert = [&] {
        const std::size_t nCount = SampleCount(nWidth, nHeight);
        for (std::size_t i = 0; i < nCount; ++i) pCoef[i] = pSrc[i];
    };

    // Rows are transformed in place in pCoef; columns go through one scratch.
    // A negative side is a scratch request no allocator grants.
    if (nWidth < 0 || nHeight < 0) {
        convert();
        return false;
    }
    // An empty image has no level to perform, however long its other side.
    if (nWidth == 0 || nHeight == 0) {
        rLowWidth = nWidth;
        rLowHeight = nHeight;
        return true;
    }
    // Rows go through the row scratch.
    const auto pRowScratch = NewScratch<double>(static_cast<std::size_t>(nWidth));
    const ColumnScratch columns = NewColumnScratch(nHeight);
    if (!pRowScratch || !columns.pData) {
        convert();
        return false;
    }
    // The first level's band is the whole image: from kStreamMinHeight rows
    // on, its rows are made as the column transform asks for them and its
    // results written once.
    std::unique_ptr<double[]> ring;
    if (nWidth >= kWaveletMinBand && nHeight >= kStreamMinHeight &&
        WaveletLanesFit(nHeight, nHeight % 2))
        ring = NewScratch<double>(SampleCount(kWaveletStreamRows, nWidth));
    if (!ring) convert();

    rLowWidth = nWidth;
    rLowHeight = nHeight;
    int& w = rLowWidth;
    int& h = rLowHeight;
    for (int k = 0; k < kWaveletMaxLevels; ++k) {
        if (h < kWaveletMinBand || w < kWaveletMinBand) break;
        // Only one variable passed for both sizes can make the band outgrow the image.
        if (w > nWidth || h > nHeight) break;
        pWidthOdd[k] = w % 2;
        pHeightOdd[k] = h % 2;
        const int nOdd = pHeightOdd[k];
        if (k == 0 && ring) {
            FirstLevelRows<T> rows(pSrc, nWidth, pWidthOdd[0], ring.get(), pRowScratch.get());
            WaveletForwardStream(rows, pCoef, nWidth, h, nOdd, nWidth);
            w = (w + 1) / 2;
            h = (h + 1) / 2;
            continue;
        }
        // The results of the 1-D transforms are ignored: a failed run stays as it was.
        for (int r = 0; r < h; ++r)
            ForwardThrough(pCoef + static_cast<std::size_t>(r) * nWidth, w, pWidthOdd[k],
                           pRowScratch.get());
        TransformColumns(
            pCoef, nWidth, w, h, columns, [&](double* p) { WaveletForward(p, h, nOdd); },
            WaveletLanesFit(h, nOdd),
            [&](const double* x, std::ptrdiff_t nStride, double* out, int nLanes) {
                WaveletForwardLanes(x, nStride, h, nOdd, out, VectorPath::kAuto, nLanes);
            });
        w = (w + 1) / 2;
        h = (h + 1) / 2;
    }
    return true;
}

// Per-depth parts of the reconstruction's output: how a coefficient becomes a
// sample (the low bits of (int)|value| are stored) and the thresholding call.
struct Reconstruction8 {
    using Sample = unsigned char;
    static constexpr int kBitsPerPixel = 8;
    static double Value(double dCoef, int) { return std::fabs(dCoef); }
    static int BitsStored(int) { return 8; }
    static int Threshold(int) { return 128; }
};

struct Reconstruction16 {
    using Sample = unsigned short;
    static constexpr int kBitsPerPixel = 16;
    // Scaled by 2^nBitsStored / 256 though the decomposition does not scale: intended.
    static double Value(double dCoef, int nBitsStored) {
        return std::fabs(dCoef * 0.00390625 * static_cast<double>(PowerOfTwo(nBitsStored)));
    }
    static int BitsStored(int nBitsStored) { return nBitsStored; }
    static int Threshold(int nBitsStored) { return PowerOfTwo(nBitsStored) / 2; }
};

// The low bits of (int)|value|, without clamping: 300 gives 44 in 8 bits.
template <class Out>
typename Out::Sample CoefficientSample(double dCoef, int nBitsStored) {
    const int v = TruncToInt(Out::Value(dCoef, nBitsStored));
    return static_cast<typename Out::Sample>(static_cast<unsigned>(v));
}

// Whether the inverse of nLowCount low values with parity nOdd, a run of
// 2 * nLowCount - nOdd values, fits in nCapacity values.
inline bool InverseFits(int nLowCount, int nOdd, int nCapacity) {
    const long long nRun = 2LL * nLowCount - nOdd;
    return nRun >= 0 && nRun <= nCapacity;
}

template <class Out>
bool WaveletReconstruct(double* pCoef, typename Out::Sample* pDst, int nBitsStored, int nWidth,
                        int nHeight, int nKeepLevelA, int nKeepLevelB, int nLowWidth,
                        int nLowHeight, const int* pWidthOdd, const int* pHeightOdd, int nLevels) {
    if (pWidthOdd == nullptr || pHeightOdd == nullptr) return false;
    if (nWidth < 0 || nHeight < 0) return false;  // the scratch request would fail
    // An empty image has no sample to rebuild, however long its other side.
    if (nWidth == 0 || nHeight == 0) return true;
    const auto pRowScratch = NewScratch<double>(static_cast<std::size_t>(nWidth));
    const ColumnScratch columns = NewColumnScratch(nHeight);
    if (!pRowScratch || !columns.pData) return false;

    // Sizes wrap like int arithmetic; runs that would not fit the image are
    // left untransformed rather than written past it.
    int w = nLowWidth;
    int h = nLowHeight;
    // nLevels <= 0 reconstructs no level (and nLevels - 1 would wrap at INT_MIN).
    const int nTopLevel = nLevels > 0 ? nLevels - 1 : -1;
    for (int k = nTopLevel; k >= 0; --k) {
        const int nOddW = pWidthOdd[k];
        const int nOddH = pHeightOdd[k];
        const int nW = WrapSub(WrapMul(2, w), nOddW);
        const int nH = WrapSub(WrapMul(2, h), nOddH);
        if (k == nTopLevel) ZeroBlock(pCoef, nWidth, nHeight, 0, h, 0, w);
        if (k != nKeepLevelA && k != nKeepLevelB) {
            // The stripes cross the whole image, finer levels included: intended.
            ZeroBlock(pCoef, nWidth, nHeight, h, nH, 0, nWidth);
            ZeroBlock(pCoef, nWidth, nHeight, 0, nHeight, w, nW);
        }
        if (InverseFits(h, nOddH, nHeight)) {
            TransformColumns(
                pCoef, nWidth, std::min(nW, nWidth), nH, columns,
                [&](double* p) { WaveletInverse(p, h, nOddH); }, WaveletInverseLanesFit(h, nOddH),
                [&](const double* in, std::ptrdiff_t nStride, double* out, int nLanes) {
                    WaveletInverseLanes(in, nStride, h, nOddH, out, VectorPath::kAuto, nLanes);
                });
        }
        if (InverseFits(w, nOddW, nWidth)) {
            const int nRows = std::min(nH, nHeight);
            for (int r = 0; r < nRows; ++r)
                InverseThrough(pCoef + static_cast<std::size_t>(r) * nWidth, w, nOddW,
                               pRowScratch.get());
        }
        w = nW;
        h = nH;
    }

    const std::size_t nCount = SampleCount(nWidth, nHeight);
    for (std::size_t i = 0; i < nCount; ++i)
        pDst[i] = CoefficientSample<Out>(pCoef[i], nBitsStored);
    unsigned char* pBytes = reinterpret_cast<unsigned char*>(pDst);
    CDipThresholding::ApplyThresholding(pBytes, pBytes, Out::kBitsPerPixel,
                                        Out::BitsStored(nBitsStored), nWidth, nHeight,
                                        Out::Threshold(nBitsStored));
    return true;
}

// Set difference A minus B over nCount samples.
template <class T>
void SubtractSet(const T* pSrcA, const T* pSrcB, T* pDst, int nCount) {
    for (int i = 0; i < nCount; ++i) pDst[i] = pSrcB[i] != 0 ? T(0) : pSrcA[i];
}

}  // namespace zetdip::detail

#endif  // ZETDIP_WAVELET_PYRAMID_H
