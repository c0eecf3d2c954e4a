#include "cad/line_search.h"

#include "DipClustering.h"

using namespace zetdip::detail;

namespace {
LineSearchDepth Depth8() {
    return {8, 8, 256, 255, false, 255};
}
LineSearchDepth Depth16(int nBitsStored) {
    const int nFullP1 = PowerOfTwo(nBitsStored);
    return {16, nBitsStored, nFullP1, nFullP1, true, MaxValue16(nBitsStored)};
}
}  // namespace

bool CDipClustering::SearchLinesImage(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                      int nBitsStored, int nWidth, int nHeight) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return SearchLinesImage8Bits(pSrc, pDst, ChannelsOf(nBitsPerPixel), nWidth, nHeight);
        case Depth::k16:
            return SearchLinesImage16Bits(AsWords(pSrc), AsWords(pDst), nBitsStored, nWidth,
                                          nHeight);
        default:
            return false;
    }
}

bool CDipClustering::SearchLinesImage8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                           int nWidth, int nHeight) {
    if (nChannels != 1) return false;
    return SearchLinesNorthSouth(pSrc, pDst, nWidth, nHeight, Depth8());
}

bool CDipClustering::SearchLinesImage16Bits(unsigned short* pSrc, unsigned short* pDst,
                                            int nBitsStored, int nWidth, int nHeight) {
    return SearchLinesNorthSouth(pSrc, pDst, nWidth, nHeight, Depth16(nBitsStored));
}

bool CDipClustering::SearchLinesSWNEImage(unsigned char* pSrc, unsigned char* pLines,
                                          unsigned char* pMask, int nBitsPerPixel, int nBitsStored,
                                          int nWidth, int nHeight, double dPixelSize) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            // 8-bit images go to the north-south search, which overwrites pLines
            // and ignores the mask and the pixel size (intended).
            return SearchLinesImage8Bits(pSrc, pLines, ChannelsOf(nBitsPerPixel), nWidth, nHeight);
        case Depth::k16:
            return SearchLinesImageSWNE16Bits(AsWords(pSrc), AsWords(pLines), AsWords(pMask),
                                              nBitsStored, nWidth, nHeight, dPixelSize);
        default:
            return false;
    }
}

bool CDipClustering::SearchLinesImageSWNE8Bits(unsigned char* pSrc, unsigned char* pLines,
                                               unsigned char* pMask, int nChannels, int nWidth,
                                               int nHeight, double dPixelSize) {
    if (nChannels != 1) return false;
    return SearchLinesDiagonal(pSrc, pLines, pMask, nWidth, nHeight, dPixelSize, Depth8());
}

bool CDipClustering::SearchLinesImageSWNE16Bits(unsigned short* pSrc, unsigned short* pLines,
                                                unsigned short* pMask, int nBitsStored, int nWidth,
                                                int nHeight, double dPixelSize) {
    return SearchLinesDiagonal(pSrc, pLines, pMask, nWidth, nHeight, dPixelSize,
                               Depth16(nBitsStored));
}
