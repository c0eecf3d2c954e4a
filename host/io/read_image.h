// Reading a mammogram from a file: DICOM (through GDCM), PNG, PGM, TIFF and
// headerless raw 16-bit little-endian. The format is told by the file's
// content, not by its name, except raw, which has no signature and is
// chosen by giving its size.
#ifndef ZETDIP_HOST_IO_READ_IMAGE_H
#define ZETDIP_HOST_IO_READ_IMAGE_H

#include <optional>
#include <string>

#include "core/image.h"

namespace zetdip::host {

struct ReadOptions {
    std::optional<double> pixelSize;  // mm; overrides what the file says
    std::optional<int> bitsStored;    // 9..16 for 16-bit files without that fact
    std::optional<int> rawWidth;      // both given: the file is raw 16-bit LE
    std::optional<int> rawHeight;
};

// Reads and describes the whole image, or throws Error naming the file and
// the cause. Never returns a half-described image: a file without a pixel
// size and no ReadOptions::pixelSize is an error.
Image ReadImage(const std::string& path, const ReadOptions& options);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_IO_READ_IMAGE_H
