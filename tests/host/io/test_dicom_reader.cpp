// DICOM input: fixtures written with WriteDicom in every layout of grey
// levels and transfer syntax the reader meets, refusals, and MG1 beside
// the project.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/error.h"
#include "host/fixtures.h"
#include "io/read_image.h"
#include "io/write_image.h"

namespace zetdip::host {
namespace {

using testing::ExpectError;
using testing::TempDir;

constexpr const char* kExplicitLittle = "1.2.840.10008.1.2.1";
constexpr const char* kImplicitLittle = "1.2.840.10008.1.2";
constexpr const char* kJpegLossless = "1.2.840.10008.1.2.4.70";
constexpr const char* kJpegLs = "1.2.840.10008.1.2.4.80";
constexpr const char* kJpeg2000 = "1.2.840.10008.1.2.4.90";
constexpr const char* kRle = "1.2.840.10008.1.2.5";

// A synthetic mammogram, 12 bits, 67 x 90.
const Image& Small() {
    static const Image m = testing::Phantom(1, false, 0.5, 33.5, 45.0);
    return m;
}

struct Layout {
    int nBitsStored, nHighBit;
    bool bSigned, bMonochrome1;
};

// Library-form values (unsigned, dense tissue bright) stored in the layout:
// inverted for MONOCHROME1, offset for signed samples, shifted to the high bit.
DicomFixture Store(const std::vector<unsigned short>& values, const Layout& l, const char* ts) {
    DicomFixture f;
    f.nWidth = Small().nWidth;
    f.nHeight = Small().nHeight;
    f.nBitsStored = l.nBitsStored;
    f.nHighBit = l.nHighBit;
    f.nPixelRepresentation = l.bSigned ? 1 : 0;
    f.photometric = l.bMonochrome1 ? "MONOCHROME1" : "MONOCHROME2";
    f.transferSyntaxUid = ts;
    const int nMax = (1 << l.nBitsStored) - 1, nShift = l.nHighBit - l.nBitsStored + 1;
    for (unsigned short v : values) {
        int s = l.bMonochrome1 ? nMax - v : v;
        if (l.bSigned) s -= 1 << (l.nBitsStored - 1);
        f.words.push_back(
            static_cast<unsigned short>(static_cast<unsigned>(s * (1 << nShift)) & 0xFFFFu));
    }
    f.attributes = {{"ImagerPixelSpacing", "0.5\\0.5"}};
    return f;
}

DicomFixture Plain(std::vector<unsigned short> words, int nWidth, int nHeight) {
    DicomFixture f;
    f.nWidth = nWidth;
    f.nHeight = nHeight;
    f.words = std::move(words);
    f.attributes = {{"ImagerPixelSpacing", "0.1\\0.1"},
                    {"PresentationIntentType", "FOR PRESENTATION"}};
    return f;
}

Image WriteAndRead(const std::string& path, const DicomFixture& f) {
    WriteDicom(path, f);
    return ReadImage(path, ReadOptions{});
}

TEST(DicomGreyLevels, every_layout_and_lossless_syntax_reads_back_the_library_form) {
    TempDir dir;
    // The last is below the word's high bit: shifted down on reading.
    const Layout kLayouts[] = {
        {12, 11, false, false}, {14, 13, true, true}, {16, 15, false, false}, {12, 13, true, true}};
    for (const Layout& l : kLayouts) {
        std::vector<unsigned short> values = Small().words;
        for (auto& v : values) v = static_cast<unsigned short>(v << (l.nBitsStored - 12));
        const bool bShifted = l.nHighBit != l.nBitsStored - 1;
        std::vector<const char*> syntaxes = {kExplicitLittle, kImplicitLittle};
        if (!bShifted)
            syntaxes.insert(syntaxes.end(),
                            {"1.2.840.10008.1.2.2", kJpegLossless, kJpegLs, kJpeg2000, kRle});
        for (const char* ts : syntaxes) {
            SCOPED_TRACE(::testing::Message() << l.nBitsStored << "/" << l.nHighBit << "/"
                                              << l.bSigned << l.bMonochrome1 << " " << ts);
            const DicomFixture f = Store(values, l, ts);
            const Image image = WriteAndRead(dir.Path("f.dcm"), f);
            EXPECT_EQ(image.format, "DICOM");
            EXPECT_EQ(image.transferSyntax, ts);
            EXPECT_EQ(image.nBitsStored, l.nBitsStored);
            EXPECT_EQ(image.photometric, f.photometric);
            EXPECT_TRUE(image.words == values && image.bytes.empty());
        }
    }
}

TEST(DicomGreyLevels, hand_worked_signed_inverted_shifted_rescaled_and_8bit_samples) {
    TempDir dir;
    auto edit = [](DicomFixture f, auto change) {
        change(f);
        return f;
    };
    DicomFixture rescaled = Plain({0, 50, 100, 3000, 3, 4095}, 3, 2);
    rescaled.attributes.insert(rescaled.attributes.end(),
                               {{"RescaleSlope", "2"}, {"RescaleIntercept", "-100"}});
    DicomFixture m1 = Plain({}, 4, 1);
    m1.nBitsAllocated = m1.nBitsStored = 8, m1.nHighBit = 7;
    m1.photometric = "MONOCHROME1";
    m1.bytes = {0, 10, 255, 128};
    const struct {
        const char* what;
        DicomFixture f;
        std::vector<unsigned> expected;  // words, or bytes of an 8-bit image
    } kCases[] = {
        // 12 bits signed: -1, -2048 and 2047 become 2047, 0 and 4095.
        {"signed",
         edit(Plain({0xFFFF, 0xF800, 0x07FF, 0}, 2, 2),
              [](DicomFixture& f) { f.nPixelRepresentation = 1; }),
         {2047, 0, 4095, 2048}},
        // (w >> 2), then 16383 - v: the two low bits are not the sample's.
        {"14 bits at high bit 15, MONOCHROME1",
         edit(Plain({0x0003, 0xFFFC, 0x8001, 0x0010}, 2, 2),
              [](DicomFixture& f) {
                  f.nBitsStored = 14, f.nHighBit = 15, f.photometric = "MONOCHROME1";
              }),
         {16383, 0, 16383 - 0x2000, 16383 - 4}},
        {"overlay bits cleared", Plain({0xF123, 0x1FFF}, 2, 1), {0x123, 0xFFF}},
        {"2x - 100, clamped", rescaled, {0, 0, 100, 4095, 0, 4095}},
        {"8 bits, MONOCHROME1", m1, {255, 245, 0, 127}},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(c.what);
        const Image image = WriteAndRead(dir.Path("f.dcm"), c.f);
        const std::vector<unsigned> got =
            image.Is8Bit() ? std::vector<unsigned>(image.bytes.begin(), image.bytes.end())
                           : std::vector<unsigned>(image.words.begin(), image.words.end());
        EXPECT_EQ(got, c.expected);
        EXPECT_EQ(image.Is8Bit(), c.f.nBitsStored == 8);
    }
}

TEST(DicomFacts, pixel_size_in_order_of_preference) {
    TempDir dir;
    const std::string path = dir.Path("f.dcm");
    DicomFixture f = Plain({1, 2}, 2, 1);
    f.attributes = {{"SpatialResolution", ".05"},
                    {"NominalScannedPixelSpacing", "0.3\\0.3"},
                    {"PixelSpacing", "0.1\\0.2"},
                    {"ImagerPixelSpacing", "0.0941\\0.0942"}};
    const struct {
        double dRow, dColumn;
        const char* source;
    } kExpected[] = {{0.0941, 0.0942, "ImagerPixelSpacing"},
                     {0.1, 0.2, "PixelSpacing"},
                     {0.3, 0.3, "NominalScannedPixelSpacing"},
                     {0.05, 0.05, "SpatialResolution"}};
    for (const auto& e : kExpected) {
        const Image image = WriteAndRead(path, f);
        ASSERT_TRUE(image.rowSpacing && image.columnSpacing) << e.source;
        EXPECT_EQ(image.rowSpacing->value, e.dRow);
        EXPECT_EQ(image.columnSpacing->value, e.dColumn);
        EXPECT_EQ(image.columnSpacing->source, e.source);
        f.attributes.pop_back();
    }
}

// A 2 x 1 plain mammogram changed in one way: the reader refuses it.
TEST(DicomRefusals, each_names_the_file_and_the_cause) {
    TempDir dir;
    using Edit = void (*)(DicomFixture&);
    const struct {
        const char* cause;
        Edit edit;
    } kCases[] = {
        // A digitised film under another modality must say it shows the breast.
        {"not a mammogram: modality RG",
         [](DicomFixture& f) { f.modality = "RG", f.sopClassUid = "1.2.840.10008.5.1.4.1.1.7"; }},
        {"multi-frame image (2 frames)",
         [](DicomFixture& f) {
             f.nFrames = 2, f.words = {1, 2, 3, 4};
         }},
        {"no pixel size in the file; pass --pixel-size",
         [](DicomFixture& f) { f.attributes.clear(); }},
    };
    for (const auto& c : kCases) {
        DicomFixture f = Plain({1, 2}, 2, 1);
        c.edit(f);
        const std::string path = dir.Path(std::string(c.cause).substr(0, 12) + ".dcm");
        ExpectError([&] { WriteAndRead(path, f); }, path, c.cause);
    }
    // Taken: a breast film under another modality.
    DicomFixture f = Plain({1, 2}, 2, 1);
    f.modality = "RG";
    f.sopClassUid = "1.2.840.10008.5.1.4.1.1.7";
    f.attributes.emplace_back("BodyPartExamined", "BREAST");
    EXPECT_EQ(WriteAndRead(dir.Path("rg.dcm"), f).words, f.words);
}

TEST(DicomRealFiles, mg1_jpeg2000_equals_its_raw_decoding) {
    const std::string j2k = testing::Shared("mg1/MG1_J2KI.dcm");
    if (!std::filesystem::exists(j2k)) GTEST_SKIP() << "no shared data";
    const std::vector<unsigned short> raw = testing::Mg1Raw();
    ASSERT_EQ(raw.size(), 3064u * 4664u);
    const Image image = ReadImage(j2k, ReadOptions{});
    EXPECT_EQ(image.nBitsStored, 12);
    ASSERT_TRUE(image.laterality && image.view);
    EXPECT_EQ(image.laterality->source + image.view->value, "LateralityMLO");
    EXPECT_EQ(image.patientOrientationRow + image.patientOrientationColumn, "AF");
    EXPECT_TRUE(image.words == raw);
    ASSERT_TRUE(image.rowSpacing);
    EXPECT_EQ(image.rowSpacing->value, 0.05);
    EXPECT_EQ(image.rowSpacing->source, "SpatialResolution");
}

}  // namespace
}  // namespace zetdip::host
