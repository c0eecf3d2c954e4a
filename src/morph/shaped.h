// Shaped morphology: erosions by a line, two diagonals and a small circle
// made of four quarter elements, dilatation by the same quarters, and the
// opening and closing composed of them. All elements are 3x3 with three
// members (the centre included); one body serves both sample types.
#ifndef ZETDIP_MORPH_SHAPED_H
#define ZETDIP_MORPH_SHAPED_H

#include <cstdint>
#include <cstring>

#include "core/common.h"
#include "core/cpu.h"
#include "morph/se_engine.h"

namespace zetdip::detail {

// Elements as stored, row 0 first; the engine applies row 0 to the image row
// below the centre and row 2 to the row above.
inline constexpr int kLineSE[9] = {0, 0, 0, 1, 1, 1, 0, 0, 0};
inline constexpr int kDiagNWSESE[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1};
inline constexpr int kDiagSWNESE[9] = {0, 0, 1, 0, 1, 0, 1, 0, 0};
// Pass order of the circle erosion and the dilatation.
inline constexpr int kQuarterSE[4][9] = {
    {0, 1, 0, 1, 1, 0, 0, 0, 0},
    {0, 1, 0, 0, 1, 1, 0, 0, 0},
    {0, 0, 0, 0, 1, 1, 0, 1, 0},
    {0, 0, 0, 1, 1, 0, 0, 1, 0},
};

// What the dilatation reports, per sample type.
template <class T>
struct DilatationReport;
// 8-bit: the test of the last pass is inverted, so a success reports false (intended).
template <>
struct DilatationReport<unsigned char> {
    static constexpr bool kLastPassInverted = true;
};
template <>
struct DilatationReport<unsigned short> {
    static constexpr bool kLastPassInverted = false;
};

template <class Op, class T>
bool ShapedPass(const T* pSrc, T* pDst, int nWidth, int nHeight, const int* pSE) {
    return ApplyWithSE<Op>(pSrc, pDst, nWidth, nHeight, pSE, 3, 3, 3);
}

// One erosion by a fixed element; an engine failure is not reported (intended).
template <class T>
bool ErosionByElement(const T* pSrc, T* pDst, int nWidth, int nHeight, const int* pSE) {
    ShapedPass<ErodeOp>(pSrc, pDst, nWidth, nHeight, pSE);
    return true;
}

// A pass of a 3x3 element of the centre and two neighbours takes each
// interior pixel from the three input rows around it alone (the engine's
// plain mapping covers every interior pixel of such an element), and keeps
// border pixels. So a chain of passes runs row by row: pass s computes its
// row j as soon as pass s - 1 has its row j + 1, each pass keeping its last
// three rows, and no intermediate image is ever whole. The last pass writes
// a row only after the first pass has read every source row up to it, so
// the destination may be the source.
struct ShapedStage {
    bool bErode;
    const int* pSE;
};

// The two members of a stage: the input row each reads (-1 above, 0 the
// centre row, 1 below) and its column offset, found once per chain.
struct ShapedMembers {
    int nRow[2];
    int nDx[2];
};

inline ShapedMembers MembersOf(const int* pSE) {
    ShapedMembers m{{0, 0}, {0, 0}};
    int n = 0;
    // Element row 0 applies to the row below (see kLineSE).
    for (int i = 0; i < 9 && n < 2; ++i)
        if (i != 4 && pSE[i] != 0) {
            m.nRow[n] = 1 - i / 3;
            m.nDx[n++] = i % 3 - 1;
        }
    return m;
}

template <class Op, class T>
void ShapedRow(const T* pAbove, const T* pCentre, const T* pBelow, T* pOut, int nWidth,
               const ShapedMembers& m, VectorPath vector) {
    const T* pRows[3] = {pAbove, pCentre, pBelow};
    const T* pA = pRows[m.nRow[0] + 1];
    const T* pB = pRows[m.nRow[1] + 1];
#if ZETDIP_HAS_AVX2_PATH
    if (vector == VectorPath::kAvx2)
        TwoMemberLoopAvx2<Op>(pCentre, pAbove, -1, pA, m.nDx[0], pB, m.nDx[1], 1, nWidth - 2, pOut);
    else
#endif
        TwoMemberLoopBaseline<Op>(pCentre, pAbove, -1, pA, m.nDx[0], pB, m.nDx[1], 1, nWidth - 2,
                                  pOut);
    (void)vector;
    pOut[0] = pCentre[0];
    pOut[nWidth - 1] = pCentre[nWidth - 1];
}

// The longest chain: the opening and the closing.
inline constexpr int kMaxShapedStages = 8;

// Runs the stages (1 .. kMaxShapedStages) from pSrc to pDst; false, writing
// nothing, for more stages or when the three rows of each intermediate pass
// cannot be had.
template <class T>
bool ShapedChain(const T* pSrc, T* pDst, int nWidth, int nHeight, const ShapedStage* pStages,
                 int nStages, VectorPath vector = VectorPath::kAuto) {
    if (nStages < 1 || nStages > kMaxShapedStages) return false;
    if (nWidth <= 0 || nHeight <= 0) return true;
    const std::size_t w = static_cast<std::size_t>(nWidth);
    // Ring rows start on 64-byte boundaries, so that the passes between
    // two rings read and write whole vectors.
    constexpr std::size_t kAlign = 64 / sizeof(T);
    const std::size_t nStride = (w + kAlign - 1) / kAlign * kAlign;
    auto pRings = NewScratch<T>(static_cast<std::size_t>(nStages - 1) * 3 * nStride + kAlign);
    if (!pRings) return false;
    const std::size_t nSkew = reinterpret_cast<std::uintptr_t>(pRings.get()) % 64 / sizeof(T);
    T* const pRing0 = pRings.get() + (kAlign - nSkew) % kAlign;
    vector = ResolvePath(vector);
    ShapedMembers members[kMaxShapedStages];
    for (int s = 0; s < nStages; ++s) members[s] = MembersOf(pStages[s].pSE);
    // Row j of pass s: the source for s = -1, the destination for the last
    // pass, else slot j % 3 of the pass's ring.
    auto row = [&](int s, int j) -> T* {
        if (s < 0) return const_cast<T*>(pSrc) + static_cast<std::size_t>(j) * w;
        if (s == nStages - 1) return pDst + static_cast<std::size_t>(j) * w;
        return pRing0 +
               (static_cast<std::size_t>(s) * 3 + static_cast<std::size_t>(j % 3)) * nStride;
    };
    const bool bInterior = nWidth >= 3 && nHeight >= 3;
    for (int t = 0; t < nHeight + nStages - 1; ++t) {
#if defined(__GNUC__)
        // The source row the first pass reads next comes from memory: ask
        // for it one row ahead, while the passes work in the cache.
        if (t + 2 < nHeight) {
            const char* p = reinterpret_cast<const char*>(row(-1, t + 2));
            for (std::size_t i = 0; i < w * sizeof(T); i += 64) __builtin_prefetch(p + i);
        }
#endif
        for (int s = 0; s < nStages; ++s) {
            const int j = t - s;
            if (j < 0 || j >= nHeight) continue;
            const T* pIn = row(s - 1, j);
            T* pOut = row(s, j);
            if (!bInterior || j == 0 || j == nHeight - 1) {
                if (pOut != pIn) std::memmove(pOut, pIn, w * sizeof(T));
                continue;
            }
            if (pStages[s].bErode)
                ShapedRow<ErodeOp>(row(s - 1, j - 1), pIn, row(s - 1, j + 1), pOut, nWidth,
                                   members[s], vector);
            else
                ShapedRow<DilateOp>(row(s - 1, j - 1), pIn, row(s - 1, j + 1), pOut, nWidth,
                                    members[s], vector);
        }
    }
    return true;
}

// The four quarters in pass order, eroding or dilating.
inline void QuarterStages(bool bErode, ShapedStage* pStages) {
    for (int i = 0; i < 4; ++i) pStages[i] = {bErode, kQuarterSE[i]};
}

template <class T>
bool ErosionCircle(const T* pSrc, T* pDst, int nWidth, int nHeight) {
    ShapedStage stages[4];
    QuarterStages(true, stages);
    return ShapedChain(pSrc, pDst, nWidth, nHeight, stages, 4);
}

template <class T>
bool Dilatation(const T* pSrc, T* pDst, int nWidth, int nHeight) {
    ShapedStage stages[4];
    QuarterStages(false, stages);
    // Only a completed last pass has its report inverted; scratch that
    // cannot be had is a failure before any pass, reported as such.
    const bool bDone = ShapedChain(pSrc, pDst, nWidth, nHeight, stages, 4);
    return DilatationReport<T>::kLastPassInverted ? false : bDone;
}

// The erosion's quarters, then the dilatation's. 8-bit: the dilatation
// reports false, so the opening does too, with its result written.
template <class T>
bool Opening(const T* pSrc, T* pDst, int nWidth, int nHeight) {
    ShapedStage stages[8];
    QuarterStages(true, stages);
    QuarterStages(false, stages + 4);
    const bool bDone = ShapedChain(pSrc, pDst, nWidth, nHeight, stages, 8);
    return DilatationReport<T>::kLastPassInverted ? false : bDone;
}

// The dilatation's quarters, then the erosion's. 8-bit: the dilatation
// reports false, so the erosion never runs and pDst is left alone; there is
// then nothing to compute (intended).
template <class T>
bool Closing(const T* pSrc, T* pDst, int nWidth, int nHeight) {
    if constexpr (DilatationReport<T>::kLastPassInverted) {
        (void)pSrc, (void)pDst, (void)nWidth, (void)nHeight;
        return false;
    } else {
        ShapedStage stages[8];
        QuarterStages(false, stages);
        QuarterStages(true, stages + 4);
        return ShapedChain(pSrc, pDst, nWidth, nHeight, stages, 8);
    }
}

}  // namespace zetdip::detail

#endif  // ZETDIP_MORPH_SHAPED_H
