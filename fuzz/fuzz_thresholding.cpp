// Fuzz target of CDipThresholding: thresholding and the two automatic thresholds.
#include "DipThresholding.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const int nEntry = in.Byte() % 3;
    const auto f = ReadFormat(in);
    if (!f) return 0;
    const int nThreshold = in.Int();
    in.StartPixels();
    const Buffer src = NewImage(in, *f);

    if (nEntry == 0) {
        const auto [r, out] = RunBothWays<bool>(src, [&](unsigned char* s, unsigned char* d) {
            return CDipThresholding::ApplyThresholding(s, d, f->nBitsPerPixel, f->nBitsStored,
                                                       f->nWidth, f->nHeight, nThreshold);
        });
        ZETDIP_FUZZ_CHECK(r == (f->depth != Depth::kInvalid));
        if (f->depth == Depth::kInvalid) ZETDIP_FUZZ_CHECK(out == src);
        // Every sample comes out as 0 or the maximum of its depth.
        for (std::size_t i = 0; r && i < f->nSamples; ++i) {
            unsigned v = out.data()[i];
            if (f->depth == Depth::k16) std::memcpy(&v, out.data() + 2 * i, 2), v &= 0xFFFF;
            ZETDIP_FUZZ_CHECK(v == 0 || v == f->nMax);
        }
        return 0;
    }
    Buffer source = src;
    const int nValue =
        nEntry == 1 ? CDipThresholding::CalculateThresholdingTHwMD(
                          source.data(), f->nBitsPerPixel, f->nBitsStored, f->nWidth, f->nHeight)
                    : CDipThresholding::CalculateThresholding1(
                          source.data(), f->nBitsPerPixel, f->nBitsStored, f->nWidth, f->nHeight);
    ZETDIP_FUZZ_CHECK(source == src);
    if (f->depth == Depth::kInvalid || f->nChannels == 3) ZETDIP_FUZZ_CHECK(nValue == 0);
    return 0;
}
