// Fuzz target of CDipBasic: the 16-bit pixel word adjustment and the sign toggle.
#include "DipBasic.h"
#include "fuzz_support.h"

using namespace zetdip::fuzz;

namespace {

// nCount words (none for a count below 1); empty when too many.
std::optional<Buffer> Words(Input& in, long long nCount) {
    if (nCount <= 0) nCount = 0;
    if (static_cast<unsigned long long>(nCount) > kMaxSamples) return std::nullopt;
    Buffer b(static_cast<std::size_t>(nCount) * 2);
    in.StartPixels();
    in.Fill(b.data(), b.size(), 2, 65535);
    return b;
}

unsigned short* AsWords(const Buffer& b) {
    return reinterpret_cast<unsigned short*>(b.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    switch (in.Byte() % 3) {
        case 0: {
            const int nBitsStored = in.Int(), nHighBit = in.Int();
            const int nWidth = in.Side(), nHeight = in.Side();
            const auto nCount = SamplesOf(nWidth, nHeight, 1);
            if (!nCount) return 0;
            auto words = Words(in, static_cast<long long>(*nCount));
            if (!words) return 0;
            CDipBasic::AdjustPixels16Bits(AsWords(*words), nBitsStored, nHighBit, nWidth, nHeight);
            return 0;
        }
        case 1: {
            const int nBitsStored = in.Int(), nHighBit = in.Int(), nCount = in.Int();
            auto words = Words(in, nCount);
            if (!words) return 0;
            CDipBasic::UnAdjustPixels16Bits(AsWords(*words), nBitsStored, nHighBit, nCount);
            return 0;
        }
        default: {
            const int nRepresentation = in.Int(), nBitsPerPixel = in.BitsPerPixel();
            const int nCount = in.Int(), nBitsStored = in.Int();
            auto words = Words(in, nCount);
            if (!words) return 0;
            const Buffer before = *words;
            // Converting is its own inverse, whichever name is called.
            CDipBasic::ConvertToSignedIfNeeded(AsWords(*words), nRepresentation, nBitsPerPixel,
                                               nCount, nBitsStored);
            CDipBasic::ConvertToUnsignedIfNeeded(AsWords(*words), nRepresentation, nBitsPerPixel,
                                                 nCount, nBitsStored);
            ZETDIP_FUZZ_CHECK(*words == before);
            return 0;
        }
    }
}
