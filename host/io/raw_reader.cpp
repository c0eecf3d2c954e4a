// Headerless 16-bit little-endian samples: nothing but the size given on
// the command line describes them, so the file size must match it exactly.
#include <cerrno>
#include <cstdio>
#include <memory>

#include "io/io_common.h"

namespace zetdip::host::io {

Image ReadRaw16(const std::string& path, const ReadOptions& options) {
    const long long nWidth = *options.rawWidth;
    const long long nHeight = *options.rawHeight;
    CheckDimensions(path, nWidth, nHeight);
    const std::size_t nSize = CheckInputFile(path);
    const std::size_t nCount = static_cast<std::size_t>(nWidth * nHeight);
    if (nSize != 2 * nCount)
        throw Error(path, "file size " + std::to_string(nSize) + " bytes does not match " +
                              std::to_string(nWidth) + " x " + std::to_string(nHeight) +
                              " 16-bit samples (" + std::to_string(2 * nCount) + " bytes)");

    Image image;
    image.path = path;
    image.format = "raw";
    image.photometric = "MONOCHROME2";
    image.nWidth = static_cast<int>(nWidth);
    image.nHeight = static_cast<int>(nHeight);
    const std::vector<unsigned char> file = ReadWholeFile(path);
    if (file.size() != 2 * nCount) throw Error(path, "file changed while reading");
    image.words.resize(nCount);
    for (std::size_t i = 0; i < nCount; ++i)
        image.words[i] = static_cast<unsigned short>(file[2 * i] | (file[2 * i + 1] << 8));
    SetBitsStored16(image, options);
    SetPixelSizeFromOptions(image, options);
    return image;
}

}  // namespace zetdip::host::io
