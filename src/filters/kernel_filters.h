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

// A Gaussian of the engine, filtering row by row.
template <class T>
struct GaussRows {
    std::unique_ptr<float[]> kernel;
    ConvolutionRows<T> engine;

    // False when the kernel cannot be allocated; mode as ConvolutionRows::Start.
    bool Start(float fSigma, int nWidth, int nHeight, EngineDepth depth,
               typename ConvolutionRows<T>::Mode& mode) {
        float fSum = 1.0f;
        kernel.reset(CreateGaussianKernel(3, fSigma, fSum));
        if (!kernel) return false;
        mode = engine.Start(kernel.get(), 3, fSum, 0, nWidth, nHeight, depth);
        return true;
    }
};

// The difference of Gaussians of a grey image row by row. The engine reads
// rows y and y + 1 to make row y and keeps the rows above in its store, so
// the high-pass image A = max(0, src - G1 src) is kept as two rows, and
// output row y is written as soon as A's row y + 1 exists: the same values
// as the whole-image steps, in five rows of scratch and the engines' stores.
// pDst may be pSrc, as the rows of A that still need a source row are made
// before the output row over it is written. Returns false, with nothing
// written, when a kernel cannot be allocated; bStarted false when an
// engine's store cannot be (the caller then takes the whole-image steps,
// which go on without that blur).
template <class T>
bool DifferenceOfGaussiansByRows(const T* pSrc, T* pDst, int nWidth, int nHeight, float fSigma1,
                                 float fGain, float fSigma2, float fSigma3, EngineDepth depth,
                                 bool& bStarted) {
    using Mode = typename ConvolutionRows<T>::Mode;
    bStarted = false;
    GaussRows<T> g1, g2, g3;
    Mode m1 = Mode::kNothing, m2 = Mode::kNothing, m3 = Mode::kNothing;
    if (!g1.Start(fSigma1, nWidth, nHeight, depth, m1) ||
        !g2.Start(fSigma2, nWidth, nHeight, depth, m2) ||
        !g3.Start(fSigma3, nWidth, nHeight, depth, m3))
        return false;
    const std::size_t w = static_cast<std::size_t>(nWidth);
    auto rows = NewScratch<T>(SampleCount(5, nWidth));
    if (m1 == Mode::kNothing || m2 == Mode::kNothing || m3 == Mode::kNothing || !rows) return true;
    bStarted = true;
    T* const pBlur1 = rows.get() + 2 * w;  // G1 of the source
    T* const pBlur2 = rows.get() + 3 * w;  // G2 and G3 of A
    T* const pBlur3 = rows.get() + 4 * w;
    auto src = [&](int y) { return pSrc + static_cast<std::size_t>(y) * w; };
    auto high = [&](int y) { return rows.get() + static_cast<std::size_t>(y % 2) * w; };
    auto makeHigh = [&](int y) {
        g1.engine.Row(y, src, pBlur1);
        SubtractClipped(src(y), pBlur1, high(y), nWidth);
    };
    makeHigh(0);
    for (int y = 0; y < nHeight; ++y) {
        if (y + 1 < nHeight) makeHigh(y + 1);
        g2.engine.Row(y, high, pBlur2);
        g3.engine.Row(y, high, pBlur3);
        GainDifference(pBlur2, pBlur3, pDst + static_cast<std::size_t>(y) * w, nWidth, fGain);
    }
    return true;
}

// Difference of Gaussians over nCount samples of an nWidth x nHeight image
// (nCount is nChannels * nWidth * nHeight in 8 bits). A grey image goes row
// by row; colour, and images whose engines cannot all start, go through
// whole images in turn, writing pDst only at the end. Every path releases
// its scratch.
template <class T>
bool DifferenceOfGaussians(const T* pSrc, T* pDst, int nCount, int nWidth, int nHeight,
                           float fSigma1, float fGain, float fSigma2, float fSigma3, bool bGrey,
                           EngineDepth depth) {
    const std::size_t n = SampleCount(nCount, 1);
    if (bGrey && nWidth > 0 && nHeight > 0 && SameOrApart(pDst, pSrc, n * sizeof(T))) {
        bool bStarted = false;
        const bool bResult = DifferenceOfGaussiansByRows(pSrc, pDst, nWidth, nHeight, fSigma1,
                                                         fGain, fSigma2, fSigma3, depth, bStarted);
        if (!bResult || bStarted) return bResult;
    }
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
