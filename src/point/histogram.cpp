#include "point/histogram.h"

#include <cmath>

#include "DipBasic.h"
#include "DipHisto.h"
#include "core/common.h"

using namespace zetdip::detail;

namespace {

// The 8-bit count: the first plane, then for 24-bit images the second and
// third planes into the next two blocks of 256 bins (planar reading).
void CountPlanes8(unsigned int* pHisto, const unsigned char* pSrc, int nBitsPerPixel, int nWidth,
                  int nHeight) {
    const int n = LoopCount(nWidth, nHeight);
    CountSamples(pHisto, pSrc, n, 0, 256);
    if (nBitsPerPixel == 24 && n > 0) {
        CountSamples(pHisto, pSrc + n, n, 256, 256);
        CountSamples(pHisto, pSrc + 2 * static_cast<long long>(n), n, 512, 256);
    }
}

}  // namespace

unsigned int* CDipHisto::CreateHisto(unsigned char* pSrc, int nBitsPerPixel, int nBitsStored,
                                     int nHighBit, int nWidth, int nHeight, int* pnBins) {
    if (nBitsStored < 8) return nullptr;
    const int nChannels = ChannelsOf(nBitsPerPixel);
    *pnBins = WrapMul(TruncToInt(std::pow(2.0, nBitsStored)), nChannels);
    // Above 16 bits no histogram is made; the bin count has been reported.
    if (DepthOf(nBitsStored) == Depth::kInvalid || *pnBins <= 0) return nullptr;

    unsigned int* pHisto = new (std::nothrow) unsigned int[static_cast<std::size_t>(*pnBins)];
    if (pHisto == nullptr) return nullptr;
    for (int i = 0; i < *pnBins; ++i) pHisto[i] = 0;

    if (nBitsStored == 8) {
        GetHisto8bits(pHisto, pSrc, nBitsPerPixel, nWidth, nHeight);
    } else {
        // The caller's image is adjusted in place before counting.
        CDipBasic::AdjustPixels16Bits(AsWords(pSrc), nBitsStored, nHighBit, nWidth, nHeight);
        CountSamples(pHisto, AsWords(pSrc), LoopCount(nWidth, nHeight), 0, *pnBins);
    }
    return pHisto;
}

void CDipHisto::DisplayHisto(unsigned int*, int) {
    NoOperation();
}

void CDipHisto::GetHisto8bits(unsigned int* pHisto, unsigned char* pSrc, int nBitsPerPixel,
                              int nWidth, int nHeight) {
    CountPlanes8(pHisto, pSrc, nBitsPerPixel, nWidth, nHeight);
}

void CDipHisto::GetHisto16bits(unsigned int* pHisto, unsigned short* pSrc, int nWidth,
                               int nHeight) {
    CountSamples(pHisto, pSrc, LoopCount(nWidth, nHeight), 0, 65536);
}
