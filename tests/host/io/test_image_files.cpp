// PNG, PGM, TIFF and raw input: round trips through the writers, files
// written by hand, and every way such a file can be wrong.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "core/error.h"
#include "io/read_image.h"
#include "io/write_image.h"
#include "temp_dir.h"

namespace zetdip::host {
namespace {

using testing::TempDir;

ReadOptions WithPixelSize(double d = 0.1) {
    ReadOptions o;
    o.pixelSize = d;
    return o;
}

std::vector<unsigned short> RandomWords(std::size_t n, unsigned nMax, unsigned nSeed) {
    std::mt19937 rng(nSeed);
    std::uniform_int_distribution<unsigned> dist(0, nMax);
    std::vector<unsigned short> v(n);
    for (auto& w : v) w = static_cast<unsigned short>(dist(rng));
    return v;
}

std::vector<unsigned char> RandomBytes(std::size_t n, unsigned nSeed) {
    std::vector<unsigned char> v(n);
    std::mt19937 rng(nSeed);
    for (auto& b : v) b = static_cast<unsigned char>(rng());
    return v;
}

// The error names the file and its cause contains the given words.
template <class F>
void ExpectError(F f, const std::string& path, const std::string& cause) {
    try {
        f();
        ADD_FAILURE() << "no Error for " << path << " (expected: " << cause << ")";
    } catch (const Error& e) {
        EXPECT_EQ(e.File(), path);
        EXPECT_NE(e.Cause().find(cause), std::string::npos) << e.what();
    }
}

// ---- PNG --------------------------------------------------------------------

TEST(PngFiles, grey8_round_trips_at_sizes_that_break_loops) {
    TempDir dir;
    for (auto [w, h] : {std::pair{1, 1}, {3, 1}, {1, 3}, {67, 33}}) {
        const auto pixels = RandomBytes(static_cast<std::size_t>(w) * h, w * 100 + h);
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
    auto pixels = RandomWords(67 * 33, 4095, 5);
    pixels[100] = 4095;
    WritePngGrey16(path, pixels.data(), 67, 33);
    Image image = ReadImage(path, WithPixelSize());
    EXPECT_EQ(image.nBitsStored, 12);
    EXPECT_EQ(image.words, pixels);

    ReadOptions o = WithPixelSize();
    o.bitsStored = 14;
    EXPECT_EQ(ReadImage(path, o).nBitsStored, 14);
    o.bitsStored = 11;
    ExpectError([&] { ReadImage(path, o); }, path, "sample value 4095 exceeds 11 bits");

    // Small values still make a 16-bit image, never fewer than 9 bits.
    const std::vector<unsigned short> dark = {0, 3, 200, 7};
    WritePngGrey16(path, dark.data(), 2, 2);
    image = ReadImage(path, WithPixelSize());
    EXPECT_EQ(image.nBitsStored, 9);
    EXPECT_EQ(image.words, dark);
}

TEST(PngFiles, colour_is_refused_and_8bit_rejects_a_bits_option) {
    TempDir dir;
    const std::string path = dir.Path("rgb.png");
    const auto rgb = RandomBytes(3 * 4 * 2, 1);
    WritePngRgb8(path, rgb.data(), 4, 2);
    ExpectError([&] { ReadImage(path, WithPixelSize()); }, path, "colour or alpha PNG (RGB)");

    const std::string grey = dir.Path("grey.png");
    WritePngGrey8(grey, rgb.data(), 4, 2);
    ReadOptions o = WithPixelSize();
    o.bitsStored = 12;
    ExpectError([&] { ReadImage(grey, o); }, grey, "8-bit file");
}

TEST(PngFiles, truncated_or_corrupt_files_fail_cleanly) {
    TempDir dir;
    const std::string path = dir.Path("full.png");
    const auto pixels = RandomBytes(64 * 64, 2);
    WritePngGrey8(path, pixels.data(), 64, 64);
    std::ifstream in(path, std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(in)), {});
    for (std::size_t n : {std::size_t{9}, std::size_t{30}, whole.size() / 2, whole.size() - 13}) {
        const std::string cut = dir.Write("cut.png", whole.substr(0, n));
        EXPECT_THROW(ReadImage(cut, WithPixelSize()), Error) << n;
    }
    std::string bad = whole;
    bad[bad.size() / 2] ^= 0x55;  // breaks the compressed data or its checksum
    const std::string corrupt = dir.Write("corrupt.png", bad);
    EXPECT_THROW(ReadImage(corrupt, WithPixelSize()), Error);
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

TEST(PgmFiles, malformed_headers_and_rasters_are_refused) {
    TempDir dir;
    struct Case {
        std::string contents;
        std::string cause;
    };
    const std::vector<Case> cases = {
        {"P5\n4 4\n255\n" + std::string(15, 'x'), "truncated"},
        {"P5\n4 4\n", "file ends before the maximum value"},
        {"P5\nfour 4\n255\n", "expected the width"},
        {"P5 0 4 255\n", "is empty"},
        {"P5 100000 100000 255\n", "exceeds 268435456 pixels"},
        {"P5 4294967295 4294967295 255\n", "exceeds"},
        {"P5 99999999999 1 255\n", "too large"},
        {"P5 2 1 70000\nabcd", "outside 1..65535"},
        {"P5 2 1 0\nab", "outside 1..65535"},
        {std::string("P5 2 1 1000\n\x03\xe9\x00\x00", 16), "exceeds the PGM maximum value 1000"},
        {"P2 2 1 100 5 101", "exceeds the PGM maximum value 100"},
        {"P2 2 2 100 5 6 7", "file ends before the next sample"},
    };
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const std::string path = dir.Write("bad" + std::to_string(i) + ".pgm", cases[i].contents);
        ExpectError([&] { ReadImage(path, WithPixelSize()); }, path, cases[i].cause);
    }
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

TEST(TiffFiles, colour_other_depths_and_truncation_are_refused) {
    TempDir dir;
    TiffSpec t;
    t.nWidth = 2;
    t.nHeight = 2;
    t.nSamples = 3;
    t.nPhotometric = 2;
    t.samples = std::vector<unsigned>(12, 9);
    std::string path = dir.Write("rgb.tif", MakeTiff(t));
    ExpectError([&] { ReadImage(path, WithPixelSize()); }, path, "colour or alpha TIFF (3 samples");

    t.nSamples = 2;  // grey and alpha
    t.nPhotometric = 1;
    t.samples.resize(8);
    path = dir.Write("alpha.tif", MakeTiff(t));
    ExpectError([&] { ReadImage(path, WithPixelSize()); }, path, "colour or alpha TIFF (2 samples");

    TiffSpec g;
    g.nWidth = 8;
    g.nHeight = 8;
    g.nBits = 16;
    g.samples = std::vector<unsigned>(64, 300);
    const std::string whole = MakeTiff(g);
    for (std::size_t n : {std::size_t{6}, std::size_t{40}, whole.size() - 20}) {
        path = dir.Write("cut.tif", whole.substr(0, n));
        EXPECT_THROW(ReadImage(path, WithPixelSize()), Error) << n;
    }
}

// ---- raw --------------------------------------------------------------------

TEST(RawFiles, little_endian_words_and_an_exact_size) {
    TempDir dir;
    const std::string path =
        dir.Write("r.raw", std::string("\x01\x00\xff\x0f\x00\x08\x34\x12\x00\x00\x02\x00", 12));
    ReadOptions o = WithPixelSize(0.05);
    o.rawWidth = 3;
    o.rawHeight = 2;
    const Image image = ReadImage(path, o);
    EXPECT_EQ(image.format, "raw");
    EXPECT_EQ(image.words, (std::vector<unsigned short>{1, 0x0fff, 0x0800, 0x1234, 0, 2}));
    EXPECT_EQ(image.nBitsStored, 13);

    o.rawWidth = 2;
    ExpectError([&] { ReadImage(path, o); }, path, "file size 12 bytes does not match 2 x 2");
    o.rawWidth = 5;
    ExpectError([&] { ReadImage(path, o); }, path, "does not match 5 x 2");
    o.rawWidth = 1 << 20;
    o.rawHeight = 1 << 20;
    ExpectError([&] { ReadImage(path, o); }, path, "exceeds");
    o.rawHeight = -1;
    ExpectError([&] { ReadImage(path, o); }, path, "is empty");
    o.rawHeight.reset();
    ExpectError([&] { ReadImage(path, o); }, path, "both its width and its height");
}

// ---- what every format shares -----------------------------------------------

TEST(ImageFiles, missing_empty_directory_and_unknown_files) {
    TempDir dir;
    const std::string missing = dir.Path("missing.png");
    ExpectError([&] { ReadImage(missing, WithPixelSize()); }, missing, "No such file");
    const std::string empty = dir.Write("empty.pgm", "");
    ExpectError([&] { ReadImage(empty, WithPixelSize()); }, empty, "empty file");
    const std::string folder = dir.Dir().string();
    ExpectError([&] { ReadImage(folder, WithPixelSize()); }, folder, "is a directory");
    const std::string text = dir.Write("notes.txt", "just some text, not an image");
    ExpectError([&] { ReadImage(text, WithPixelSize()); }, text, "unknown file format");
}

TEST(ImageFiles, no_pixel_size_is_an_error_and_a_bad_one_too) {
    TempDir dir;
    const std::string path = dir.Write("a.pgm", "P5 1 1 255\n\x05");
    ExpectError([&] { ReadImage(path, ReadOptions{}); }, path,
                "no pixel size in the file; pass --pixel-size");
    ExpectError([&] { ReadImage(path, WithPixelSize(0.0)); }, path, "--pixel-size must be");
    ExpectError([&] { ReadImage(path, WithPixelSize(-0.1)); }, path, "--pixel-size must be");
}

#ifdef ZETDIP_SHARED_DATA
TEST(ImageFiles, real_mias_pgm_and_the_mg1_raw) {
    const std::string mias = std::string(ZETDIP_SHARED_DATA) + "/mias/mdb219.pgm";
    const std::string raw = std::string(ZETDIP_SHARED_DATA) + "/mg1/MG1_3064x4664_u16le.raw";
    if (!std::ifstream(mias) || !std::ifstream(raw)) GTEST_SKIP() << "no shared data";
    Image image = ReadImage(mias, WithPixelSize(0.2));
    EXPECT_EQ(image.nWidth, 1024);
    EXPECT_EQ(image.nHeight, 1024);
    EXPECT_EQ(image.nBitsStored, 8);

    ReadOptions o = WithPixelSize(0.05);
    o.rawWidth = 3064;
    o.rawHeight = 4664;
    image = ReadImage(raw, o);
    EXPECT_EQ(image.nBitsStored, 12);
    EXPECT_EQ(image.words.size(), 3064u * 4664u);
}
#endif

}  // namespace
}  // namespace zetdip::host
