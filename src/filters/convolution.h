// The square-kernel convolution engine, one body for both sample types, and
// the sampled Gaussian kernel.
//
// Placement: for an interior sample (y, x) and dy, dx in -h..h (h = n / 2),
// the weight pKernel[(dy + h) * n + (dx + h)] multiplies the unfiltered
// sample at row y - dy, column x + dx: kernel row 0 lies on the row below,
// the last kernel row on the row above, columns run left to right. The sum
// is taken in double precision in kernel order; the output is
// sum / fDivisor + nOffset, clamped to 0..max and truncated toward zero.
// Rows 0..h-1, the last h rows and the h columns on either side are copied.
//
// Row store. The engine may write over its source (pDst == pSrc), so it keeps
// h + 1 rows of unfiltered samples: slot j stands for row y - h + j while row
// y is filtered. The taps of the rows above read slots 0..h-1, the taps left
// of the centre on row y read slot h, all other taps read the source, whose
// rows y + 1.. and the part of row y right of the samples already stored are
// still unfiltered. Between interior rows the store advances by one row.
//
// How it advances is the one behavioural difference between the depths:
//
// kUnfilteredRows (8-bit): slot j always holds row y - h + j exactly, and
// the filter is the plain convolution of the unfiltered image.
//
// kRefreshAtCentre (16-bit): after each interior sample (y, x) the store
// column x - h moves up one row as above, but the new sample of row y + 1 is
// written into the last slot at column x instead of column x - h; the right
// border columns advance normally. Worked out, an interior sample (y, x) of
// a w-wide image has these taps read (c = x + dx is the tap's column):
//  - dy < 0, and dy == 0 with dx >= 0: row y - dy, as in 8 bits;
//  - dy == 0, dx < 0: row y + 1 when c >= h (that sample was stored a moment
//    earlier); when c < h, row h if c < w - 2h, else row y;
//  - dy > 0 at columns h <= c < w - h: row y - dy + 1 once row y - dy is an
//    interior row (y - dy >= h), else row y - dy: each interior row replaces
//    the row before it in the store, so the rows above drift one row down;
//  - dy > 0 at columns c < h with c < w - 2h: row min(y - dy, h), as the last
//    slot of these columns is never refreshed;
//  - dy > 0 at the other columns: row y - dy.
// For a 3x3 kernel from the second interior row on, the row-above taps read
// row y itself (except columns 0 and w - 1) and the left tap reads row y + 1
// (row 1 at column 0). This rule is intended and reproduced exactly.
#ifndef ZETDIP_FILTERS_CONVOLUTION_H
#define ZETDIP_FILTERS_CONVOLUTION_H

#include <cstddef>
#include <cstring>
#include <memory>

#include "core/common.h"
#include "core/cpu.h"

namespace zetdip::detail {

// How the row store follows the rows from one interior row to the next.
enum class StoreAdvance {
    kUnfilteredRows,   // 8-bit engine: the store holds the unfiltered rows
    kRefreshAtCentre,  // 16-bit engine: the new row lands at the centre column
};

// Everything in which the engines of the two depths differ.
struct EngineDepth {
    int nMax;  // upper clamp: 255, or (1 << nBitsStored) - 1 in 16-bit arithmetic
    StoreAdvance eAdvance;
};

inline EngineDepth Engine8() {
    return {255, StoreAdvance::kUnfilteredRows};
}
inline EngineDepth Engine16(int nBitsStored) {
    return {MaxValue16(nBitsStored), StoreAdvance::kRefreshAtCentre};
}

namespace conv {

// Interior samples are produced in runs of this many, accumulated in a
// small stack buffer tap after tap, so the inner loops are plain
// element-wise loops that the compiler vectorizes.
constexpr int kRun = 256;

// Runs with at most this many non-zero taps (every 3x3 kernel) go through
// one kernel that adds all their taps per sample in registers and stores
// the samples, with an AVX2 path.
constexpr int kFusedTaps = 9;

// Fused runs whose weights are all whole numbers of at most this magnitude
// sum in int: nine such taps of 16-bit samples stay inside the int range.
constexpr double kMaxIntegerWeight = 3640.0;

// Up to three taps at a time, added in their order, so that the sums
// make fewer trips through the buffer.
template <class T>
struct PendingTaps {
    const T* pRows[3];
    double dWeights[3];
    int nCount = 0;

    void Add(double* pAcc, const T* pRow, double dWeight, int n) {
        pRows[nCount] = pRow;
        dWeights[nCount] = dWeight;
        if (++nCount == 3) Flush(pAcc, n);
    }

    void Flush(double* pAcc, int n) {
        const T* a = pRows[0];
        const T* b = pRows[1];
        const T* c = pRows[2];
        const double wa = dWeights[0], wb = dWeights[1], wc = dWeights[2];
        if (nCount == 3) {
            for (int i = 0; i < n; ++i)
                pAcc[i] =
                    ((pAcc[i] + wa * static_cast<double>(a[i])) + wb * static_cast<double>(b[i])) +
                    wc * static_cast<double>(c[i]);
        } else if (nCount == 2) {
            for (int i = 0; i < n; ++i)
                pAcc[i] =
                    (pAcc[i] + wa * static_cast<double>(a[i])) + wb * static_cast<double>(b[i]);
        } else if (nCount == 1) {
            for (int i = 0; i < n; ++i) pAcc[i] = pAcc[i] + wa * static_cast<double>(a[i]);
        }
        nCount = 0;
    }
};

template <class T>
inline T Clamped(double v, double dMax) {
    return v >= 0.0 ? (v > dMax ? static_cast<T>(dMax) : static_cast<T>(static_cast<int>(v)))
                    : T(0);
}

// sum / divisor + offset; below 0 (or NaN, whose truncation would leave 0
// in the low bits anyway) gives 0, above nMax gives nMax, else truncation.
template <class T>
inline void StoreRun(T* pOut, const double* pAcc, double dDivisor, double dOffset, double dMax,
                     int n) {
    if (dDivisor == 1.0) {
        // x / 1.0 is x for every double: the division can be left out.
        for (int i = 0; i < n; ++i) pOut[i] = Clamped<T>(pAcc[i] + dOffset, dMax);
    } else {
        for (int i = 0; i < n; ++i) pOut[i] = Clamped<T>(pAcc[i] / dDivisor + dOffset, dMax);
    }
}

template <class T>
inline void CopySamples(T* pDst, const T* pSrc, std::size_t n) {
    if (pDst != pSrc && n > 0) std::memmove(pDst, pSrc, n * sizeof(T));
}

// One run of n interior samples from nTaps <= kFusedTaps taps: for
// each i, 0.0 + w[0] * rows[0][i] + w[1] * rows[1][i] + ... added in tap
// order (as the buffer above does), then StoreRun. pOut may be one of the
// rows: every sample's taps are read before it is stored.
//
// With a plan whose sums are exact in any order, the vector path adds the
// samples of taps of equal weight first and multiplies once per weight.
struct TapPlan;
template <class T>
void FusedRun(T* pOut, const T* const* pRows, const double* pWeights, int nTaps, int n,
              double dDivisor, double dOffset, double dMax, VectorPath path = VectorPath::kAuto,
              const TapPlan* pPlan = nullptr);

// Sums whose tap order cannot matter: when every product of a weight and a
// sample, and every partial sum, is a whole multiple of the smallest ulp of
// the weights and stays below 2^53 of it, each double addition is exact, so
// the sum is the exact one in any order, and taps of equal weight may add
// their samples first. Worked out once per image.
struct TapPlan {
    bool bExactInAnyOrder = false;
    int nGroups = 0;
    int nGroupOf[kFusedTaps] = {};
    double dWeight[kFusedTaps] = {};
};

// Fills plan for the taps and samples up to dLargestSample; true when its
// sums are exact in any order.
bool PlanTaps(const double* pWeights, int nTaps, double dLargestSample, TapPlan& plan);

// The non-zero taps of a kernel in kernel order: which row each reads
// (kernel row, or -1 for the centre row left of the centre, which the
// engine reads from its store) and its column offset. A zero weight adds
// +-0 to a sum that starts at +0 and so is never -0: skipping the tap
// changes no sum. nCount above kFusedTaps: too many for the fused runs
// (only the first kFusedTaps are listed).
struct KernelTaps {
    int nCount = 0;
    int nRow[kFusedTaps] = {};
    int nDx[kFusedTaps] = {};
    double dWeight[kFusedTaps] = {};
    TapPlan plan;
};

KernelTaps CollectTaps(const float* pKernel, int nKernelSize, double dLargestSample);

}  // namespace conv

// The convolution engine (see the top of this file) one output row at a
// time, so that a caller can feed it rows as they are made: Start, then
// Row(0), Row(1), ... Row(nHeight - 1) in order. src(r) gives source row r;
// Row(y) reads rows y .. y + h (and rows 0 .. h on its first call), and its
// output may be src(y) itself. The kernel must outlive the engine. Extra
// memory: the (h + 1)-row store and a fixed stack buffer.
template <class T>
class ConvolutionRows {
public:
    enum class Mode { kNothing, kCopy, kFilter };

    // kNothing when nKernelSize is below 3 or even (an even size would read
    // past the kernel), when the image is empty, or when the row store cannot
    // be allocated: the engine writes nothing then. kCopy when the image has
    // fewer than nKernelSize rows or columns: no interior sample, every row
    // is copied (the store is not filled). Otherwise kFilter.
    Mode Start(const float* pKernel, int nKernelSize, float fDivisor, int nOffset, int nWidth,
               int nHeight, EngineDepth depth, VectorPath path = VectorPath::kAuto) {
        if (nKernelSize < 3 || nKernelSize % 2 == 0 || nWidth <= 0 || nHeight <= 0)
            return Mode::kNothing;
        m_h = nKernelSize / 2;
        m_nSlots = m_h + 1;
        m_store = NewScratch<T>(SampleCount(m_nSlots, nWidth));
        if (!m_store) return Mode::kNothing;
        m_pKernel = pKernel;
        m_nKernelSize = nKernelSize;
        m_nWidth = nWidth;
        m_nHeight = nHeight;
        m_w = static_cast<std::size_t>(nWidth);
        m_dDivisor = fDivisor == 0.0f ? 1.0 : static_cast<double>(fDivisor);
        m_dOffset = nOffset;
        m_dMax = depth.nMax;
        m_bRefreshAtCentre = depth.eAdvance == StoreAdvance::kRefreshAtCentre;
        m_path = path;
        m_taps = conv::CollectTaps(pKernel, nKernelSize, sizeof(T) == 1 ? 255.0 : 65535.0);
        m_nFirst = 0;
        m_mode = nWidth < nKernelSize || nHeight < nKernelSize ? Mode::kCopy : Mode::kFilter;
        return m_mode;
    }

    template <class Src>
    void Row(int y, Src src, T* pOut) {
        const int h = m_h;
        if (m_mode == Mode::kFilter && y == 0)
            for (int j = 0; j < m_nSlots; ++j) std::memcpy(Slot(j), src(j), m_w * sizeof(T));
        if (m_mode != Mode::kFilter || y < h || y > m_nHeight - h - 1) {
            conv::CopySamples(pOut, src(y), m_w);
            return;
        }
        const T* pNext = src(y + 1);
        const int xEnd = m_nWidth - h;  // interior columns h .. xEnd - 1
        // 16-bit rule: the samples of row y + 1 that the interior pass stores
        // at their own column are read by the left taps of later samples of
        // this row, so they may be stored before the row starts.
        if (m_bRefreshAtCentre)
            std::memcpy(Slot(h) + h, pNext + h, static_cast<std::size_t>(xEnd - h) * sizeof(T));

        // Rows below and the centre row from the centre rightwards come from
        // the source; rows above and the centre row's left part (kernel row
        // -1 in the tap list) come from the store.
        auto tapRow = [&](int ky) -> const T* {
            if (ky < 0) return Slot(h);
            const int dy = ky - h;
            return dy < 0 ? src(y - dy) : dy > 0 ? Slot(h - dy) : src(y);
        };
        const int nTaps = m_taps.nCount;
        if (nTaps <= conv::kFusedTaps) {
            const T* pRows[conv::kFusedTaps];
            for (int t = 0; t < nTaps; ++t) pRows[t] = tapRow(m_taps.nRow[t]) + h + m_taps.nDx[t];
            conv::FusedRun(pOut + h, pRows, m_taps.dWeight, nTaps, xEnd - h, m_dDivisor, m_dOffset,
                           m_dMax, m_path, &m_taps.plan);
        }
        double acc[conv::kRun];
        for (int x0 = h; x0 < xEnd && nTaps > conv::kFusedTaps; x0 += conv::kRun) {
            const int n = xEnd - x0 < conv::kRun ? xEnd - x0 : conv::kRun;
            for (int i = 0; i < n; ++i) acc[i] = 0.0;
            conv::PendingTaps<T> taps;
            for (int ky = 0; ky < m_nKernelSize; ++ky) {
                const T* pRow = tapRow(ky);
                const T* pLeft = ky == h ? Slot(h) : pRow;
                const float* pWeights = m_pKernel + static_cast<std::size_t>(ky) * m_nKernelSize;
                for (int kx = 0; kx < m_nKernelSize; ++kx) {
                    // A zero weight adds +-0 to a sum that starts at +0 and so is
                    // never -0: skipping the tap leaves every sum unchanged.
                    if (pWeights[kx] == 0.0f) continue;
                    const int dx = kx - h;
                    taps.Add(acc, (dx < 0 ? pLeft : pRow) + x0 + dx,
                             static_cast<double>(pWeights[kx]), n);
                }
            }
            taps.Flush(acc, n);
            conv::StoreRun(pOut + x0, acc, m_dDivisor, m_dOffset, m_dMax, n);
        }
        conv::CopySamples(pOut, src(y), static_cast<std::size_t>(h));
        conv::CopySamples(pOut + xEnd, src(y) + xEnd, static_cast<std::size_t>(h));

        if (y == m_nHeight - h - 1) return;  // no interior row follows
        // Advance: every slot moves up one row, the oldest becomes the last.
        m_nFirst = (m_nFirst + 1) % m_nSlots;
        if (m_bRefreshAtCentre) {
            // Columns shifted by the interior pass keep their last row, which
            // for interior columns already is row y + 1 (so row y is lost from
            // the store); the right border's 2h columns are refreshed.
            std::memcpy(Slot(h), Slot(h - 1), m_w * sizeof(T));
            const int c0 = m_nWidth - 2 * h;  // >= 1, as nWidth >= 2h + 1 here
            std::memcpy(Slot(h) + c0, pNext + c0,
                        static_cast<std::size_t>(m_nWidth - c0) * sizeof(T));
        } else {
            std::memcpy(Slot(h), pNext, m_w * sizeof(T));
        }
    }

private:
    // Slots form a ring: slot j is row (m_nFirst + j) % m_nSlots of the store.
    T* Slot(int j) const {
        return m_store.get() + static_cast<std::size_t>((m_nFirst + j) % m_nSlots) * m_w;
    }

    std::unique_ptr<T[]> m_store;
    const float* m_pKernel = nullptr;
    int m_nKernelSize = 0, m_h = 0, m_nSlots = 0, m_nWidth = 0, m_nHeight = 0, m_nFirst = 0;
    std::size_t m_w = 0;
    double m_dDivisor = 1.0, m_dOffset = 0.0, m_dMax = 0.0;
    bool m_bRefreshAtCentre = false;
    VectorPath m_path = VectorPath::kAuto;
    conv::KernelTaps m_taps;
    Mode m_mode = Mode::kNothing;
};

// The whole image through the engine. Writes nothing when the engine would
// not start (see ConvolutionRows::Start); pDst may be pSrc.
template <class T>
void Convolve(T* pDst, const float* pKernel, int nKernelSize, float fDivisor, int nOffset,
              const T* pSrc, int nWidth, int nHeight, EngineDepth depth,
              VectorPath path = VectorPath::kAuto) {
    ConvolutionRows<T> engine;
    const auto mode =
        engine.Start(pKernel, nKernelSize, fDivisor, nOffset, nWidth, nHeight, depth, path);
    const std::size_t w = static_cast<std::size_t>(nWidth);
    if (mode == ConvolutionRows<T>::Mode::kNothing) return;
    if (mode == ConvolutionRows<T>::Mode::kCopy) {
        conv::CopySamples(pDst, pSrc, w * static_cast<std::size_t>(nHeight));
        return;
    }
    auto src = [&](int y) { return pSrc + static_cast<std::size_t>(y) * w; };
    for (int y = 0; y < nHeight; ++y) engine.Row(y, src, pDst + static_cast<std::size_t>(y) * w);
}

// Gaussian kernel of nKernelSize^2 weights (see CDipFilters::CreateGaussianFilter).
float* CreateGaussianKernel(int nKernelSize, float fSigma, float& fSum);

}  // namespace zetdip::detail

#endif  // ZETDIP_FILTERS_CONVOLUTION_H
