// The road of one mammogram through ZetDIP, as a host drives it: breast
// mask, pectoral muscle removal, line searches, candidate pixels from the
// finest wavelet detail level, false-positive removal with the lines as
// exclusion image, clustering. 16-bit images (9..16 bits stored), in the
// library's orientation (chest-wall end of the view at the high rows).
#ifndef ZETDIP_HOST_CHAIN_DETECTION_CHAIN_H
#define ZETDIP_HOST_CHAIN_DETECTION_CHAIN_H

#include <string>
#include <vector>

namespace zetdip::host {

struct Circle {
    int x, y;        // centre as stored: column, nHeight - row
    int rimX, rimY;  // rim point, same frame
    double dRadius;  // pixels
};

struct ChainResult {
    std::string failedStep;  // empty when every step returned what it should
    bool bBreastOnRight = false;
    bool bPectoralRemoved = false;  // the removal reports false when it finds no muscle
    int nGateLevel = 0;             // smoothed-gradient level seen by the north-south search
    bool bNorthSouthRan = false;    // false: the level lay outside the search's gate
    long long nMaskPixels = 0, nPectoralPixels = 0, nLinePixels = 0;
    long long nCandidates = 0, nKept = 0;
    std::vector<unsigned short> mask, lines, candidates, kept;
    std::vector<Circle> circles;
};

// Runs the chain on image (nWidth x nHeight words, nBitsStored significant
// bits, dPixelSize mm). bBreastOnRight is the caller's guess, corrected by
// the breast mask when its probe says right.
ChainResult RunDetectionChain(std::vector<unsigned short>& image, int nWidth, int nHeight,
                              int nBitsStored, double dPixelSize, bool bBreastOnRight);

// The level of the north-south line search's gate: CalculateThresholding1
// of the three times smoothed north-south gradient with its frame cleared.
int NorthSouthGateLevel(std::vector<unsigned short>& image, int nWidth, int nHeight,
                        int nBitsStored);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CHAIN_DETECTION_CHAIN_H
