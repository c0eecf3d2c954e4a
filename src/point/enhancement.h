// Kernels of contrast stretching and contrast manipulation, one body for
// both sample types. nMax is the maximum sample value of the caller's depth.
#ifndef ZETDIP_POINT_ENHANCEMENT_H
#define ZETDIP_POINT_ENHANCEMENT_H

#include <algorithm>

#include "core/common.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace zetdip::detail {

template <class T>
void Stretch(const T* pSrc, T* pDst, int nCount, int nMax, int nLow, int nHigh) {
    if (nLow == nHigh) return;
    const int lo = nLow < nHigh ? nLow : nHigh;
    const int hi = nLow < nHigh ? nHigh : nLow;
    // The gain is integral on purpose: a band of 200 levels gets gain 1.
    const int gain = nMax / WrapSub(hi, lo);
    auto stretched = [&](int v) {
        if (v < lo) return T(0);
        if (v < hi)
            return static_cast<T>(WrapMul(WrapSub(v, lo), gain));  // low bits of the product
        return static_cast<T>(nMax);
    };
    int i = 0;
#if defined(__SSE2__)
    // Eight samples per vector in 16-bit lanes (8-bit samples widened): the
    // bounds clipped to the lanes' range decide the same way, and the low
    // bits of the product depend only on the low bits of its factors.
    const auto lanes = [](int v) { return _mm_set1_epi16(static_cast<short>(v)); };
    const __m128i flip = lanes(0x8000), all = _mm_cmpeq_epi16(flip, flip);
    // v < bound, unsigned, for a bound clipped to 0..65536.
    auto lessThan = [&](int nBound) {
        const int b = std::clamp(nBound, 0, 65536);
        const __m128i vb = lanes(b ^ 0x8000);
        return [=](__m128i v) {
            return b > 65535 ? all : _mm_cmplt_epi16(_mm_xor_si128(v, flip), vb);
        };
    };
    const auto belowLo = lessThan(lo), belowHi = lessThan(hi);
    const __m128i vShift = lanes(WrapSub(0, lo) & 0xffff), vGain = lanes(gain & 0xffff);
    const __m128i vLow = lanes(sizeof(T) == 1 ? 0xff : 0xffff), vMax = lanes(nMax & 0xffff);
    auto eight = [&](__m128i v) {
        const __m128i mid = _mm_and_si128(_mm_mullo_epi16(_mm_add_epi16(v, vShift), vGain), vLow);
        const __m128i below = belowLo(v), inBand = belowHi(v);
        // below lo: 0; from lo to hi: mid; from hi on: nMax.
        const __m128i r = _mm_or_si128(_mm_and_si128(inBand, mid), _mm_andnot_si128(inBand, vMax));
        return _mm_andnot_si128(below, r);
    };
    if constexpr (sizeof(T) == 1) {
        const __m128i zero = _mm_setzero_si128();
        for (; i + 16 <= nCount; i += 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pSrc + i));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(pDst + i),
                             _mm_packus_epi16(eight(_mm_unpacklo_epi8(v, zero)),
                                              eight(_mm_unpackhi_epi8(v, zero))));
        }
    } else {
        for (; i + 8 <= nCount; i += 8) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pSrc + i));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(pDst + i), eight(v));
        }
    }
#endif
    for (; i < nCount; ++i) pDst[i] = stretched(pSrc[i]);
}

template <class T>
void ContrastManip(const T* pSrc, T* pDst, int nCount) {
    int nMaxFound = 0;
    for (int i = 0; i < nCount; ++i)
        if (pSrc[i] > nMaxFound) nMaxFound = pSrc[i];
    const double dHalf = nMaxFound * 0.5;
    for (int i = 0; i < nCount; ++i) {
        const int v = pSrc[i];
        pDst[i] = static_cast<double>(static_cast<float>(v)) < dHalf
                      ? T(0)
                      : static_cast<T>(2 * v - nMaxFound);
    }
}

template <class T>
void ContrastManipMasked(const T* pSrc, const T* pMask, T* pDst, int nCount) {
    int nMaxFound = 0;
    for (int i = 0; i < nCount; ++i)
        if (pMask[i] != 0 && pSrc[i] > nMaxFound) nMaxFound = pSrc[i];
    // The threshold divides by the float 2.05 and is rounded to float, the
    // gain uses the double 2.05: the two roundings are intended.
    const float fThreshold =
        static_cast<float>(static_cast<double>(nMaxFound) / static_cast<double>(2.05f));
    for (int i = 0; i < nCount; ++i) {
        const int v = pSrc[i];
        if (static_cast<double>(v) < static_cast<double>(fThreshold)) {
            pDst[i] = 0;
        } else {
            const double d = (static_cast<double>(v) * 2.05 - nMaxFound) / 1.05;
            pDst[i] = static_cast<T>(static_cast<unsigned>(TruncToInt(d)));  // low bits: wraps
        }
    }
}

}  // namespace zetdip::detail

#endif  // ZETDIP_POINT_ENHANCEMENT_H
