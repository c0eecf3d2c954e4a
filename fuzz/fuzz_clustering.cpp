// Fuzz target of CDipClustering: false-positive removal, clustering, line searches.
#include "DipClustering.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

namespace {

using Points = CArray<CPoint, const CPoint&>;

void Clustering(Input& in, const Format& f, double dx, double dy) {
    // The caller's array: up to five points, so an odd size happens.
    Points circles;
    const int nInitial = in.Byte() % 6;
    for (int i = 0; i < nInitial; ++i) circles.Add(CPoint(in.Int(), in.Int()));
    in.StartPixels();
    const Buffer src = NewImage(in, f), binary = NewImage(in, f), mask = NewImage(in, f);
    Buffer s = src, b = binary, m = mask;
    bool r = false;
    try {
        r = CDipClustering::ApplyClustering(s.data(), b.data(), m.data(), circles, f.nBitsPerPixel,
                                            f.nBitsStored, f.nWidth, f.nHeight, dx, dy);
    } catch (const CInvalidArgException&) {
        // The one documented exception: a cluster tested against an incomplete pair.
        ZETDIP_FUZZ_CHECK(nInitial % 2 == 1);
        r = true;
    }
    ZETDIP_FUZZ_CHECK(s == src && b == binary && m == mask);
    ZETDIP_FUZZ_CHECK(circles.GetSize() >= nInitial);  // never emptied
    if (!r) ZETDIP_FUZZ_CHECK(circles.GetSize() == nInitial);
    if (f.depth == Depth::kInvalid || f.nChannels == 3) ZETDIP_FUZZ_CHECK(!r);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const int nEntry = in.Byte() % 4;
    const auto f = ReadFormat(in);
    if (!f) return 0;
    const bool bUseExclusion = in.Bool();
    const double dx = in.Double(), dy = in.Double();
    if (nEntry == 1) {
        Clustering(in, *f, dx, dy);
        return 0;
    }
    in.StartPixels();
    const Buffer src = NewImage(in, *f);
    const Buffer other = NewImage(in, *f);

    if (nEntry == 0) {
        // The exclusion image is passed only when it is to be read.
        Buffer exclusion = other;
        const auto [r, out] = RunBothWays<bool>(src, [&](unsigned char* s, unsigned char* d) {
            return CDipClustering::ApplyFPRemovalCAD(bUseExclusion ? exclusion.data() : nullptr, s,
                                                     d, f->nBitsPerPixel, f->nBitsStored,
                                                     f->nHeight, f->nWidth, bUseExclusion);
        });
        ZETDIP_FUZZ_CHECK(exclusion == other);
        if (f->depth == Depth::kInvalid || f->nChannels == 3) ZETDIP_FUZZ_CHECK(!r && out == src);
        return 0;
    }

    Buffer source = src, mask = other;
    const Buffer before = NewImage(in, *f);
    Buffer lines = before;
    const bool r = nEntry == 2 ? CDipClustering::SearchLinesImage(source.data(), lines.data(),
                                                                  f->nBitsPerPixel, f->nBitsStored,
                                                                  f->nWidth, f->nHeight)
                               : CDipClustering::SearchLinesSWNEImage(
                                     source.data(), lines.data(), mask.data(), f->nBitsPerPixel,
                                     f->nBitsStored, f->nWidth, f->nHeight, dx);
    ZETDIP_FUZZ_CHECK(source == src && mask == other);
    if (f->depth == Depth::kInvalid || f->nChannels == 3) ZETDIP_FUZZ_CHECK(!r && lines == before);
    return 0;
}
