// Fuzz target of CDipThickness: the union of two images and the thickening step.
#include "DipThickness.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

namespace {

// An element of nHeight * nWidth ints where the engine accepts it; empty when too large.
std::optional<Buffer> Element(int nHeight, int nWidth) {
    long long n = 0;
    if (nHeight >= 3 && nWidth >= 0) n = static_cast<long long>(nHeight) * nWidth;
    if (n > static_cast<long long>(kMaxSamples)) return std::nullopt;
    return Buffer(static_cast<std::size_t>(n) * sizeof(int));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const bool bUnion = in.Byte() % 2 == 0;
    const auto a = ReadFormat(in);
    if (!a) return 0;
    // B mostly shares A's format, so that the union's checks pass now and then.
    const bool bSameFormat = in.Bool();
    // The thickening reads B in A's format.
    const auto b = bSameFormat || !bUnion ? a : ReadFormat(in);
    if (!b) return 0;
    const bool bIntoB = in.Bool();
    const int hitH = in.Int(), hitW = in.Int(), hitN = in.Int();
    const int missH = in.Int(), missW = in.Int(), missN = in.Int();
    auto hit = Element(hitH, hitW);
    auto miss = Element(missH, missW);
    if (!hit || !miss) return 0;
    if (!bUnion && (!ElementAffordable(*a, hitH, hitW) || !ElementAffordable(*a, missH, missW)))
        return 0;
    in.StartPixels();
    in.Fill(hit->data(), hit->size(), 1, 1);
    in.Fill(miss->data(), miss->size(), 1, 1);
    const Buffer srcA = NewImage(in, *a);
    const Buffer srcB = NewImage(in, *b);
    const Buffer hitBefore = *hit, missBefore = *miss;

    // The destination has A's size; it may be A or, on request, B when B is as large.
    const bool bAliasB = bIntoB && srcB.size() == srcA.size();
    const Buffer& first = bAliasB ? srcB : srcA;
    const Buffer& other = bAliasB ? srcA : srcB;
    Buffer otherCopy = other;
    const auto [r, out] = RunBothWays<bool>(first, [&](unsigned char* s, unsigned char* d) {
        unsigned char* pA = bAliasB ? otherCopy.data() : s;
        unsigned char* pB = bAliasB ? s : otherCopy.data();
        if (bUnion)
            return CDipThickness::CreateUnionBetweenImages(
                pA, pB, d, a->nWidth, a->nHeight, a->nBitsPerPixel, a->nBitsStored, b->nWidth,
                b->nHeight, b->nBitsPerPixel, b->nBitsStored);
        return CDipThickness::ApplyThicknessWavStage(
            pA, pB, d, a->nBitsPerPixel, a->nBitsStored, a->nWidth, a->nHeight,
            reinterpret_cast<const int*>(hit->data()), hitH, hitW, hitN,
            reinterpret_cast<const int*>(miss->data()), missH, missW, missN);
    });
    ZETDIP_FUZZ_CHECK(otherCopy == other);
    ZETDIP_FUZZ_CHECK(*hit == hitBefore && *miss == missBefore);
    if (a->depth == Depth::kInvalid) ZETDIP_FUZZ_CHECK(!r && out == first);
    if (!r && bUnion) ZETDIP_FUZZ_CHECK(out == first);
    return 0;
}
