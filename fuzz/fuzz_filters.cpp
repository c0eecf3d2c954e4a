// Fuzz target of CDipFilters: the kernel filters and the breast segmentation.
#include "DipFilters.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

namespace {

bool Filter(int nEntry, unsigned char* s, unsigned char* d, const Format& f, const float* p) {
    const int bpp = f.nBitsPerPixel, bits = f.nBitsStored, w = f.nWidth, h = f.nHeight;
    switch (nEntry) {
        case 0:
            return CDipFilters::ApplyMean(s, d, bpp, bits, w, h);
        case 1:
            return CDipFilters::ApplyGradientNS(s, d, bpp, bits, w, h);
        case 2:
            return CDipFilters::ApplyGradientSWNE(s, d, bpp, bits, w, h);
        case 3:
            return CDipFilters::ApplyGradientNWSE(s, d, bpp, bits, w, h);
        case 4:
            return CDipFilters::ApplyGauss(s, d, bpp, bits, w, h, p[0]);
        default:
            return CDipFilters::ApplyDOG(s, d, bpp, bits, w, h, p[0], p[1], p[2], p[3]);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const int nEntry = in.Byte() % 9;
    const auto f = ReadFormat(in);
    if (!f) return 0;
    const float params[4] = {in.Float(), in.Float(), in.Float(), in.Float()};
    const double dPixelSize = in.Double();
    const bool bRight = in.Bool();
    in.StartPixels();
    const Buffer src = NewImage(in, *f);

    if (nEntry <= 5) {
        // Filters: in place equals out of place; colour writes nothing.
        const auto [r, out] = RunBothWays<bool>(src, [&](unsigned char* s, unsigned char* d) {
            return Filter(nEntry, s, d, *f, params);
        });
        if (f->depth == Depth::kInvalid) ZETDIP_FUZZ_CHECK(!r && out == src);
        if (f->depth == Depth::k8 && f->nChannels == 3 && nEntry <= 4)
            ZETDIP_FUZZ_CHECK(out == src);
        if (nEntry <= 3) ZETDIP_FUZZ_CHECK(r == (f->depth != Depth::kInvalid));
        return 0;
    }

    Buffer source = src;
    if (nEntry == 6) {
        const int nSide = CDipFilters::IsOnTheRightOrLeftSideOfTheImage(
            source.data(), f->nBitsPerPixel, f->nBitsStored, f->nWidth, f->nHeight, params[0]);
        ZETDIP_FUZZ_CHECK(nSide >= -1 && nSide <= 1);
        if (f->depth == Depth::kInvalid || f->nChannels == 3) ZETDIP_FUZZ_CHECK(nSide == -1);
    } else if (nEntry == 7) {
        const Buffer before = NewImage(in, *f);
        Buffer mask = before;
        bool bOnRight = bRight;
        const bool r = CDipFilters::CreateMaskOfBreast(source.data(), mask.data(), f->nBitsPerPixel,
                                                       f->nBitsStored, f->nWidth, f->nHeight,
                                                       bOnRight, dPixelSize);
        if (f->depth == Depth::kInvalid) ZETDIP_FUZZ_CHECK(!r && mask == before);
        // 8-bit only reads the side; 16-bit may set it to true, never to false.
        if (f->depth == Depth::k8) ZETDIP_FUZZ_CHECK(bOnRight == bRight);
        if (bRight) ZETDIP_FUZZ_CHECK(bOnRight);
    } else {
        const Buffer before = NewImage(in, *f);
        Buffer mask = before;
        const bool r = CDipFilters::RemovePectoralMuscleFromMask(
            source.data(), mask.data(), f->nBitsPerPixel, f->nBitsStored, f->nWidth, f->nHeight,
            bRight, dPixelSize);
        if (!r) ZETDIP_FUZZ_CHECK(mask == before);
        if (f->depth != Depth::k16) ZETDIP_FUZZ_CHECK(!r);
    }
    ZETDIP_FUZZ_CHECK(source == src);
    return 0;
}
