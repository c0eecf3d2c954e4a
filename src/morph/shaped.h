// Shaped morphology: erosions by a line, two diagonals and a small circle
// made of four quarter elements, dilatation by the same quarters, and the
// opening and closing composed of them. All elements are 3x3 with three
// members (the centre included); one body serves both sample types.
#ifndef ZETDIP_MORPH_SHAPED_H
#define ZETDIP_MORPH_SHAPED_H

#include "core/common.h"
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

// Four passes through one scratch image: pSrc -> S, S -> S twice in place,
// S -> pDst. A failing pass ends the run with false.
template <class Op, class T>
bool QuarterPasses(const T* pSrc, T* pDst, int nWidth, int nHeight, bool bInvertLastPass) {
    auto pScratch = NewScratch<T>(SampleCount(nWidth, nHeight));
    if (!pScratch) return false;
    T* s = pScratch.get();
    if (!ShapedPass<Op>(pSrc, s, nWidth, nHeight, kQuarterSE[0])) return false;
    if (!ShapedPass<Op>(s, s, nWidth, nHeight, kQuarterSE[1])) return false;
    if (!ShapedPass<Op>(s, s, nWidth, nHeight, kQuarterSE[2])) return false;
    const bool bLast = ShapedPass<Op>(s, pDst, nWidth, nHeight, kQuarterSE[3]);
    return bInvertLastPass ? !bLast : bLast;
}

template <class T>
bool ErosionCircle(const T* pSrc, T* pDst, int nWidth, int nHeight) {
    return QuarterPasses<ErodeOp>(pSrc, pDst, nWidth, nHeight, false);
}

template <class T>
bool Dilatation(const T* pSrc, T* pDst, int nWidth, int nHeight) {
    return QuarterPasses<DilateOp>(pSrc, pDst, nWidth, nHeight,
                                   DilatationReport<T>::kLastPassInverted);
}

// first: pSrc -> scratch; second: scratch -> pDst, run only when the first
// reported true. The result is the second step's report.
template <class T>
bool ThroughScratch(const T* pSrc, T* pDst, int nWidth, int nHeight,
                    bool (*first)(const T*, T*, int, int), bool (*second)(const T*, T*, int, int)) {
    auto pScratch = NewScratch<T>(SampleCount(nWidth, nHeight));
    if (!pScratch) return false;
    if (!first(pSrc, pScratch.get(), nWidth, nHeight)) return false;
    return second(pScratch.get(), pDst, nWidth, nHeight);
}

// 8-bit: the dilatation reports false, so the opening does too, with its result written.
template <class T>
bool Opening(const T* pSrc, T* pDst, int nWidth, int nHeight) {
    return ThroughScratch<T>(pSrc, pDst, nWidth, nHeight, ErosionCircle<T>, Dilatation<T>);
}

// 8-bit: the dilatation reports false, so the erosion never runs and pDst is left alone.
template <class T>
bool Closing(const T* pSrc, T* pDst, int nWidth, int nHeight) {
    return ThroughScratch<T>(pSrc, pDst, nWidth, nHeight, Dilatation<T>, ErosionCircle<T>);
}

}  // namespace zetdip::detail

#endif  // ZETDIP_MORPH_SHAPED_H
