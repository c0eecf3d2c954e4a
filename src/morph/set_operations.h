// Images as sets (a sample is present when non-zero): intersection, union,
// complement, and the thickness stage built on them and on the erosion.
#ifndef ZETDIP_MORPH_SET_OPERATIONS_H
#define ZETDIP_MORPH_SET_OPERATIONS_H

#include <algorithm>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "DipMorphMath.h"
#include "core/common.h"

namespace zetdip::detail {

template <class T>
struct SetDepth;
template <>
struct SetDepth<unsigned char> {
    static constexpr int kBitsPerPixel = 8;  // the stage's erosions run as one-channel 8-bit
    static constexpr unsigned char kComplementBase = 255;
};
template <>
struct SetDepth<unsigned short> {
    static constexpr int kBitsPerPixel = 16;
    // The complement spans all 16 bits whatever nBitsStored is (intended).
    static constexpr unsigned short kComplementBase = 65535;
};

// Two images are combined only when their widths, heights and third
// attribute (channel count, or stored bits) agree.
inline bool SameSetShape(int nWidthA, int nHeightA, int nAttrA, int nWidthB, int nHeightB,
                         int nAttrB) {
    return nWidthA == nWidthB && nHeightA == nHeightB && nAttrA == nAttrB;
}

// pDst[i] = nFull where both samples (bUnion: either sample) are non-zero,
// else 0. pDst may be either source: sixteen bytes of both are read before
// they are written. Buffers that overlap otherwise take the sample loop.
template <bool bUnion, class T>
void CombineSets(const T* pA, const T* pB, T* pDst, int nCount, T nFull) {
    auto one = [nFull](T a, T b) {
        return (bUnion ? (a != 0 || b != 0) : (a != 0 && b != 0)) ? nFull : T(0);
    };
    int i = 0;
#if defined(__SSE2__)
    const std::size_t nBytes = static_cast<std::size_t>(nCount > 0 ? nCount : 0) * sizeof(T);
    if (SameOrApart(pDst, pA, nBytes) && SameOrApart(pDst, pB, nBytes)) {
        constexpr int kLanes = 16 / static_cast<int>(sizeof(T));
        const __m128i zero = _mm_setzero_si128();
        const __m128i full = sizeof(T) == 1 ? _mm_set1_epi8(static_cast<char>(nFull))
                                            : _mm_set1_epi16(static_cast<short>(nFull));
        auto isZero = [&zero](__m128i v) {
            return sizeof(T) == 1 ? _mm_cmpeq_epi8(v, zero) : _mm_cmpeq_epi16(v, zero);
        };
        for (; i + kLanes <= nCount; i += kLanes) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pA + i));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pB + i));
            // Lanes to clear: both zero (union), or either zero (intersection).
            const __m128i clear =
                bUnion ? isZero(_mm_or_si128(a, b)) : _mm_or_si128(isZero(a), isZero(b));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(pDst + i), _mm_andnot_si128(clear, full));
        }
    }
#endif
    for (; i < nCount; ++i) pDst[i] = one(pA[i], pB[i]);
}

template <class T>
void Intersect(const T* pA, const T* pB, T* pDst, int nCount, T nFull) {
    CombineSets<false>(pA, pB, pDst, nCount, nFull);
}

template <class T>
void Unite(const T* pA, const T* pB, T* pDst, int nCount, T nFull) {
    CombineSets<true>(pA, pB, pDst, nCount, nFull);
}

template <class T>
void Complement(const T* pSrc, T* pDst, int nCount) {
    for (int i = 0; i < nCount; ++i)
        pDst[i] = static_cast<T>(SetDepth<T>::kComplementBase - pSrc[i]);
}

// The public erosion entry with this depth's pixel format.
template <class T>
bool ErodeThroughEntry(T* pSrc, T* pDst, int nBitsStored, int nWidth, int nHeight, const int* pSE,
                       int nSEHeight, int nSEWidth, int nSECount) {
    return CDipMorphMath::ApplyErosionWithSE(AsBytes(pSrc), AsBytes(pDst),
                                             SetDepth<T>::kBitsPerPixel, nBitsStored, nWidth,
                                             nHeight, pSE, nSEHeight, nSEWidth, nSECount);
}

// pDst = (A u (erode(A, hit) n erode(~A, miss))) n B, present written as
// (1 << nBitsStored) - 1 (255 for the 8-bit stage). pDst may be A or B.
template <class T>
bool ThicknessStage(T* pSrcA, const T* pSrcB, T* pDst, int nWidth, int nHeight, int nBitsStored,
                    const int* pHitSE, int nHitSEHeight, int nHitSEWidth, int nHitSECount,
                    const int* pMissSE, int nMissSEHeight, int nMissSEWidth, int nMissSECount) {
    // A negative side is taken as 0: the scratch holds no sample then, while
    // the entries called on it would count -5 x -5 as 25 samples.
    nWidth = std::max(nWidth, 0);
    nHeight = std::max(nHeight, 0);
    const std::size_t n = SampleCount(nWidth, nHeight);
    const int nCount = LoopCount(nWidth, nHeight);
    const T nFull = static_cast<T>(MaxValue16(nBitsStored));
    auto pHit = NewScratch<T>(n);
    if (!pHit) return false;
    // The erosions' results are ignored (intended). A refused erosion writes
    // nothing; its scratch is then zeroed rather than left indeterminate.
    if (!ErodeThroughEntry(pSrcA, pHit.get(), nBitsStored, nWidth, nHeight, pHitSE, nHitSEHeight,
                           nHitSEWidth, nHitSECount))
        std::fill_n(pHit.get(), n, T(0));
    auto pMiss = NewScratch<T>(n);
    if (!pMiss) return false;
    Complement(pSrcA, pMiss.get(), nCount);
    ErodeThroughEntry(pMiss.get(), pMiss.get(), nBitsStored, nWidth, nHeight, pMissSE,
                      nMissSEHeight, nMissSEWidth, nMissSECount);
    Intersect(pHit.get(), pMiss.get(), pHit.get(), nCount, nFull);  // the hit-or-miss set
    pMiss.reset();
    Unite<T>(pHit.get(), pSrcA, pHit.get(), nCount, nFull);
    Intersect(pHit.get(), pSrcB, pDst, nCount, nFull);
    return true;
}

}  // namespace zetdip::detail

#endif  // ZETDIP_MORPH_SET_OPERATIONS_H
