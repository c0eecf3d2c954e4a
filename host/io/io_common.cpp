#include "io/io_common.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

namespace zetdip::host::io {

namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

}  // namespace

std::string ErrnoText(int nErrno) {
    return std::strerror(nErrno);
}

std::size_t CheckInputFile(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) throw Error(path, ErrnoText(errno));
    if (S_ISDIR(st.st_mode)) throw Error(path, "is a directory, not an image file");
    if (!S_ISREG(st.st_mode)) throw Error(path, "not a regular file");
    if (st.st_size == 0) throw Error(path, "empty file");
    FilePtr f(std::fopen(path.c_str(), "rb"));
    if (!f) throw Error(path, ErrnoText(errno));
    return static_cast<std::size_t>(st.st_size);
}

std::vector<unsigned char> ReadWholeFile(const std::string& path) {
    const std::size_t nSize = CheckInputFile(path);
    FilePtr f(std::fopen(path.c_str(), "rb"));
    if (!f) throw Error(path, ErrnoText(errno));
    std::vector<unsigned char> bytes(nSize);
    const std::size_t nRead = std::fread(bytes.data(), 1, nSize, f.get());
    if (nRead != nSize) {
        const int nErr = errno;
        throw Error(path, std::ferror(f.get()) ? ErrnoText(nErr) : "file shrank while reading");
    }
    return bytes;
}

void CheckDimensions(const std::string& path, long long nWidth, long long nHeight) {
    if (nWidth <= 0 || nHeight <= 0)
        throw Error(path, "image size " + std::to_string(nWidth) + " x " + std::to_string(nHeight) +
                              " is empty");
    if (nWidth > static_cast<long long>(kMaxPixels) ||
        nHeight > static_cast<long long>(kMaxPixels) ||
        static_cast<unsigned long long>(nWidth) * static_cast<unsigned long long>(nHeight) >
            kMaxPixels)
        throw Error(path, "image size " + std::to_string(nWidth) + " x " + std::to_string(nHeight) +
                              " exceeds " + std::to_string(kMaxPixels) + " pixels");
}

int BitLength(unsigned v) {
    int n = 0;
    while (v != 0) {
        ++n;
        v >>= 1;
    }
    return n;
}

void SetBitsStored16(Image& image, const ReadOptions& options, unsigned nDeclaredMax) {
    unsigned nMax = 0;
    for (unsigned short w : image.words) nMax = std::max<unsigned>(nMax, w);
    if (options.bitsStored) {
        const int nBits = *options.bitsStored;
        if (nBits < 9 || nBits > 16)
            throw Error(image.path,
                        "--bits " + std::to_string(nBits) + " is outside 9..16 for a 16-bit file");
        const unsigned nLimit = (1u << nBits) - 1u;
        if (nMax > nLimit)
            throw Error(image.path, "sample value " + std::to_string(nMax) + " exceeds " +
                                        std::to_string(nBits) + " bits stored (--bits)");
        image.nBitsStored = nBits;
        image.notes.push_back(std::to_string(nBits) + " bits stored from --bits");
        return;
    }
    const bool bDeclared = nDeclaredMax != 0;
    image.nBitsStored = std::max(9, BitLength(bDeclared ? nDeclaredMax : nMax));
    image.notes.push_back(std::to_string(image.nBitsStored) + " bits stored from the " +
                          (bDeclared ? "declared maximum " + std::to_string(nDeclaredMax)
                                     : "largest sample " + std::to_string(nMax)));
}

void SetBitsStored8(Image& image, const ReadOptions& options) {
    if (options.bitsStored && *options.bitsStored != 8)
        throw Error(image.path, "8-bit file; --bits " + std::to_string(*options.bitsStored) +
                                    " applies to 16-bit files only");
    image.nBitsStored = 8;
}

void SetPixelSizeFromOptions(Image& image, const ReadOptions& options) {
    if (!options.pixelSize) throw Error(image.path, "no pixel size in the file; pass --pixel-size");
    const double d = *options.pixelSize;
    if (!(d > 0.0) || !std::isfinite(d))
        throw Error(image.path, "--pixel-size must be a positive number of millimetres");
    image.rowSpacing = Fact<double>{d, "--pixel-size"};
    image.columnSpacing = Fact<double>{d, "--pixel-size"};
}

void WriteThroughTemporary(const std::string& path,
                           const std::function<void(const std::string&)>& write) {
    const std::string tmp = path + ".tmp";
    try {
        write(tmp);
    } catch (...) {
        std::remove(tmp.c_str());
        throw;
    }
    if (std::rename(tmp.c_str(), path.c_str()) != 0) {
        const int nErr = errno;
        std::remove(tmp.c_str());
        throw Error(path, ErrnoText(nErr));
    }
}

}  // namespace zetdip::host::io
