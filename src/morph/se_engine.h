// Grey-level erosion and dilation with a structuring element under the
// conditional rank rule, one body for both sample types and both operations.
//
// The rule at an interior pixel (x, y) with centre value Vc: the running
// extreme starts at the top-left corner of the neighbourhood (member or not);
// every member neighbour V is counted when it lies on the operation's side of
// Vc (erosion V <= Vc, dilation V >= Vc) and replaces the extreme when it is
// beyond it; the pixel takes the extreme when the count equals nSECount - 1
// and keeps Vc otherwise. Row offsets dy run over the half-width and column
// offsets dx over the half-height, the element is read at
// (hA - dy) * nSEWidth + dx + hB (flipped top to bottom), and the pixels
// above and to the left come from a row cache that is advanced column by
// column and, at the right border, over-advanced. Both the image and the
// cache are flat row-major buffers of nWidth samples a row, so a neighbour
// column outside the image (elements taller than wide) is read from the
// neighbouring row of the same buffer.
//
// The cache is not simulated pixel by pixel here. Which source row each
// cache cell holds is known in closed form (CachedRow), and every cell holds
// an unmodified source row between y - hA and y + 1, so the engine keeps the
// hA + 1 original rows y - hA .. y (the same memory as the cache) and reads
// them through that mapping. Wherever the mapping is the plain one (all of
// a row for 3-wide elements) a blocked loop computes 256 pixels at a time;
// the pixels outside it (the right-border columns of wider elements) read
// through cells resolved once per image once the mapping no longer depends
// on the row (BorderCells).
#ifndef ZETDIP_MORPH_SE_ENGINE_H
#define ZETDIP_MORPH_SE_ENGINE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "core/common.h"
#include "core/cpu.h"

namespace zetdip::detail {

// The comparisons that tell erosion from dilation.
struct ErodeOp {
    static constexpr bool kMinimum = true;  // the extreme is the minimum
    // A neighbour counts when it is not brighter than the centre.
    template <class T>
    static bool Qualifies(T v, T vc) {
        return v <= vc;
    }
    // Strict: the first of equal values stays, which cannot change the value.
    template <class T>
    static T Extreme(T e, T v) {
        return v < e ? v : e;
    }
    // The neighbour least likely to qualify.
    template <class T>
    static T Opposite(T a, T b) {
        return a > b ? a : b;
    }
};

struct DilateOp {
    static constexpr bool kMinimum = false;
    template <class T>
    static bool Qualifies(T v, T vc) {
        return v >= vc;
    }
    template <class T>
    static T Extreme(T e, T v) {
        return v > e ? v : e;
    }
    template <class T>
    static T Opposite(T a, T b) {
        return a < b ? a : b;
    }
};

// kGeneralOnly computes every interior pixel through the per-pixel cache
// mapping; tests use it to check the blocked loop against it.
enum class EnginePath { kBlocked, kGeneralOnly };

// Geometry of one engine run and the mapping from cache cells to source rows.
struct SeGeometry {
    const int* pSE;
    long long nSESize;  // nSEHeight * nSEWidth ints
    int nSEWidth;
    int hA;  // half-height: bounds dx, and the cache holds hA + 1 rows
    int hB;  // half-width: bounds dy and the left/right borders
    // dy runs over [-nRowReach, nRowReach] = min(hA, hB): for elements wider
    // than tall the row offsets beyond the half-height fall outside the
    // element (see Member), so they are not visited.
    int nRowReach;
    int nWidth;
    const int* pOverAdvanced = nullptr;  // see TabulateOverAdvanced; null: divide
    // The member offsets (dy, dx) in visiting order, centre left out, so
    // that a border pixel visits only them; null: test every offset.
    const int* pMembers = nullptr;
    int nMemberCount = 0;

    // Element value at the flat index (hA - dy) * nSEWidth + dx + hB, which
    // may run into the neighbouring element row as the index says. Indices
    // outside 0 .. nSEHeight * nSEWidth - 1 (even sizes, elements wider than
    // tall, nSEWidth = 0) count as non-members (chosen: the one reading that
    // stays inside the element).
    bool Member(int dy, int dx) const {
        const long long i = static_cast<long long>(hA - dy) * nSEWidth + dx + hB;
        return i >= 0 && i < nSESize && pSE[i] != 0;
    }

    // Source row held by cache row r at column c while interior pixel x of
    // row y is processed. Columns up to nWidth - 2 hB - 1 are advanced once
    // per row, by the interior pixel c + hB, so those left of x - hB already
    // hold the next row. Column c further right is advanced k times at the
    // right border of every interior row; starting from row r at the first
    // interior row, k advances per row leave row y - (hA - r) / k once enough
    // rows have passed.
    int CachedRow(int r, int c, int x, int y) const {
        if (c <= nWidth - 2 * hB - 1) return y - hA + r + (c < x - hB ? 1 : 0);
        const int k = std::min(hB, c - nWidth + 2 * hB + 1);
        const int j = pOverAdvanced != nullptr
                          ? pOverAdvanced[static_cast<std::size_t>(r) * (2 * hB) +
                                          static_cast<std::size_t>(c - nWidth + 2 * hB)]
                          : (hA - r) / k;
        return y - hA > j ? y - j : r + (y - hA) * k;
    }

    // (hA - r) / k of CachedRow for every cache row r and over-advanced
    // column, row-major by r over the 2 hB columns from nWidth - 2 hB: the
    // border pixels read them for every member, and a division each is
    // most of their cost. pTable holds (hA + 1) * 2 hB ints.
    void TabulateOverAdvanced(int* pTable) {
        for (int r = 0; r <= hA; ++r)
            for (int i = 0; i < 2 * hB; ++i)
                pTable[static_cast<std::size_t>(r) * (2 * hB) + static_cast<std::size_t>(i)] =
                    (hA - r) / std::min(hB, i + 1);
        pOverAdvanced = pTable;
    }

    // Row and column of the flat index r * nWidth + c, for a column c that
    // may lie up to hA outside the row: the previous row's last samples for
    // c < 0, the next row's first ones for c >= nWidth.
    void ToCell(int& r, long long c, int& nCol) const {
        if (c >= 0 && c < nWidth) {
            nCol = static_cast<int>(c);
            return;
        }
        const long long q = c < 0 ? -((nWidth - 1 - c) / nWidth) : c / nWidth;  // floor
        r = static_cast<int>(r + q);
        nCol = static_cast<int>(c - q * nWidth);
    }

    // The source row and column that interior pixel x of row y reads for
    // member (dy, dx) (see RankRuleAt); false when the read is skipped.
    bool Resolve(int dy, int dx, int x, int y, int& r, int& nCol) const {
        const bool bFromCache = dy < 0 || (dy == 0 && dx < 0);
        r = bFromCache ? hA + dy : y + dy;
        ToCell(r, static_cast<long long>(x) + dx, nCol);
        if (bFromCache) {
            if (r > hA) return false;  // past the end of the cache, see RankRuleAt
            r = CachedRow(r, nCol, x, y);
        }
        return true;
    }
};

// Unmodified source rows: rows y - hA .. y from the ring when the scan
// writes into its own source, every other row straight from the source
// (rows below y are not written yet).
template <class T>
struct OriginalRows {
    const T* pSrc;
    const T* pRing;  // hA + 1 rows, row r in slot r % (hA + 1); null when not in place
    std::size_t nStride;
    int nSlots;
    int y;  // current row

    const T* Row(int r) const {
        if (pRing != nullptr && r <= y)
            return pRing + static_cast<std::size_t>(r % nSlots) * nStride;
        return pSrc + static_cast<std::size_t>(r) * nStride;
    }
};

// One interior pixel through the general cache mapping, reading every
// neighbour at its flat index: the source at (y + dy) * nWidth + x + dx and
// the cache at (hA + dy) * nWidth + x + dx, the latter resolved to the cell
// (row, column) it names and then to the source row that cell holds. With
// hA <= y <= nHeight - hA - 1, hB <= x <= nWidth - hB - 1, |dx| <= hA and
// |dy| <= min(hA, hB) (a column can leave the image only when hA > hB):
// - source, dy >= 1: the index is at least (y + 1) * nWidth + hB - hA, so on
//   row y - hA + 1 or below, and at most
//   nHeight * nWidth - 1 - (hA - hB) * (nWidth - 1), inside the image; with
//   dy = 0, dx > 0 it lies after the centre and below that bound. Rows up to
//   y come from the saved originals, so in place a read that wraps back to a
//   pixel already written (nWidth < hA) still sees the source value;
// - cache, dy <= 0: the index is at least (hA - hB) * (nWidth - 1) >= 0; with
//   dy = 0, dx < 0 it lies before hA * nWidth + nWidth; with dy <= -1 it is
//   at most hA * nWidth + hA - hB - 1, which passes the end of the
//   (hA + 1) * nWidth cache only when nWidth <= hA - hB - 1 (elements of ten
//   or more rows on narrow images, e.g. 11x3 on a 3-wide one). Such reads
//   are skipped (chosen: there is no value to read), as for element indices
//   outside the element.
template <class Op, class T>
T RankRuleAt(const SeGeometry& g, const OriginalRows<T>& rows, int x, int nNeed) {
    const int y = rows.y;
    const T vc = rows.Row(y)[x];
    T e = rows.Row(y - g.hA)[x - g.hB];  // corner seed, member or not (intended)
    int k = 0;
    auto visit = [&](int dy, int dx) {
        int r = 0, c = 0;
        if (!g.Resolve(dy, dx, x, y, r, c)) return;
        const T v = rows.Row(r)[c];
        k += Op::Qualifies(v, vc) ? 1 : 0;
        e = Op::Extreme(e, v);
    };
    if (g.pMembers != nullptr) {
        for (int i = 0; i < g.nMemberCount; ++i) visit(g.pMembers[2 * i], g.pMembers[2 * i + 1]);
    } else {
        for (int dy = g.nRowReach; dy >= -g.nRowReach; --dy)
            for (int dx = -g.hA; dx <= g.hA; ++dx)
                if (!(dy == 0 && dx == 0) && g.Member(dy, dx)) visit(dy, dx);
    }
    return k == nNeed ? e : vc;
}

// Interior pixels xLo..xHi whose cache cells all follow the plain mapping
// (row y + dy, or y + dy + 1 for cells already advanced in this row), 256 at
// a time. C counts the qualifying neighbours; it holds the member count.
template <class Op, class T, class C>
void RankRuleBlocked(const SeGeometry& g, const OriginalRows<T>& rows, int xLo, int xHi, T* pOut,
                     int nNeed) {
    constexpr int kBlock = 256;
    const int y = rows.y;
    const T* pCentre = rows.Row(y);
    const T* pSeed = rows.Row(y - g.hA);
    const C need = static_cast<C>(nNeed);
    T e[kBlock];
    C k[kBlock];
    for (int x0 = xLo; x0 <= xHi; x0 += kBlock) {
        const int n = std::min(kBlock, xHi - x0 + 1);
        const T* vc = pCentre + x0;
        for (int i = 0; i < n; ++i) {
            e[i] = pSeed[x0 - g.hB + i];
            k[i] = 0;
        }
        for (int dy = g.nRowReach; dy >= -g.nRowReach; --dy) {
            for (int dx = -g.hA; dx <= g.hA; ++dx) {
                if ((dy == 0 && dx == 0) || !g.Member(dy, dx)) continue;
                const bool bFromCache = dy < 0 || (dy == 0 && dx < 0);
                const int r = y + dy + (bFromCache && dx < -g.hB ? 1 : 0);
                const T* p = rows.Row(r) + x0 + dx;
                for (int i = 0; i < n; ++i) {
                    const T v = p[i];
                    k[i] = static_cast<C>(k[i] + (Op::Qualifies(v, vc[i]) ? 1 : 0));
                    e[i] = Op::Extreme(e[i], v);
                }
            }
        }
        T* out = pOut + x0;
        for (int i = 0; i < n; ++i) {
            const T extreme = e[i], centre = vc[i];  // both loaded: a branch-free select
            out[i] = k[i] == need ? extreme : centre;
        }
    }
}

// The blocked span for an element of two neighbours (the shaped 3x3
// elements) when both must qualify (nNeed == 2): the count equals 2 exactly
// when the less qualifying of the two does, so no counting is needed, and
// the whole rule runs in one pass over the row.
//
// The row goes one vector register of samples at a time (GCC vector types,
// each lane the scalar operation), and ends with one vector that finishes
// at xHi: the rows read are never the output row, so the pixels written
// twice come out the same. Rows shorter than a vector take the sample loop.
template <class Op, class T>
ZETDIP_ALWAYS_INLINE void TwoMemberRange(const T* pCentre, const T* pSeed, int nSeed, const T* pA,
                                         int nA, const T* pB, int nB, int xLo, int xHi, T* pOut) {
    for (int x = xLo; x <= xHi; ++x) {
        const T vc = pCentre[x], a = pA[x + nA], b = pB[x + nB];
        const T e = Op::Extreme(Op::Extreme(pSeed[x + nSeed], a), b);
        pOut[x] = Op::Qualifies(Op::Opposite(a, b), vc) ? e : vc;
    }
}

template <class Op, class T, int kBytes>
ZETDIP_ALWAYS_INLINE void TwoMemberVector(const T* pCentre, const T* pSeed, const T* pA,
                                          const T* pB, T* pOut) {
    using V [[gnu::vector_size(kBytes)]] = T;
    V vc, a, b, seed;
    std::memcpy(&vc, pCentre, kBytes);
    std::memcpy(&a, pA, kBytes);
    std::memcpy(&b, pB, kBytes);
    std::memcpy(&seed, pSeed, kBytes);
#if defined(__GNUC__) && !defined(__clang__) && defined(__x86_64__)
    // Each used twice: held in registers, not read again from memory for
    // the second use, since loads are what bounds this loop. (Clang checks
    // the operand size against the file's baseline, without AVX.)
    __asm__("" : "+x"(vc), "+x"(a), "+x"(b));
#endif
    // Op's comparisons written out on vectors (a call would pass them
    // through an ABI that differs with and without AVX).
    const V lo = a < b ? a : b, hi = a < b ? b : a;
    V out;
    if constexpr (Op::kMinimum) {
        const V e = seed < lo ? seed : lo;
        out = hi <= vc ? e : vc;
    } else {
        const V e = seed > hi ? seed : hi;
        out = lo >= vc ? e : vc;
    }
    std::memcpy(pOut, &out, kBytes);
}

template <class Op, class T, int kBytes>
ZETDIP_ALWAYS_INLINE void TwoMemberLoop(const T* pCentre, const T* pSeed, int nSeed, const T* pA,
                                        int nA, const T* pB, int nB, int xLo, int xHi, T* pOut) {
    constexpr int kLanes = kBytes / static_cast<int>(sizeof(T));
    if (xHi - xLo + 1 < kLanes)
        return TwoMemberRange<Op>(pCentre, pSeed, nSeed, pA, nA, pB, nB, xLo, xHi, pOut);
    auto vector = [&](int x) {
        TwoMemberVector<Op, T, kBytes>(pCentre + x, pSeed + (x + nSeed), pA + (x + nA),
                                       pB + (x + nB), pOut + x);
    };
    // One vector at xLo, then stores aligned to the vector size: a row's
    // pixels need not start on a boundary, and a split store costs more.
    vector(xLo);
    const std::size_t nMisalign = reinterpret_cast<std::uintptr_t>(pOut + xLo) % kBytes;
    int x = xLo + static_cast<int>((kBytes - nMisalign) % kBytes / sizeof(T));
    if (x == xLo) x += kLanes;
    for (; x + kLanes - 1 <= xHi; x += kLanes) vector(x);
    if (x <= xHi) vector(xHi - kLanes + 1);
}

template <class Op, class T>
void TwoMemberLoopBaseline(const T* pCentre, const T* pSeed, int nSeed, const T* pA, int nA,
                           const T* pB, int nB, int xLo, int xHi, T* pOut) {
    TwoMemberLoop<Op, T, 16>(pCentre, pSeed, nSeed, pA, nA, pB, nB, xLo, xHi, pOut);
}

#if ZETDIP_HAS_AVX2_PATH
template <class Op, class T>
ZETDIP_TARGET_AVX2 void TwoMemberLoopAvx2(const T* pCentre, const T* pSeed, int nSeed, const T* pA,
                                          int nA, const T* pB, int nB, int xLo, int xHi, T* pOut) {
    TwoMemberLoop<Op, T, 32>(pCentre, pSeed, nSeed, pA, nA, pB, nB, xLo, xHi, pOut);
}
#endif

template <class Op, class T>
void TwoMemberBlocked(const SeGeometry& g, const OriginalRows<T>& rows, int xLo, int xHi, T* pOut,
                      VectorPath vector) {
    const T* pRow[2] = {nullptr, nullptr};
    int nDx[2] = {0, 0};
    int m = 0;
    const int y = rows.y;
    for (int dy = g.nRowReach; dy >= -g.nRowReach; --dy)
        for (int dx = -g.hA; dx <= g.hA; ++dx) {
            if ((dy == 0 && dx == 0) || !g.Member(dy, dx)) continue;
            const bool bFromCache = dy < 0 || (dy == 0 && dx < 0);
            pRow[m] = rows.Row(y + dy + (bFromCache && dx < -g.hB ? 1 : 0));
            nDx[m] = dx;
            ++m;
        }
    const T* pCentre = rows.Row(y);
    const T* pSeed = rows.Row(y - g.hA);
#if ZETDIP_HAS_AVX2_PATH
    if (vector == VectorPath::kAvx2)
        return TwoMemberLoopAvx2<Op>(pCentre, pSeed, -g.hB, pRow[0], nDx[0], pRow[1], nDx[1], xLo,
                                     xHi, pOut);
#endif
    (void)vector;
    TwoMemberLoopBaseline<Op>(pCentre, pSeed, -g.hB, pRow[0], nDx[0], pRow[1], nDx[1], xLo, xHi,
                              pOut);
}

// The blocked span when every member must qualify (nNeed == nMembers): the
// count reaches nNeed exactly when the member least likely to qualify does,
// so the rule needs only the extreme and the opposite extreme of the
// members, no count. Adding the centre to the members changes neither
// answer (it qualifies against itself, and when every member qualifies the
// extreme is already on the centre's side), and it joins the centre row's
// members into one run. The members of each source row are cut into runs
// of consecutive columns; the extremes of a run of L columns are those of
// two overlapping windows of 2^k <= L columns, read from per-row tables of
// window extremes (level k holds the extreme of columns c .. c + 2^k - 1),
// built once for each source row while it is in reach. The same set of
// samples gives the same minimum and maximum, so the result is identical.
struct ExtremeRun {
    int nRow;     // source row offset from the centre row
    int nFirst;   // column offset of the first window
    int nSecond;  // column offset of the second window
    int nLevel;   // windows of 2^nLevel columns
};

// Level nLevel of a row's window extremes from level nLevel - 1, for the
// columns 0 .. nCount - 1.
template <class Op, class T>
ZETDIP_ALWAYS_INLINE void WindowLevelLoop(const T* pExtIn, const T* pOppIn, T* pExt, T* pOpp,
                                          int nHalf, int nCount) {
    for (int c = 0; c < nCount; ++c) {
        pExt[c] = Op::Extreme(pExtIn[c], pExtIn[c + nHalf]);
        pOpp[c] = Op::Opposite(pOppIn[c], pOppIn[c + nHalf]);
    }
}

// One run's tables and the column offsets of its two windows.
template <class T>
struct RunWindows {
    const T* pExt;
    const T* pOpp;
    int nA, nB;
};

// The rule over pixels lo..hi of a row from the runs' windows, kBlock
// pixels at a time so that both extremes stay in registers over all runs.
template <class Op, class T, int kBlock>
ZETDIP_ALWAYS_INLINE void ExtremeRunsBlock(const RunWindows<T>* pRuns, int nRuns, const T* pCentre,
                                           const T* pSeed, int nSeed, int x0, T* pOut) {
    T e[kBlock] = {}, o[kBlock] = {};  // every element has a run: set by the first
    for (int k = 0; k < nRuns; ++k) {
        // x0 + nA and x0 + nB are columns inside the row.
        const T* pExtA = pRuns[k].pExt + (x0 + pRuns[k].nA);
        const T* pExtB = pRuns[k].pExt + (x0 + pRuns[k].nB);
        const T* pOppA = pRuns[k].pOpp + (x0 + pRuns[k].nA);
        const T* pOppB = pRuns[k].pOpp + (x0 + pRuns[k].nB);
        if (k == 0) {
            for (int i = 0; i < kBlock; ++i) {
                e[i] = Op::Extreme(pExtA[i], pExtB[i]);
                o[i] = Op::Opposite(pOppA[i], pOppB[i]);
            }
        } else {
            for (int i = 0; i < kBlock; ++i) {
                e[i] = Op::Extreme(e[i], Op::Extreme(pExtA[i], pExtB[i]));
                o[i] = Op::Opposite(o[i], Op::Opposite(pOppA[i], pOppB[i]));
            }
        }
    }
    const T* pC = pCentre + x0;
    const T* pS = pSeed + (x0 + nSeed);
    T* pO = pOut + x0;
    for (int i = 0; i < kBlock; ++i) {
        const T vc = pC[i];
        const T v = Op::Extreme(pS[i], e[i]);  // the seed takes part, member or not
        pO[i] = Op::Qualifies(o[i], vc) ? v : vc;
    }
}

template <class Op, class T>
ZETDIP_ALWAYS_INLINE void ExtremeRunsLoop(const RunWindows<T>* pRuns, int nRuns, const T* pCentre,
                                          const T* pSeed, int nSeed, int lo, int hi, T* pOut) {
    constexpr int kBlock = 128, kTail = 32;
    int x = lo;
    for (; x + kBlock - 1 <= hi; x += kBlock)
        ExtremeRunsBlock<Op, T, kBlock>(pRuns, nRuns, pCentre, pSeed, nSeed, x, pOut);
    for (; x + kTail - 1 <= hi; x += kTail)
        ExtremeRunsBlock<Op, T, kTail>(pRuns, nRuns, pCentre, pSeed, nSeed, x, pOut);
    // The last pixels as one block ending at hi, over pixels already written:
    // the sources are never the output row, so they come out the same.
    if (x <= hi && hi - lo + 1 >= kTail) {
        ExtremeRunsBlock<Op, T, kTail>(pRuns, nRuns, pCentre, pSeed, nSeed, hi - kTail + 1, pOut);
        x = hi + 1;
    }
    for (; x <= hi; ++x) ExtremeRunsBlock<Op, T, 1>(pRuns, nRuns, pCentre, pSeed, nSeed, x, pOut);
}

template <class Op, class T>
void WindowLevelBaseline(const T* pExtIn, const T* pOppIn, T* pExt, T* pOpp, int nHalf,
                         int nCount) {
    WindowLevelLoop<Op>(pExtIn, pOppIn, pExt, pOpp, nHalf, nCount);
}
template <class Op, class T>
void ExtremeRunsBaseline(const RunWindows<T>* pRuns, int nRuns, const T* pCentre, const T* pSeed,
                         int nSeed, int lo, int hi, T* pOut) {
    ExtremeRunsLoop<Op>(pRuns, nRuns, pCentre, pSeed, nSeed, lo, hi, pOut);
}
#if ZETDIP_HAS_AVX2_PATH
template <class Op, class T>
ZETDIP_TARGET_AVX2 void WindowLevelAvx2(const T* pExtIn, const T* pOppIn, T* pExt, T* pOpp,
                                        int nHalf, int nCount) {
    WindowLevelLoop<Op>(pExtIn, pOppIn, pExt, pOpp, nHalf, nCount);
}
template <class Op, class T>
ZETDIP_TARGET_AVX2 void ExtremeRunsAvx2(const RunWindows<T>* pRuns, int nRuns, const T* pCentre,
                                        const T* pSeed, int nSeed, int lo, int hi, T* pOut) {
    ExtremeRunsLoop<Op>(pRuns, nRuns, pCentre, pSeed, nSeed, lo, hi, pOut);
}
#endif

// The runs of an element and the window tables of the source rows in reach.
template <class Op, class T>
class ExtremeRuns {
public:
    // Cuts the members (and the centre) into runs; false when the scratch
    // cannot be had.
    bool Init(const SeGeometry& g, VectorPath vector) {
        m_vector = vector;
        m_nWidth = g.nWidth;
        m_nStride = static_cast<std::size_t>(g.nWidth);
        int nRowLo = 0, nRowHi = 0;
        std::size_t nMax = 0;
        for (int dy = g.nRowReach; dy >= -g.nRowReach; --dy) nMax += 2 * (2 * g.hA + 1);
        m_pRuns = NewScratch<ExtremeRun>(nMax);
        m_pWindows = NewScratch<RunWindows<T>>(nMax);
        if (!m_pRuns || !m_pWindows) return false;
        // A member's source row: cache cells left of the element's columns
        // already hold the next row (see CachedRow), as in the blocked span.
        auto member = [&](int dy, int dx, int nRow) {
            if (dy == 0 && dx == 0) return nRow == 0;
            if (!g.Member(dy, dx)) return false;
            const bool bFromCache = dy < 0 || (dy == 0 && dx < 0);
            return dy + (bFromCache && dx < -g.hB ? 1 : 0) == nRow;
        };
        for (int dy = g.nRowReach; dy >= -g.nRowReach; --dy)
            for (int nRow = dy; nRow <= dy + 1; ++nRow)
                for (int dx = -g.hA; dx <= g.hA; ++dx) {
                    if (!member(dy, dx, nRow)) continue;
                    // Rows dy and dy + 1 of neighbouring offsets may both
                    // hold members of one source row: each run is kept on its own.
                    int nLast = dx;
                    while (nLast < g.hA && member(dy, nLast + 1, nRow)) ++nLast;
                    int nLevel = 0;
                    while ((2 << nLevel) <= nLast - dx + 1) ++nLevel;
                    m_pRuns[m_nRuns++] = {nRow, dx, nLast - (1 << nLevel) + 1, nLevel};
                    m_nLevels = std::max(m_nLevels, nLevel);
                    nRowLo = std::min(nRowLo, nRow);
                    nRowHi = std::max(nRowHi, nRow);
                    dx = nLast;
                }
        m_nRowLo = nRowLo;
        m_nSlots = nRowHi - nRowLo + 1;
        if (m_nLevels > 0) {
            const std::size_t nCells =
                static_cast<std::size_t>(m_nSlots) * static_cast<std::size_t>(m_nLevels) * 2;
            m_pTables = NewScratch<T>(nCells * m_nStride);
            m_pSlotRow = NewScratch<int>(static_cast<std::size_t>(m_nSlots));
            if (!m_pTables || !m_pSlotRow) return false;
            std::fill_n(m_pSlotRow.get(), m_nSlots, -1);
        }
        return true;
    }

    // Pixels lo..hi of row rows.y.
    void Row(const OriginalRows<T>& rows, int hA, int hB, int lo, int hi, T* pOut) {
        const int y = rows.y;
        for (int i = 0; i < m_nRuns; ++i) {
            const ExtremeRun& run = m_pRuns[i];
            const int r = y + run.nRow;
            const T* pExt = rows.Row(r);
            const T* pOpp = pExt;
            if (run.nLevel > 0) {
                Tables(rows, r);
                pExt = Table(r, run.nLevel, 0);
                pOpp = Table(r, run.nLevel, 1);
            }
            m_pWindows[i] = {pExt, pOpp, run.nFirst, run.nSecond};
        }
        const T* pCentre = rows.Row(y);
        const T* pSeed = rows.Row(y - hA);
#if ZETDIP_HAS_AVX2_PATH
        if (m_vector == VectorPath::kAvx2)
            return ExtremeRunsAvx2<Op>(m_pWindows.get(), m_nRuns, pCentre, pSeed, -hB, lo, hi,
                                       pOut);
#endif
        ExtremeRunsBaseline<Op>(m_pWindows.get(), m_nRuns, pCentre, pSeed, -hB, lo, hi, pOut);
    }

private:
    T* Table(int r, int nLevel, int nKind) const {
        const int nSlot = (r - m_nRowLo) % m_nSlots;
        const std::size_t i = (static_cast<std::size_t>(nSlot) * m_nLevels + (nLevel - 1)) * 2 +
                              static_cast<std::size_t>(nKind);
        return m_pTables.get() + i * m_nStride;
    }

    // Builds the window tables of source row r unless its slot holds them.
    // Rows are reached in increasing order, so a slot is reused only once
    // its row is out of reach.
    void Tables(const OriginalRows<T>& rows, int r) {
        const int nSlot = (r - m_nRowLo) % m_nSlots;
        if (m_pSlotRow[nSlot] == r) return;
        m_pSlotRow[nSlot] = r;
        const T* pExtIn = rows.Row(r);
        const T* pOppIn = pExtIn;
        for (int k = 1; k <= m_nLevels; ++k) {
            const int nCount = m_nWidth - (1 << k) + 1;
            T* pExt = Table(r, k, 0);
            T* pOpp = Table(r, k, 1);
            if (nCount > 0) {
#if ZETDIP_HAS_AVX2_PATH
                if (m_vector == VectorPath::kAvx2)
                    WindowLevelAvx2<Op>(pExtIn, pOppIn, pExt, pOpp, 1 << (k - 1), nCount);
                else
#endif
                    WindowLevelBaseline<Op>(pExtIn, pOppIn, pExt, pOpp, 1 << (k - 1), nCount);
            }
            pExtIn = pExt;
            pOppIn = pOpp;
        }
    }

    VectorPath m_vector = VectorPath::kBaseline;
    int m_nWidth = 0;
    std::size_t m_nStride = 0;
    std::unique_ptr<ExtremeRun[]> m_pRuns;
    std::unique_ptr<RunWindows<T>[]> m_pWindows;
    int m_nRuns = 0;
    int m_nLevels = 0;
    int m_nRowLo = 0;
    int m_nSlots = 1;
    std::unique_ptr<T[]> m_pTables;     // per slot and level: extremes, then opposites
    std::unique_ptr<int[]> m_pSlotRow;  // source row held by each slot, -1 for none
};

// The interior pixels outside the blocked span (left of it when the element
// is taller than wide, and the last ones of each row, whose cache columns are
// over-advanced) in rows y >= 2 hA + 1. From there on the cell a member reads
// lies at a fixed offset from the pixel's row: every over-advanced column has
// caught up (j <= hA < y - hA in CachedRow). So each pixel's reads are
// resolved once, and a row reads them through a table of row pointers
// instead of mapping every member anew.
template <class Op, class T>
class BorderCells {
public:
    // Pixels [hB, xLo) and (xHi, nInteriorEnd]; false, and the rows are
    // left to RankRuleAt, when there is no such row or pixel, no member list,
    // or the cells would take more than nBudget bytes.
    bool Init(const SeGeometry& g, int xLo, int xHi, int nInteriorEnd, int nLastInteriorRow,
              std::size_t nBudget) {
        m_nFirstRow = 2 * g.hA + 1;
        m_nLeftEnd = xLo;
        m_nRightStart = xHi + 1;
        m_nInteriorEnd = nInteriorEnd;
        m_hA = g.hA;
        m_hB = g.hB;
        const long long nPixels = static_cast<long long>(xLo - g.hB) + (nInteriorEnd - xHi);
        if (nLastInteriorRow < m_nFirstRow || nPixels <= 0 || g.pMembers == nullptr) return false;
        const std::size_t nCells =
            static_cast<std::size_t>(nPixels) * static_cast<std::size_t>(g.nMemberCount);
        if (nCells > nBudget / sizeof(Cell)) return false;
        m_pCells = NewScratch<Cell>(nCells);
        m_pStart = NewScratch<std::size_t>(static_cast<std::size_t>(nPixels) + 1);
        if (!m_pCells || !m_pStart) return false;
        // Row offsets first, to size the pointer table; the seed row is one of them.
        const int y = m_nFirstRow;
        int nLo = -g.hA, nHi = -g.hA;
        std::size_t n = 0, p = 0;
        for (int x = g.hB; x <= nInteriorEnd; ++x) {
            if (x == xLo && xHi >= xLo) x = xHi + 1;
            if (x > nInteriorEnd) break;
            m_pStart[p++] = n;
            for (int i = 0; i < g.nMemberCount; ++i) {
                int r = 0, c = 0;
                if (!g.Resolve(g.pMembers[2 * i], g.pMembers[2 * i + 1], x, y, r, c)) continue;
                m_pCells[n++] = {r - y, c};
                nLo = std::min(nLo, r - y);
                nHi = std::max(nHi, r - y);
            }
        }
        m_pStart[p] = n;
        m_nRowLo = nLo;
        m_nRowCount = nHi - nLo + 1;
        m_pRows = NewScratch<const T*>(static_cast<std::size_t>(m_nRowCount));
        m_pUsed = NewScratch<bool>(static_cast<std::size_t>(m_nRowCount));
        if (!m_pRows || !m_pUsed) return false;
        std::fill_n(m_pUsed.get(), m_nRowCount, false);
        m_pUsed[-g.hA - nLo] = true;
        for (std::size_t i = 0; i < n; ++i) {
            m_pCells[i].nRow -= nLo;
            m_pUsed[m_pCells[i].nRow] = true;
        }
        return true;
    }

    // Whether row y takes its border pixels from here.
    bool Covers(int y) const { return m_pCells != nullptr && y >= m_nFirstRow; }

    void Row(const OriginalRows<T>& rows, T* pOut, int nNeed) {
        // Only the rows some cell reads: the others may lie outside the image.
        for (int i = 0; i < m_nRowCount; ++i)
            m_pRows[i] = m_pUsed[i] ? rows.Row(rows.y + m_nRowLo + i) : nullptr;
        const T* pCentre = rows.Row(rows.y);
        const T* pSeed = m_pRows[-m_hA - m_nRowLo];
        std::size_t p = 0;
        for (int x = m_hB; x <= m_nInteriorEnd; ++x, ++p) {
            if (x == m_nLeftEnd && m_nRightStart > m_nLeftEnd) x = m_nRightStart;
            if (x > m_nInteriorEnd) break;
            const T vc = pCentre[x];
            T e = pSeed[x - m_hB];  // corner seed, member or not (intended)
            int k = 0;
            for (std::size_t i = m_pStart[p]; i < m_pStart[p + 1]; ++i) {
                const T v = m_pRows[m_pCells[i].nRow][m_pCells[i].nCol];
                k += Op::Qualifies(v, vc) ? 1 : 0;
                e = Op::Extreme(e, v);
            }
            pOut[x] = k == nNeed ? e : vc;
        }
    }

private:
    struct Cell {
        int nRow;  // index into the row pointers
        int nCol;
    };
    int m_nFirstRow = 0, m_nLeftEnd = 0, m_nRightStart = 0, m_nInteriorEnd = 0;
    int m_hA = 0, m_hB = 0, m_nRowLo = 0, m_nRowCount = 0;
    std::unique_ptr<Cell[]> m_pCells;
    std::unique_ptr<std::size_t[]> m_pStart;  // first cell of each pixel, and the end
    std::unique_ptr<const T*[]> m_pRows;
    std::unique_ptr<bool[]> m_pUsed;
};

// Erosion (ErodeOp) or dilation (DilateOp) of a one-channel image. pDst may
// equal pSrc. Returns false, writing nothing, for nSEHeight < 3, for a
// negative nSEWidth (chosen: from -2 down the last pixel of a row would
// advance cache column nWidth, past the end of the cache; -1 is refused with
// them) and when the hA + 1 rows of scratch cannot be allocated.
// nSEWidth = 0 runs: no offset is a member, so an interior pixel takes its
// seed when nSECount is 1 and keeps its value otherwise. Images too small for
// any interior pixel are copied; rows are saved only as the scan reaches
// them, so an image shorter than hA + 1 rows is never read past its end
// (chosen).
template <class Op, class T>
bool ApplyWithSE(const T* pSrc, T* pDst, int nWidth, int nHeight, const int* pSE, int nSEHeight,
                 int nSEWidth, int nSECount, EnginePath path = EnginePath::kBlocked,
                 VectorPath vector = VectorPath::kAuto) {
    if (nSEHeight < 3 || nSEWidth < 0) return false;
    const int hA = nSEHeight / 2;
    const int hB = nSEWidth / 2;
    // An empty image needs no cache, however long its other side.
    if (nWidth <= 0 || nHeight <= 0) return true;
    const std::size_t nStride = static_cast<std::size_t>(nWidth);
    // The same memory as the row cache: hA + 1 rows.
    auto pRing = NewScratch<T>((static_cast<std::size_t>(hA) + 1) * nStride);
    if (!pRing) return false;

    const bool bInPlace = pSrc == pDst;
    vector = ResolvePath(vector);
    SeGeometry g{
        pSE,   static_cast<long long>(nSEHeight) * nSEWidth, nSEWidth, hA, hB, std::min(hA, hB),
        nWidth};
    std::unique_ptr<int[]> pMemberList;
    // Only an image with interior pixels visits members.
    if (nHeight - hA - 1 >= hA && nWidth - hB - 1 >= hB) {
        std::size_t nList = 0;
        for (int dy = g.nRowReach; dy >= -g.nRowReach; --dy)
            for (int dx = -hA; dx <= hA; ++dx)
                if (!(dy == 0 && dx == 0) && g.Member(dy, dx)) ++nList;
        if (nList <= static_cast<std::size_t>(std::numeric_limits<int>::max() / 2))
            pMemberList = NewScratch<int>(2 * nList);
        if (pMemberList) {
            for (int dy = g.nRowReach; dy >= -g.nRowReach; --dy)
                for (int dx = -hA; dx <= hA; ++dx)
                    if (!(dy == 0 && dx == 0) && g.Member(dy, dx)) {
                        pMemberList[2 * static_cast<std::size_t>(g.nMemberCount)] = dy;
                        pMemberList[2 * static_cast<std::size_t>(g.nMemberCount) + 1] = dx;
                        ++g.nMemberCount;
                    }
            g.pMembers = pMemberList.get();
        }
    }
    // No more memory than the ring; without it the border pixels divide.
    std::unique_ptr<int[]> pOverAdvanced;
    if (hB >= 1 && 2LL * hB <= nWidth) {
        pOverAdvanced = NewScratch<int>((static_cast<std::size_t>(hA) + 1) * (2 * hB));
        if (pOverAdvanced) g.TabulateOverAdvanced(pOverAdvanced.get());
    }
    OriginalRows<T> rows{pSrc, bInPlace ? pRing.get() : nullptr, nStride, hA + 1, 0};
    const int nNeed = WrapSub(nSECount, 1);
    const int nLastInteriorRow = nHeight - hA - 1;  // may be negative: no interior row
    const int nInteriorEnd = nWidth - hB - 1;       // last interior column

    // Pixels [xLo, xHi] read only cache cells of the plain mapping and columns
    // inside the image; the interior pixels left and right of them take the
    // general mapping.
    long long xLo = std::max(hA, hB);
    long long xHi = std::min<long long>(nInteriorEnd, static_cast<long long>(nWidth) - 1 - hA);
    if (hB >= 2) xHi = std::min(xHi, static_cast<long long>(nWidth) - 2LL * hB - hA);
    if (path == EnginePath::kGeneralOnly || xHi < xLo) {
        xLo = static_cast<long long>(nInteriorEnd) + 1;
        xHi = nInteriorEnd;
    }

    // Member offsets of the blocked span: the counter type must hold them.
    long long nMembers = 0;
    if (xLo <= xHi)
        for (int dy = -g.nRowReach; dy <= g.nRowReach; ++dy)
            for (int dx = -hA; dx <= hA; ++dx)
                if (!(dy == 0 && dx == 0) && g.Member(dy, dx)) ++nMembers;

    // Every member must qualify: extremes of runs instead of counting.
    std::unique_ptr<ExtremeRuns<Op, T>> pRuns;
    // Without memory for them the counting loop runs instead.
    if (xLo <= xHi && nNeed == nMembers && nMembers >= 1) {
        pRuns.reset(new (std::nothrow) ExtremeRuns<Op, T>());
        if (pRuns && !pRuns->Init(g, vector)) pRuns.reset();
    }

    // Border pixels through resolved cells, no more memory than the ring.
    std::unique_ptr<BorderCells<Op, T>> pBorder;
    if (path == EnginePath::kBlocked && nInteriorEnd >= hB) {
        pBorder.reset(new (std::nothrow) BorderCells<Op, T>());
        if (pBorder && !pBorder->Init(g, static_cast<int>(xLo), static_cast<int>(xHi), nInteriorEnd,
                                      nLastInteriorRow,
                                      (static_cast<std::size_t>(hA) + 1) * nStride * sizeof(T)))
            pBorder.reset();
    }

    for (int y = 0; y < nHeight; ++y) {
        const T* pSrcRow = pSrc + static_cast<std::size_t>(y) * nStride;
        T* pOut = pDst + static_cast<std::size_t>(y) * nStride;
        rows.y = y;
        if (bInPlace && y <= nLastInteriorRow)
            std::memmove(pRing.get() + static_cast<std::size_t>(y % (hA + 1)) * nStride, pSrcRow,
                         nStride * sizeof(T));
        if (y < hA || y > nLastInteriorRow) {
            if (!bInPlace) std::memmove(pOut, pSrcRow, nStride * sizeof(T));
            continue;
        }
        const T* pCentre = rows.Row(y);
        // Left and right border columns keep their source values.
        if (!bInPlace) {
            const int nLeft = std::min(hB, nWidth);
            std::memmove(pOut, pCentre, static_cast<std::size_t>(nLeft) * sizeof(T));
            const int nRightStart = std::max(hB, nInteriorEnd + 1);
            if (nRightStart < nWidth)
                std::memmove(pOut + nRightStart, pCentre + nRightStart,
                             static_cast<std::size_t>(nWidth - nRightStart) * sizeof(T));
        }
        if (nInteriorEnd < hB) continue;
        const int lo = static_cast<int>(xLo), hi = static_cast<int>(xHi);
        const bool bBorderCells = pBorder && pBorder->Covers(y);
        if (bBorderCells)
            pBorder->Row(rows, pOut, nNeed);
        else
            for (int x = hB; x < lo; ++x) pOut[x] = RankRuleAt<Op>(g, rows, x, nNeed);
        if (lo <= hi) {
            if (nNeed < 0 || nNeed > nMembers)
                // The count can never match: every pixel keeps its value.
                std::memmove(pOut + lo, pCentre + lo,
                             static_cast<std::size_t>(hi - lo + 1) * sizeof(T));
            else if (nMembers == 2 && nNeed == 2)
                TwoMemberBlocked<Op>(g, rows, lo, hi, pOut, vector);
            else if (pRuns)
                pRuns->Row(rows, hA, hB, lo, hi, pOut);
            else if (nMembers <= std::numeric_limits<T>::max())
                RankRuleBlocked<Op, T, T>(g, rows, lo, hi, pOut, nNeed);
            else
                RankRuleBlocked<Op, T, std::uint32_t>(g, rows, lo, hi, pOut, nNeed);
        }
        if (!bBorderCells)
            for (int x = hi + 1; x <= nInteriorEnd; ++x)
                pOut[x] = RankRuleAt<Op>(g, rows, x, nNeed);
    }
    return true;
}

}  // namespace zetdip::detail

#endif  // ZETDIP_MORPH_SE_ENGINE_H
