// libpng, wrapped once: an owner for the read and write structs, errors
// turned from libpng's longjmp into Error. Only the small functions that
// call setjmp touch libpng in a way that can fail, and they create no
// object with a destructor, so a longjmp never skips one.
#include <png.h>

#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "io/io_common.h"
#include "io/write_image.h"

namespace zetdip::host {

namespace {

struct PngMessage {
    char text[200] = "";
};

extern "C" void PngOnError(png_structp png, png_const_charp message) {
    auto* pMessage = static_cast<PngMessage*>(png_get_error_ptr(png));
    if (pMessage) {
        std::strncpy(pMessage->text, message ? message : "libpng error",
                     sizeof(pMessage->text) - 1);
        pMessage->text[sizeof(pMessage->text) - 1] = '\0';
    }
    png_longjmp(png, 1);
}

extern "C" void PngOnWarning(png_structp, png_const_charp) {}

// Owner of a png_struct and its info struct, for reading or writing.
class PngHandle {
public:
    explicit PngHandle(bool bWrite) : bWrite_(bWrite) {
        png_ = bWrite ? png_create_write_struct(PNG_LIBPNG_VER_STRING, &message_, PngOnError,
                                                PngOnWarning)
                      : png_create_read_struct(PNG_LIBPNG_VER_STRING, &message_, PngOnError,
                                               PngOnWarning);
        if (png_) info_ = png_create_info_struct(png_);
        if (!png_ || !info_) {
            Release();
            throw std::bad_alloc();
        }
    }
    ~PngHandle() { Release(); }
    PngHandle(const PngHandle&) = delete;
    PngHandle& operator=(const PngHandle&) = delete;

    png_structp png() const { return png_; }
    png_infop info() const { return info_; }
    const char* Message() const { return message_.text[0] ? message_.text : "libpng error"; }

private:
    void Release() {
        if (!png_) return;
        if (bWrite_)
            png_destroy_write_struct(&png_, info_ ? &info_ : nullptr);
        else
            png_destroy_read_struct(&png_, info_ ? &info_ : nullptr, nullptr);
        png_ = nullptr;
        info_ = nullptr;
    }

    bool bWrite_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    PngMessage message_;
};

// ---- reading -------------------------------------------------------------

struct MemorySource {
    const unsigned char* pData;
    std::size_t nSize;
    std::size_t nPos;
};

extern "C" void PngReadFromMemory(png_structp png, png_bytep pOut, png_size_t nCount) {
    auto* pSource = static_cast<MemorySource*>(png_get_io_ptr(png));
    if (nCount > pSource->nSize - pSource->nPos) png_error(png, "file is truncated");
    std::memcpy(pOut, pSource->pData + pSource->nPos, nCount);
    pSource->nPos += nCount;
}

struct PngHeader {
    png_uint_32 nWidth;
    png_uint_32 nHeight;
    int nBitDepth;
    int nColourType;
};

bool ReadPngHeader(const PngHandle& h, MemorySource* pSource, PngHeader* pHeader) {
    if (setjmp(png_jmpbuf(h.png()))) return false;
    png_set_read_fn(h.png(), pSource, PngReadFromMemory);
    // The dimension check of the caller is the one that counts; these keep
    // libpng from allocating for absurd headers first.
    png_set_user_limits(h.png(), 0x7fffffff, 0x7fffffff);
    png_read_info(h.png(), h.info());
    png_get_IHDR(h.png(), h.info(), &pHeader->nWidth, &pHeader->nHeight, &pHeader->nBitDepth,
                 &pHeader->nColourType, nullptr, nullptr, nullptr);
    return true;
}

bool ReadPngRows(const PngHandle& h, int nBitDepth, png_bytepp ppRows) {
    if (setjmp(png_jmpbuf(h.png()))) return false;
    if (nBitDepth < 8) png_set_expand_gray_1_2_4_to_8(h.png());
    if (nBitDepth == 16) png_set_swap(h.png());  // file big-endian, words native
    png_set_interlace_handling(h.png());
    png_read_update_info(h.png(), h.info());
    png_read_image(h.png(), ppRows);
    png_read_end(h.png(), nullptr);
    return true;
}

const char* ColourTypeName(int nColourType) {
    switch (nColourType) {
        case PNG_COLOR_TYPE_RGB:
            return "RGB";
        case PNG_COLOR_TYPE_RGB_ALPHA:
            return "RGB with alpha";
        case PNG_COLOR_TYPE_PALETTE:
            return "palette";
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            return "grey with alpha";
        default:
            return "grey";
    }
}

// ---- writing -------------------------------------------------------------

bool WritePngRows(const PngHandle& h, std::FILE* f, png_uint_32 nWidth, png_uint_32 nHeight,
                  int nBitDepth, int nColourType, png_bytepp ppRows) {
    if (setjmp(png_jmpbuf(h.png()))) return false;
    png_init_io(h.png(), f);
    png_set_IHDR(h.png(), h.info(), nWidth, nHeight, nBitDepth, nColourType, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(h.png(), h.info());
    if (nBitDepth == 16) png_set_swap(h.png());  // words native, file big-endian
    png_write_image(h.png(), ppRows);
    png_write_end(h.png(), nullptr);
    return true;
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

void WritePng(const std::string& path, const void* pPixels, int nWidth, int nHeight, int nBitDepth,
              int nColourType, int nSamples) {
    io::CheckDimensions(path, nWidth, nHeight);
    if (!pPixels) throw Error(path, "no pixels to write");
    const std::size_t nRowBytes =
        static_cast<std::size_t>(nWidth) * static_cast<std::size_t>(nSamples * nBitDepth / 8);
    io::WriteThroughTemporary(path, [&](const std::string& tmp) {
        std::vector<png_bytep> rows(static_cast<std::size_t>(nHeight));
        auto* pBase = static_cast<png_bytep>(const_cast<void*>(pPixels));
        for (std::size_t y = 0; y < rows.size(); ++y) rows[y] = pBase + y * nRowBytes;
        std::unique_ptr<std::FILE, FileCloser> f(std::fopen(tmp.c_str(), "wb"));
        if (!f) throw Error(path, io::ErrnoText(errno));
        PngHandle h(true);
        errno = 0;
        if (!WritePngRows(h, f.get(), static_cast<png_uint_32>(nWidth),
                          static_cast<png_uint_32>(nHeight), nBitDepth, nColourType, rows.data()))
            throw Error(path, errno ? io::ErrnoText(errno) : h.Message());
        if (std::fflush(f.get()) != 0 || std::ferror(f.get()))
            throw Error(path, io::ErrnoText(errno));
        std::FILE* pRaw = f.release();
        if (std::fclose(pRaw) != 0) throw Error(path, io::ErrnoText(errno));
    });
}

void WritePngChecked(const std::string& path, const void* pPixels, int nWidth, int nHeight,
                     int nBitDepth, int nColourType, int nSamples) {
    try {
        WritePng(path, pPixels, nWidth, nHeight, nBitDepth, nColourType, nSamples);
    } catch (const std::bad_alloc&) {
        throw Error(path, "out of memory");
    }
}

}  // namespace

namespace io {

Image ReadPng(const std::string& path, const std::vector<unsigned char>& file,
              const ReadOptions& options) {
    Image image;
    image.path = path;
    image.format = "PNG";
    PngHandle h(false);
    MemorySource source{file.data(), file.size(), 0};
    PngHeader header{};
    if (!ReadPngHeader(h, &source, &header)) throw Error(path, h.Message());
    if (header.nColourType != PNG_COLOR_TYPE_GRAY)
        throw Error(path, std::string("colour or alpha PNG (") +
                              ColourTypeName(header.nColourType) + "); grey images only");
    CheckDimensions(path, header.nWidth, header.nHeight);
    image.nWidth = static_cast<int>(header.nWidth);
    image.nHeight = static_cast<int>(header.nHeight);
    image.photometric = "MONOCHROME2";
    std::vector<png_bytep> rows(header.nHeight);
    if (header.nBitDepth == 16) {
        image.words.resize(image.PixelCount());
        for (std::size_t y = 0; y < rows.size(); ++y)
            rows[y] = reinterpret_cast<png_bytep>(image.words.data() + y * header.nWidth);
    } else {
        image.bytes.resize(image.PixelCount());
        for (std::size_t y = 0; y < rows.size(); ++y)
            rows[y] = image.bytes.data() + y * header.nWidth;
    }
    if (!ReadPngRows(h, header.nBitDepth, rows.data())) throw Error(path, h.Message());
    if (header.nBitDepth == 16) {
        SetBitsStored16(image, options);
    } else {
        SetBitsStored8(image, options);
        if (header.nBitDepth < 8)
            image.notes.push_back(std::to_string(header.nBitDepth) +
                                  "-bit grey PNG expanded to 8 bits");
    }
    SetPixelSizeFromOptions(image, options);
    return image;
}

}  // namespace io

void WritePngGrey8(const std::string& path, const unsigned char* pixels, int nWidth, int nHeight) {
    WritePngChecked(path, pixels, nWidth, nHeight, 8, PNG_COLOR_TYPE_GRAY, 1);
}

void WritePngRgb8(const std::string& path, const unsigned char* rgb, int nWidth, int nHeight) {
    WritePngChecked(path, rgb, nWidth, nHeight, 8, PNG_COLOR_TYPE_RGB, 3);
}

void WritePngGrey16(const std::string& path, const unsigned short* pixels, int nWidth,
                    int nHeight) {
    WritePngChecked(path, pixels, nWidth, nHeight, 16, PNG_COLOR_TYPE_GRAY, 1);
}

}  // namespace zetdip::host
