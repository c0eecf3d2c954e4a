#include "wavelet/transform.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>

#include "DipWavelet.h"
#include "core/common.h"
#include "core/cpu.h"

using namespace zetdip::detail;

namespace {

using Idx = std::ptrdiff_t;

// Where the rows of a forward run of n values go: nL low slots, then nH high
// ones; interior low rows k = 4 .. nLowEnd and high rows j = nHighBegin ..
// nHighEnd each sum a slot of their own (stored as 0.0 + the sum, what adding
// it into a zeroed slot gives: -0 becomes +0); the edge slots 0..3 and
// nL-4..nL-1 (which meet in short runs) and the high slots past the loop are
// zeroed and added into. Zeroed(zero) calls zero(from, to) for those ranges.
struct ForwardSlots {
    Idx n, nL, nH, nE, nLowEnd, nHighBegin, nHighEnd;

    ForwardSlots(Idx nLength, int nOdd)
        : n(nLength),
          nL((nLength + nOdd) / 2),
          nH(nL - nOdd),
          nE(nLength - nOdd),
          nLowEnd(std::min(nL - 5, nLength - 1)),
          nHighBegin(std::max<Idx>(0, -nL)),
          nHighEnd(std::min(nH - 12, nLength - 1 - nL)) {}

    template <class Zero>
    void Zeroed(Zero zero) const {
        zero(Idx{0}, Idx{4});
        zero(std::max<Idx>(4, nL - 4), nL);
        zero(nL + std::max(nHighBegin, nHighEnd + 1), n);
    }
};

// The forward body, writing all of out[0 .. nLength-1]. Unguarded, it
// assumes nOdd is 0 or 1 and E >= 11, so that every row reads and writes
// inside the run; guarded, terms outside the run are dropped (adding them as
// zeros would give the same sums). Every slot starts at 0 and each row adds
// into its own (see ForwardSlots).
template <bool kGuarded>
ZETDIP_ALWAYS_INLINE void Forward(const double* x, int nLength, int nOdd, double* out) {
    const ForwardSlots slots(nLength, nOdd);
    // Plain copies: lambdas may not capture structured bindings in C++17.
    const Idx n = slots.n, nL = slots.nL, nE = slots.nE, nLowEnd = slots.nLowEnd,
              nHighBegin = slots.nHighBegin, nHighEnd = slots.nHighEnd;
    auto add = [&](Idx nSlot, Idx i, double dTap) {
        if constexpr (kGuarded) {
            if (nSlot < 0 || nSlot >= n || i < 0 || i >= n) return;
        }
        out[nSlot] += dTap * x[i];
    };
    if constexpr (kGuarded)
        std::fill_n(out, std::max<Idx>(n, 0), 0.0);
    else
        slots.Zeroed([&](Idx nFrom, Idx nTo) {
            for (Idx k = nFrom; k < nTo; ++k) out[k] = 0.0;
        });

    for (int r = 0; r < 4; ++r)
        for (int t = 0; t < kAnalysisEdgeTaps[r]; ++t) add(r, t, kAnalysisEdge[r][t]);

    // Interior low rows and the high rows never share a slot with another row,
    // so each is summed from 0 on its own: the same sum, term by term.
    for (Idx k = 4; k <= nLowEnd; ++k) {
        if constexpr (kGuarded) {
            for (int t = 0; t < 9; ++t) add(k, 2 * k - 4 + t, kAnalysisLow[t]);
        } else {
            const double* p = x + 2 * k - 4;
            double dAcc = 0.0;
            for (int t = 0; t < 9; ++t) dAcc += kAnalysisLow[t] * p[t];
            out[k] = 0.0 + dAcc;
        }
    }

    // Right rows L[nL-4] .. L[nL-1]: the left rows mirrored about E.
    for (int r = 3; r >= 0; --r)
        for (int t = 0; t < kAnalysisEdgeTaps[r]; ++t)
            add(nL - 1 - r, nE - 1 - t, kAnalysisEdge[r][t]);

    // The high-pass loop ends at nH - 11, leaving ten slots at 0: intended.
    for (Idx j = nHighBegin; j <= nHighEnd; ++j) {
        if constexpr (kGuarded) {
            add(nL + j, 2 * j, -0.5);
            add(nL + j, 2 * j + 1, 1.0);
            add(nL + j, 2 * j + 2, -0.5);
        } else {
            double dAcc = 0.0;
            dAcc += -0.5 * x[2 * j];
            dAcc += x[2 * j + 1];
            dAcc += -0.5 * x[2 * j + 2];
            out[nL + j] = 0.0 + dAcc;
        }
    }

    // The last high value goes to slot E - 1 (H[nH-2] for odd runs): intended.
    add(nE - 1, nE - 2, -0.5);
    add(nE - 1, nE - 1, 1.0);
}

// The inverse body. Unguarded, it assumes nOdd is 0 or 1 and nH >= 4; guarded,
// rows of coefficients that do not exist are skipped and contributions outside
// the run dropped. Every contribution is added at once into its output slot.
template <bool kGuarded>
ZETDIP_ALWAYS_INLINE void Inverse(const double* in, int nLowCount, int nOdd, double* out) {
    const Idx nL = nLowCount;
    const Idx nH = nL - nOdd;
    const Idx n = nL + nH;
    auto add = [&](Idx o, Idx nSrc, double dTap) {
        if constexpr (kGuarded) {
            if (o < 0 || o >= n || nSrc < 0 || nSrc >= n) return;
        }
        out[o] += dTap * in[nSrc];
    };
    // One boundary row of eight taps for d[j], possibly reversed.
    auto edge = [&](Idx j, Idx nFirst, const double* pTaps, bool bReversed) {
        if constexpr (kGuarded) {
            if (j < 0 || j >= nH) return;
        }
        for (int t = 0; t < 8; ++t) add(nFirst + t, nL + j, pTaps[bReversed ? 7 - t : t]);
    };

    edge(0, 0, kSynthesisEdge[0], false);
    edge(1, 0, kSynthesisEdge[1], false);
    const Idx nHighEnd = kGuarded ? std::min(nH - 3, n / 2 + 2) : nH - 3;
    for (Idx j = 2; j <= nHighEnd; ++j) {
        if constexpr (kGuarded) {
            for (int t = 0; t < 9; ++t) add(2 * j - 3 + t, nL + j, kSynthesisHigh[t]);
        } else {
            const double dValue = in[nL + j];
            double* o = out + 2 * j - 3;
            for (int t = 0; t < 9; ++t) o[t] += kSynthesisHigh[t] * dValue;
        }
    }
    edge(nH - 2, 2 * nH - 8, kSynthesisEdge[1], true);
    edge(nH - 1, 2 * nH - 8, kSynthesisEdge[0], true);

    if (nL < 1) return;
    add(0, 0, 1.0);
    add(1, 0, 0.5);
    const Idx nLowEnd = kGuarded ? std::min(nL - 2, n / 2 + 1) : nL - 2;
    for (Idx k = 1; k <= nLowEnd; ++k) {
        add(2 * k - 1, k, 0.5);
        add(2 * k, k, 1.0);
        add(2 * k + 1, k, 0.5);
    }
    add(2 * nL - 3, nL - 1, 0.5);
    add(2 * nL - 2, nL - 1, 1.0);
    if (nOdd != 1) add(2 * nL - 1, nL - 1, 0.5);
}

// The unguarded inverse with its interior slots gathered: each slot of
// pairs q = 5 .. nH - 5 gets the same terms in the same order as the scatter
// above gives it (the high values d[q-2] .. d[q+1] or d[q+2] in ascending
// order, then its low terms), summed in a register instead of through
// memory nine times over. The other slots take the scatter, restricted to
// the rows that reach them.
ZETDIP_ALWAYS_INLINE void InverseGathered(const double* in, int nLowCount, int nOdd, double* out) {
    const Idx nL = nLowCount;
    const Idx nH = nL - nOdd;
    const Idx qA = 5, qB = nH - 5;
    if (qB < qA) return Inverse<false>(in, nLowCount, nOdd, out);
    const Idx nGatherLo = 2 * qA, nGatherHi = 2 * qB + 1;
    auto add = [&](Idx o, Idx nSrc, double dTap) {
        if (o >= nGatherLo && o <= nGatherHi) return;
        out[o] += dTap * in[nSrc];
    };
    auto edge = [&](Idx j, Idx nFirst, const double* pTaps, bool bReversed) {
        for (int t = 0; t < 8; ++t) add(nFirst + t, nL + j, pTaps[bReversed ? 7 - t : t]);
    };
    auto high = [&](Idx j) {
        for (int t = 0; t < 9; ++t) add(2 * j - 3 + t, nL + j, kSynthesisHigh[t]);
    };
    auto low = [&](Idx k) {
        add(2 * k - 1, k, 0.5);
        add(2 * k, k, 1.0);
        add(2 * k + 1, k, 0.5);
    };
    // Rows j = 7 .. nH - 7 and k = 6 .. nH - 5 reach gathered slots only.
    edge(0, 0, kSynthesisEdge[0], false);
    edge(1, 0, kSynthesisEdge[1], false);
    for (Idx j = 2; j <= std::min<Idx>(6, nH - 3); ++j) high(j);
    for (Idx j = std::max<Idx>(7, nH - 6); j <= nH - 3; ++j) high(j);
    edge(nH - 2, 2 * nH - 8, kSynthesisEdge[1], true);
    edge(nH - 1, 2 * nH - 8, kSynthesisEdge[0], true);
    add(0, 0, 1.0);
    add(1, 0, 0.5);
    for (Idx k = 1; k <= std::min<Idx>(5, nL - 2); ++k) low(k);
    for (Idx k = std::max<Idx>(6, nH - 4); k <= nL - 2; ++k) low(k);
    add(2 * nL - 3, nL - 1, 0.5);
    add(2 * nL - 2, nL - 1, 1.0);
    if (nOdd != 1) add(2 * nL - 1, nL - 1, 0.5);

    const double* d = in + nL;
    const double* h = kSynthesisHigh;
    for (Idx q = qA; q <= qB; ++q) {
        double e = out[2 * q];
        e += h[7] * d[q - 2];
        e += h[5] * d[q - 1];
        e += h[3] * d[q];
        e += h[1] * d[q + 1];
        e += 1.0 * in[q];
        double o = out[2 * q + 1];
        o += h[8] * d[q - 2];
        o += h[6] * d[q - 1];
        o += h[4] * d[q];
        o += h[2] * d[q + 1];
        o += h[0] * d[q + 2];
        o += 0.5 * in[q];
        o += 0.5 * in[q + 1];
        out[2 * q] = e;
        out[2 * q + 1] = o;
    }
}

// Four lanes of doubles; every operation is the scalar one on each lane.
// Loaded and stored through memcpy: the rows need not be aligned.
using Lanes4 = double __attribute__((vector_size(32)));

// How many steps of the column pass ahead the rows are fetched.
constexpr int kPrefetchSteps = 4;

// The unguarded forward body down columns, term for term, on nLanes
// adjacent columns: in(i) gives input row i (nLanes values), out(s) output
// row s. Every output row is written (no filling by the caller; see
// ForwardSlots). Rows are
// asked for in rising order but for a window: input rows 0 .. 10 at first,
// rows 2k - 4 .. 2k + 4 at low row k, and the last eleven rows at the end.
// With kPrefetch, the rows a few steps ahead are fetched early (in(i) then
// is plain memory).
template <bool kPrefetch, class In, class Out>
ZETDIP_ALWAYS_INLINE void ForwardColumns(In in, Out out, int nLength, int nOdd, Idx nLanes) {
    const ForwardSlots slots(nLength, nOdd);
    // Plain copies: lambdas may not capture structured bindings in C++17.
    const Idx n = slots.n, nL = slots.nL, nE = slots.nE, nLowEnd = slots.nLowEnd,
              nHighBegin = slots.nHighBegin, nHighEnd = slots.nHighEnd;
    auto add = [&](Idx nSlot, Idx i, double dTap) {
        double* o = out(nSlot);
        const double* p = in(i);
        for (Idx l = 0; l < nLanes; ++l) o[l] += dTap * p[l];
    };
    slots.Zeroed([&](Idx nFrom, Idx nTo) {
        for (Idx k = nFrom; k < nTo; ++k) std::fill_n(out(k), nLanes, 0.0);
    });
    for (int r = 0; r < 4; ++r)
        for (int t = 0; t < kAnalysisEdgeTaps[r]; ++t) add(r, t, kAnalysisEdge[r][t]);

    // High row j reads rows 2j .. 2j + 2, which low row j + 2 reads too: the
    // two go together while those rows are at hand. Every slot sees its own
    // row's operations in order; rows of different slots are independent.
    auto high = [&](Idx j) {
        const double* p0 = in(2 * j);
        const double* p1 = in(2 * j + 1);
        const double* p2 = in(2 * j + 2);
        double* o = out(nL + j);
        for (Idx l = 0; l < nLanes; ++l) {
            double dAcc = 0.0;
            dAcc += -0.5 * p0[l];
            dAcc += p1[l];
            dAcc += -0.5 * p2[l];
            o[l] = 0.0 + dAcc;
        }
    };
    Idx nPairedBegin = std::max<Idx>(nHighBegin, 2), nPairedEnd = std::min(nHighEnd, nLowEnd - 2);
    if (nPairedEnd < nPairedBegin) nPairedBegin = nHighEnd + 1, nPairedEnd = nHighEnd;
    for (Idx j = nHighBegin; j < nPairedBegin; ++j) high(j);

    // The sums of kB lanes at a time stay in registers over the nine taps,
    // as vectors of four lanes (each lane the same double operations).
    constexpr int kB = 16;
    const Lanes4 zero4 = {0.0, 0.0, 0.0, 0.0};
    for (Idx k = 4; k <= nLowEnd; ++k) {
        if constexpr (kPrefetch) {
            // The two rows this step reads first come from memory: ask for the
            // ones a few steps ahead (a prefetch past the run reads nothing).
            if (2 * k + 4 + 2 * kPrefetchSteps + 1 < n)
                for (int r = 0; r < 2; ++r)
                    for (Idx l = 0; l < nLanes; l += 8)
                        __builtin_prefetch(in(2 * k + 3 + 2 * kPrefetchSteps + r) + l);
        }
        const double* p[9];
        for (int t = 0; t < 9; ++t) p[t] = in(2 * k - 4 + t);
        double* o = out(k);
        const Idx nBlocked = nLanes - nLanes % kB;
        for (Idx l0 = 0; l0 < nBlocked; l0 += kB) {
            Lanes4 acc[kB / 4] = {};
            for (int t = 0; t < 9; ++t) {
                const double w = kAnalysisLow[t];
                for (int j = 0; j < kB / 4; ++j) {
                    Lanes4 v;
                    std::memcpy(&v, p[t] + l0 + 4 * j, sizeof v);
                    acc[j] += w * v;
                }
            }
            for (int j = 0; j < kB / 4; ++j) {
                const Lanes4 v = zero4 + acc[j];
                std::memcpy(o + l0 + 4 * j, &v, sizeof v);
            }
        }
        for (Idx l = nBlocked; l < nLanes; ++l) {
            double dAcc = 0.0;
            for (int t = 0; t < 9; ++t) dAcc += kAnalysisLow[t] * p[t][l];
            o[l] = 0.0 + dAcc;
        }
        if (k - 2 >= nPairedBegin && k - 2 <= nPairedEnd) high(k - 2);
    }
    for (Idx j = std::max(nHighBegin, nPairedEnd + 1); j <= nHighEnd; ++j) high(j);
    for (int r = 3; r >= 0; --r)
        for (int t = 0; t < kAnalysisEdgeTaps[r]; ++t)
            add(nL - 1 - r, nE - 1 - t, kAnalysisEdge[r][t]);
    add(nE - 1, nE - 2, -0.5);
    add(nE - 1, nE - 1, 1.0);
}

// The column body on kL columns of an image in memory, into a block of kL
// values a row.
template <int kL>
ZETDIP_ALWAYS_INLINE void ForwardLanes(const double* x, Idx nStride, int nLength, int nOdd,
                                       double* out) {
    ForwardColumns<true>([&](Idx i) { return x + i * nStride; },
                         [&](Idx s) { return out + s * kL; }, nLength, nOdd, kL);
}

// The column body across whole rows that a source makes on demand, into
// rows of the destination.
ZETDIP_ALWAYS_INLINE void ForwardStream(WaveletRowSource& rows, double* pOut, Idx nStride,
                                        int nLength, int nOdd, int nLanes) {
    ForwardColumns<false>([&](Idx i) { return rows.Row(static_cast<int>(i)); },
                          [&](Idx s) { return pOut + s * nStride; }, nLength, nOdd, nLanes);
}

template <int kL>
ZETDIP_ALWAYS_INLINE void InverseLanes(const double* in, Idx nStride, int nLowCount, int nOdd,
                                       double* out) {
    const Idx nL = nLowCount;
    const Idx nH = nL - nOdd;
    std::fill_n(out, (2 * nL - nOdd) * kL, 0.0);  // every contribution adds
    auto add = [&](Idx o, Idx nSrc, double dTap) {
        double* q = out + o * kL;
        const double* p = in + nSrc * nStride;
        for (int l = 0; l < kL; ++l) q[l] += dTap * p[l];
    };
    auto edge = [&](Idx j, Idx nFirst, const double* pTaps, bool bReversed) {
        for (int t = 0; t < 8; ++t) add(nFirst + t, nL + j, pTaps[bReversed ? 7 - t : t]);
    };
    edge(0, 0, kSynthesisEdge[0], false);
    edge(1, 0, kSynthesisEdge[1], false);
    for (Idx j = 2; j <= nH - 3; ++j) {
        const double* v = in + (nL + j) * nStride;
        double* o = out + (2 * j - 3) * kL;
        for (int t = 0; t < 9; ++t)
            for (int l = 0; l < kL; ++l) o[t * kL + l] += kSynthesisHigh[t] * v[l];
    }
    edge(nH - 2, 2 * nH - 8, kSynthesisEdge[1], true);
    edge(nH - 1, 2 * nH - 8, kSynthesisEdge[0], true);
    add(0, 0, 1.0);
    add(1, 0, 0.5);
    for (Idx k = 1; k <= nL - 2; ++k) {
        add(2 * k - 1, k, 0.5);
        add(2 * k, k, 1.0);
        add(2 * k + 1, k, 0.5);
    }
    add(2 * nL - 3, nL - 1, 0.5);
    add(2 * nL - 2, nL - 1, 1.0);
    if (nOdd != 1) add(2 * nL - 1, nL - 1, 0.5);
}

template <int kL>
void ForwardLanesBaseline(const double* x, Idx nStride, int nLength, int nOdd, double* out) {
    ForwardLanes<kL>(x, nStride, nLength, nOdd, out);
}
template <int kL>
void InverseLanesBaseline(const double* in, Idx nStride, int nLowCount, int nOdd, double* out) {
    InverseLanes<kL>(in, nStride, nLowCount, nOdd, out);
}
#if ZETDIP_HAS_AVX2_PATH
template <int kL>
ZETDIP_TARGET_AVX2 void ForwardLanesAvx2(const double* x, Idx nStride, int nLength, int nOdd,
                                         double* out) {
    ForwardLanes<kL>(x, nStride, nLength, nOdd, out);
}
template <int kL>
ZETDIP_TARGET_AVX2 void InverseLanesAvx2(const double* in, Idx nStride, int nLowCount, int nOdd,
                                         double* out) {
    InverseLanes<kL>(in, nStride, nLowCount, nOdd, out);
}
#endif

void ForwardStreamBaseline(WaveletRowSource& rows, double* pOut, Idx nStride, int nLength, int nOdd,
                           int nLanes) {
    ForwardStream(rows, pOut, nStride, nLength, nOdd, nLanes);
}
#if ZETDIP_HAS_AVX2_PATH
ZETDIP_TARGET_AVX2 void ForwardStreamAvx2(WaveletRowSource& rows, double* pOut, Idx nStride,
                                          int nLength, int nOdd, int nLanes) {
    ForwardStream(rows, pOut, nStride, nLength, nOdd, nLanes);
}
#endif

// The unguarded one-run bodies, for the baseline processor and with AVX2.
void ForwardRunBaseline(const double* x, int nLength, int nOdd, double* out) {
    Forward<false>(x, nLength, nOdd, out);
}
void InverseRunBaseline(const double* in, int nLowCount, int nOdd, double* out) {
    InverseGathered(in, nLowCount, nOdd, out);
}
#if ZETDIP_HAS_AVX2_PATH
ZETDIP_TARGET_AVX2 void ForwardRunAvx2(const double* x, int nLength, int nOdd, double* out) {
    Forward<false>(x, nLength, nOdd, out);
}
ZETDIP_TARGET_AVX2 void InverseRunAvx2(const double* in, int nLowCount, int nOdd, double* out) {
    InverseGathered(in, nLowCount, nOdd, out);
}
#endif

using LanesFn = void (*)(const double*, Idx, int, int, double*);

// The kernel of one lane count and path; null for a lane count not built.
template <template <int> class Pick>
LanesFn ForLanes(int nLanes) {
    switch (nLanes) {
        case kWaveletLanes:
            return Pick<kWaveletLanes>::Get();
        case kWaveletNarrowLanes:
            return Pick<kWaveletNarrowLanes>::Get();
        default:
            return nullptr;
    }
}

template <int kL>
struct ForwardPick {
    static LanesFn Get() { return ForwardLanesBaseline<kL>; }
};
template <int kL>
struct InversePick {
    static LanesFn Get() { return InverseLanesBaseline<kL>; }
};
#if ZETDIP_HAS_AVX2_PATH
template <int kL>
struct ForwardPickAvx2 {
    static LanesFn Get() { return ForwardLanesAvx2<kL>; }
};
template <int kL>
struct InversePickAvx2 {
    static LanesFn Get() { return InverseLanesAvx2<kL>; }
};
#endif

}  // namespace

namespace zetdip::detail {

bool WaveletLanesFit(int nLength, int nOdd) {
    return (nOdd == 0 || nOdd == 1) && nLength >= 11 + nOdd;
}

bool WaveletInverseLanesFit(int nLowCount, int nOdd) {
    return (nOdd == 0 || nOdd == 1) && nLowCount >= 4 + nOdd;
}

bool WaveletLaneCountBuilt(int nLanes) {
    return ForLanes<ForwardPick>(nLanes) != nullptr;
}

void WaveletForwardLanes(const double* x, std::ptrdiff_t nStride, int nLength, int nOdd,
                         double* out, VectorPath path, int nLanes) {
    LanesFn f = ForLanes<ForwardPick>(nLanes);
#if ZETDIP_HAS_AVX2_PATH
    if (ResolvePath(path) == VectorPath::kAvx2) f = ForLanes<ForwardPickAvx2>(nLanes);
#endif
    (void)path;
    if (f) f(x, nStride, nLength, nOdd, out);
}

void WaveletInverseLanes(const double* in, std::ptrdiff_t nStride, int nLowCount, int nOdd,
                         double* out, VectorPath path, int nLanes) {
    LanesFn f = ForLanes<InversePick>(nLanes);
#if ZETDIP_HAS_AVX2_PATH
    if (ResolvePath(path) == VectorPath::kAvx2) f = ForLanes<InversePickAvx2>(nLanes);
#endif
    (void)path;
    if (f) f(in, nStride, nLowCount, nOdd, out);
}

void WaveletForwardStream(WaveletRowSource& rows, double* pOut, std::ptrdiff_t nStride, int nLength,
                          int nOdd, int nLanes, VectorPath path) {
    if (!WaveletLanesFit(nLength, nOdd) || nLanes <= 0) return;
#if ZETDIP_HAS_AVX2_PATH
    if (ResolvePath(path) == VectorPath::kAvx2)
        return ForwardStreamAvx2(rows, pOut, nStride, nLength, nOdd, nLanes);
#endif
    (void)path;
    ForwardStreamBaseline(rows, pOut, nStride, nLength, nOdd, nLanes);
}

void WaveletForwardInto(const double* x, int nLength, int nOdd, double* out, VectorPath path) {
    if (!WaveletLanesFit(nLength, nOdd)) return Forward<true>(x, nLength, nOdd, out);
#if ZETDIP_HAS_AVX2_PATH
    if (ResolvePath(path) == VectorPath::kAvx2) return ForwardRunAvx2(x, nLength, nOdd, out);
#endif
    (void)path;
    ForwardRunBaseline(x, nLength, nOdd, out);
}

void WaveletInverseInto(const double* in, int nLowCount, int nOdd, double* out, VectorPath path) {
    if (!WaveletInverseLanesFit(nLowCount, nOdd)) return Inverse<true>(in, nLowCount, nOdd, out);
#if ZETDIP_HAS_AVX2_PATH
    if (ResolvePath(path) == VectorPath::kAvx2) return InverseRunAvx2(in, nLowCount, nOdd, out);
#endif
    (void)path;
    InverseRunBaseline(in, nLowCount, nOdd, out);
}

bool WaveletForward(double* pData, int nLength, int nOdd) {
    if (nLength < 0) return false;  // a negative run is a request no allocator grants
    const auto pOut = NewScratch<double>(static_cast<std::size_t>(nLength));
    if (!pOut) return false;
    WaveletForwardInto(pData, nLength, nOdd, pOut.get());
    std::copy_n(pOut.get(), nLength, pData);
    return true;
}

bool WaveletInverse(double* pData, int nLowCount, int nOdd) {
    const long long nLength = 2LL * nLowCount - nOdd;
    if (nLength < 0 || nLength > INT_MAX) return false;  // refused like a failed allocation
    const auto pOut = NewScratch<double>(static_cast<std::size_t>(nLength));
    if (!pOut) return false;
    std::fill_n(pOut.get(), nLength, 0.0);
    WaveletInverseInto(pData, nLowCount, nOdd, pOut.get());
    std::copy_n(pOut.get(), nLength, pData);
    return true;
}

}  // namespace zetdip::detail

bool CDipWavelet::ApplyWaveletTransform(double* pData, int nLength, int nOdd) {
    return WaveletForward(pData, nLength, nOdd);
}

bool CDipWavelet::ApplyInverseWaveletTransform(double* pData, int nLowCount, int nOdd, int) {
    return WaveletInverse(pData, nLowCount, nOdd);
}
