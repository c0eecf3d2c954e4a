// The fixed 3x3 filters, the clipped image difference and the difference of
// Gaussians, one body for both sample types. bGrey is false only for 8-bit
// colour, where the engine is not run.
#ifndef ZETDIP_FILTERS_KERNEL_FILTERS_H
#define ZETDIP_FILTERS_KERNEL_FILTERS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/common.h"
#include "filters/convolution.h"

namespace zetdip::detail {

// The fixed kernels, row-major; row 0 lies on the image row below the centre.
struct FixedKernel {
    float fWeights[9];
    float fDivisor;
    bool bMidGreyOffset;  // gradients are centred on mid-grey
};

constexpr FixedKernel kMeanKernel = {{1, 1, 1, 1, 1, 1, 1, 1, 1}, 9.0f, false};
constexpr FixedKernel kGradientNSKernel = {{-10, -10, -10, 0, 0, 0, 10, 10, 10}, 1.0f, true};
constexpr FixedKernel kGradientSWNEKernel = {{0, -10, -10, 10, 0, -10, 10, 10, 0}, 1.0f, true};
constexpr FixedKernel kGradientNWSEKernel = {{-10, -10, 0, -10, 0, 10, 0, 10, 10}, 1.0f, true};

// Mid-grey offset of the gradients: 128, or (1 << nBitsStored) / 2.
constexpr int kMidGrey8 = 128;
inline int MidGrey16(int nBitsStored) {
    return PowerOfTwo(nBitsStored) / 2;
}

template <class T>
void ApplyFixedKernel(const T* pSrc, T* pDst, int nWidth, int nHeight, const FixedKernel& kernel,
                      int nMidGrey, EngineDepth depth) {
    Convolve(pDst, kernel.fWeights, 3, kernel.fDivisor, kernel.bMidGreyOffset ? nMidGrey : 0, pSrc,
             nWidth, nHeight, depth);
}

// 3x3 Gaussian divided by its own sum; false when the kernel is not allocated.
template <class T>
bool ApplyGaussKernel(const T* pSrc, T* pDst, int nWidth, int nHeight, float fSigma, bool bGrey,
                      EngineDepth depth) {
    float fSum = 1.0f;
    std::unique_ptr<float[]> kernel(CreateGaussianKernel(3, fSigma, fSum));
    if (!kernel) return false;
    if (bGrey) Convolve(pDst, kernel.get(), 3, fSum, 0, pSrc, nWidth, nHeight, depth);
    return true;
}

// pDst[i] = max(0, pSrcA[i] - pSrcB[i]) over nCount samples; pDst may be
// either source.
template <class T>
void SubtractClipped(const T* pSrcA, const T* pSrcB, T* pDst, int nCount) {
    int i = 0;
#if defined(__SSE2__)
    // Saturating vector subtraction, where the buffers allow it.
    const std::size_t nBytes = static_cast<std::size_t>(nCount > 0 ? nCount : 0) * sizeof(T);
    if (SameOrApart(pDst, pSrcA, nBytes) && SameOrApart(pDst, pSrcB, nBytes)) {
        auto load = [](const T* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
        for (; i + 16 / static_cast<int>(sizeof(T)) <= nCount;
             i += 16 / static_cast<int>(sizeof(T))) {
            const __m128i a = load(pSrcA + i), b = load(pSrcB + i);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(pDst + i),
                             sizeof(T) == 1 ? _mm_subs_epu8(a, b) : _mm_subs_epu16(a, b));
        }
    }
#endif
    for (; i < nCount; ++i) {
        const int v = static_cast<int>(pSrcA[i]) - static_cast<int>(pSrcB[i]);
        pDst[i] = v < 0 ? T(0) : static_cast<T>(v);
    }
}

// The clipped difference of two images of nWidth x nHeight x nChannels
// samples each; false, with nothing written, when the dimensions differ.
template <class T>
bool DifferenceBetweenImages(const T* pSrcA, const T* pSrcB, T* pDst, int nWidthA, int nHeightA,
                             int nChannelsA, int nWidthB, int nHeightB, int nChannelsB) {
    if (nWidthA != nWidthB || nHeightA != nHeightB || nChannelsA != nChannelsB) return false;
    SubtractClipped(pSrcA, pSrcB, pDst, LoopCount(nWidthA, nHeightA, nChannelsA));
    return true;
}

// The last step of the difference of Gaussians over nCount samples:
// pDst[i] = (int)(pB[i] * fGain - pA[i]) in double, 0 below 0, and no upper
// clamp: values above the maximum keep their low bits (intended).
template <class T>
void GainDifference(const T* pB, const T* pA, T* pDst, int nCount, float fGain) {
    int i = 0;
#if defined(__SSE2__)
    // Eight samples at a time: the vector truncation gives INT_MIN out of the
    // int range and for NaN, as TruncToInt does.
    {
        const __m128d gain = _mm_set1_pd(static_cast<double>(fGain));
        const __m128i zero = _mm_setzero_si128(),
                      low = _mm_set1_epi32(sizeof(T) == 1 ? 0xff : 0xffff);
        auto four = [](const T* p) {
            if constexpr (sizeof(T) == 1) {
                int v = 0;
                std::memcpy(&v, p, sizeof v);
                const __m128i x = _mm_unpacklo_epi8(_mm_cvtsi32_si128(v), _mm_setzero_si128());
                return _mm_unpacklo_epi16(x, _mm_setzero_si128());
            } else {
                return _mm_unpacklo_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)),
                                          _mm_setzero_si128());
            }
        };
        // v < 0 gives 0, else its low bits: a sample value, so the packs
        // below do not saturate (16-bit words are packed biased by 0x8000).
        auto samples = [&](const T* pb, const T* pa) {
            const __m128i vb = four(pb), va = four(pa);
            const __m128d lo =
                _mm_sub_pd(_mm_mul_pd(_mm_cvtepi32_pd(vb), gain), _mm_cvtepi32_pd(va));
            const __m128d hi = _mm_sub_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(vb, 8)), gain),
                                          _mm_cvtepi32_pd(_mm_srli_si128(va, 8)));
            const __m128i v = _mm_unpacklo_epi64(_mm_cvttpd_epi32(lo), _mm_cvttpd_epi32(hi));
            const __m128i kept = _mm_and_si128(_mm_andnot_si128(_mm_cmplt_epi32(v, zero), v), low);
            return sizeof(T) == 1 ? kept : _mm_sub_epi32(kept, _mm_set1_epi32(0x8000));
        };
        for (; i + 8 <= nCount; i += 8) {
            const __m128i w =
                _mm_packs_epi32(samples(pB + i, pA + i), samples(pB + i + 4, pA + i + 4));
            if constexpr (sizeof(T) == 1)
                _mm_storel_epi64(reinterpret_cast<__m128i*>(pDst + i), _mm_packus_epi16(w, w));
            else
                _mm_storeu_si128(reinterpret_cast<__m128i*>(pDst + i),
                                 _mm_xor_si128(w, _mm_set1_epi16(static_cast<short>(0x8000))));
        }
    }
#endif
    for (; i < nCount; ++i) {
        const int v = TruncToInt(static_cast<double>(pB[i]) * static_cast<double>(fGain) -
                                 static_cast<double>(pA[i]));
        // No upper clamp: values above the maximum keep their low bits (intended).
        pDst[i] = v < 0 ? T(0) : static_cast<T>(static_cast<unsigned>(v));
    }
}

// One row of the plain 3x3 convolution (the 8-bit engine, whose store
// holds the unfiltered rows) from the rows above, at and below it: the
// interior columns filtered, the two border columns copied. nWidth >= 3.
template <class T>
void ConvolveRow3(T* pOut, const T* pAbove, const T* pRow, const T* pBelow, int nWidth,
                  const conv::KernelTaps& taps, double dDivisor, double dMax) {
    const T* pKernelRows[3] = {pBelow, pRow, pAbove};  // kernel row 0 lies on the row below
    const T* pRows[conv::kFusedTaps];
    for (int t = 0; t < taps.nCount; ++t)
        pRows[t] = (taps.nRow[t] < 0 ? pRow : pKernelRows[taps.nRow[t]]) + 1 + taps.nDx[t];
    conv::FusedRun(pOut + 1, pRows, taps.dWeight, taps.nCount, nWidth - 2, dDivisor, 0.0, dMax,
                   VectorPath::kAuto, &taps.plan);
    pOut[0] = pRow[0];
    pOut[nWidth - 1] = pRow[nWidth - 1];
}

// A Gaussian of the 8-bit engine, kept for filtering row by row.
struct RowGauss {
    std::unique_ptr<float[]> kernel;
    conv::KernelTaps taps;
    double dDivisor = 1.0;

    bool Create(float fSigma) {
        float fSum = 1.0f;
        kernel.reset(CreateGaussianKernel(3, fSigma, fSum));
        if (!kernel) return false;
        taps = conv::CollectTaps(kernel.get(), 3, 255.0);
        dDivisor = fSum == 0.0f ? 1.0 : static_cast<double>(fSum);
        return true;
    }
};

// The difference of Gaussians of a grey 8-bit image, row by row: with the
// plain convolution each blurred row depends only on the three rows around
// it, so the high-pass image A is kept as a ring of three rows and each
// output row is written as soon as A's row below it exists. The same values
// as the whole-image steps, in six rows of scratch; pDst may be pSrc, as
// the rows of A that still need a source row are made before the output
// row over it is written.
template <class T>
bool DifferenceOfGaussiansByRows(const T* pSrc, T* pDst, int nWidth, int nHeight, float fSigma1,
                                 float fGain, float fSigma2, float fSigma3) {
    RowGauss g1, g2, g3;
    if (!g1.Create(fSigma1) || !g2.Create(fSigma2) || !g3.Create(fSigma3)) return false;
    const std::size_t w = static_cast<std::size_t>(nWidth);
    auto rows = NewScratch<T>(SampleCount(6, nWidth));
    if (!rows) return false;
    T* const pBlur1 = rows.get() + 3 * w;  // G1 of the source
    T* const pBlur2 = rows.get() + 4 * w;  // G2 and G3 of A
    T* const pBlur3 = rows.get() + 5 * w;
    auto src = [&](int y) { return pSrc + static_cast<std::size_t>(y) * w; };
    auto high = [&](int y) { return rows.get() + static_cast<std::size_t>(y % 3) * w; };
    // Rows without a full neighbourhood are copied by every blur.
    auto bInterior = [&](int y) { return nWidth >= 3 && y >= 1 && y <= nHeight - 2; };
    auto makeHigh = [&](int y) {  // A(y) = max(0, src(y) - G1 src(y)); 0 where G1 copies
        if (!bInterior(y)) {
            std::memset(high(y), 0, w * sizeof(T));
            return;
        }
        ConvolveRow3(pBlur1, src(y - 1), src(y), src(y + 1), nWidth, g1.taps, g1.dDivisor, 255.0);
        SubtractClipped(src(y), pBlur1, high(y), nWidth);
    };
    auto blur = [&](T* pOut, const RowGauss& g, int y) {
        if (bInterior(y))
            ConvolveRow3(pOut, high(y - 1), high(y), high(y + 1), nWidth, g.taps, g.dDivisor,
                         255.0);
        else
            std::memcpy(pOut, high(y), w * sizeof(T));
    };
    makeHigh(0);
    if (nHeight > 1) makeHigh(1);
    for (int y = 0; y < nHeight; ++y) {
        blur(pBlur2, g2, y);
        blur(pBlur3, g3, y);
        GainDifference(pBlur2, pBlur3, pDst + static_cast<std::size_t>(y) * w, nWidth, fGain);
        if (y + 2 < nHeight) makeHigh(y + 2);
    }
    return true;
}

// Difference of Gaussians over nCount samples of an nWidth x nHeight image
// (nCount is nChannels * nWidth * nHeight in 8 bits). The grey 8-bit image
// goes row by row; otherwise whole images are filtered in turn (the 16-bit
// engine's store makes each blurred row depend on the rows filtered before
// it) and pDst is written only at the end. Every path releases its scratch.
template <class T>
bool DifferenceOfGaussians(const T* pSrc, T* pDst, int nCount, int nWidth, int nHeight,
                           float fSigma1, float fGain, float fSigma2, float fSigma3, bool bGrey,
                           EngineDepth depth) {
    const std::size_t n = SampleCount(nCount, 1);
    if (bGrey && depth.eAdvance == StoreAdvance::kUnfilteredRows && nWidth > 0 && nHeight > 0 &&
        SameOrApart(pDst, pSrc, n * sizeof(T)))
        return DifferenceOfGaussiansByRows(pSrc, pDst, nWidth, nHeight, fSigma1, fGain, fSigma2,
                                           fSigma3);
    // Scratch images start at zero, so steps the engine skips (colour) or
    // cannot do (no memory for its row store) leave defined values.
    auto a = NewScratch<T>(n);
    if (!a) return false;
    for (std::size_t i = 0; i < n; ++i) a[i] = 0;

    // High-pass: A = max(0, src - G(fSigma1) src).
    if (!ApplyGaussKernel(pSrc, a.get(), nWidth, nHeight, fSigma1, bGrey, depth)) return false;
    SubtractClipped(pSrc, a.get(), a.get(), nCount);

    auto b = NewScratch<T>(n);
    if (!b) return false;
    for (std::size_t i = 0; i < n; ++i) b[i] = 0;
    // B = G(fSigma2) A, then A = G(fSigma3) A in place. The 16-bit variant
    // swaps the two buffers and the operands of the final difference, which
    // yields the same values, so one order serves both depths.
    if (!ApplyGaussKernel(a.get(), b.get(), nWidth, nHeight, fSigma2, bGrey, depth) ||
        !ApplyGaussKernel(a.get(), a.get(), nWidth, nHeight, fSigma3, bGrey, depth))
        return false;

    GainDifference(b.get(), a.get(), pDst, nCount, fGain);
    return true;
}

}  // namespace zetdip::detail

#endif  // ZETDIP_FILTERS_KERNEL_FILTERS_H
