#include "io/read_image.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "io/io_common.h"

namespace zetdip::host {

namespace {

enum class Format { Dicom, Png, Pgm, Tiff, Unknown };

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

// The first bytes of a file say what it is; DICOM files carry "DICM" after
// a 128-byte preamble, or (rarely) start directly with a group 0002 or 0008
// element in little-endian order.
Format Sniff(const std::string& path) {
    io::CheckInputFile(path);
    std::unique_ptr<std::FILE, FileCloser> f(std::fopen(path.c_str(), "rb"));
    if (!f) throw Error(path, io::ErrnoText(errno));
    unsigned char head[132] = {};
    const std::size_t n = std::fread(head, 1, sizeof head, f.get());
    if (n >= 132 && std::memcmp(head + 128, "DICM", 4) == 0) return Format::Dicom;
    if (n >= 8 && std::memcmp(head, "\x89PNG\r\n\x1a\n", 8) == 0) return Format::Png;
    if (n >= 3 && head[0] == 'P' && (head[1] == '5' || head[1] == '2') &&
        (head[2] == ' ' || head[2] == '\t' || head[2] == '\n' || head[2] == '\r' || head[2] == '#'))
        return Format::Pgm;
    if (n >= 4 && (std::memcmp(head, "II*\0", 4) == 0 || std::memcmp(head, "MM\0*", 4) == 0))
        return Format::Tiff;
    if (n >= 8 && (head[0] == 0x02 || head[0] == 0x08) && head[1] == 0x00 && head[3] == 0x00)
        return Format::Dicom;
    return Format::Unknown;
}

Image Read(const std::string& path, const ReadOptions& options) {
    if (options.rawWidth.has_value() != options.rawHeight.has_value())
        throw Error(path, "a raw file needs both its width and its height");
    if (options.rawWidth) return io::ReadRaw16(path, options);
    switch (Sniff(path)) {
        case Format::Dicom:
            return io::ReadDicom(path, options);
        case Format::Png:
            return io::ReadPng(path, io::ReadWholeFile(path), options);
        case Format::Pgm:
            return io::ReadPgm(path, io::ReadWholeFile(path), options);
        case Format::Tiff:
            return io::ReadTiff(path, options);
        case Format::Unknown:
            break;
    }
    throw Error(path,
                "unknown file format (not DICOM, PNG, PGM or TIFF; a raw 16-bit file needs its "
                "width and height)");
}

}  // namespace

Image ReadImage(const std::string& path, const ReadOptions& options) {
    return WithFileErrors(
        path, [&] { return Read(path, options); }, "unexpected failure while reading");
}

}  // namespace zetdip::host
