// Fuzz target of CDipEnhancement: stretching and both contrast manipulations.
#include "DipEnhancement.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const int nEntry = in.Byte() % 3;
    const auto f = ReadFormat(in);
    if (!f) return 0;
    const int nLow = in.Int(), nHigh = in.Int();
    in.StartPixels();
    const Buffer src = NewImage(in, *f);
    const Buffer mask = NewImage(in, *f);
    Buffer maskCopy = mask;

    const auto [r, out] = RunBothWays<bool>(src, [&](unsigned char* s, unsigned char* d) {
        switch (nEntry) {
            case 0:
                return CDipEnhancement::ApplyStretching(s, d, f->nBitsPerPixel, f->nBitsStored,
                                                        f->nWidth, f->nHeight, nLow, nHigh);
            case 1:
                return CDipEnhancement::ApplyContrastManip(s, d, f->nBitsPerPixel, f->nBitsStored,
                                                           f->nWidth, f->nHeight);
            default:
                return CDipEnhancement::ApplyContrastManip(s, maskCopy.data(), d, f->nBitsPerPixel,
                                                           f->nBitsStored, f->nWidth, f->nHeight);
        }
    });
    ZETDIP_FUZZ_CHECK(maskCopy == mask);
    if (f->depth == Depth::kInvalid) ZETDIP_FUZZ_CHECK(!r && out == src);
    // Colour is refused by the contrast manipulations, accepted by the stretching.
    if (f->depth == Depth::k8 && f->nChannels == 3) ZETDIP_FUZZ_CHECK(r == (nEntry == 0));
    return 0;
}
