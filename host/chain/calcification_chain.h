// The microcalcification chain on plain buffers: prepare an image in the
// file's frame for the library (crop, orientation, mask, pectoral muscle),
// then, per operating point of the candidate step, the library's
// false-positive removal and clustering, with every circle mapped back to
// the file's frame.
#ifndef ZETDIP_HOST_CHAIN_CALCIFICATION_CHAIN_H
#define ZETDIP_HOST_CHAIN_CALCIFICATION_CHAIN_H

#include <optional>
#include <string>
#include <vector>

#include "calcification_candidates.h"
#include "preparation.h"

namespace zetdip::host {

struct PreparedImage {
    // Working image: cropped, rows flipped when the chest-wall end was at
    // row 0, so that it lies at the high rows as the library expects.
    std::vector<unsigned short> image;
    std::vector<unsigned short> mask;
    int nWidth = 0, nHeight = 0, nBitsStored = 0;
    double dPixelSize = 0.0;
    Rect crop;              // of the file's frame
    bool bFlipped = false;  // rows reversed after the crop
    bool bBreastOnRight = false;
    int nBackground = 0;
    long long nMaskPixels = 0, nPectoralPixels = 0;
    bool bPectoralFallback = false;
    std::vector<std::string> warnings;
};

struct OrientationHints {
    std::optional<bool> bChestWallAtTop;  // from tags; the image decides when empty
    bool bMlo = true;                     // a pectoral muscle is expected
};

// pImage: nWidth x nHeight words of nBitsStored (9..16) bits, rows as the
// file stores them.
PreparedImage PrepareImage(const unsigned short* pImage, int nWidth, int nHeight, int nBitsStored,
                           double dPixelSize, const OrientationHints& hints);

struct ClusterMark {
    double x = 0.0, y = 0.0;  // centre, file frame (column, row from the top)
    double dRadius = 0.0;     // pixels
};

struct ThresholdResult {
    CandidateCounts counts;
    long long nKept = 0;  // candidate pixels after the false-positive removal
    std::vector<ClusterMark> marks;
};

// Candidates at dThreshold noise multiples, false-positive removal,
// clustering; the marks in the file's frame.
ThresholdResult MarkClusters(const PreparedImage& prepared, const CandidateResponse& response,
                             double dThreshold);

// Where a working-image pixel (column, row) lies in the file's frame.
void WorkingToFile(const PreparedImage& prepared, double x, double y, double& fileX, double& fileY);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CHAIN_CALCIFICATION_CHAIN_H
