// Pictures of a result for a person to look at: the mammogram in the file's
// own orientation, windowed on the breast, with the breast outline (the
// pectoral line included) and the cluster circles drawn on it; and the
// chain's binary step images at the same scale.
#ifndef ZETDIP_HOST_REPORT_OVERLAY_H
#define ZETDIP_HOST_REPORT_OVERLAY_H

#include <vector>

#include "chain/detection_chain.h"
#include "core/image.h"

namespace zetdip::host {

struct Picture {
    int nWidth = 0;
    int nHeight = 0;
    int nChannels = 1;  // 1 grey or 3 RGB, 8 bits each, interleaved
    std::vector<unsigned char> pixels;
};

// The integer factor by which pictures of an image of nHeight rows are
// shrunk so that they have at most nMaxRows rows; 1 when fullSize.
int PictureScale(int nHeight, bool fullSize, int nMaxRows = 2048);

// The overlay, shrunk by scale (each picture pixel the mean of a scale x
// scale block); a file pixel (x, y) lies at ((x + 0.5) / scale - 0.5, ...).
Picture RenderOverlay(const Image& image, const DetectionResult& result, int scale);

// A file-sized binary image, shrunk by scale keeping every set pixel.
Picture RenderBinary(const std::vector<unsigned char>& binary, int nWidth, int nHeight, int scale);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_REPORT_OVERLAY_H
