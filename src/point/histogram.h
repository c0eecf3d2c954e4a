// Kernel of the histogram count.
#ifndef ZETDIP_POINT_HISTOGRAM_H
#define ZETDIP_POINT_HISTOGRAM_H

namespace zetdip::detail {

// Counts nCount samples into pHisto + nBinOffset; a sample at or beyond
// nBinLimit has no bin and is not counted.
template <class T>
void CountSamples(unsigned int* pHisto, const T* pSrc, int nCount, long long nBinOffset,
                  long long nBinLimit) {
    for (int i = 0; i < nCount; ++i)
        if (pSrc[i] < nBinLimit) ++pHisto[nBinOffset + pSrc[i]];
}

}  // namespace zetdip::detail

#endif  // ZETDIP_POINT_HISTOGRAM_H
