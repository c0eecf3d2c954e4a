#include "breast/side_detection.h"

#include "DipFilters.h"

using namespace zetdip::detail;

int CDipFilters::IsOnTheRightOrLeftSideOfTheImage(unsigned char* pSrc, int nBitsPerPixel,
                                                  int nBitsStored, int nWidth, int nHeight,
                                                  float fRowFraction) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return IsOnTheRightOrLeftSideOfTheImage8Bits(pSrc, ChannelsOf(nBitsPerPixel), nWidth,
                                                         nHeight, fRowFraction);
        case Depth::k16:
            return IsOnTheRightOrLeftSideOfTheImage16Bits(AsWords(pSrc), nBitsStored, nWidth,
                                                          nHeight, fRowFraction);
        default:
            return -1;
    }
}

int CDipFilters::IsOnTheRightOrLeftSideOfTheImage8Bits(unsigned char* pSrc, int nChannels,
                                                       int nWidth, int nHeight,
                                                       float fRowFraction) {
    if (nChannels != 1) return -1;
    return DetectSide(pSrc, nWidth, nHeight, fRowFraction, SideLevel8());
}

int CDipFilters::IsOnTheRightOrLeftSideOfTheImage16Bits(unsigned short* pSrc, int nBitsStored,
                                                        int nWidth, int nHeight,
                                                        float fRowFraction) {
    return DetectSide(pSrc, nWidth, nHeight, fRowFraction, SideLevel16(nBitsStored));
}
