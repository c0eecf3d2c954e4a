// Neighbourhood filters and breast segmentation.
#ifndef ZETDIP_DIPFILTERS_H
#define ZETDIP_DIPFILTERS_H

#include "ZetDIPExport.h"

// Orientation of mammograms for the breast operations: the breast touches one
// vertical edge (the chest-wall side), and the chest-wall end of an MLO view
// (axilla, pectoral muscle) lies at the HIGH row indices. This is the
// opposite of a DICOM image's top-down rows: a host flips such an image
// vertically before the call and flips masks back afterwards.
class ZETDIP_API CDipFilters {
public:
    CDipFilters& operator=(const CDipFilters& other);

    // ----- 3x3 kernel filters -----
    // The kernels are placed mirrored vertically: kernel row 0 lies on the
    // image row below the centre, kernel row 2 on the row above. The outer
    // one-sample frame (and any image narrower or lower than 3) is copied.
    // Results are clamped to 0..max and truncated toward zero.

    // 3x3 mean: (sum of the nine samples) / 9. pDst may equal pSrc.
    // 24-bit colour: returns true and writes nothing.
    // Returns true for 8..16 stored bits, false otherwise (nothing written).
    static bool ApplyMean(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                          int nBitsStored, int nWidth, int nHeight);

    // North-south gradient: off + 10 * (row above - row below), each the sum
    // of three samples; a step of 13 grey levels already saturates 8 bits.
    // pDst may equal pSrc. 8-bit: off = 128 / 16-bit: off = (1 << nBitsStored) / 2.
    // 16-bit: the engine's store rule makes taps read shifted rows (see
    // ApplyConvolution16Bits), so the 16-bit result is not the 8-bit formula.
    // 24-bit colour: returns true and writes nothing.
    static bool ApplyGradientNS(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                int nBitsStored, int nWidth, int nHeight);

    // South-west to north-east gradient, kernel (rows 0..2)
    // [0 -10 -10 | 10 0 -10 | 10 10 0], divisor 1, offset as ApplyGradientNS.
    // pDst may equal pSrc. 24-bit colour: returns true and writes nothing.
    static bool ApplyGradientSWNE(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                  int nBitsStored, int nWidth, int nHeight);

    // North-west to south-east gradient, kernel (rows 0..2)
    // [-10 -10 0 | -10 0 10 | 0 10 10], divisor 1, offset as ApplyGradientNS.
    // pDst may equal pSrc. 24-bit colour: returns true and writes nothing.
    static bool ApplyGradientNWSE(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                  int nBitsStored, int nWidth, int nHeight);

    // 3x3 Gaussian of fSigma (whatever the sigma), divided by the kernel's own
    // sum. pDst may equal pSrc. 24-bit colour: writes nothing.
    // Returns false for a bad depth or when the kernel cannot be allocated.
    static bool ApplyGauss(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                           int nBitsStored, int nWidth, int nHeight, float fSigma);

    // Difference of Gaussians: H = max(0, src - G(fSigma1) src), then
    // (int)(fGain * G(fSigma2) H - G(fSigma3) H) per sample; negative values
    // give 0 and there is no upper clamp: values above 255 (65535) keep their
    // low 8 (16) bits. pDst may equal pSrc.
    // 24-bit colour: the blurs are skipped; the result is all zeros.
    // Returns false for a bad depth or when scratch memory is not available
    // (pDst is then not written).
    static bool ApplyDOG(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                         int nBitsStored, int nWidth, int nHeight, float fSigma1, float fGain,
                         float fSigma2, float fSigma3);

    // ---- Breast segmentation ----

    // Side of the breast from eight probes of row (int)(nHeight * fRowFraction)
    // at columns (k * nWidth) / 8 - 1: 1 when more probes of the right half
    // than of the left are brighter than the background level, 0 for the
    // reverse, -1 when equal or refused (bad depth, 24-bit colour).
    // 8-bit: level 25 / 16-bit: level (1 << nBitsStored) / 10, both strict.
    // fRowFraction must lie in [0, 1). Probes outside the buffer are not bright.
    static int IsOnTheRightOrLeftSideOfTheImage(unsigned char* pSrc, int nBitsPerPixel,
                                                int nBitsStored, int nWidth, int nHeight,
                                                float fRowFraction);

    // Binary mask of the breast (full scale inside, 0 outside) built from the
    // breast edge of each row of a thresholded, smoothed, diagonally
    // differentiated copy, then cleaned below 9/10 of the height, eroded
    // twice with a line and patched upward from the widest row.
    // pDst must differ from pSrc. dPixelSize in mm (> 0).
    // When no probe row decides the side, pDst is filled and true returned:
    // 8-bit: 255 / 16-bit: 1 << nBitsStored (0 at 16 bits).
    // 8-bit: bBreastOnRight is only read / 16-bit: set to true when the probe
    // says right (never set to false), and the top corner away from the
    // breast is cleared. False for bad depths, 24-bit colour, no memory.
    static bool CreateMaskOfBreast(unsigned char* pSrc, unsigned char* pDst, int nBitsPerPixel,
                                   int nBitsStored, int nWidth, int nHeight, bool& bBreastOnRight,
                                   double dPixelSize);

    // Clears the pectoral muscle from a breast mask in place: the image is
    // stretched and thresholded at a level from the reference pixel at row
    // nHeight - nHeight / 10, opened, and the muscle run from the chest-wall
    // edge is cleared from the mask row by row toward row 0 while it stays at
    // least 3 mm wide. False (mask untouched) when the reference pixel is
    // darker than a third of the range, for bad depths, 24-bit colour, no memory.
    // 8-bit: the opening used reports false after success, so the 8-bit
    // removal returns false with the mask untouched (intended).
    static bool RemovePectoralMuscleFromMask(unsigned char* pSrc, unsigned char* pMask,
                                             int nBitsPerPixel, int nBitsStored, int nWidth,
                                             int nHeight, bool bBreastOnRight, double dPixelSize);

private:
    CDipFilters();
    ~CDipFilters();

    // ----- Convolution engine and Gaussian kernel -----
    // Square-kernel convolution of a one-channel image; pDst may equal pSrc.
    // Sample (y, x) gets sum(pKernel[(dy+h)*n + dx+h] * src(y - dy, x + dx))
    // / fDivisor + nOffset, clamped to 0..255 and truncated; the frame of
    // h = n / 2 samples is copied. fDivisor 0 means 1. An nKernelSize below 3
    // or even writes nothing; images without interior samples are copied.
    static void ApplyConvolution8BitsGreyLevel(unsigned char* pDst, const float* pKernel,
                                               int nKernelSize, float fDivisor, int nOffset,
                                               const unsigned char* pSrc, int nWidth, int nHeight);
    // As the 8-bit engine with the clamp (1 << nBitsStored) - 1, but its row
    // store advances differently, so several taps read other rows than the
    // formula says (documented in filters/convolution.h).
    static void ApplyConvolution16Bits(unsigned short* pDst, const float* pKernel, int nKernelSize,
                                       float fDivisor, int nOffset, const unsigned short* pSrc,
                                       int nBitsStored, int nWidth, int nHeight);
    // Colour convolution: does nothing.
    static void ApplyConvolution8BitsColor();
    // New nKernelSize^2 kernel of exp(-(i*i + j*j) / (2 s^2)) / (2 pi s^2),
    // not normalised; fSum receives the float sum of the weights. Null when
    // the allocation fails (fSum untouched). Release with delete[].
    static float* CreateGaussianFilter(int nKernelSize, float fSigma, float& fSum);

    // ----- Per-depth variants of the kernel filters -----
    static bool ApplyMean8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels, int nWidth,
                               int nHeight);
    static bool ApplyMean16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                int nWidth, int nHeight);
    static void ApplyGradientNS8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                     int nWidth, int nHeight);
    static void ApplyGradientNS16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                      int nWidth, int nHeight);
    static void ApplyGradientSWNE8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                       int nWidth, int nHeight);
    static void ApplyGradientSWNE16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                        int nWidth, int nHeight);
    static void ApplyGradientNWSE8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                       int nWidth, int nHeight);
    static void ApplyGradientNWSE16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                        int nWidth, int nHeight);
    static bool ApplyGauss8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels, int nWidth,
                                int nHeight, float fSigma);
    static bool ApplyGauss16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                                 int nWidth, int nHeight, float fSigma);
    static bool ApplyDOG8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels, int nWidth,
                              int nHeight, float fSigma1, float fGain, float fSigma2,
                              float fSigma3);
    static bool ApplyDOG16Bits(unsigned short* pSrc, unsigned short* pDst, int nBitsStored,
                               int nWidth, int nHeight, float fSigma1, float fGain, float fSigma2,
                               float fSigma3);
    // pDst = max(0, A - B) per sample; false (nothing written) when the
    // dimensions differ. pDst may equal either source.
    static bool CreateDifferenceBetweenImages8Bits(const unsigned char* pSrcA,
                                                   const unsigned char* pSrcB, unsigned char* pDst,
                                                   int nWidthA, int nHeightA, int nChannelsA,
                                                   int nWidthB, int nHeightB, int nChannelsB);
    static bool CreateDifferenceBetweenImages16Bits(const unsigned short* pSrcA,
                                                    const unsigned short* pSrcB,
                                                    unsigned short* pDst, int nWidthA, int nHeightA,
                                                    int nWidthB, int nHeightB);

    // ----- Breast segmentation variants -----
    static int IsOnTheRightOrLeftSideOfTheImage8Bits(unsigned char* pSrc, int nChannels, int nWidth,
                                                     int nHeight, float fRowFraction);
    static int IsOnTheRightOrLeftSideOfTheImage16Bits(unsigned short* pSrc, int nBitsStored,
                                                      int nWidth, int nHeight, float fRowFraction);
    static bool CreateMaskOfBreast8Bits(unsigned char* pSrc, unsigned char* pDst, int nChannels,
                                        int nWidth, int nHeight, bool& bBreastOnRight,
                                        double dPixelSize);
    static bool CreateMaskOfBreast16Bits(unsigned short* pSrc, unsigned short* pDst,
                                         int nBitsStored, int nWidth, int nHeight,
                                         bool& bBreastOnRight, double dPixelSize);
    static bool RemovePectoralMuscleFromMask8Bits(unsigned char* pSrc, unsigned char* pMask,
                                                  int nChannels, int nWidth, int nHeight,
                                                  bool bBreastOnRight, double dPixelSize);
    static bool RemovePectoralMuscleFromMask16Bits(unsigned short* pSrc, unsigned short* pMask,
                                                   int nBitsStored, int nWidth, int nHeight,
                                                   bool bBreastOnRight, double dPixelSize);
};

#endif  // ZETDIP_DIPFILTERS_H
