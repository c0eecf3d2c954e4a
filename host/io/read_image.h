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
    std::optional<int> bitsStored;    // 9..16 for 16-bit files without that fact (not DICOM)
    std::optional<int> rawWidth;      // both given: the file is raw 16-bit LE
    std::optional<int> rawHeight;
};

// Reads and describes the whole image, or throws Error naming the file and
// the cause. Never returns a half-described image: a file without a pixel
// size and no ReadOptions::pixelSize is an error.
//
// DICOM: one frame of a grey mammogram (modality MG, a mammography SOP
// class, or Body Part Examined BREAST for digitised film), any transfer
// syntax GDCM decodes. Samples are brought into the library's form: stored
// bits moved to the bottom (CDipBasic::AdjustPixels16Bits), signed samples
// offset by 2^(bits stored - 1), Rescale Slope/Intercept applied to the
// signed value, rounded half up and clamped to 0..2^(bits stored) - 1,
// MONOCHROME1 inverted. Pixel size from ImagerPixelSpacing, PixelSpacing,
// NominalScannedPixelSpacing, then SpatialResolution; laterality from
// ImageLaterality, then Laterality; view from ViewPosition, then the View
// Code Sequence. A high bit above bits stored - 1 is read from uncompressed
// files only; one below it is refused. Image::notes says what was done.
//
// PNG, PGM, TIFF, raw: 8-bit files give 8-bit images; 16-bit files take
// their bits stored from ReadOptions::bitsStored (a larger sample is an
// error), else from the PGM maximum value, else from the largest sample,
// never fewer than 9. Colour and alpha are refused; a min-is-white TIFF is
// inverted.
Image ReadImage(const std::string& path, const ReadOptions& options);

// Whether ReadImage takes a DICOM file as a mammogram, told from its header
// alone (the pixel data is not read): nothing when it does, else the
// reason. For walking archives, where most files are something else.
std::optional<std::string> WhyNotAMammogram(const std::string& path);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_IO_READ_IMAGE_H
