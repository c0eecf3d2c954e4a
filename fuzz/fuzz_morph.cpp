// Fuzz target of CDipMorphMath: erosion with an element and the shaped operators.
#include "DipMorphMath.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

namespace {

using Shaped = bool (*)(unsigned char*, unsigned char*, int, int, int, int);
constexpr Shaped kShaped[] = {
    CDipMorphMath::ApplyErosionLine,     CDipMorphMath::ApplyErosionDiagNWSE,
    CDipMorphMath::ApplyErosionDiagSWNE, CDipMorphMath::ApplyErosionCircle,
    CDipMorphMath::ApplyDilatation,      CDipMorphMath::ApplyOpening,
    CDipMorphMath::ApplyClosing};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const int nEntry = in.Byte() % 8;
    const auto f = ReadFormat(in);
    if (!f) return 0;
    const int nSEHeight = in.Int(), nSEWidth = in.Int(), nSECount = in.Int();
    // The element: nSEHeight * nSEWidth ints where the engine accepts it.
    long long nSESize = 0;
    if (nSEHeight >= 3 && nSEWidth >= 0) nSESize = static_cast<long long>(nSEHeight) * nSEWidth;
    if (nSESize > static_cast<long long>(kMaxSamples)) return 0;
    if (nEntry == 0 && !ElementAffordable(*f, nSEHeight, nSEWidth)) return 0;
    in.StartPixels();
    const Buffer src = NewImage(in, *f);
    const auto nSEBytes = static_cast<std::size_t>(nSESize) * sizeof(int);
    Buffer se(nSEBytes);
    in.Fill(se.data(), se.size(), 1, 1);
    const Buffer seBefore = se;

    const auto [r, out] = RunBothWays<bool>(src, [&](unsigned char* s, unsigned char* d) {
        if (nEntry == 0)
            return CDipMorphMath::ApplyErosionWithSE(
                s, d, f->nBitsPerPixel, f->nBitsStored, f->nWidth, f->nHeight,
                reinterpret_cast<const int*>(se.data()), nSEHeight, nSEWidth, nSECount);
        return kShaped[nEntry - 1](s, d, f->nBitsPerPixel, f->nBitsStored, f->nWidth, f->nHeight);
    });
    ZETDIP_FUZZ_CHECK(se == seBefore);
    if (f->depth == Depth::kInvalid || (f->depth == Depth::k8 && f->nChannels == 3))
        ZETDIP_FUZZ_CHECK(!r && out == src);
    return 0;
}
