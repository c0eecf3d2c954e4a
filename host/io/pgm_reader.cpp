// Netpbm grey maps: binary P5 (8-bit, or 16-bit big-endian when the
// maximum value exceeds 255) and the plain-text P2.
#include <cctype>
#include <string>

#include "io/io_common.h"

namespace zetdip::host::io {

namespace {

class PgmParser {
public:
    PgmParser(const std::string& path, const std::vector<unsigned char>& file)
        : path_(path), file_(file) {}

    // Skips whitespace and '#' comments, then reads an unsigned decimal.
    unsigned long Number(const char* pszWhat) {
        SkipSpaceAndComments();
        if (pos_ >= file_.size())
            throw Error(path_, std::string("file ends before the ") + pszWhat);
        if (!std::isdigit(file_[pos_]))
            throw Error(path_, std::string("malformed PGM: expected the ") + pszWhat);
        unsigned long n = 0;
        while (pos_ < file_.size() && std::isdigit(file_[pos_])) {
            n = n * 10 + static_cast<unsigned long>(file_[pos_++] - '0');
            if (n > 0xFFFFFFFFul) throw Error(path_, std::string("PGM ") + pszWhat + " too large");
        }
        return n;
    }

    // After the maximum value of a binary map comes exactly one whitespace
    // character, then the raster.
    void SkipOneWhitespace() {
        if (pos_ >= file_.size() || !std::isspace(file_[pos_]))
            throw Error(path_, "malformed PGM: no whitespace after the maximum value");
        ++pos_;
    }

    std::size_t Position() const { return pos_; }

private:
    void SkipSpaceAndComments() {
        while (pos_ < file_.size()) {
            if (std::isspace(file_[pos_])) {
                ++pos_;
            } else if (file_[pos_] == '#') {
                while (pos_ < file_.size() && file_[pos_] != '\n' && file_[pos_] != '\r') ++pos_;
            } else {
                break;
            }
        }
    }

    const std::string& path_;
    const std::vector<unsigned char>& file_;
    std::size_t pos_ = 2;  // past the magic number
};

}  // namespace

Image ReadPgm(const std::string& path, const std::vector<unsigned char>& file,
              const ReadOptions& options) {
    const bool bPlain = file[1] == '2';
    PgmParser parser(path, file);
    const unsigned long nWidth = parser.Number("width");
    const unsigned long nHeight = parser.Number("height");
    const unsigned long nMaxVal = parser.Number("maximum value");
    if (nMaxVal == 0 || nMaxVal > 65535)
        throw Error(path, "PGM maximum value " + std::to_string(nMaxVal) + " is outside 1..65535");
    CheckDimensions(path, static_cast<long long>(nWidth), static_cast<long long>(nHeight));

    Image image;
    image.path = path;
    image.format = "PGM";
    image.photometric = "MONOCHROME2";
    image.nWidth = static_cast<int>(nWidth);
    image.nHeight = static_cast<int>(nHeight);
    const std::size_t nCount = image.PixelCount();
    const bool b16 = nMaxVal > 255;
    if (b16)
        image.words.resize(nCount);
    else
        image.bytes.resize(nCount);

    auto store = [&](std::size_t i, unsigned long v) {
        if (v > nMaxVal)
            throw Error(path, "sample " + std::to_string(v) + " exceeds the PGM maximum value " +
                                  std::to_string(nMaxVal));
        if (b16)
            image.words[i] = static_cast<unsigned short>(v);
        else
            image.bytes[i] = static_cast<unsigned char>(v);
    };

    if (bPlain) {
        for (std::size_t i = 0; i < nCount; ++i) store(i, parser.Number("next sample"));
    } else {
        parser.SkipOneWhitespace();
        const std::size_t nBytesPerSample = b16 ? 2 : 1;
        const std::size_t nNeeded = nCount * nBytesPerSample;
        const std::size_t nStart = parser.Position();
        if (file.size() - nStart < nNeeded)
            throw Error(path, "file is truncated: " + std::to_string(nWidth) + " x " +
                                  std::to_string(nHeight) + " samples need " +
                                  std::to_string(nNeeded) + " bytes, " +
                                  std::to_string(file.size() - nStart) + " present");
        const unsigned char* p = file.data() + nStart;
        for (std::size_t i = 0; i < nCount; ++i)
            store(i, b16 ? (static_cast<unsigned long>(p[2 * i]) << 8) | p[2 * i + 1] : p[i]);
    }

    if (b16) {
        SetBitsStored16(image, options, static_cast<unsigned>(nMaxVal));
    } else {
        SetBitsStored8(image, options);
        if (nMaxVal != 255)
            image.notes.push_back("PGM maximum value " + std::to_string(nMaxVal) +
                                  "; samples kept as they are");
    }
    SetPixelSizeFromOptions(image, options);
    return image;
}

}  // namespace zetdip::host::io
