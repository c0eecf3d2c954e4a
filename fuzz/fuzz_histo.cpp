// Fuzz target of CDipHisto: the histogram (which adjusts 16-bit sources in place).
#include "DipBasic.h"
#include "DipHisto.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

namespace {

// The adjustment that the histogram applies to a 16-bit source first.
void Adjust(Buffer& b, const Format& f, int nHighBit) {
    CDipBasic::AdjustPixels16Bits(reinterpret_cast<unsigned short*>(b.data()), f.nBitsStored,
                                  nHighBit, f.nWidth, f.nHeight);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    if (in.Byte() % 2 == 1) {
        // Does nothing, whatever it is given.
        CDipHisto::DisplayHisto(nullptr, in.Int());
        return 0;
    }
    const auto f = ReadFormat(in);
    if (!f) return 0;
    const int nHighBit = in.Int();
    in.StartPixels();
    const Buffer src = NewImage(in, *f);

    Buffer image = src;
    int nBins = -12345;
    unsigned int* pHisto = CDipHisto::CreateHisto(image.data(), f->nBitsPerPixel, f->nBitsStored,
                                                  nHighBit, f->nWidth, f->nHeight, &nBins);
    Buffer expected = src;
    if (f->depth == Depth::k16) Adjust(expected, *f, nHighBit);
    ZETDIP_FUZZ_CHECK(image == expected);
    if (f->depth == Depth::kInvalid) {
        ZETDIP_FUZZ_CHECK(pHisto == nullptr);
        if (f->nBitsStored < 8) ZETDIP_FUZZ_CHECK(nBins == -12345);
        return 0;
    }
    if (pHisto == nullptr) return 0;  // out of memory
    // The bin count takes the channels from nBitsPerPixel at both depths.
    ZETDIP_FUZZ_CHECK(nBins == (1 << f->nBitsStored) * (f->nBitsPerPixel == 24 ? 3 : 1));
    // Every counted sample is a sample of the image.
    unsigned long long nCounted = 0;
    for (int i = 0; i < nBins; ++i) nCounted += pHisto[i];
    ZETDIP_FUZZ_CHECK(nCounted <= f->nSamples);
    if (f->depth == Depth::k8 && f->nWidth > 0 && f->nHeight > 0)
        ZETDIP_FUZZ_CHECK(nCounted == f->nSamples);
    delete[] pHisto;
    return 0;
}
