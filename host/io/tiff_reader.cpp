// libtiff, wrapped once: 8- and 16-bit grey images, stripped or tiled, any
// compression libtiff decodes. Its messages are caught per file through the
// open options and become the cause of an Error; nothing is printed.
#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "io/io_common.h"

namespace zetdip::host::io {

namespace {

struct TiffMessages {
    std::string lastError;
};

extern "C" int TiffOnError(TIFF*, void* pUser, const char* pszModule, const char* pszFormat,
                           va_list args) {
    auto* pMessages = static_cast<TiffMessages*>(pUser);
    char text[256];
    std::vsnprintf(text, sizeof text, pszFormat, args);
    pMessages->lastError = std::string(pszModule ? pszModule : "libtiff") + ": " + text;
    return 1;
}

extern "C" int TiffOnWarning(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

struct OptionsDeleter {
    void operator()(TIFFOpenOptions* p) const { TIFFOpenOptionsFree(p); }
};
struct TiffDeleter {
    void operator()(TIFF* p) const { TIFFClose(p); }
};

// An open TIFF file whose libtiff messages land in messages.
class TiffFile {
public:
    TiffFile(const std::string& path, TiffMessages& messages) : path_(path), messages_(messages) {
        std::unique_ptr<TIFFOpenOptions, OptionsDeleter> options(TIFFOpenOptionsAlloc());
        if (!options) throw std::bad_alloc();
        TIFFOpenOptionsSetErrorHandlerExtR(options.get(), TiffOnError, &messages);
        TIFFOpenOptionsSetWarningHandlerExtR(options.get(), TiffOnWarning, &messages);
        // No single allocation beyond what the largest accepted image needs.
        TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(),
                                            static_cast<tmsize_t>(2 * kMaxPixels + 65536));
        tiff_.reset(TIFFOpenExt(path.c_str(), "r", options.get()));
        if (!tiff_) Fail("not a readable TIFF file");
    }

    TIFF* get() const { return tiff_.get(); }

    [[noreturn]] void Fail(const std::string& what) const {
        throw Error(path_,
                    messages_.lastError.empty() ? what : what + " (" + messages_.lastError + ")");
    }

private:
    const std::string& path_;
    TiffMessages& messages_;
    std::unique_ptr<TIFF, TiffDeleter> tiff_;
};

template <class T>
void CopyRows(T* pDst, const unsigned char* pSrc, std::size_t nCount) {
    std::memcpy(pDst, pSrc, nCount * sizeof(T));
}

}  // namespace

Image ReadTiff(const std::string& path, const ReadOptions& options) {
    CheckInputFile(path);
    TiffMessages messages;
    TiffFile file(path, messages);
    TIFF* tif = file.get();

    std::uint32_t nWidth = 0, nHeight = 0;
    std::uint16_t nBits = 1, nSamples = 1, nPhotometric = PHOTOMETRIC_MINISBLACK,
                  nFormat = SAMPLEFORMAT_UINT;
    if (!TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &nWidth) ||
        !TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &nHeight))
        file.Fail("TIFF without an image size");
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &nBits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &nSamples);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &nFormat);
    if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &nPhotometric))
        nPhotometric = PHOTOMETRIC_MINISBLACK;

    if (nSamples != 1 ||
        (nPhotometric != PHOTOMETRIC_MINISBLACK && nPhotometric != PHOTOMETRIC_MINISWHITE))
        throw Error(path, "colour or alpha TIFF (" + std::to_string(nSamples) +
                              " samples per pixel, photometric " + std::to_string(nPhotometric) +
                              "); grey images only");
    if (nBits != 8 && nBits != 16)
        throw Error(path, std::to_string(nBits) + "-bit TIFF; 8 and 16 bits only");
    if (nFormat != SAMPLEFORMAT_UINT) throw Error(path, "TIFF samples are not unsigned integers");
    CheckDimensions(path, nWidth, nHeight);

    Image image;
    image.path = path;
    image.format = "TIFF";
    image.photometric = "MONOCHROME2";
    image.nWidth = static_cast<int>(nWidth);
    image.nHeight = static_cast<int>(nHeight);
    const bool b16 = nBits == 16;
    if (b16)
        image.words.resize(image.PixelCount());
    else
        image.bytes.resize(image.PixelCount());
    // Not image.Data(): bits stored are decided after reading.
    unsigned char* pBase =
        b16 ? reinterpret_cast<unsigned char*>(image.words.data()) : image.bytes.data();
    const std::size_t nBytesPerSample = b16 ? 2 : 1;

    if (TIFFIsTiled(tif)) {
        std::uint32_t nTileWidth = 0, nTileHeight = 0;
        TIFFGetField(tif, TIFFTAG_TILEWIDTH, &nTileWidth);
        TIFFGetField(tif, TIFFTAG_TILELENGTH, &nTileHeight);
        const tmsize_t nTileSize = TIFFTileSize(tif);
        if (nTileWidth == 0 || nTileHeight == 0 || nTileSize <= 0 ||
            static_cast<std::uint64_t>(nTileSize) <
                std::uint64_t{nTileWidth} * nTileHeight * nBytesPerSample)
            file.Fail("TIFF with an invalid tile size");
        std::vector<unsigned char> tile(static_cast<std::size_t>(nTileSize));
        for (std::uint32_t ty = 0; ty < nHeight; ty += nTileHeight) {
            for (std::uint32_t tx = 0; tx < nWidth; tx += nTileWidth) {
                if (TIFFReadTile(tif, tile.data(), tx, ty, 0, 0) < 0)
                    file.Fail("TIFF tile cannot be read");
                const std::uint32_t nRows = std::min(nTileHeight, nHeight - ty);
                const std::uint32_t nColumns = std::min(nTileWidth, nWidth - tx);
                for (std::uint32_t r = 0; r < nRows; ++r)
                    std::memcpy(pBase + ((std::size_t{ty} + r) * nWidth + tx) * nBytesPerSample,
                                tile.data() + std::size_t{r} * nTileWidth * nBytesPerSample,
                                nColumns * nBytesPerSample);
            }
        }
    } else {
        const tmsize_t nLine = TIFFScanlineSize(tif);
        if (nLine <= 0 || static_cast<std::size_t>(nLine) < nWidth * nBytesPerSample)
            file.Fail("TIFF with an invalid row size");
        std::vector<unsigned char> row(static_cast<std::size_t>(nLine));
        for (std::uint32_t y = 0; y < nHeight; ++y) {
            if (TIFFReadScanline(tif, row.data(), y, 0) < 0)
                file.Fail("TIFF row " + std::to_string(y) + " cannot be read");
            std::memcpy(pBase + std::size_t{y} * nWidth * nBytesPerSample, row.data(),
                        nWidth * nBytesPerSample);
        }
    }

    if (nPhotometric == PHOTOMETRIC_MINISWHITE) {
        if (b16)
            for (unsigned short& w : image.words) w = static_cast<unsigned short>(65535 - w);
        else
            for (unsigned char& b : image.bytes) b = static_cast<unsigned char>(255 - b);
        image.notes.push_back(std::string("min-is-white TIFF inverted (") +
                              (b16 ? "65535" : "255") + " - v)");
    }
    const int nPages = TIFFNumberOfDirectories(tif);
    if (nPages > 1)
        image.notes.push_back("first of " + std::to_string(nPages) + " TIFF pages read");
    if (b16)
        SetBitsStored16(image, options);
    else
        SetBitsStored8(image, options);
    SetPixelSizeFromOptions(image, options);
    return image;
}

}  // namespace zetdip::host::io
