// Line search, false-positive removal, microcalcifications and clusters.
#ifndef ZETDIP_DIPCLUSTERING_H
#define ZETDIP_DIPCLUSTERING_H

#include "HostFramework.h"
#include "ZetDIPExport.h"

class ZETDIP_API CDipClustering {
public:
    CDipClustering& operator=(const CDipClustering& other);

    // Removes isolated and, on request, excluded candidate pixels.
    // Every pixel is copied from pSrc; then a non-zero candidate at (x, y) with
    // 2 <= y <= nHeight - 3 and 2 <= x <= nWidth - 3 is cleared when the 18
    // samples of rows y - 2, y - 1 (columns x - 2 .. x + 2) and rows y + 1,
    // y + 2 (columns x - 2, x - 1, x + 1, x + 2) are all 0, and also when
    // bUseExclusion is set and pExclusion is non-zero there. The own row and
    // the own column below are not looked at. Kept pixels keep their value.
    // Note the order: nHeight (rows) before nWidth (row length).
    // pDst may equal pSrc. pExclusion is read only when bUseExclusion is true.
    // Irregularity: in the last three columns the rows above are read one row
    // late from the fourth row on (rows y - 1 and y), so there a candidate in
    // column nWidth - 3 is never isolated.
    // False for 24-bit colour, a bit depth outside 8..16 or no memory for the
    // three-row copy; nothing is written then.
    static bool ApplyFPRemovalCAD(unsigned char* pExclusion, unsigned char* pSrc,
                                  unsigned char* pDst, int nBitsPerPixel, int nBitsStored,
                                  int nHeight, int nWidth, bool bUseExclusion);

    // Finds microcalcifications among the candidates, groups them into
    // clusters and appends one circle pair (centre, rim point) per new cluster.
    // A microcalcification is an 8-connected candidate blob inside the mask,
    // started at least 6.4 mm from every edge, whose longer side measures
    // 0.1 .. 1.0 mm and which passes the shape check on the grey image stretched
    // over [2^bits / 2, 2^bits / 1.41). Members are linked within 6.8 mm in x
    // and in y; a cluster needs 4 members and an extent of at most 30.2 mm.
    // Points are stored with y = nHeight - row (bottom row y = 1). A new circle
    // overlapping an earlier pair (already in the array or found before) is
    // merged into the first such pair whose merged radius stays within 28 mm:
    // that pair becomes the midpoint and a rim point straight to its right;
    // merging does not cascade. Never empties the array.
    // 8-bit: colour is refused. 16-bit: all buffers are read as words.
    // False for bad depth, colour or no memory (the array untouched then).
    // An array of odd size makes CArray throw CInvalidArgException once a
    // cluster is tested against its incomplete last pair.
    static bool ApplyClustering(unsigned char* pSrc, unsigned char* pBinary, unsigned char* pMask,
                                CArray<CPoint, const CPoint&>& arrCircles, int nBitsPerPixel,
                                int nBitsStored, int nWidth, int nHeight, double dPixelSizeX,
                                double dPixelSizeY);

    // ---- Line-structure search ----

    // Binary image of north-south line structures: NS gradient, three 3x3
    // means, then, only when CalculateThresholding1 of that smoothed gradient
    // lies in [LEVEL / 6.3, LEVEL / 5.6] (LEVEL 256, or 1 << nBitsStored; for
    // 8-bit 41..45), contrast manipulation of the gradient, a threshold at
    // half its level, line erosions until the level repeats or falls to
    // LEVEL / 14, and four dilatations into pDst.
    // Outside the gate it returns false: 8-bit: pDst untouched / 16-bit: pDst all 0.
    // False for bad depths, 24-bit colour, no memory.
    static bool SearchLinesImage(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                 int nBitsStored, int nWidth, int nHeight);

    // Adds diagonal (south-west to north-east) line structures found inside
    // pMask to pLines by union (16-bit): masked SWNE gradient, contrast
    // manipulation, threshold at half the level, side borders of 5 mm cleared,
    // diagonal erosions while the level falls, four dilatations.
    // 8-bit: runs SearchLinesImage instead, overwriting pLines and ignoring
    // pMask and dPixelSize (intended). False for bad depths, 24-bit colour,
    // no memory, or a failing step.
    static bool SearchLinesSWNEImage(unsigned char* pSrc, unsigned char* pLines,
                                     unsigned char* pMask, int nBitsPerPixel, int nBitsStored,
                                     int nWidth, int nHeight, double dPixelSize);

private:
    CDipClustering();
    ~CDipClustering();

    static bool ApplyFPRemovalCAD8Bits(unsigned char* pExclusion, unsigned char* pSrc,
                                       unsigned char* pDst, int nChannels, int nHeight, int nWidth,
                                       bool bUseExclusion);
    static bool ApplyFPRemovalCAD16Bits(unsigned short* pExclusion, unsigned short* pSrc,
                                        unsigned short* pDst, int nHeight, int nWidth,
                                        bool bUseExclusion);

    static void SearchAWholeMicrocalcification8Bits(unsigned char* pBinary, int* pVisited, int nX,
                                                    int nY, int& nMinX, int& nMinY, int& nMaxX,
                                                    int& nMaxY, int nWidth, int nHeight);
    static void SearchAWholeMicrocalcification16Bits(unsigned short* pBinary, int* pVisited, int nX,
                                                     int nY, int& nMinX, int& nMinY, int& nMaxX,
                                                     int& nMaxY, int nWidth, int nHeight);
    static int SearchAnObject8Bits(unsigned char* pStretched, int nX, int nY, int nWidth,
                                   int nHeight, int nLeft, int nTop, int nRight, int nBottom,
                                   double dPixelSize);
    static int SearchAnObject16Bits(unsigned short* pStretched, int nX, int nY, int nWidth,
                                    int nHeight, int nLeft, int nTop, int nRight, int nBottom,
                                    double dPixelSize, int nMaxValue);
    static void SearchEveryMicrocalcification8Bits(unsigned char* pSrc, unsigned char* pBinary,
                                                   int* pVisited, int* pCentres, int nTop,
                                                   int nLeft, int nBottom, int nRight,
                                                   double dPixelSizeX, double dPixelSizeY,
                                                   int nWidth, int nHeight);
    static void SearchEveryMicrocalcification16Bits(unsigned short* pSrc, unsigned short* pBinary,
                                                    int* pVisited, int* pCentres, int nBitsStored,
                                                    int nTop, int nLeft, int nBottom, int nRight,
                                                    double dPixelSizeX, double dPixelSizeY,
                                                    int nWidth, int nHeight);

    static bool ApplyClustering8Bits(unsigned char* pSrc, unsigned char* pBinary,
                                     CArray<CPoint, const CPoint&>& arrCircles, int nHeight,
                                     int nWidth, int nChannels, double dPixelSizeX,
                                     double dPixelSizeY, unsigned char* pMask);
    static bool ApplyClustering16Bits(unsigned short* pSrc, unsigned short* pBinary,
                                      CArray<CPoint, const CPoint&>& arrCircles, int nHeight,
                                      int nWidth, int nBitsStored, double dPixelSizeX,
                                      double dPixelSizeY, unsigned short* pMask);
    static void SearchEveryCluster(CArray<CPoint, const CPoint&>& arrCircles, int* pVisited,
                                   int* pCentres, double dPixelSizeX, double dPixelSizeY,
                                   int nWidth, int nHeight);
    static void SearchAWholeCluster(int* pCentres, int* pVisited, int nX, int nY, int& nMinX,
                                    int& nMinY, int& nMaxX, int& nMaxY, int& nCount, int nWidth,
                                    int nHeight, double dPixelSizeX, double dPixelSizeY, int& nSumX,
                                    int& nSumY);
    static bool ReplaceNonNecessaryCircles(CArray<CPoint, const CPoint&>& arrCircles,
                                           CPoint ptCentre, float fRadius, double dPixelSize);

    // Line-structure search variants.
    static bool SearchLinesImage8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                      int nWidth, int nHeight);
    static bool SearchLinesImage16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                       int nWidth, int nHeight);
    // Not reachable from the public entries (8-bit diagonal requests go to the
    // north-south search); its 8-bit dilatation ends it with false.
    static bool SearchLinesImageSWNE8Bits(unsigned char* pSrc, unsigned char* pLines,
                                          unsigned char* pMask, int nChannels, int nWidth,
                                          int nHeight, double dPixelSize);
    static bool SearchLinesImageSWNE16Bits(unsigned short* pSrc, unsigned short* pLines,
                                           unsigned short* pMask, int nBitsStored, int nWidth,
                                           int nHeight, double dPixelSize);
};

#endif  // ZETDIP_DIPCLUSTERING_H
