// Saturated runs of the stretched image, counted once for a whole scan so
// that each shape check reads its runs instead of walking them: on a
// saturated image every run reaches the image edge, and walking them for
// every blob costs the image size per blob.
#ifndef ZETDIP_CAD_SATURATION_RUNS_H
#define ZETDIP_CAD_SATURATION_RUNS_H

#include <algorithm>
#include <cstddef>
#include <limits>
#include <memory>

#include "core/common.h"

namespace zetdip::detail {

// For every pixel and each of the four directions one cell R (signed char or
// short): a saturated pixel holds the length of the saturated run from it on
// in that direction (itself included), any other pixel minus the number of
// unsaturated pixels from it on before the next saturated one or the edge.
// Both are clamped to kCap, the largest R: a shape check whose thresholds
// and window lie below the cap decides the same on clamped runs, since a run
// of kCap or more exceeds all of them either way.
template <class R>
class SaturationRuns {
public:
    static constexpr int kCap = std::numeric_limits<R>::max();

    // False when the memory cannot be had.
    template <class T>
    bool Build(const T* pImage, int nWidth, int nHeight, int nMaxValue) {
        m_nWidth = nWidth;
        m_nHeight = nHeight;
        m_nStride = static_cast<std::size_t>(nWidth);
        const std::size_t n = SampleCount(nWidth, nHeight);
        // Runs of an image without samples are never read.
        if (n == 0) return true;
        m_pDown = NewScratch<R>(n);
        m_pUp = NewScratch<R>(n);
        m_pRight = NewScratch<R>(n);
        m_pLeft = NewScratch<R>(n);
        m_pLineFromRowStart = NewScratch<int>(static_cast<std::size_t>(nHeight) + 1);
        m_pLineFromRowEnd = NewScratch<int>(static_cast<std::size_t>(nHeight) + 1);
        if (!m_pDown || !m_pUp || !m_pRight || !m_pLeft || !m_pLineFromRowStart ||
            !m_pLineFromRowEnd)
            return false;
        auto saturated = [&](std::size_t i) { return pImage[i] == nMaxValue; };
        // The next cell in a direction from the cell one step further on.
        auto step = [](bool bSaturated, R next) -> R {
            if (bSaturated) return static_cast<R>(next > 0 ? std::min(next + 1, kCap) : 1);
            return static_cast<R>(next > 0 ? -1 : std::max(next - 1, -kCap));
        };
        for (int y = 0; y < nHeight; ++y) {
            const std::size_t nRow = static_cast<std::size_t>(y) * m_nStride;
            R right = 0, left = 0;
            for (int x = nWidth - 1; x >= 0; --x) {
                right = step(saturated(nRow + x), right);
                m_pRight[nRow + x] = right;
            }
            for (int x = 0; x < nWidth; ++x) {
                left = step(saturated(nRow + x), left);
                m_pLeft[nRow + x] = left;
            }
        }
        for (int y = 0; y < nHeight; ++y) {
            const std::size_t nRow = static_cast<std::size_t>(y) * m_nStride;
            for (std::size_t x = 0; x < m_nStride; ++x)
                m_pUp[nRow + x] =
                    step(saturated(nRow + x), y > 0 ? m_pUp[nRow - m_nStride + x] : 0);
        }
        for (int y = nHeight - 1; y >= 0; --y) {
            const std::size_t nRow = static_cast<std::size_t>(y) * m_nStride;
            for (std::size_t x = 0; x < m_nStride; ++x)
                m_pDown[nRow + x] =
                    step(saturated(nRow + x), y + 1 < nHeight ? m_pDown[nRow + m_nStride + x] : 0);
        }
        // Runs in buffer order from a row's first column on (the next row
        // continuing it) and back from its last column.
        m_pLineFromRowStart[nHeight] = 0;
        for (int y = nHeight - 1; y >= 0; --y)
            m_pLineFromRowStart[y] =
                nWidth > 0 ? Continue(Right(0, y), nWidth, m_pLineFromRowStart[y + 1]) : 0;
        m_pLineFromRowEnd[0] = 0;  // row -1: nothing before the buffer
        for (int y = 0; y < nHeight; ++y)
            m_pLineFromRowEnd[y + 1] =
                nWidth > 0 ? Continue(Left(nWidth - 1, y), nWidth, m_pLineFromRowEnd[y]) : 0;
        return true;
    }

    int Down(int x, int y) const { return Cell(m_pDown, x, y); }
    int Up(int x, int y) const { return Cell(m_pUp, x, y); }
    int Right(int x, int y) const { return Cell(m_pRight, x, y); }
    int Left(int x, int y) const { return Cell(m_pLeft, x, y); }

    // Saturated run in buffer order from (x, y) forwards and backwards, across
    // row ends, clamped to kCap.
    int LineForward(int x, int y) const {
        return Continue(Right(x, y), m_nWidth - x, m_pLineFromRowStart[y + 1]);
    }
    int LineBackward(int x, int y) const {
        return Continue(Left(x, y), x + 1, m_pLineFromRowEnd[y]);
    }

private:
    int Cell(const std::unique_ptr<R[]>& p, int x, int y) const {
        return p[static_cast<std::size_t>(y) * m_nStride + static_cast<std::size_t>(x)];
    }
    // A row run of nCell (a cell) that reaches the row end, nToEnd pixels
    // away, goes on with nNext in the neighbouring row.
    static int Continue(int nCell, int nToEnd, int nNext) {
        if (nCell <= 0) return 0;
        if (nCell >= kCap || nCell < nToEnd) return nCell;
        return static_cast<int>(std::min<long long>(static_cast<long long>(nCell) + nNext, kCap));
    }

    int m_nWidth = 0, m_nHeight = 0;
    std::size_t m_nStride = 0;
    std::unique_ptr<R[]> m_pDown, m_pUp, m_pRight, m_pLeft;
    std::unique_ptr<int[]> m_pLineFromRowStart;  // nHeight + 1 entries, the last 0
    std::unique_ptr<int[]> m_pLineFromRowEnd;    // entry y + 1 for row y, entry 0 is 0
};

}  // namespace zetdip::detail

#endif  // ZETDIP_CAD_SATURATION_RUNS_H
