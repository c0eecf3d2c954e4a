// Writing pictures and files without ever leaving a partial one behind.
#ifndef ZETDIP_HOST_IO_WRITE_IMAGE_H
#define ZETDIP_HOST_IO_WRITE_IMAGE_H

#include <string>

#include "core/image.h"

namespace zetdip::host {

// Writes contents to path through "<path>.tmp" and a rename; throws Error.
void WriteFileAtomically(const std::string& path, const std::string& contents);

// PNG writers (8-bit grey, 8-bit RGB interleaved, 16-bit grey), atomic.
void WritePngGrey8(const std::string& path, const unsigned char* pixels, int nWidth, int nHeight);
void WritePngRgb8(const std::string& path, const unsigned char* rgb, int nWidth, int nHeight);
void WritePngGrey16(const std::string& path, const unsigned short* pixels, int nWidth, int nHeight);

// A single-frame MG DICOM file of the image (uncompressed, or with the given
// transfer syntax UID when GDCM can encode it), carrying its pixel spacing,
// laterality and view; used for fixtures, demos and the synthetic mammogram.
void WriteDicom(const std::string& path, const Image& image,
                const std::string& transferSyntaxUid = "");

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_IO_WRITE_IMAGE_H
