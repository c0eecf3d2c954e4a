// Scoring the detection chain against known clusters: which marks find a
// cluster, which are false, and the FROC points (fraction of clusters found
// against false marks per image) over a range of operating points.
#ifndef ZETDIP_HOST_REPORT_EVALUATION_H
#define ZETDIP_HOST_REPORT_EVALUATION_H

#include <string>
#include <vector>

namespace zetdip::host {

// One known cluster, in the file's own frame (column, row from the top-left).
struct TruthCluster {
    std::string image;                       // reference name without extension, e.g. "mdb219"
    double x = 0.0, y = 0.0, dRadius = 0.0;  // pixels
};

// Rows of a truth CSV with the columns refnum, x, y_top_origin and
// radius_px (any order, more columns allowed). Throws Error on a file that
// cannot be read or lacks a column.
std::vector<TruthCluster> ReadTruthCsv(const std::string& path);

// One image name per line (extension kept as written); blank lines skipped.
std::vector<std::string> ReadNameList(const std::string& path);

// A mark of the chain: a circle's centre in the file's frame.
struct Mark {
    double x = 0.0, y = 0.0, dRadius = 0.0;
};

struct ImageScore {
    int nClusters = 0;  // known clusters in the image
    int nFound = 0;     // of them, with a mark's centre inside their circle
    int nFalse = 0;     // marks whose centre lies in no known cluster's circle
};

// A mark finds a cluster when its centre lies inside the cluster's circle
// (distance at most the radius).
ImageScore ScoreImage(const std::vector<Mark>& marks, const std::vector<TruthCluster>& truth);

struct FrocPoint {
    double dThreshold = 0.0;
    int nImages = 0, nClusters = 0, nFound = 0, nFalse = 0;
    double Sensitivity() const { return nClusters > 0 ? double(nFound) / nClusters : 0.0; }
    double FalsePerImage() const { return nImages > 0 ? double(nFalse) / nImages : 0.0; }
};

// A small SVG picture of one or more FROC curves (sensitivity against false
// clusters per image), each with its label; written through a temporary
// name. Throws Error when it cannot be written.
void WriteFrocSvg(const std::string& path, const std::vector<std::string>& labels,
                  const std::vector<std::vector<FrocPoint>>& curves, double dMaxFalse);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_REPORT_EVALUATION_H
