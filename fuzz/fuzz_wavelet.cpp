// Fuzz target of CDipWavelet: decomposition, reconstruction and set difference.
#include "DipWavelet.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

namespace {

// Room for the nWidth * nHeight coefficients, as doubles.
std::unique_ptr<double[]> Coefficients(const Format& f, Input& in) {
    const std::size_t n = *SamplesOf(f.nWidth, f.nHeight, 1);
    std::unique_ptr<double[]> p(new double[n]);
    for (std::size_t i = 0; i < n; ++i) p[i] = static_cast<double>(in.Byte()) - 128.0;
    return p;
}

bool Same(const double* a, const double* b, std::size_t n) {
    return n == 0 || std::memcmp(a, b, n * sizeof(double)) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const int nEntry = in.Byte() % 3;
    const auto f = ReadFormat(in);
    if (!f) return 0;
    const std::size_t nCoef = *SamplesOf(f->nWidth, f->nHeight, 1);

    if (nEntry == 2) {
        in.StartPixels();
        const Buffer src = NewImage(in, *f), mask = NewImage(in, *f);
        Buffer maskCopy = mask;
        const auto [r, out] = RunBothWays<bool>(src, [&](unsigned char* s, unsigned char* d) {
            return CDipWavelet::ApplySubstraction(s, maskCopy.data(), d, f->nBitsPerPixel,
                                                  f->nBitsStored, f->nWidth, f->nHeight);
        });
        ZETDIP_FUZZ_CHECK(maskCopy == mask);
        ZETDIP_FUZZ_CHECK(r == (f->depth != Depth::kInvalid));
        if (!r) ZETDIP_FUZZ_CHECK(out == src);
        return 0;
    }

    const bool bNullParity = in.Byte() % 8 == 0;
    const bool bDecomposeFirst = in.Bool();
    const int nKeepA = in.Int(), nKeepB = in.Int();
    int nLowWidth = in.Side(), nLowHeight = in.Side(), nLevels = in.Int();
    int widthOdd[4], heightOdd[4];
    for (int k = 0; k < 4; ++k) widthOdd[k] = in.Int(), heightOdd[k] = in.Int();
    in.StartPixels();
    const Buffer src = NewImage(in, *f);
    auto coef = Coefficients(*f, in);
    const std::unique_ptr<double[]> coefBefore(new double[nCoef]);
    if (nCoef > 0) std::memcpy(coefBefore.get(), coef.get(), nCoef * sizeof(double));
    int* pWidthOdd = bNullParity ? nullptr : widthOdd;

    if (nEntry == 0 || bDecomposeFirst) {
        Buffer source = src;
        int nOddBefore[8];
        std::memcpy(nOddBefore, widthOdd, sizeof widthOdd);
        std::memcpy(nOddBefore + 4, heightOdd, sizeof heightOdd);
        const int nLowW0 = nLowWidth, nLowH0 = nLowHeight;
        const bool r = CDipWavelet::ApplyWaveletDecomposition(
            source.data(), coef.get(), f->nWidth, f->nHeight, f->nBitsPerPixel, f->nBitsStored,
            nLowWidth, nLowHeight, pWidthOdd, heightOdd, in.Int());
        ZETDIP_FUZZ_CHECK(source == src);
        if (f->depth == Depth::kInvalid || (f->depth == Depth::k8 && f->nChannels == 3)) {
            ZETDIP_FUZZ_CHECK(!r && Same(coef.get(), coefBefore.get(), nCoef));
            ZETDIP_FUZZ_CHECK(nLowWidth == nLowW0 && nLowHeight == nLowH0);
            ZETDIP_FUZZ_CHECK(std::memcmp(nOddBefore, widthOdd, sizeof widthOdd) == 0);
        }
        if (r) {
            // The low band never outgrows the image; the levels are those performed.
            ZETDIP_FUZZ_CHECK(nLowWidth <= f->nWidth && nLowHeight <= f->nHeight);
            nLevels = 0;
            for (int w = f->nWidth, h = f->nHeight; nLevels < 4 && w >= 16 && h >= 16;
                 w = (w + 1) / 2, h = (h + 1) / 2)
                ++nLevels;
        }
        if (nEntry == 0) return 0;
    }

    // The parity arrays hold four entries: more levels than that are not the
    // decomposition's output.
    if (nLevels > 4) return 0;
    const Buffer before = NewImage(in, *f);
    Buffer out = before;
    const bool r = CDipWavelet::ApplyWaveletReconstruction(
        coef.get(), out.data(), f->nBitsPerPixel, f->nBitsStored, f->nWidth, f->nHeight, nKeepA,
        nKeepB, nLowWidth, nLowHeight, pWidthOdd, heightOdd, nLevels);
    if (f->depth == Depth::kInvalid || (f->depth == Depth::k8 && f->nChannels == 3))
        ZETDIP_FUZZ_CHECK(!r && out == before);
    if (r) {
        // The output is binary: 0 or the maximum of the depth.
        for (std::size_t i = 0; i < nCoef; ++i) {
            unsigned v = out.data()[i];
            if (f->depth == Depth::k16) std::memcpy(&v, out.data() + 2 * i, 2), v &= 0xFFFF;
            ZETDIP_FUZZ_CHECK(v == 0 || v == f->nMax);
        }
    }
    return 0;
}
