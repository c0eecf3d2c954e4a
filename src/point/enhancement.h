// Kernels of contrast stretching and contrast manipulation, one body for
// both sample types. nMax is the maximum sample value of the caller's depth.
#ifndef ZETDIP_POINT_ENHANCEMENT_H
#define ZETDIP_POINT_ENHANCEMENT_H

#include "core/common.h"

namespace zetdip::detail {

template <class T>
void Stretch(const T* pSrc, T* pDst, int nCount, int nMax, int nLow, int nHigh) {
    if (nLow == nHigh) return;
    const int lo = nLow < nHigh ? nLow : nHigh;
    const int hi = nLow < nHigh ? nHigh : nLow;
    // The gain is integral on purpose: a band of 200 levels gets gain 1.
    const int gain = nMax / WrapSub(hi, lo);
    for (int i = 0; i < nCount; ++i) {
        const int v = pSrc[i];
        if (v < lo)
            pDst[i] = 0;
        else if (v < hi)
            pDst[i] = static_cast<T>(WrapMul(WrapSub(v, lo), gain));  // low bits of the product
        else
            pDst[i] = static_cast<T>(nMax);
    }
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
