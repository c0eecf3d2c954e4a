// Fuzz target of CDipTest: the test bench's clustering.
#include "DipBasic.h"
#include "DipTest.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const auto f = ReadFormat(in);
    if (!f) return 0;
    const int nHighBit = in.Int();
    const double dx = in.Double(), dy = in.Double();
    CArray<CPoint, const CPoint&> centres;
    const int nInitial = in.Byte() % 4;
    for (int i = 0; i < nInitial; ++i) centres.Add(CPoint(in.Int(), in.Int()));
    in.StartPixels();
    const Buffer binary = NewImage(in, *f);

    Buffer b = binary;
    const bool r = CDipTest::ApplyClustering(b.data(), centres, f->nBitsPerPixel, f->nBitsStored,
                                             f->nWidth, f->nHeight, nHighBit, dx, dy);
    // 16-bit: the caller's image comes back adjusted; otherwise it is not written.
    Buffer expected = binary;
    if (f->depth == Depth::k16)
        CDipBasic::AdjustPixels16Bits(reinterpret_cast<unsigned short*>(expected.data()),
                                      f->nBitsStored, nHighBit, f->nWidth, f->nHeight);
    ZETDIP_FUZZ_CHECK(b == expected);
    ZETDIP_FUZZ_CHECK(centres.GetSize() >= nInitial);
    if (!r) ZETDIP_FUZZ_CHECK(centres.GetSize() == nInitial);
    if (f->depth == Depth::kInvalid || f->nChannels == 3) ZETDIP_FUZZ_CHECK(!r);
    return 0;
}
