// The road of one mammogram through ZetDIP, as a host drives it: breast
// mask, pectoral muscle removal, line searches, candidate pixels, false-
// positive removal with the lines as exclusion image, clustering.
//
// Detect takes the image as the file stores it. It makes a working copy in
// the library's orientation (zero padding cropped, rows reversed when the
// chest-wall end of the view is at the top), runs the steps on it and maps
// every coordinate and step image back to the file's pixel frame (column,
// row from the file's top-left).
#ifndef ZETDIP_HOST_CHAIN_DETECTION_CHAIN_H
#define ZETDIP_HOST_CHAIN_DETECTION_CHAIN_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "candidates.h"
#include "core/image.h"
#include "frame.h"

namespace zetdip::host {

// The side of the image the breast touches.
enum class Side { Left, Right };
inline const char* ToString(Side s) {
    return s == Side::Left ? "left" : "right";
}

struct DetectOptions {
    // Given by the user (source: the option's name): wins over the file's
    // tags and the image.
    std::optional<Fact<Side>> breastSide;
    // Keep the line, candidate and kept-candidate images (file frame).
    bool keepStepImages = false;
    CandidateStep candidates = WaveletCandidates;
};

// What one step returned: a library call's bool or side code, or a host
// step's success; counts of what it produced; its duration.
struct StepReport {
    std::string name;
    bool isBool = true;
    int returned = 0;  // 0/1 for bool steps, the side code otherwise
    std::vector<std::pair<std::string, long long>> counts;
    double ms = 0.0;
};

// A circle that marks a cluster of microcalcifications, in the file frame.
struct Cluster {
    int x = 0;            // column of the centre
    int y = 0;            // row of the centre, from the top
    double radius = 0.0;  // pixels
    double xMm = 0.0, yMm = 0.0, radiusMm = 0.0;
    // Kept candidate blobs whose centroid lies inside the circle: the
    // microcalcifications it holds, as near as the host can tell.
    int members = 0;
};

struct DetectionResult {
    Frame frame;
    int nBitsStored = 0;  // of the working copy (8-bit images are promoted)
    double dPixelSize = 0.0;
    Fact<Side> breastSide;  // as the chain processed it
    Fact<bool> flipRows;    // = frame.flipRows, with where the decision came from
    std::vector<StepReport> steps;
    std::string failedStep;  // empty when the chain ran to its end
    std::vector<Cluster> clusters;
    std::vector<std::string> warnings;  // every fallback and doubt
    // File-sized, 0 or 255: the breast mask after the pectoral muscle was
    // removed, always; the others when DetectOptions::keepStepImages.
    std::vector<unsigned char> mask, lines, candidates, kept;

    bool Ok() const { return failedStep.empty(); }
};

// Runs the chain. Throws Error only for an image it cannot take (no pixel
// size, a bit depth outside 8..16, too small); a library step returning
// false ends the chain with failedStep set and the result so far.
DetectionResult Detect(const Image& image, const DetectOptions& options);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CHAIN_DETECTION_CHAIN_H
