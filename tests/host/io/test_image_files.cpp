// PNG, PGM, TIFF and raw input: round trips through the writers, PGM
// written by hand and TIFF in the layouts libtiff writes, refusals, and
// writers that never leave a partial file.
#include <gtest/gtest.h>
#include <tiffio.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "core/error.h"
#include "host/fixtures.h"
#include "io/read_image.h"
#include "io/write_image.h"
#include "support/images.h"

namespace zetdip::host {
namespace {

using testing::ExpectError;
using testing::ReadText;
using testing::TempDir;
using zetdip::test::RandomImage;

ReadOptions With(double dPixelSize = 0.1, std::optional<int> bits = {}, std::optional<int> w = {},
                 std::optional<int> h = {}) {
    ReadOptions o;
    o.pixelSize = dPixelSize;
    o.bitsStored = bits;
    o.rawWidth = w;
    o.rawHeight = h;
    return o;
}

// The samples of an image, 8-bit or 16-bit, as one list.
std::vector<unsigned> Samples(const Image& image) {
    if (image.Is8Bit()) return {image.bytes.begin(), image.bytes.end()};
    return {image.words.begin(), image.words.end()};
}

TEST(PngFiles, round_trips_with_bits_from_the_samples) {
    TempDir dir;
    const std::string path = dir.Path("g.png");
    const auto bytes = RandomImage<unsigned char>(67, 33, 0, 255, 3);
    WritePngGrey8(path, bytes.data(), 67, 33);
    const Image image = ReadImage(path, With(0.07));
    EXPECT_TRUE(image.bytes == bytes && image.nWidth == 67 && image.nBitsStored == 8);
    EXPECT_EQ(image.rowSpacing->value, 0.07);
    // 16 bits: bits stored follow the largest sample or the option.
    auto pixels = RandomImage<unsigned short>(67, 33, 0, 4095, 5);
    pixels[100] = 4095;
    WritePngGrey16(path, pixels.data(), 67, 33);
    EXPECT_EQ(ReadImage(path, With()).words, pixels);
    EXPECT_EQ(ReadImage(path, With()).nBitsStored, 12);
    EXPECT_EQ(ReadImage(path, With(0.1, 14)).nBitsStored, 14);
}

struct TiffSpec {
    int nWidth = 0, nHeight = 0, nBits = 8;
    int nPhotometric = 1;           // 0 min-is-white, 1 min-is-black
    std::vector<unsigned> samples;  // row-major
};

// The bytes of an uncompressed little-endian TIFF in one strip.
std::string MakeTiff(const TempDir& dir, const TiffSpec& t) {
    const std::string path = dir.Path("made.tif");
    TIFF* tif = TIFFOpen(path.c_str(), "wl");
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, t.nWidth);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, t.nHeight);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, t.nBits);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, t.nPhotometric);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, t.nHeight);
    std::vector<unsigned char> strip;
    for (unsigned v : t.samples)
        for (int b = 0; b < t.nBits; b += 8) strip.push_back(static_cast<unsigned char>(v >> b));
    TIFFWriteEncodedStrip(tif, 0, strip.data(), static_cast<tmsize_t>(strip.size()));
    TIFFClose(tif);
    return ReadText(path);
}

TEST(ImageFiles, files_written_by_hand_read_back_their_samples) {
    TempDir dir;
    const TiffSpec t8{3, 2, 8, 1, {0, 1, 2, 128, 254, 255}};
    const TiffSpec white{3, 2, 8, 0, t8.samples};  // inverted so that dense tissue is bright
    const TiffSpec t16{3, 2, 16, 1, {0, 4095, 0x0102, 1000, 17, 2048}};
    const struct {
        std::string contents;
        const char* format;
        int nBits;
        std::vector<unsigned> samples;
    } kCases[] = {
        // 16-bit samples are big-endian; bits stored come from the maxval.
        {"P5 2 2 4095\n" + std::string("\x0f\xff\x00\x01\x01\x00\x08\x00", 8),
         "PGM",
         12,
         {4095, 1, 256, 2048}},
        {"P2\n2 3\n# comment\n1023\n0 1\n2 1023\n512 7\n", "PGM", 10, {0, 1, 2, 1023, 512, 7}},
        {MakeTiff(dir, t8), "TIFF", 8, t8.samples},
        {MakeTiff(dir, white), "TIFF", 8, {255, 254, 253, 127, 1, 0}},
        {MakeTiff(dir, t16), "TIFF", 12, t16.samples},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.contents.substr(0, 12));
        const Image image = ReadImage(dir.Write("f", c.contents), With());
        EXPECT_EQ(image.format, c.format);
        EXPECT_EQ(image.nBitsStored, c.nBits);
        EXPECT_EQ(Samples(image), c.samples);
    }
    // Raw: little-endian words of the given size.
    const std::string raw("\x01\x00\xff\x0f\x00\x08\x34\x12\x00\x00\x02\x00", 12);
    const Image image = ReadImage(dir.Write("r.raw", raw), With(0.05, {}, 3, 2));
    EXPECT_EQ(image.format, "raw");
    EXPECT_EQ(image.nBitsStored, 13);
    EXPECT_EQ(Samples(image), (std::vector<unsigned>{1, 0x0fff, 0x0800, 0x1234, 0, 2}));
}

TEST(ImageFiles, each_refusal_names_the_file_and_the_cause) {
    TempDir dir;
    const auto rgb = RandomImage<unsigned char>(12, 2, 0, 255, 1);
    WritePngRgb8(dir.Path("rgb.png"), rgb.data(), 4, 2);
    const std::vector<unsigned short> w12 = {4095, 0, 1, 2};
    WritePngGrey16(dir.Path("g12.png"), w12.data(), 2, 2);
    dir.Write("r.raw", std::string(12, '\x01'));
    dir.Write("notes.txt", "just some text, not an image");
    dir.Write("a.pgm", "P5 1 1 255\n\x05");
    const struct {
        std::string file;  // a name in dir, or PGM contents when it starts with P
        ReadOptions options;
        std::string cause;
    } kCases[] = {
        {"rgb.png", With(), "colour or alpha PNG (RGB)"},
        {"g12.png", With(0.1, 11), "sample value 4095 exceeds 11 bits"},
        {"r.raw", With(0.1, {}, 2, 2), "file size 12 bytes does not match 2 x 2"},
        {"missing.png", With(), "No such file"},
        {"notes.txt", With(), "unknown file format"},
        {"a.pgm", ReadOptions{}, "no pixel size in the file; pass --pixel-size"},
        {"P5\n4 4\n255\n" + std::string(15, 'x'), With(), "truncated"},
        {"P5 100000 100000 255\n", With(), "exceeds 268435456 pixels"},
    };
    int nPgm = 0;
    for (const auto& c : kCases) {
        const std::string path = c.file.rfind('P', 0) == 0
                                     ? dir.Write("bad" + std::to_string(nPgm++) + ".pgm", c.file)
                                     : dir.Path(c.file);
        ExpectError([&] { ReadImage(path, c.options); }, path, c.cause);
    }
}

// A byte changed in the compressed data: an Error, never a crash.
TEST(ImageFiles, corrupt_png_fails_cleanly) {
    TempDir dir;
    const auto pixels = RandomImage<unsigned char>(64, 64, 0, 255, 2);
    WritePngGrey8(dir.Path("full.png"), pixels.data(), 64, 64);
    std::string png = ReadText(dir.Path("full.png"));
    png[png.size() / 2] ^= 0x55;
    EXPECT_THROW(ReadImage(dir.Write("corrupt.png", png), With()), Error);
}

// Writers write a temporary file and rename it when complete: the old file
// is replaced whole, and a failure leaves neither file nor temporary.
TEST(AtomicWrite, replaces_whole_and_fails_naming_the_file_and_the_cause) {
    TempDir dir;
    const std::string path = dir.Path("report.json");
    WriteFileAtomically(path, "old contents that are longer");
    WriteFileAtomically(path, "new");
    EXPECT_EQ(ReadText(path), "new");
    // The file by the name asked for, the cause from the system; a directory
    // in the way of the rename.
    const unsigned char pixel = 7;
    ExpectError([&] { WritePngGrey8(dir.Path("none/out.png"), &pixel, 1, 1); },
                dir.Path("none/out.png"), "No such file or directory");
    std::filesystem::create_directories(dir.Path("blocked/inside"));
    EXPECT_THROW(WriteFileAtomically(dir.Path("blocked"), "x"), Error);
    EXPECT_THROW(WritePngGrey8(dir.Path("x.png"), &pixel, 0, 1), Error);
    std::vector<std::string> files;
    for (const auto& e : std::filesystem::directory_iterator(dir.Dir()))
        files.push_back(e.path().filename().string());
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files, (std::vector<std::string>{"blocked", "report.json"}));
}

}  // namespace
}  // namespace zetdip::host
