// Helpers shared by the readers and writers of host/io; not part of the
// host layer's interface.
#ifndef ZETDIP_HOST_IO_IO_COMMON_H
#define ZETDIP_HOST_IO_IO_COMMON_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "core/error.h"
#include "core/image.h"
#include "io/read_image.h"

namespace zetdip::host::io {

// No reader allocates more samples than this (a 16-bit image of this size
// is 512 MiB); a header that claims more is refused before any allocation.
constexpr std::size_t kMaxPixels = std::size_t{1} << 28;

// strerror(errno) as a string.
std::string ErrnoText(int nErrno);

// Throws unless path names an existing, non-empty regular file that can be
// opened for reading. Returns its size in bytes.
std::size_t CheckInputFile(const std::string& path);

// The whole file, after CheckInputFile.
std::vector<unsigned char> ReadWholeFile(const std::string& path);

// Throws unless 0 < width, 0 < height and width * height <= kMaxPixels.
void CheckDimensions(const std::string& path, long long nWidth, long long nHeight);

// Number of bits needed to write v (0 for 0).
int BitLength(unsigned v);

// Sets nBitsStored of a 16-bit image read from a file that does not say it:
// options.bitsStored when given (a sample above its maximum is an error,
// since clamping would hide a wrong option), otherwise the bit length of the
// largest sample, at least 9. nDeclaredMax, when positive, is a maximum the
// file itself declares (the PGM maxval) and takes the place of the largest
// sample.
void SetBitsStored16(Image& image, const ReadOptions& options, unsigned nDeclaredMax = 0);

// An 8-bit file is an 8-bit image; a --bits option cannot apply to it.
void SetBitsStored8(Image& image, const ReadOptions& options);

// Files without a pixel size take it from options.pixelSize or fail.
void SetPixelSizeFromOptions(Image& image, const ReadOptions& options);

// Writes a file through "<path>.tmp": write(tmpPath) creates the temporary
// file (throwing Error on failure), then it is renamed to path. The
// temporary file is removed whenever anything fails.
void WriteThroughTemporary(const std::string& path,
                           const std::function<void(const std::string&)>& write);

// The readers of each format; ReadImage chooses among them.
Image ReadPng(const std::string& path, const std::vector<unsigned char>& file,
              const ReadOptions& options);
Image ReadPgm(const std::string& path, const std::vector<unsigned char>& file,
              const ReadOptions& options);
Image ReadTiff(const std::string& path, const ReadOptions& options);
Image ReadRaw16(const std::string& path, const ReadOptions& options);
Image ReadDicom(const std::string& path, const ReadOptions& options);

}  // namespace zetdip::host::io

#endif  // ZETDIP_HOST_IO_IO_COMMON_H
