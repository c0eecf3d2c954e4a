// Microcalcification search: region growing of candidate blobs, the shape
// check on the stretched grey image and the scan that marks accepted
// centres. One body for both sample types.
#ifndef ZETDIP_CAD_MICROCALCIFICATIONS_H
#define ZETDIP_CAD_MICROCALCIFICATIONS_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <limits>
#include <type_traits>

#include "DipEnhancement.h"
#include "cad/frame_stack.h"
#include "cad/saturation_runs.h"
#include "core/common.h"

namespace zetdip::detail {

// Neighbours of a blob pixel in visiting order: column offset -1, 0, +1 in
// the outer loop, row offset -1, 0, +1 in the inner one, (0, 0) left out.
inline constexpr int kBlobDx[8] = {-1, -1, -1, 0, 0, 1, 1, 1};
inline constexpr int kBlobDy[8] = {-1, 0, 1, -1, 1, -1, 0, 1};

// A frame of the blob growing is the index (0..7) of the neighbour being
// visited; the parent's position follows from the child's, so a byte is all
// a frame needs (12 MB for a fully set 4000 x 3000 image).
using BlobStack = FrameStack<unsigned char>;

// Grows the blob of non-zero pBinary pixels from (nX, nY) depth first, in the
// visiting order of the recursive definition: a pixel that is 0 or already
// marked is left; otherwise it is marked in pVisited and widens the box, and
// unless it lies on the image border the growing goes on at its neighbours.
// A start outside the image does nothing. Returns false when the frame stack
// could not grow; the pixels taken so far then stay taken.
template <class T>
bool GrowMicrocalcification(const T* pBinary, int* pVisited, int nX, int nY, int& nMinX, int& nMinY,
                            int& nMaxX, int& nMaxY, int nWidth, int nHeight, BlobStack& stack) {
    if (nX < 0 || nY < 0 || nX >= nWidth || nY >= nHeight) return true;
    const std::size_t w = static_cast<std::size_t>(nWidth);
    int nMinXLocal = nMinX, nMinYLocal = nMinY, nMaxXLocal = nMaxX, nMaxYLocal = nMaxY;
    // Takes (x, y) when it is a free candidate; true when the growing spreads from it.
    auto take = [&](int x, int y) {
        const std::size_t i = static_cast<std::size_t>(y) * w + static_cast<std::size_t>(x);
        if (pBinary[i] == 0 || pVisited[i] != 0) return false;
        pVisited[i] = 1;
        if (x < nMinXLocal) nMinXLocal = x;
        if (x > nMaxXLocal) nMaxXLocal = x;
        if (y < nMinYLocal) nMinYLocal = y;
        if (y > nMaxYLocal) nMaxYLocal = y;
        return y - 1 >= 0 && x - 1 >= 0 && y + 1 < nHeight && x + 1 < nWidth;
    };

    bool bComplete = true;
    if (take(nX, nY)) {
        stack.Clear();
        int x = nX, y = nY, k = 0;
        for (;;) {
            while (k < 8 && !take(x + kBlobDx[k], y + kBlobDy[k])) ++k;
            if (k < 8) {
                if (!stack.Push(static_cast<unsigned char>(k))) {
                    bComplete = false;
                    break;
                }
                x += kBlobDx[k];
                y += kBlobDy[k];
                k = 0;
            } else {
                if (stack.Empty()) break;
                k = stack.Pop();
                x -= kBlobDx[k];
                y -= kBlobDy[k];
                ++k;
            }
        }
    }
    nMinX = nMinXLocal;
    nMinY = nMinYLocal;
    nMaxX = nMaxXLocal;
    nMaxY = nMaxYLocal;
    return bComplete;
}

// How far the through-centre runs of the shape check may go.
template <class T>
struct CentreRunTraits;
template <>
struct CentreRunTraits<unsigned char> {
    // 8-bit: no bound but the buffer; a row run goes on into the next row.
    static constexpr bool kBoundedByImage = false;
};
template <>
struct CentreRunTraits<unsigned short> {
    // 16-bit: bounded by the image, the rightward run by its height.
    static constexpr bool kBoundedByImage = true;
};

// The four window scans of the shape check. Each line of the window is
// walked from one side past unsaturated samples to the first saturated run,
// which may go on past the window up to the image edge; the scans from the
// bottom and the right start on the exclusive bound itself (intended). Each
// run, counted up to nCap, goes to keep(nRun), and the scans end once keep
// returns true.
template <class Saturated, class Keep>
void WindowScans(int nWidth, int nHeight, int nLeft, int nTop, int nRight, int nBottom,
                 long long nCap, Saturated saturated, Keep keep) {
    auto scan = [&](auto columns, int nFrom, int nTo, int nStep) {
        constexpr bool kColumns = decltype(columns)::value;
        const int nFirst = kColumns ? nLeft : nTop, nLast = kColumns ? nRight : nBottom;
        const int nEnd = kColumns ? nHeight : nWidth;
        auto at = [&](int nLine, int p) {
            return kColumns ? saturated(nLine, p) : saturated(p, nLine);
        };
        for (int nLine = nFirst; nLine < nLast; ++nLine) {
            int p = nFrom;
            while ((nStep > 0 ? p < nTo : p > nTo) && !at(nLine, p)) p += nStep;
            int nRun = 0;
            for (; nRun < nCap && (nStep > 0 ? p < nEnd : p >= 0) && at(nLine, p); p += nStep)
                ++nRun;
            if (keep(nRun)) return true;
        }
        return false;
    };
    using Columns = std::true_type;
    using Rows = std::false_type;
    (void)(scan(Columns{}, nTop, nBottom, 1) || scan(Columns{}, nBottom, nTop, -1) ||
           scan(Rows{}, nLeft, nRight, 1) || scan(Rows{}, nRight, nLeft, -1));
}

// Shape check around the blob centre (nX, nY) in the stretched image; the
// window [nLeft, nRight) x [nTop, nBottom) has exclusive right and bottom
// bounds. Returns the dark answer for a dark centre, the run maximum when
// both through-centre extents lie in (run minimum, run maximum], and else the
// longest saturated run met by the four window scans. Samples are addressed
// through their buffer index row * nWidth + column as the buffer is laid
// out; an index outside the buffer counts as not saturated and is never read
// (inside the image nothing changes by that). A centre outside the image
// gives the dark answer.
template <class T>
int SearchAnObject(const T* pStretched, int nX, int nY, int nWidth, int nHeight, int nLeft,
                   int nTop, int nRight, int nBottom, double dPixelSize, int nMaxValue) {
    const int nRunMin = TruncToInt(0.1 / dPixelSize + 1.0);
    const int nRunMax = TruncToInt(1.1 / dPixelSize + 1.0);
    const int nDark = TruncToInt(2.0 / dPixelSize);
    if (nX < 0 || nY < 0 || nX >= nWidth || nY >= nHeight) return nDark;

    const long long nSamples = static_cast<long long>(nWidth) * nHeight;
    auto saturated = [&](long long col, long long row) {
        const long long i = row * nWidth + col;
        return i >= 0 && i < nSamples && pStretched[i] == nMaxValue;
    };
    if (pStretched[static_cast<long long>(nY) * nWidth + nX] < (nMaxValue + 1) / 8) return nDark;

    // Both runs include the centre, so it is counted twice: intended.
    int nVertical = 0, nHorizontal = 0;
    if constexpr (CentreRunTraits<T>::kBoundedByImage) {
        for (long long r = nY; r < nHeight && saturated(nX, r); ++r) ++nVertical;
        for (long long r = nY; r >= 0 && saturated(nX, r); --r) ++nVertical;
        // The rightward run is bounded by the height, not the width: intended.
        for (long long c = nX; c < nHeight && saturated(c, nY); ++c) ++nHorizontal;
        for (long long c = nX; c >= 0 && saturated(c, nY); --c) ++nHorizontal;
    } else {
        for (long long r = nY; saturated(nX, r); ++r) ++nVertical;
        for (long long r = nY; saturated(nX, r); --r) ++nVertical;
        for (long long c = nX; saturated(c, nY); ++c) ++nHorizontal;
        for (long long c = nX; saturated(c, nY); --c) ++nHorizontal;
    }
    if (nVertical > nRunMin && nVertical <= nRunMax && nHorizontal > nRunMin &&
        nHorizontal <= nRunMax)
        return nRunMax;

    int nLongest = 0;
    WindowScans(nWidth, nHeight, nLeft, nTop, nRight, nBottom, LLONG_MAX, saturated, [&](int nRun) {
        nLongest = std::max(nLongest, nRun);
        return false;
    });
    return nLongest;
}

// SearchAnObject with every walk bounded: a through-centre walk stops one
// past the run maximum (the range test cannot pass beyond it) and a window
// run at nCap, where the scans end, since no run can beat it. The answer is
// min(SearchAnObject, nCap) except for the dark one, returned as it is.
// nSteps grows by the samples read.
template <class T>
int SearchAnObjectBounded(const T* pStretched, int nX, int nY, int nWidth, int nHeight, int nLeft,
                          int nTop, int nRight, int nBottom, double dPixelSize, int nMaxValue,
                          int nCap, long long& nSteps) {
    const int nRunMin = TruncToInt(0.1 / dPixelSize + 1.0);
    const int nRunMax = TruncToInt(1.1 / dPixelSize + 1.0);
    const int nDark = TruncToInt(2.0 / dPixelSize);
    if (nX < 0 || nY < 0 || nX >= nWidth || nY >= nHeight) return nDark;

    const long long nSamples = static_cast<long long>(nWidth) * nHeight;
    auto saturated = [&](long long col, long long row) {
        ++nSteps;
        const long long i = row * nWidth + col;
        return i >= 0 && i < nSamples && pStretched[i] == nMaxValue;
    };
    if (pStretched[static_cast<long long>(nY) * nWidth + nX] < (nMaxValue + 1) / 8) return nDark;

    // Each directional walk stops at nCentreCap: past it the sum exceeds the
    // run maximum whatever the rest is.
    const long long nCentreCap = std::max(nRunMax, 0) + 1LL;
    long long nVertical = 0, nHorizontal = 0, n = 0;
    if constexpr (CentreRunTraits<T>::kBoundedByImage) {
        for (long long r = nY; n < nCentreCap && r < nHeight && saturated(nX, r); ++r) ++n;
        nVertical += n, n = 0;
        for (long long r = nY; n < nCentreCap && r >= 0 && saturated(nX, r); --r) ++n;
        nVertical += n, n = 0;
        for (long long c = nX; n < nCentreCap && c < nHeight && saturated(c, nY); ++c) ++n;
        nHorizontal += n, n = 0;
        for (long long c = nX; n < nCentreCap && c >= 0 && saturated(c, nY); --c) ++n;
        nHorizontal += n, n = 0;
    } else {
        for (long long r = nY; n < nCentreCap && saturated(nX, r); ++r) ++n;
        nVertical += n, n = 0;
        for (long long r = nY; n < nCentreCap && saturated(nX, r); --r) ++n;
        nVertical += n, n = 0;
        for (long long c = nX; n < nCentreCap && saturated(c, nY); ++c) ++n;
        nHorizontal += n, n = 0;
        for (long long c = nX; n < nCentreCap && saturated(c, nY); --c) ++n;
        nHorizontal += n, n = 0;
    }
    if (nVertical > nRunMin && nVertical <= nRunMax && nHorizontal > nRunMin &&
        nHorizontal <= nRunMax)
        return nRunMax;

    int nLongest = 0;
    WindowScans(nWidth, nHeight, nLeft, nTop, nRight, nBottom, nCap, saturated, [&](int nRun) {
        nLongest = std::max(nLongest, nRun);
        return nLongest >= nCap;
    });
    if (nLongest >= nCap) return nCap;
    return nLongest;
}

// SearchAnObject read from the runs of its stretched image: the same answer
// with every run clamped to the cap, i.e. min(SearchAnObject, kCap) except
// for the dark answer, which is returned as it is. Windows reaching outside
// the image or as long as the cap, and a run maximum at the cap, take
// SearchAnObject itself, or SearchAnObjectBounded with nWalkCap when
// pWalkSteps is given.
template <class T, class R>
int SearchAnObjectByRuns(const SaturationRuns<R>& runs, const T* pStretched, int nX, int nY,
                         int nWidth, int nHeight, int nLeft, int nTop, int nRight, int nBottom,
                         double dPixelSize, int nMaxValue, int nWalkCap = 0,
                         long long* pWalkSteps = nullptr) {
    constexpr int kCap = SaturationRuns<R>::kCap;
    const int nRunMin = TruncToInt(0.1 / dPixelSize + 1.0);
    const int nRunMax = TruncToInt(1.1 / dPixelSize + 1.0);
    const int nDark = TruncToInt(2.0 / dPixelSize);
    auto inside = [](int v, int n) { return v >= 0 && v < n; };
    // A clamped run must still exceed the run maximum.
    if (!inside(nX, nWidth) || !inside(nY, nHeight) || !inside(nLeft, nWidth) ||
        !inside(nRight, nWidth) || !inside(nTop, nHeight) || !inside(nBottom, nHeight) ||
        nRight - nLeft >= kCap || nBottom - nTop >= kCap || nRunMax >= kCap)
        return pWalkSteps != nullptr
                   ? SearchAnObjectBounded(pStretched, nX, nY, nWidth, nHeight, nLeft, nTop, nRight,
                                           nBottom, dPixelSize, nMaxValue, nWalkCap, *pWalkSteps)
                   : SearchAnObject(pStretched, nX, nY, nWidth, nHeight, nLeft, nTop, nRight,
                                    nBottom, dPixelSize, nMaxValue);
    if (pStretched[static_cast<std::size_t>(nY) * static_cast<std::size_t>(nWidth) +
                   static_cast<std::size_t>(nX)] < (nMaxValue + 1) / 8)
        return nDark;

    auto run = [](int nCell) { return nCell > 0 ? nCell : 0; };
    // Both runs count the centre, as SearchAnObject does.
    const int nVertical = run(runs.Down(nX, nY)) + run(runs.Up(nX, nY));
    int nHorizontal = 0;
    if constexpr (CentreRunTraits<T>::kBoundedByImage) {
        // Rightward up to column nHeight, through the row end if the width is smaller.
        nHorizontal =
            std::min(runs.LineForward(nX, nY), std::max(nHeight - nX, 0)) + run(runs.Left(nX, nY));
    } else {
        nHorizontal = runs.LineForward(nX, nY) + runs.LineBackward(nX, nY);
    }
    if (nVertical > nRunMin && nVertical <= nRunMax && nHorizontal > nRunMin &&
        nHorizontal <= nRunMax)
        return nRunMax;

    // The four window scans: a gap cell says where the next saturated pixel
    // lies, so each scan costs one look-up instead of a walk. A run at the
    // cap cannot be beaten, so the scans end there (a saturated window
    // costs one look-up).
    int nLongest = 0;
    for (int c = nLeft; c < nRight; ++c) {
        int r = nTop;
        const int nGap = runs.Down(c, r);
        if (r < nBottom && nGap <= 0) r = std::min(r - nGap, nBottom);
        nLongest = std::max(nLongest, run(runs.Down(c, r)));
        if (nLongest >= kCap) return kCap;
    }
    for (int c = nLeft; c < nRight; ++c) {
        int r = nBottom;
        const int nGap = runs.Up(c, r);
        if (r > nTop && nGap <= 0) r = std::max(r + nGap, nTop);
        nLongest = std::max(nLongest, run(runs.Up(c, r)));
        if (nLongest >= kCap) return kCap;
    }
    for (int r = nTop; r < nBottom; ++r) {
        int c = nLeft;
        const int nGap = runs.Right(c, r);
        if (c < nRight && nGap <= 0) c = std::min(c - nGap, nRight);
        nLongest = std::max(nLongest, run(runs.Right(c, r)));
        if (nLongest >= kCap) return kCap;
    }
    for (int r = nTop; r < nBottom; ++r) {
        int c = nRight;
        const int nGap = runs.Left(c, r);
        if (c > nLeft && nGap <= 0) c = std::max(c + nGap, nLeft);
        nLongest = std::max(nLongest, run(runs.Left(c, r)));
        if (nLongest >= kCap) return kCap;
    }
    return nLongest;
}

// Stretches the grey image over [2^bits / 2, (int)(2^bits / 1.41)) through
// the public entry (128, 181 for 8 bits), so that grey values from the upper
// bound on saturate.
template <class T>
void StretchForSearch(const T* pSrc, T* pStretched, int nBitsStored, int nWidth, int nHeight) {
    const int nBitsPerPixel = sizeof(T) == 1 ? 8 : 16;
    const int nFull = PowerOfTwo(nBitsStored);
    CDipEnhancement::ApplyStretching(AsBytes(const_cast<T*>(pSrc)), AsBytes(pStretched),
                                     nBitsPerPixel, nBitsStored, nWidth, nHeight, nFull / 2,
                                     TruncToInt(nFull / 1.41));
}

// Examines every free candidate blob that starts in rows [nTop, nBottom) and
// columns [nLeft, nRight) and sets pCentres to 1 at the centre of each blob
// that passes the size test and the shape check. nBitsStored is 8 for 8-bit
// images. The band is clipped to the image, so a band reaching outside (a
// pixel size so small that the margins exceed the image) searches only its
// part inside. Returns false only when the blob growing ran out of stack
// memory (the scan stops there); no memory for the stretched image marks
// nothing and still returns true.
template <class T>
bool SearchEveryMicrocalcification(const T* pSrc, const T* pBinary, int* pVisited, int* pCentres,
                                   int nBitsStored, int nTop, int nLeft, int nBottom, int nRight,
                                   double dPixelSizeX, double dPixelSizeY, int nWidth, int nHeight,
                                   BlobStack& stack) {
    const double dMax = dPixelSizeX < dPixelSizeY ? dPixelSizeY : dPixelSizeX;
    const int nHalfWindow = TruncToInt(1.5 / dMax);
    const int nSmallLimit = TruncToInt(1.3 / dMax + 1.0);
    const int nLargeLimit = TruncToInt(6.1 / dMax);

    std::unique_ptr<T[]> pStretched = NewScratch<T>(SampleCount(nWidth, nHeight));
    if (!pStretched) return true;
    StretchForSearch(pSrc, pStretched.get(), nBitsStored, nWidth, nHeight);
    const int nMaxValue = PowerOfTwo(nBitsStored) - 1;

    const int nRowBegin = nTop > 0 ? nTop : 0;
    const int nRowEnd = nBottom < nHeight ? nBottom : nHeight;
    const int nColBegin = nLeft > 0 ? nLeft : 0;
    const int nColEnd = nRight < nWidth ? nRight : nWidth;
    // No row is scanned without a column, however many rows there are.
    if (nColBegin >= nColEnd) return true;

    // The shape checks walk with every run bounded one past the acceptance
    // limits (a bounded size is judged as the true one), counting the
    // samples read. On content where the walks add up to several times the
    // image (saturated areas full of blobs), they switch to runs counted
    // once (SaturationRuns: 4 bytes a pixel for usual pixel sizes), which
    // answer each check in a look-up per window row and column. Without
    // memory for the runs the walks go on.
    const int nCap = static_cast<int>(std::min<long long>(
        std::max<long long>({nSmallLimit, nLargeLimit, 0}) + 1, std::numeric_limits<int>::max()));
    const long long nBudget = 8LL * static_cast<long long>(SampleCount(nWidth, nHeight)) + 4096;
    long long nSteps = 0;
    const long long nLimit = std::max<long long>({nSmallLimit, nLargeLimit, 2LL * nHalfWindow});
    SaturationRuns<signed char> runs8;
    SaturationRuns<short> runs16;
    int nRunCells = -1;  // -1: not tried yet, 0: walks only
    auto check = [&](int cx, int cy, int nL, int nT, int nR, int nB, double dPixelSize) {
        if (nRunCells < 0 && nSteps > nBudget) {
            nRunCells = 0;
            if (nLimit < SaturationRuns<signed char>::kCap) {
                if (runs8.Build(pStretched.get(), nWidth, nHeight, nMaxValue)) nRunCells = 1;
            } else if (nLimit < SaturationRuns<short>::kCap) {
                if (runs16.Build(pStretched.get(), nWidth, nHeight, nMaxValue)) nRunCells = 2;
            }
        }
        if (nRunCells == 1)
            return SearchAnObjectByRuns(runs8, pStretched.get(), cx, cy, nWidth, nHeight, nL, nT,
                                        nR, nB, dPixelSize, nMaxValue, nCap, &nSteps);
        if (nRunCells == 2)
            return SearchAnObjectByRuns(runs16, pStretched.get(), cx, cy, nWidth, nHeight, nL, nT,
                                        nR, nB, dPixelSize, nMaxValue, nCap, &nSteps);
        return SearchAnObjectBounded(pStretched.get(), cx, cy, nWidth, nHeight, nL, nT, nR, nB,
                                     dPixelSize, nMaxValue, nCap, nSteps);
    };

    const std::size_t w = static_cast<std::size_t>(nWidth > 0 ? nWidth : 0);
    for (int y = nRowBegin; y < nRowEnd; ++y) {
        for (int x = nColBegin; x < nColEnd; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * w + static_cast<std::size_t>(x);
            if (pBinary[i] == 0 || pVisited[i] != 0) continue;
            int nMinX = nWidth, nMinY = nHeight, nMaxX = 0, nMaxY = 0;
            if (!GrowMicrocalcification(pBinary, pVisited, x, y, nMinX, nMinY, nMaxX, nMaxY, nWidth,
                                        nHeight, stack))
                return false;
            const int nW = nMaxX - nMinX + 1;
            const int nH = nMaxY - nMinY + 1;
            const int nD = nW > nH ? nW : nH;
            const int cx = nMinX + nW / 2;
            const int cy = nMinY + nH / 2;
            const double dPixelSize = nW < nH ? dPixelSizeY : dPixelSizeX;
            if (!(0.1 / dPixelSize <= nD && nD <= 1.0 / dPixelSize)) continue;
            const int nSize = check(cx, cy, WrapSub(cx, nHalfWindow), WrapSub(cy, nHalfWindow),
                                    WrapAdd(cx, nHalfWindow), WrapAdd(cy, nHalfWindow), dPixelSize);
            if (nSize <= nSmallLimit || nSize > nLargeLimit)
                pCentres[static_cast<std::size_t>(cy) * w + static_cast<std::size_t>(cx)] = 1;
        }
    }
    return true;
}

}  // namespace zetdip::detail

#endif  // ZETDIP_CAD_MICROCALCIFICATIONS_H
