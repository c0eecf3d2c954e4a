#include "morph/shaped.h"

#include "DipMorphMath.h"

using namespace zetdip::detail;

namespace {

using Shaped8 = bool (*)(const unsigned char*, unsigned char*, int, int);
using Shaped16 = bool (*)(const unsigned short*, unsigned short*, int, int);

// Bit-depth dispatch of the public shaped entries; 24-bit colour is refused.
bool DispatchShaped(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel, int nBitsStored,
                    int nWidth, int nHeight, Shaped8 run8, Shaped16 run16) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ChannelsOf(nBitsPerPixel) == 1 && run8(pSrc, pDst, nWidth, nHeight);
        case Depth::k16:
            return run16(AsWords(pSrc), AsWords(pDst), nWidth, nHeight);
        default:
            return false;
    }
}

template <const int* kSE>
bool ErodeBy(const unsigned char* pSrc, unsigned char* pDst, int nWidth, int nHeight) {
    return ErosionByElement(pSrc, pDst, nWidth, nHeight, kSE);
}
template <const int* kSE>
bool ErodeBy(const unsigned short* pSrc, unsigned short* pDst, int nWidth, int nHeight) {
    return ErosionByElement(pSrc, pDst, nWidth, nHeight, kSE);
}

}  // namespace

// The line and diagonal entries run the engine themselves and report true
// whatever it returned.
bool CDipMorphMath::ApplyErosionLine(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                     int nBitsStored, int nWidth, int nHeight) {
    return DispatchShaped(pSrc, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight, ErodeBy<kLineSE>,
                          ErodeBy<kLineSE>);
}

bool CDipMorphMath::ApplyErosionDiagNWSE(unsigned char* pSrc, unsigned char* pDst,
                                         int nBitsPerPixel, int nBitsStored, int nWidth,
                                         int nHeight) {
    return DispatchShaped(pSrc, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight,
                          ErodeBy<kDiagNWSESE>, ErodeBy<kDiagNWSESE>);
}

bool CDipMorphMath::ApplyErosionDiagSWNE(unsigned char* pSrc, unsigned char* pDst,
                                         int nBitsPerPixel, int nBitsStored, int nWidth,
                                         int nHeight) {
    return DispatchShaped(pSrc, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight,
                          ErodeBy<kDiagSWNESE>, ErodeBy<kDiagSWNESE>);
}

bool CDipMorphMath::ApplyErosionCircle(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                       int nBitsStored, int nWidth, int nHeight) {
    return DispatchShaped(pSrc, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight,
                          ErosionCircle<unsigned char>, ErosionCircle<unsigned short>);
}

// 8-bit: false after a successful run (see DilatationReport).
bool CDipMorphMath::ApplyDilatation(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                    int nBitsStored, int nWidth, int nHeight) {
    return DispatchShaped(pSrc, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight,
                          Dilatation<unsigned char>, Dilatation<unsigned short>);
}

bool CDipMorphMath::ApplyOpening(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                 int nBitsStored, int nWidth, int nHeight) {
    return DispatchShaped(pSrc, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight,
                          Opening<unsigned char>, Opening<unsigned short>);
}

bool CDipMorphMath::ApplyClosing(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                 int nBitsStored, int nWidth, int nHeight) {
    return DispatchShaped(pSrc, pDst, nBitsPerPixel, nBitsStored, nWidth, nHeight,
                          Closing<unsigned char>, Closing<unsigned short>);
}

// Protected variants. The 8-bit ones refuse colour before allocating anything.
bool CDipMorphMath::ApplyErosionLine8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                          int nWidth, int nHeight) {
    return nChannels == 1 && ErosionByElement(pSrc, pDst, nWidth, nHeight, kLineSE);
}

bool CDipMorphMath::ApplyErosionDiagNWSE8Bits(unsigned char* pSrc, unsigned char* pDst,
                                              int nChannels, int nWidth, int nHeight) {
    return nChannels == 1 && ErosionByElement(pSrc, pDst, nWidth, nHeight, kDiagNWSESE);
}

bool CDipMorphMath::ApplyErosionDiagSWNE8Bits(unsigned char* pSrc, unsigned char* pDst,
                                              int nChannels, int nWidth, int nHeight) {
    return nChannels == 1 && ErosionByElement(pSrc, pDst, nWidth, nHeight, kDiagSWNESE);
}

bool CDipMorphMath::ApplyErosionCircle8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                            int nWidth, int nHeight) {
    return nChannels == 1 && ErosionCircle(pSrc, pDst, nWidth, nHeight);
}

bool CDipMorphMath::ApplyDilatation8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                         int nWidth, int nHeight) {
    return nChannels == 1 && Dilatation(pSrc, pDst, nWidth, nHeight);
}

bool CDipMorphMath::ApplyOpening8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                      int nWidth, int nHeight) {
    return nChannels == 1 && Opening(pSrc, pDst, nWidth, nHeight);
}

bool CDipMorphMath::ApplyClosing8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                      int nWidth, int nHeight) {
    return nChannels == 1 && Closing(pSrc, pDst, nWidth, nHeight);
}

bool CDipMorphMath::ApplyErosionLine16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                           int nHeight) {
    return ErosionByElement(pSrc, pDst, nWidth, nHeight, kLineSE);
}

bool CDipMorphMath::ApplyErosionDiagNWSE16Bits(unsigned short* pSrc, unsigned short* pDst,
                                               int nWidth, int nHeight) {
    return ErosionByElement(pSrc, pDst, nWidth, nHeight, kDiagNWSESE);
}

bool CDipMorphMath::ApplyErosionDiagSWNE16Bits(unsigned short* pSrc, unsigned short* pDst,
                                               int nWidth, int nHeight) {
    return ErosionByElement(pSrc, pDst, nWidth, nHeight, kDiagSWNESE);
}

bool CDipMorphMath::ApplyErosionCircle16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                             int nHeight) {
    return ErosionCircle(pSrc, pDst, nWidth, nHeight);
}

bool CDipMorphMath::ApplyDilatation16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                          int nHeight) {
    return Dilatation(pSrc, pDst, nWidth, nHeight);
}

bool CDipMorphMath::ApplyOpening16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                       int nHeight) {
    return Opening(pSrc, pDst, nWidth, nHeight);
}

bool CDipMorphMath::ApplyClosing16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                       int nHeight) {
    return Closing(pSrc, pDst, nWidth, nHeight);
}
