#include "core/pixel_words.h"

#include "DipBasic.h"
#include "core/common.h"

namespace zetdip::detail {

void ShiftAndMaskWords(unsigned short* pWords, unsigned short nMask, int nShift, int nCount) {
    for (int i = 0; i < nCount; ++i)
        pWords[i] = static_cast<unsigned short>(Shr32(pWords[i], nShift) & nMask);
}

void MaskWords(unsigned short* pWords, unsigned short nMask, int nCount) {
    for (int i = 0; i < nCount; ++i) pWords[i] = static_cast<unsigned short>(pWords[i] & nMask);
}

void AdjustWords(unsigned short* pWords, int nBitsStored, int nHighBit, int nCount) {
    const auto nMask = static_cast<unsigned short>(Shr32(0xFFFFu, WrapSub(16, nBitsStored)));
    const int nShift = WrapAdd(WrapSub(nHighBit, nBitsStored), 1);
    if (nShift == 0)
        MaskWords(pWords, nMask, nCount);
    else if (nShift > 0)
        ShiftAndMaskWords(pWords, nMask, nShift, nCount);
    // A negative shift (high bit below the stored width) leaves the words as
    // they are; un-adjusting does not share this guard, on purpose.
}

void UnAdjustWords(unsigned short* pWords, int nBitsStored, int nHighBit, int nCount) {
    const int nShift = WrapAdd(WrapSub(nHighBit, nBitsStored), 1);
    if (nShift == 0) return;
    for (int i = 0; i < nCount; ++i)
        pWords[i] = static_cast<unsigned short>(Shl32(pWords[i], nShift));
}

unsigned short ToggleSignBit(int nBitsStored, unsigned short nValue) {
    return static_cast<unsigned short>(nValue ^ Shl32(1u, WrapSub(nBitsStored, 1)));
}

void ToggleSignBitsIfNeeded(unsigned short* pWords, int nPixelRepresentation, int nBitsPerPixel,
                            int nCount, int nBitsStored) {
    if (nPixelRepresentation != 1 || nBitsPerPixel == 8 || nBitsPerPixel == 24) return;
    for (int i = 0; i < nCount; ++i) pWords[i] = ToggleSignBit(nBitsStored, pWords[i]);
}

}  // namespace zetdip::detail

using namespace zetdip::detail;

void CDipBasic::AdjustPixels16Bits(unsigned short* pSrc, int nBitsStored, int nHighBit, int nWidth,
                                   int nHeight) {
    AdjustWords(pSrc, nBitsStored, nHighBit, WrapMul(nWidth, nHeight));
}

void CDipBasic::UnAdjustPixels16Bits(unsigned short* pSrc, int nBitsStored, int nHighBit,
                                     int nCount) {
    UnAdjustWords(pSrc, nBitsStored, nHighBit, nCount);
}

void CDipBasic::ConvertToSignedIfNeeded(unsigned short* pSrc, int nPixelRepresentation,
                                        int nBitsPerPixel, int nCount, int nBitsStored) {
    ToggleSignBitsIfNeeded(pSrc, nPixelRepresentation, nBitsPerPixel, nCount, nBitsStored);
}

void CDipBasic::ConvertToUnsignedIfNeeded(unsigned short* pSrc, int nPixelRepresentation,
                                          int nBitsPerPixel, int nCount, int nBitsStored) {
    ToggleSignBitsIfNeeded(pSrc, nPixelRepresentation, nBitsPerPixel, nCount, nBitsStored);
}

void CDipBasic::SignedUnSignedIfNeeded(unsigned short* pSrc, int nPixelRepresentation,
                                       int nBitsPerPixel, int nCount, int nBitsStored) {
    ToggleSignBitsIfNeeded(pSrc, nPixelRepresentation, nBitsPerPixel, nCount, nBitsStored);
}

void CDipBasic::ShiftAndMaskUnusedBits16(unsigned short* pSrc, unsigned short nMask, int nShift,
                                         int nCount) {
    ShiftAndMaskWords(pSrc, nMask, nShift, nCount);
}

void CDipBasic::MaskUnusedBits16(unsigned short* pSrc, unsigned short nMask, int nCount) {
    MaskWords(pSrc, nMask, nCount);
}

unsigned short CDipBasic::TwosComplement(int nBitsStored, unsigned short nValue) {
    return ToggleSignBit(nBitsStored, nValue);
}
