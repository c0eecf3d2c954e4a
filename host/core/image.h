// The image that travels through the host layer: from a reader, through the
// detection chain, to the writers. Pixels are kept exactly as the file
// stores them (rows top-down, columns left to right, the file's own frame);
// the chain makes its own working copy in the library's orientation and maps
// every coordinate back to this frame before it leaves the program.
#ifndef ZETDIP_HOST_CORE_IMAGE_H
#define ZETDIP_HOST_CORE_IMAGE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace zetdip::host {

// A fact about the image together with where it was found: a DICOM keyword
// ("ImagerPixelSpacing"), an option ("--pixel-size") or "image" when the
// chain worked it out from the pixels.
template <class T>
struct Fact {
    T value;
    std::string source;
};

enum class Laterality { Left, Right };

inline const char* ToString(Laterality l) { return l == Laterality::Left ? "L" : "R"; }

struct Image {
    // Samples, row-major, no padding. nBitsStored 8: one byte each in bytes;
    // 9..16: one 16-bit word each in words, brought into the library's form
    // (unsigned, the significant bits at the bottom, MONOCHROME2).
    int nWidth = 0;
    int nHeight = 0;
    int nBitsStored = 0;
    std::vector<unsigned char> bytes;
    std::vector<unsigned short> words;

    // Millimetres per pixel: between rows and between columns.
    std::optional<Fact<double>> rowSpacing;
    std::optional<Fact<double>> columnSpacing;
    std::optional<Fact<Laterality>> laterality;
    std::optional<Fact<std::string>> view;  // "MLO", "CC", ...
    // DICOM Patient Orientation (0020,0020): the directions of the rows and
    // the columns, e.g. "P" and "L"; empty when the file has none.
    std::string patientOrientationRow;
    std::string patientOrientationColumn;

    // Where it came from.
    std::string path;
    std::string format;             // "DICOM", "PNG", "PGM", "TIFF", "raw"
    std::string sopInstanceUid;     // DICOM only
    std::string photometric;        // as the file said: "MONOCHROME1", "MONOCHROME2"
    std::string transferSyntax;     // DICOM only: UID
    std::optional<bool> forProcessing;  // Presentation Intent Type, when present
    std::vector<std::string> notes;     // what the reader did (inverted, rescaled, ...)

    bool Is8Bit() const { return nBitsStored == 8; }
    std::size_t PixelCount() const {
        return static_cast<std::size_t>(nWidth) * static_cast<std::size_t>(nHeight);
    }
    // The buffer as the library's entries take it.
    unsigned char* Data() {
        return Is8Bit() ? bytes.data() : reinterpret_cast<unsigned char*>(words.data());
    }
    const unsigned char* Data() const {
        return Is8Bit() ? bytes.data() : reinterpret_cast<const unsigned char*>(words.data());
    }
    int Sample(int x, int y) const {
        const std::size_t i = static_cast<std::size_t>(y) * nWidth + x;
        return Is8Bit() ? bytes[i] : words[i];
    }
};

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CORE_IMAGE_H
