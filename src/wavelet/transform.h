// One-level biorthogonal spline wavelet transform (9-tap analysis low-pass,
// 3-tap analysis high-pass) on a run of doubles, and its inverse. The ends of
// the run are not extended: dedicated boundary rows replace the interior
// filters near each end, the right end using the left rows mirrored.
#ifndef ZETDIP_WAVELET_TRANSFORM_H
#define ZETDIP_WAVELET_TRANSFORM_H

#include <cstddef>

#include "core/cpu.h"

namespace zetdip::detail {

// Interior analysis low-pass taps for x[2k-4] .. x[2k+4] (they sum to 1).
inline constexpr double kAnalysisLow[9] = {3.0 / 128,   -6.0 / 128, -16.0 / 128,
                                           38.0 / 128,  90.0 / 128, 38.0 / 128,
                                           -16.0 / 128, -6.0 / 128, 3.0 / 128};

// Left boundary low-pass rows L[0] .. L[3], taps for x[0], x[1], ...; the
// right rows apply them to x[E-1], x[E-2], ... Each row sums to 1.
inline constexpr int kAnalysisEdgeTaps[4] = {5, 7, 9, 11};
inline constexpr double kAnalysisEdge[4][11] = {
    {93.0 / 128, 35.0 / 64, -5.0 / 32, -15.0 / 64, 15.0 / 128},
    {-241.0 / 1536, 241.0 / 768, 245.0 / 384, 105.0 / 256, -93.0 / 512, -6.0 / 128, 3.0 / 128},
    {41.0 / 768, -41.0 / 384, -13.0 / 192, 31.0 / 128, 187.0 / 256, 38.0 / 128, -16.0 / 128,
     -6.0 / 128, 3.0 / 128},
    {-5.0 / 512, 5.0 / 256, 1.0 / 128, -9.0 / 256, -67.0 / 512, 38.0 / 128, 90.0 / 128, 38.0 / 128,
     -16.0 / 128, -6.0 / 128, 3.0 / 128}};

// Interior synthesis high-pass taps: d[j] into out[2j-3] .. out[2j+5].
inline constexpr double kSynthesisHigh[9] = {3.0 / 128,   6.0 / 128,  -16.0 / 128,
                                             -38.0 / 128, 90.0 / 128, -38.0 / 128,
                                             -16.0 / 128, 6.0 / 128,  3.0 / 128};

// Boundary synthesis rows: d[0] and d[1] into out[0] .. out[7]; reversed,
// d[nH-1] and d[nH-2] into out[2nH-8] .. out[2nH-1].
inline constexpr double kSynthesisEdge[2][8] = {
    {-35.0 / 64, 875.0 / 1536, -241.0 / 768, -53.0 / 512, 41.0 / 384, 67.0 / 1536, -5.0 / 256,
     -5.0 / 512},
    {15.0 / 64, -45.0 / 512, -105.0 / 256, 345.0 / 512, -31.0 / 128, -53.0 / 512, 9.0 / 256,
     9.0 / 512}};

// Forward transform of x[0 .. nLength-1] into out[0 .. nLength-1] (every
// value written, as if added into zeros; distinct from x): nL = (nLength + nOdd) / 2
// low-pass values, then the high-pass values. The high-pass loop stops at
// nH - 11 and the last high value lands in slot nLength - nOdd - 1.
// Short runs (nLength - nOdd < 11) and an nOdd other than 0 or 1: terms that
// would read outside x are dropped and rows whose slot lies outside out are
// skipped; rows that overlap add into the same slots, one term at a time.
// path selects the instruction set of runs taken without guards (core/cpu.h).
void WaveletForwardInto(const double* x, int nLength, int nOdd, double* out,
                        VectorPath path = VectorPath::kAuto);

// Inverse of a run of nLowCount low-pass values followed by nLowCount - nOdd
// high-pass values, added into out[0 .. 2 * nLowCount - nOdd - 1] (zero-filled,
// distinct from in). Short runs (fewer than 4 high-pass values) and an nOdd
// other than 0 or 1: rows of coefficients that do not exist are skipped and
// contributions that would fall outside the run are dropped.
void WaveletInverseInto(const double* in, int nLowCount, int nOdd, double* out,
                        VectorPath path = VectorPath::kAuto);

// In-place forward transform with one scratch run per call. False (pData
// untouched) when the scratch cannot be had, which includes nLength < 0.
bool WaveletForward(double* pData, int nLength, int nOdd);

// In-place inverse over N = 2 * nLowCount - nOdd values with one scratch run
// per call. False (pData untouched) when the scratch cannot be had, which
// includes an N that is negative or beyond the int range.
bool WaveletInverse(double* pData, int nLowCount, int nOdd);

// The same transforms on nLanes adjacent columns at once: the run of lane l
// is x[i * nStride + l]; out receives the results row by row (nLanes values
// per row; every row is written, so out need not be zero-filled). Every lane sees the operations of
// the one-run transform in the same order. Only for runs the one-run transform takes without
// guards: nOdd 0 or 1 and nLength >= 11 + nOdd (forward), nLowCount >= 4 + nOdd (inverse). The lane
// counts built are kWaveletLanes (wide column blocks: a block's row spans 2 KB, so the column pass
// streams through the image instead of touching a new page every few values) and
// kWaveletNarrowLanes (the columns left over); another count writes nothing.
inline constexpr int kWaveletLanes = 64;
inline constexpr int kWaveletNarrowLanes = 16;
bool WaveletLaneCountBuilt(int nLanes);
bool WaveletLanesFit(int nLength, int nOdd);
bool WaveletInverseLanesFit(int nLowCount, int nOdd);
// path selects the instruction set (core/cpu.h); every path gives the same values.
void WaveletForwardLanes(const double* x, std::ptrdiff_t nStride, int nLength, int nOdd,
                         double* out, VectorPath path = VectorPath::kAuto,
                         int nLanes = kWaveletLanes);
void WaveletInverseLanes(const double* in, std::ptrdiff_t nStride, int nLowCount, int nOdd,
                         double* out, VectorPath path = VectorPath::kAuto,
                         int nLanes = kWaveletLanes);

// Rows of a band made on demand: Row(i) gives row i. The column transform
// below asks for rows in rising order within a window of sixteen (rows 0 ..
// 10 first, then 2k - 4 .. 2k + 4 for low row k, then the last eleven), so a
// source can keep its rows in a ring of sixteen.
class WaveletRowSource {
public:
    virtual const double* Row(int i) = 0;

protected:
    ~WaveletRowSource() = default;
};
inline constexpr int kWaveletStreamRows = 16;

// The forward transform down nLanes columns whose rows come from rows, the
// result written row by row into pOut (row s at pOut + s * nStride; every
// row written). As WaveletForwardLanes, each column sees the operations of
// the one-run transform in order, and only for runs that WaveletLanesFit;
// another run writes nothing.
void WaveletForwardStream(WaveletRowSource& rows, double* pOut, std::ptrdiff_t nStride, int nLength,
                          int nOdd, int nLanes, VectorPath path = VectorPath::kAuto);

}  // namespace zetdip::detail

#endif  // ZETDIP_WAVELET_TRANSFORM_H
