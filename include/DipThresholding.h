// Thresholding and global thresholds from image statistics.
#ifndef ZETDIP_DIPTHRESHOLDING_H
#define ZETDIP_DIPTHRESHOLDING_H

#include "ZetDIPExport.h"

class ZETDIP_API CDipThresholding {
public:
    CDipThresholding& operator=(const CDipThresholding& other);

    // Binarises: a sample below nThreshold gives 0, any other the maximum
    // (255, or (1 << nBitsStored) - 1). pDst may equal pSrc.
    // 8-bit: all nChannels * nWidth * nHeight samples (24-bit colour too).
    static bool ApplyThresholding(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                  int nBitsStored, int nWidth, int nHeight, int nThreshold);

    // (int)(mean + deviation * 3.3f), in double, from single-precision running
    // statistics over every sample. 0 for 24-bit colour and bad depths.
    static int CalculateThresholdingTHwMD(unsigned char* pSrc, int nBitsPerPixel, int nBitsStored,
                                          int nWidth, int nHeight);

    // (int)(deviation * 2.5); the mean only centres the deviation and is not
    // added. 0 for 24-bit colour and bad depths.
    static int CalculateThresholding1(unsigned char* pSrc, int nBitsPerPixel, int nBitsStored,
                                      int nWidth, int nHeight);

private:
    CDipThresholding();
    ~CDipThresholding();

    static void ApplyThresholding8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                       int nWidth, int nHeight, int nThreshold);
    static void ApplyThresholding16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                        int nWidth, int nHeight, int nThreshold);
    static float CalculateMean8Bits(unsigned char* pSrc, int nChannels, int nWidth, int nHeight);
    static float CalculateMean16Bits(unsigned short* pSrc, int nWidth, int nHeight);
    static float CalculateStandardDeviation8Bits(unsigned char* pSrc, int nChannels, int nWidth,
                                                 int nHeight, float fMean);
    static float CalculateStandardDeviation16Bits(unsigned short* pSrc, int nWidth, int nHeight,
                                                  float fMean);
    static int CalculateThresholdingTHwMD8Bits(unsigned char* pSrc, int nChannels, int nWidth,
                                               int nHeight);
    static int CalculateThresholdingTHwMD16Bits(unsigned short* pSrc, int nWidth, int nHeight);
    static int CalculateThresholding1_8Bits(unsigned char* pSrc, int nChannels, int nWidth,
                                            int nHeight);
    static int CalculateThresholding1_16Bits(unsigned short* pSrc, int nWidth, int nHeight);
};

#endif  // ZETDIP_DIPTHRESHOLDING_H
