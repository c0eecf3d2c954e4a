// Kernels of the 16-bit pixel word adjustment.
#ifndef ZETDIP_CORE_PIXEL_WORDS_H
#define ZETDIP_CORE_PIXEL_WORDS_H

namespace zetdip::detail {

void ShiftAndMaskWords(unsigned short* pWords, unsigned short nMask, int nShift, int nCount);
void MaskWords(unsigned short* pWords, unsigned short nMask, int nCount);
void AdjustWords(unsigned short* pWords, int nBitsStored, int nHighBit, int nCount);
void UnAdjustWords(unsigned short* pWords, int nBitsStored, int nHighBit, int nCount);
unsigned short ToggleSignBit(int nBitsStored, unsigned short nValue);
void ToggleSignBitsIfNeeded(unsigned short* pWords, int nPixelRepresentation, int nBitsPerPixel,
                            int nCount, int nBitsStored);

}  // namespace zetdip::detail

#endif  // ZETDIP_CORE_PIXEL_WORDS_H
