// Grey-level mathematical morphology with structuring elements.
#ifndef ZETDIP_DIPMORPHMATH_H
#define ZETDIP_DIPMORPHMATH_H

#include "ZetDIPExport.h"

// Every operation runs a conditional rank rule rather than a plain
// minimum/maximum filter: an interior pixel takes the extreme of its
// neighbourhood only when exactly nSECount - 1 member neighbours lie on the
// operation's side of it (erosion: not brighter, dilation: not darker);
// otherwise it keeps its value. On a two-level image this is binary erosion
// and dilation; on grey images it flattens local extremes only. The extreme
// starts at the top-left corner of the neighbourhood whether or not that
// corner is a member, so a non-member corner can become the result. Rows
// 0 .. hA - 1 and the last hA rows, columns 0 .. hB - 1 and the last hB
// columns are copied (hA = nSEHeight / 2, hB = nSEWidth / 2).
class ZETDIP_API CDipMorphMath {
public:
    CDipMorphMath(const CDipMorphMath& other);
    CDipMorphMath& operator=(const CDipMorphMath& other);

    // Erosion with a caller's element: nSEHeight x nSEWidth ints, non-zero
    // for members, nSECount members counting the centre. Rule above, with row
    // offsets bounded by hB, column offsets by hA, and the element applied
    // flipped top to bottom (its row 0 meets the image row below the centre).
    // Elements five or more wide also read the rows that the right-border
    // cache refresh of the previous row left behind. Image and cache are
    // read flat, row after row: for elements taller than wide a neighbour
    // column left or right of the image is the previous row's last or the
    // next row's first pixel. Offsets whose element index leaves the element
    // (even or non-square elements, nSEWidth = 0) or whose cache read would
    // pass the cache's end (ten or more rows on narrow images) are skipped.
    // pDst may equal pSrc. False for 24-bit colour, nSEHeight < 3, negative
    // nSEWidth, bad depths, and when the hA + 1 cache rows cannot be
    // allocated.
    static bool ApplyErosionWithSE(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                   int nBitsStored, int nWidth, int nHeight, const int* pSE,
                                   int nSEHeight, int nSEWidth, int nSECount);

    // Erosion by the horizontal 3x3 line (left and right neighbours, and the
    // top-left corner through the seed): a one-pixel-high bright run on a dark
    // background vanishes entirely. pDst may equal pSrc.
    // True for 8..16 stored bits, false for 24-bit colour and bad depths.
    static bool ApplyErosionLine(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                 int nBitsStored, int nWidth, int nHeight);
    // Erosion by the diagonal through the top-right and bottom-left
    // neighbours. pDst may equal pSrc. Results as ApplyErosionLine.
    static bool ApplyErosionDiagNWSE(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                     int nBitsStored, int nWidth, int nHeight);
    // Erosion by the diagonal through the top-left and bottom-right
    // neighbours. pDst may equal pSrc. Results as ApplyErosionLine.
    static bool ApplyErosionDiagSWNE(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                     int nBitsStored, int nWidth, int nHeight);
    // Four erosions by the quarter elements (centre and two edge neighbours
    // each: left+below, below+right, right+above, above+left). pDst may equal
    // pSrc. False for 24-bit colour, bad depths and failed scratch allocation.
    static bool ApplyErosionCircle(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                   int nBitsStored, int nWidth, int nHeight);
    // Four dilations by the quarter elements. pDst may equal pSrc.
    // 8-bit: reports false after a successful run, with the result in pDst
    // (and true if the last pass failed). 16-bit: true on success.
    static bool ApplyDilatation(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                int nBitsStored, int nWidth, int nHeight);
    // Circle erosion, then dilatation. pDst may equal pSrc.
    // 8-bit: writes the opened image and reports false. 16-bit: true.
    static bool ApplyOpening(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                             int nBitsStored, int nWidth, int nHeight);
    // Dilatation, then circle erosion. pDst may equal pSrc.
    // 8-bit: the dilatation reports false, so the erosion never runs, pDst is
    // left as it was and the result is false. 16-bit: the closed image, true.
    static bool ApplyClosing(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                             int nBitsStored, int nWidth, int nHeight);

protected:
    CDipMorphMath();
    virtual ~CDipMorphMath();

    static bool ApplyErosionWithSE8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                        int nWidth, int nHeight, const int* pSE, int nSEHeight,
                                        int nSEWidth, int nSECount);
    static bool ApplyErosionWithSE16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                         int nHeight, const int* pSE, int nSEHeight, int nSEWidth,
                                         int nSECount);
    static bool ApplyDilatationWithSE8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                           int nWidth, int nHeight, const int* pSE, int nSEHeight,
                                           int nSEWidth, int nSECount);
    static bool ApplyDilatationWithSE16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                            int nHeight, const int* pSE, int nSEHeight,
                                            int nSEWidth, int nSECount);

    static bool ApplyErosionLine8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                      int nWidth, int nHeight);
    static bool ApplyErosionDiagNWSE8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                          int nWidth, int nHeight);
    static bool ApplyErosionDiagSWNE8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                          int nWidth, int nHeight);
    static bool ApplyErosionCircle8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                        int nWidth, int nHeight);
    static bool ApplyDilatation8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                     int nWidth, int nHeight);
    static bool ApplyOpening8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                  int nWidth, int nHeight);
    static bool ApplyClosing8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                  int nWidth, int nHeight);

    static bool ApplyErosionLine16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                       int nHeight);
    static bool ApplyErosionDiagNWSE16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                           int nHeight);
    static bool ApplyErosionDiagSWNE16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                           int nHeight);
    static bool ApplyErosionCircle16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                         int nHeight);
    static bool ApplyDilatation16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                      int nHeight);
    static bool ApplyOpening16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                   int nHeight);
    static bool ApplyClosing16Bits(unsigned short* pSrc, unsigned short* pDst, int nWidth,
                                   int nHeight);
};

#endif  // ZETDIP_DIPMORPHMATH_H
