// PNG, PGM, TIFF and raw input: round trips through the writers, files
// written by hand, and every way such a file can be wrong.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
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

ReadOptions WithPixelSize(double d = 0.1) {
    ReadOptions o;
    o.pixelSize = d;
    return o;
}

// ---- PNG --------------------------------------------------------------------

TEST(PngFiles, grey8_round_trips_at_sizes_that_break_loops) {
    TempDir dir;
    for (auto [w, h] : {std::pair{1, 1}, {3, 1}, {1, 3}, {67, 33}}) {
        const auto pixels = RandomImage<unsigned char>(w, h, 0, 255, w * 100 + h);
        const std::string path = dir.Path("g8.png");
        WritePngGrey8(path, pixels.data(), w, h);
        const Image image = ReadImage(path, WithPixelSize(0.07));
        EXPECT_EQ(image.format, "PNG");
        EXPECT_EQ(image.nWidth, w);
        EXPECT_EQ(image.nHeight, h);
        EXPECT_EQ(image.nBitsStored, 8);
        EXPECT_EQ(image.bytes, pixels);
        EXPECT_TRUE(image.words.empty());
        ASSERT_TRUE(image.rowSpacing && image.columnSpacing);
        EXPECT_EQ(image.rowSpacing->value, 0.07);
        EXPECT_EQ(image.columnSpacing->source, "--pixel-size");
        EXPECT_FALSE(image.laterality);
    }
}

TEST(PngFiles, grey16_bits_stored_follow_the_largest_sample_or_the_option) {
    TempDir dir;
    const std::string path = dir.Path("g16.png");
    auto pixels = RandomImage<unsigned short>(67, 33, 0, 4095, 5);
    pixels[100] = 4095;
    WritePngGrey16(path, pixels.data(), 67, 33);
    Image image = ReadImage(path, WithPixelSize());
    EXPECT_EQ(image.nBitsStored, 12);
    EXPECT_EQ(image.words, pixels);
    ReadOptions o = WithPixelSize();
    o.bitsStored = 14;
    EXPECT_EQ(ReadImage(path, o).nBitsStored, 14);

    // Small values still make a 16-bit image, never fewer than 9 bits.
    const std::vector<unsigned short> dark = {0, 3, 200, 7};
    WritePngGrey16(path, dark.data(), 2, 2);
    image = ReadImage(path, WithPixelSize());
    EXPECT_EQ(image.nBitsStored, 9);
    EXPECT_EQ(image.words, dark);
}

// ---- PGM --------------------------------------------------------------------

TEST(PgmFiles, binary_8_and_16_bit_and_plain_text) {
    TempDir dir;
    // Comments between the header fields are allowed.
    std::string p5 = "P5\n# made by hand\n3 2\n255\n";
    p5 += std::string("\x00\x10\xff\x80\x7f\x01", 6);
    Image image = ReadImage(dir.Write("a.pgm", p5), WithPixelSize(0.2));
    EXPECT_EQ(image.format, "PGM");
    EXPECT_EQ(image.nBitsStored, 8);
    EXPECT_EQ(image.bytes, (std::vector<unsigned char>{0, 0x10, 0xff, 0x80, 0x7f, 1}));

    // 16-bit samples are big-endian; bits stored come from the maxval.
    std::string p5w = "P5 2 2 4095\n";
    p5w += std::string("\x0f\xff\x00\x01\x01\x00\x08\x00", 8);
    image = ReadImage(dir.Write("b.pgm", p5w), WithPixelSize());
    EXPECT_EQ(image.nBitsStored, 12);
    EXPECT_EQ(image.words, (std::vector<unsigned short>{4095, 1, 256, 2048}));

    image = ReadImage(dir.Write("c.pgm", "P2\n2 3\n# comment\n1023\n0 1\n2 1023\n512 7\n"),
                      WithPixelSize());
    EXPECT_EQ(image.nBitsStored, 10);
    EXPECT_EQ(image.words, (std::vector<unsigned short>{0, 1, 2, 1023, 512, 7}));

    image = ReadImage(dir.Write("d.pgm", "P2 2 1 15 3 15"), WithPixelSize());
    EXPECT_EQ(image.nBitsStored, 8);
    EXPECT_EQ(image.bytes, (std::vector<unsigned char>{3, 15}));
}

// ---- TIFF -------------------------------------------------------------------

// A baseline TIFF written by hand, uncompressed, in one strip or in 16 x 16
// tiles, little- or big-endian, so the reader is checked against a writer
// other than libtiff.
struct TiffSpec {
    int nWidth = 0;
    int nHeight = 0;
    int nBits = 8;
    int nSamples = 1;
    int nPhotometric = 1;  // 0 min-is-white, 1 min-is-black, 2 RGB
    bool bBigEndian = false;
    bool bTiled = false;
    std::vector<unsigned> samples;  // row-major, nSamples interleaved
};

std::string MakeTiff(const TiffSpec& t) {
    const bool bBig = t.bBigEndian;
    auto u16 = [bBig](std::string& out, unsigned v) {
        const char a = static_cast<char>(v & 0xFF), b = static_cast<char>((v >> 8) & 0xFF);
        out += bBig ? std::string{b, a} : std::string{a, b};
    };
    auto u32 = [&](std::string& out, unsigned v) {
        u16(out, bBig ? v >> 16 : v & 0xFFFF);
        u16(out, bBig ? v & 0xFFFF : v >> 16);
    };
    const unsigned nBytesPerSample = static_cast<unsigned>(t.nBits / 8);
    auto sample = [&](std::string& out, unsigned v) {
        if (nBytesPerSample == 2)
            u16(out, v);
        else
            out += static_cast<char>(v);
    };

    // The pixel data: one strip, or tiles padded with zeros at the edges.
    std::vector<std::string> blocks;
    const int nTile = 16;
    if (!t.bTiled) {
        blocks.emplace_back();
        for (unsigned v : t.samples) sample(blocks.back(), v);
    } else {
        for (int ty = 0; ty < t.nHeight; ty += nTile)
            for (int tx = 0; tx < t.nWidth; tx += nTile) {
                blocks.emplace_back();
                for (int y = ty; y < ty + nTile; ++y)
                    for (int x = tx; x < tx + nTile; ++x)
                        sample(blocks.back(),
                               x < t.nWidth && y < t.nHeight
                                   ? t.samples[static_cast<std::size_t>(y) * t.nWidth + x]
                                   : 0);
            }
    }
    struct Entry {
        unsigned tag, type;
        std::vector<unsigned> values;
    };
    std::vector<unsigned> offsets, counts;
    for (const auto& b : blocks) counts.push_back(static_cast<unsigned>(b.size()));
    std::vector<Entry> entries = {{256, 4, {static_cast<unsigned>(t.nWidth)}},
                                  {257, 4, {static_cast<unsigned>(t.nHeight)}},
                                  {258, 3, {static_cast<unsigned>(t.nBits)}},
                                  {259, 3, {1}},
                                  {262, 3, {static_cast<unsigned>(t.nPhotometric)}}};
    if (t.bTiled) {
        entries.push_back({277, 3, {static_cast<unsigned>(t.nSamples)}});
        entries.push_back({322, 4, {static_cast<unsigned>(nTile)}});
        entries.push_back({323, 4, {static_cast<unsigned>(nTile)}});
        entries.push_back({324, 4, std::vector<unsigned>(blocks.size())});
        entries.push_back({325, 4, counts});
    } else {
        entries.push_back({273, 4, {0}});
        entries.push_back({277, 3, {static_cast<unsigned>(t.nSamples)}});
        entries.push_back({278, 4, {static_cast<unsigned>(t.nHeight)}});
        entries.push_back({279, 4, counts});
    }
    // Layout: header, directory, arrays that do not fit an entry, data.
    const unsigned nDirectory = 8 + 2 + 12 * static_cast<unsigned>(entries.size()) + 4;
    unsigned nArrays = 0;
    for (const Entry& e : entries)
        if (e.values.size() > 1) nArrays += 4 * static_cast<unsigned>(e.values.size());
    unsigned nData = nDirectory + nArrays;
    for (const auto& b : blocks) {
        offsets.push_back(nData);
        nData += static_cast<unsigned>(b.size());
    }
    for (Entry& e : entries)
        if (e.tag == 273 || e.tag == 324) e.values = offsets;

    std::string out = bBig ? "MM" : "II";
    u16(out, 42);
    u32(out, 8);
    u16(out, static_cast<unsigned>(entries.size()));
    std::string arrays;
    for (const Entry& e : entries) {
        u16(out, e.tag);
        u16(out, e.type);
        u32(out, static_cast<unsigned>(e.values.size()));
        if (e.values.size() > 1) {
            u32(out, nDirectory + static_cast<unsigned>(arrays.size()));
            for (unsigned v : e.values) u32(arrays, v);
        } else if (e.type == 3) {
            u16(out, e.values[0]);
            u16(out, 0);
        } else {
            u32(out, e.values[0]);
        }
    }
    u32(out, 0);  // no further directory
    out += arrays;
    for (const auto& b : blocks) out += b;
    return out;
}

TEST(TiffFiles, grey_8_and_16_bit_in_both_byte_orders) {
    TempDir dir;
    TiffSpec t;
    t.nWidth = 3;
    t.nHeight = 2;
    t.samples = {0, 1, 2, 128, 254, 255};
    Image image = ReadImage(dir.Write("a.tif", MakeTiff(t)), WithPixelSize());
    EXPECT_EQ(image.format, "TIFF");
    EXPECT_EQ(image.nBitsStored, 8);
    EXPECT_EQ(image.bytes, (std::vector<unsigned char>{0, 1, 2, 128, 254, 255}));

    t.nPhotometric = 0;  // min-is-white: inverted so that dense tissue is bright
    image = ReadImage(dir.Write("b.tif", MakeTiff(t)), WithPixelSize());
    EXPECT_EQ(image.bytes, (std::vector<unsigned char>{255, 254, 253, 127, 1, 0}));

    t.nPhotometric = 1;
    t.nBits = 16;
    t.samples = {0, 4095, 0x0102, 1000, 17, 2048};
    for (bool bBig : {false, true}) {
        t.bBigEndian = bBig;
        image = ReadImage(dir.Write("c.tif", MakeTiff(t)), WithPixelSize());
        EXPECT_EQ(image.nBitsStored, 12) << bBig;
        EXPECT_EQ(image.words, (std::vector<unsigned short>{0, 4095, 0x0102, 1000, 17, 2048}))
            << bBig;
    }
}

TEST(TiffFiles, tiles_cut_at_the_image_edges) {
    TempDir dir;
    TiffSpec t;
    t.nWidth = 37;
    t.nHeight = 18;
    t.nBits = 16;
    t.bTiled = true;
    std::vector<unsigned short> expected;
    for (int i = 0; i < t.nWidth * t.nHeight; ++i) {
        t.samples.push_back(static_cast<unsigned>(i * 7 % 1000));
        expected.push_back(static_cast<unsigned short>(i * 7 % 1000));
    }
    const Image image = ReadImage(dir.Write("tiled.tif", MakeTiff(t)), WithPixelSize());
    EXPECT_EQ(image.nWidth, 37);
    EXPECT_EQ(image.nBitsStored, 10);
    EXPECT_EQ(image.words, expected);
}

// ---- raw --------------------------------------------------------------------

const std::string kRaw("\x01\x00\xff\x0f\x00\x08\x34\x12\x00\x00\x02\x00", 12);

ReadOptions RawSize(std::optional<int> w, std::optional<int> h) {
    ReadOptions o = WithPixelSize(0.05);
    o.rawWidth = w;
    o.rawHeight = h;
    return o;
}

TEST(RawFiles, little_endian_words) {
    TempDir dir;
    const Image image = ReadImage(dir.Write("r.raw", kRaw), RawSize(3, 2));
    EXPECT_EQ(image.format, "raw");
    EXPECT_EQ(image.words, (std::vector<unsigned short>{1, 0x0fff, 0x0800, 0x1234, 0, 2}));
    EXPECT_EQ(image.nBitsStored, 13);
}

// ---- what every format refuses ------------------------------------------------

TEST(ImageFiles, each_refusal_names_the_file_and_the_cause) {
    TempDir dir;
    const auto rgb = RandomImage<unsigned char>(12, 2, 0, 255, 1);
    WritePngRgb8(dir.Path("rgb.png"), rgb.data(), 4, 2);
    WritePngGrey8(dir.Path("grey.png"), rgb.data(), 4, 2);
    const std::vector<unsigned short> w12 = {4095, 0, 1, 2};
    WritePngGrey16(dir.Path("g12.png"), w12.data(), 2, 2);
    TiffSpec t;
    t.nWidth = 2;
    t.nHeight = 2;
    t.nSamples = 3;
    t.nPhotometric = 2;
    t.samples = std::vector<unsigned>(12, 9);
    dir.Write("rgb.tif", MakeTiff(t));
    t.nSamples = 2;  // grey and alpha
    t.nPhotometric = 1;
    t.samples.resize(8);
    dir.Write("alpha.tif", MakeTiff(t));
    dir.Write("r.raw", kRaw);
    dir.Write("empty.pgm", "");
    dir.Write("notes.txt", "just some text, not an image");
    dir.Write("a.pgm", "P5 1 1 255\n\x05");
    auto bits = [](int n) {
        ReadOptions o = WithPixelSize();
        o.bitsStored = n;
        return o;
    };
    const struct {
        std::string file;  // a name in dir, or PGM contents when it starts with P
        ReadOptions options;
        std::string cause;
    } kCases[] = {
        {"rgb.png", WithPixelSize(), "colour or alpha PNG (RGB)"},
        {"grey.png", bits(12), "8-bit file"},
        {"g12.png", bits(11), "sample value 4095 exceeds 11 bits"},
        {"rgb.tif", WithPixelSize(), "colour or alpha TIFF (3 samples"},
        {"alpha.tif", WithPixelSize(), "colour or alpha TIFF (2 samples"},
        {"r.raw", RawSize(2, 2), "file size 12 bytes does not match 2 x 2"},
        {"r.raw", RawSize(5, 2), "does not match 5 x 2"},
        {"r.raw", RawSize(1 << 20, 1 << 20), "exceeds"},
        {"r.raw", RawSize(1 << 20, -1), "is empty"},
        {"r.raw", RawSize(1 << 20, std::nullopt), "both its width and its height"},
        {"missing.png", WithPixelSize(), "No such file"},
        {"empty.pgm", WithPixelSize(), "empty file"},
        {"", WithPixelSize(), "is a directory"},
        {"notes.txt", WithPixelSize(), "unknown file format"},
        {"a.pgm", ReadOptions{}, "no pixel size in the file; pass --pixel-size"},
        {"a.pgm", WithPixelSize(0.0), "--pixel-size must be"},
        {"a.pgm", WithPixelSize(-0.1), "--pixel-size must be"},
        {"P5\n4 4\n255\n" + std::string(15, 'x'), WithPixelSize(), "truncated"},
        {"P5\n4 4\n", WithPixelSize(), "file ends before the maximum value"},
        {"P5\nfour 4\n255\n", WithPixelSize(), "expected the width"},
        {"P5 0 4 255\n", WithPixelSize(), "is empty"},
        {"P5 100000 100000 255\n", WithPixelSize(), "exceeds 268435456 pixels"},
        {"P5 4294967295 4294967295 255\n", WithPixelSize(), "exceeds"},
        {"P5 99999999999 1 255\n", WithPixelSize(), "too large"},
        {"P5 2 1 70000\nabcd", WithPixelSize(), "outside 1..65535"},
        {"P5 2 1 0\nab", WithPixelSize(), "outside 1..65535"},
        {std::string("P5 2 1 1000\n\x03\xe9\x00\x00", 16), WithPixelSize(),
         "exceeds the PGM maximum value 1000"},
        {"P2 2 1 100 5 101", WithPixelSize(), "exceeds the PGM maximum value 100"},
        {"P2 2 2 100 5 6 7", WithPixelSize(), "file ends before the next sample"},
    };
    int nPgm = 0;
    for (const auto& c : kCases) {
        const std::string path = c.file.rfind('P', 0) == 0
                                     ? dir.Write("bad" + std::to_string(nPgm++) + ".pgm", c.file)
                                 : c.file.empty() ? dir.Dir().string()
                                                  : dir.Path(c.file);
        ExpectError([&] { ReadImage(path, c.options); }, path, c.cause);
    }
}

// Cut anywhere, or with a byte changed in the compressed data, a file is an
// Error, never a crash or a half-read image.
TEST(ImageFiles, truncated_or_corrupt_files_fail_cleanly) {
    TempDir dir;
    const auto pixels = RandomImage<unsigned char>(64, 64, 0, 255, 2);
    WritePngGrey8(dir.Path("full.png"), pixels.data(), 64, 64);
    const std::string png = ReadText(dir.Path("full.png"));
    TiffSpec g;
    g.nWidth = 8;
    g.nHeight = 8;
    g.nBits = 16;
    g.samples = std::vector<unsigned>(64, 300);
    const std::string tiff = MakeTiff(g);
    for (const auto& [whole, cuts] :
         {std::pair{png, std::vector<std::size_t>{9, 30, png.size() / 2, png.size() - 13}},
          std::pair{tiff, std::vector<std::size_t>{6, 40, tiff.size() - 20}}}) {
        for (std::size_t n : cuts) {
            const std::string cut = dir.Write("cut", whole.substr(0, n));
            EXPECT_THROW(ReadImage(cut, WithPixelSize()), Error) << n;
        }
    }
    std::string bad = png;
    bad[bad.size() / 2] ^= 0x55;  // breaks the compressed data or its checksum
    EXPECT_THROW(ReadImage(dir.Write("corrupt.png", bad), WithPixelSize()), Error);
}

#ifdef ZETDIP_SHARED_DATA
TEST(ImageFiles, real_mias_pgm_and_the_mg1_raw) {
    const std::string mias = testing::Shared("mias/mdb219.pgm");
    const std::string raw = testing::Shared("mg1/MG1_3064x4664_u16le.raw");
    if (!std::ifstream(mias) || !std::ifstream(raw)) GTEST_SKIP() << "no shared data";
    Image image = ReadImage(mias, WithPixelSize(0.2));
    EXPECT_EQ(image.nWidth, 1024);
    EXPECT_EQ(image.nHeight, 1024);
    EXPECT_EQ(image.nBitsStored, 8);

    ReadOptions o = RawSize(3064, 4664);
    image = ReadImage(raw, o);
    EXPECT_EQ(image.nBitsStored, 12);
    EXPECT_EQ(image.words.size(), 3064u * 4664u);
}
#endif

}  // namespace
}  // namespace zetdip::host
