#include "cad/fp_removal.h"

#include "DipClustering.h"

using namespace zetdip::detail;

bool CDipClustering::ApplyFPRemovalCAD(unsigned char* pExclusion, unsigned char* pSrc,
                                       unsigned char* pDst, int nBitsPerPixel, int nBitsStored,
                                       int nHeight, int nWidth, bool bUseExclusion) {
    switch (DepthOf(nBitsStored)) {
        case Depth::k8:
            return ApplyFPRemovalCAD8Bits(pExclusion, pSrc, pDst, ChannelsOf(nBitsPerPixel),
                                          nHeight, nWidth, bUseExclusion);
        case Depth::k16:
            return ApplyFPRemovalCAD16Bits(AsWords(pExclusion), AsWords(pSrc), AsWords(pDst),
                                           nHeight, nWidth, bUseExclusion);
        default:
            return false;
    }
}

bool CDipClustering::ApplyFPRemovalCAD8Bits(unsigned char* pExclusion, unsigned char* pSrc,
                                            unsigned char* pDst, int nChannels, int nHeight,
                                            int nWidth, bool bUseExclusion) {
    if (nChannels != 1) return false;
    return RemoveFalsePositives(pExclusion, pSrc, pDst, nHeight, nWidth, bUseExclusion);
}

bool CDipClustering::ApplyFPRemovalCAD16Bits(unsigned short* pExclusion, unsigned short* pSrc,
                                             unsigned short* pDst, int nHeight, int nWidth,
                                             bool bUseExclusion) {
    return RemoveFalsePositives(pExclusion, pSrc, pDst, nHeight, nWidth, bUseExclusion);
}
