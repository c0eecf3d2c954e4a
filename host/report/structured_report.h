// The CAD result as the reading room takes it: a DICOM Mammography CAD
// Structured Report that references the image it was computed on and carries
// one calcification-cluster finding per cluster, outlined by its circle.
#ifndef ZETDIP_HOST_REPORT_STRUCTURED_REPORT_H
#define ZETDIP_HOST_REPORT_STRUCTURED_REPORT_H

#include <string>
#include <vector>

namespace zetdip::host {

// One cluster in the source image's own pixel frame: x the column and y the
// row of the centre pixel, counted from the file's top-left pixel; radius in
// pixels. members: how many calcifications it groups (0: not known).
struct SrCluster {
    double x = 0.0;
    double y = 0.0;
    double radius = 0.0;
    int members = 0;
};

struct SrAlgorithm {
    std::string name;
    std::string version;
};

// Writes a Mammography CAD SR to outPath (through "<outPath>.tmp" and a
// rename). Patient and study identity are copied from the DICOM file at
// sourceDicomPath, which the report references as its evidence and as its
// only image; the report gets a new series and instance. An empty cluster
// list still makes a complete report ("succeeded, without findings").
// Coordinates are written in the DICOM spatial-coordinate frame, where the
// top-left corner of the first pixel is 0,0: a pixel's centre lies at its
// index + 0.5. Throws Error naming the source or the output.
void WriteMammographyCadSr(const std::string& sourceDicomPath,
                           const std::vector<SrCluster>& clusters, const std::string& outPath,
                           const SrAlgorithm& algorithm);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_REPORT_STRUCTURED_REPORT_H
