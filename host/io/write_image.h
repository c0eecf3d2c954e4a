// Writing pictures and files without ever leaving a partial one behind.
#ifndef ZETDIP_HOST_IO_WRITE_IMAGE_H
#define ZETDIP_HOST_IO_WRITE_IMAGE_H

#include <string>
#include <utility>
#include <vector>

#include "core/image.h"

namespace zetdip::host {

// Writes contents to path through "<path>.tmp" and a rename; throws Error.
void WriteFileAtomically(const std::string& path, const std::string& contents);

// PNG writers (8-bit grey, 8-bit RGB interleaved, 16-bit grey), atomic.
void WritePngGrey8(const std::string& path, const unsigned char* pixels, int nWidth, int nHeight);
void WritePngRgb8(const std::string& path, const unsigned char* rgb, int nWidth, int nHeight);
void WritePngGrey16(const std::string& path, const unsigned short* pixels, int nWidth, int nHeight);

// Everything a DICOM file written for a test or a demo may carry, including
// what no valid mammogram has (several frames, colour, a high bit below the
// stored width), so that the reader's refusals can be shown too.
struct DicomFixture {
    int nWidth = 0;
    int nHeight = 0;
    int nFrames = 1;
    int nSamplesPerPixel = 1;
    int nBitsAllocated = 16;
    int nBitsStored = 12;
    int nHighBit = 11;
    int nPixelRepresentation = 0;  // 1: two's complement
    std::string photometric = "MONOCHROME2";
    // The pixel data exactly as the file stores it, every frame and sample:
    // bytes when 8 bits are allocated, 16-bit words otherwise.
    std::vector<unsigned char> bytes;
    std::vector<unsigned short> words;
    std::string transferSyntaxUid;  // empty: explicit VR little endian
    std::string modality = "MG";
    std::string sopClassUid = "1.2.840.10008.5.1.4.1.1.1.2";  // mammography, for presentation
    // Further attributes as keyword and DICOM string value, multiple values
    // separated by a backslash: {"ImagerPixelSpacing", "0.1\\0.1"}. Known
    // keywords: ImagerPixelSpacing, PixelSpacing, NominalScannedPixelSpacing,
    // SpatialResolution, ImageLaterality, Laterality, ViewPosition,
    // PatientOrientation, PresentationIntentType, RescaleSlope,
    // RescaleIntercept, BodyPartExamined, SOPInstanceUID.
    std::vector<std::pair<std::string, std::string>> attributes;
    // One View Code Sequence item when either is set.
    std::string viewCodeValue;
    std::string viewCodeMeaning;
};

// Writes the fixture through GDCM, compressing it when a transfer syntax is
// given; atomic; throws Error when GDCM cannot encode it.
void WriteDicom(const std::string& path, const DicomFixture& fixture);

// A single-frame MG DICOM file of the image (uncompressed, or with the given
// transfer syntax UID when GDCM can encode it), carrying its pixel spacing,
// laterality and view; used for fixtures, demos and the synthetic mammogram.
// The samples are written as they are (MONOCHROME2, unsigned, high bit
// nBitsStored - 1).
void WriteDicom(const std::string& path, const Image& image,
                const std::string& transferSyntaxUid = "");

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_IO_WRITE_IMAGE_H
