// Realistic microcalcification clusters and film artefacts, inserted into
// any 16-bit mammogram (the synthetic one or a real image) with their
// truth, to measure how the detection chain's rate falls with contrast.
//
// A member is a small compact spot of 0.1 to 0.6 mm, slightly elongated,
// drawn with sub-pixel accuracy; it raises the image by a fraction (the
// contrast) of the local signal at its centre, falling off like the
// thickness of a small ellipsoid. A cluster holds 5 to 30 members spread
// over 3 to 15 mm. Film artefacts: bright labels with letter strokes in
// the background, round markers, scanner streaks along whole columns and
// grain noise that grows with the signal.
#ifndef ZETDIP_HOST_PHANTOM_CALCIFICATIONS_H
#define ZETDIP_HOST_PHANTOM_CALCIFICATIONS_H

#include <cstdint>
#include <vector>

#include "phantom.h"

namespace zetdip::phantom {

struct ClusterOptions {
    double dPixelSize = 0.1;  // mm per pixel
    int nBitsStored = 12;
    int nClusters = 3;
    double dContrast = 0.05;  // peak rise of a member as a fraction of the local signal
    int nMinMembers = 5, nMaxMembers = 30;
    double dMinSizeMm = 0.1, dMaxSizeMm = 0.6;       // member diameter
    double dMinSpreadMm = 3.0, dMaxSpreadMm = 15.0;  // cluster diameter
    std::uint32_t nSeed = 1;
};

struct InsertedCluster {
    Point centre;                // mean of the members, pixels
    double dRadius = 0.0;        // encloses every member, pixels
    std::vector<Point> members;  // spot centres
};

// Inserts clusters into image (nWidth x nHeight words) where pArea is
// non-zero: every member lies at least 3 mm inside the area, clusters do not
// overlap. Fewer clusters than asked when the area has no room.
std::vector<InsertedCluster> InsertClusters(std::vector<unsigned short>& image,
                                            const std::vector<unsigned short>& area, int nWidth,
                                            int nHeight, const ClusterOptions& options);

struct FilmOptions {
    double dPixelSize = 0.1;
    int nBitsStored = 12;
    double dGrain = 0.01;  // grain noise sigma as a fraction of the signal
    int nStreaks = 4;      // scanner streaks
    bool bLabel = true;    // a bright label with letters, in the background
    bool bMarkers = true;  // a bright and a dark round marker, in the background
    std::uint32_t nSeed = 1;
};

// Adds film artefacts; labels and markers go only where pArea is zero (the
// background), at least 5 mm from it.
void AddFilmArtefacts(std::vector<unsigned short>& image, const std::vector<unsigned short>& area,
                      int nWidth, int nHeight, const FilmOptions& options);

}  // namespace zetdip::phantom

#endif  // ZETDIP_HOST_PHANTOM_CALCIFICATIONS_H
