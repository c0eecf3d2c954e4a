// DICOM input: fixtures written with WriteDicom in every layout of grey
// levels and transfer syntax the reader meets, the real headers and the MG1
// mammogram beside the project.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "core/error.h"
#include "host/fixtures.h"
#include "io/read_image.h"
#include "io/write_image.h"

namespace zetdip::host {
namespace {

using testing::ExpectError;
using testing::ReadText;
using testing::TempDir;

constexpr const char* kExplicitLittle = "1.2.840.10008.1.2.1";
constexpr const char* kImplicitLittle = "1.2.840.10008.1.2";
constexpr const char* kExplicitBig = "1.2.840.10008.1.2.2";
constexpr const char* kJpegLossless = "1.2.840.10008.1.2.4.70";
constexpr const char* kJpegLs = "1.2.840.10008.1.2.4.80";
constexpr const char* kJpeg2000Lossless = "1.2.840.10008.1.2.4.90";
constexpr const char* kRle = "1.2.840.10008.1.2.5";

// A small synthetic mammogram, 12 bits, 67 x 90.
const Image& Small() {
    static const Image m = testing::Phantom(1, false, 0.5, 33.5, 45.0);
    return m;
}

struct Layout {
    int nBitsStored;
    int nHighBit;
    bool bSigned;
    bool bMonochrome1;
};

// The fixture that stores library-form values (unsigned, bright dense
// tissue) in the given layout: inverted for MONOCHROME1, as two's
// complement sign-extended to the word for signed samples, shifted up to
// the high bit.
DicomFixture Store(const std::vector<unsigned short>& values, const Layout& l,
                   const char* transferSyntax = kExplicitLittle) {
    DicomFixture f;
    f.nWidth = Small().nWidth;
    f.nHeight = Small().nHeight;
    f.nBitsStored = l.nBitsStored;
    f.nHighBit = l.nHighBit;
    f.nPixelRepresentation = l.bSigned ? 1 : 0;
    f.photometric = l.bMonochrome1 ? "MONOCHROME1" : "MONOCHROME2";
    f.transferSyntaxUid = transferSyntax;
    const int nMax = (1 << l.nBitsStored) - 1;
    const int nShift = l.nHighBit - l.nBitsStored + 1;
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

// ---- grey levels ----------------------------------------------------------------

TEST(DicomGreyLevels, every_layout_and_lossless_syntax_reads_back_the_library_form) {
    TempDir dir;
    const Layout kLayouts[] = {
        {12, 11, false, false},
        {14, 13, false, true},
        {12, 11, true, false},
        {14, 13, true, true},
        {16, 15, false, false},
        // Stored bits below the high bit of the word: shifted down on reading.
        {12, 15, false, false},
        {12, 13, true, true},
    };
    const char* kSyntaxes[] = {kExplicitLittle, kImplicitLittle,   kExplicitBig, kJpegLossless,
                               kJpegLs,         kJpeg2000Lossless, kRle};
    for (const Layout& l : kLayouts) {
        std::vector<unsigned short> values = Small().words;
        for (auto& v : values) v = static_cast<unsigned short>(v << (l.nBitsStored - 12));
        for (const char* ts : kSyntaxes) {
            const bool bShifted = l.nHighBit != l.nBitsStored - 1;
            if (bShifted && ts != kExplicitLittle && ts != kImplicitLittle) continue;
            SCOPED_TRACE(std::to_string(l.nBitsStored) + " bits, high bit " +
                         std::to_string(l.nHighBit) + (l.bSigned ? ", signed" : "") +
                         (l.bMonochrome1 ? ", MONOCHROME1, " : ", ") + ts);
            const DicomFixture f = Store(values, l, ts);
            const Image image = WriteAndRead(dir.Path("f.dcm"), f);
            EXPECT_EQ(image.format, "DICOM");
            EXPECT_EQ(image.transferSyntax, ts);
            EXPECT_EQ(image.nBitsStored, l.nBitsStored);
            EXPECT_EQ(image.photometric, f.photometric);
            EXPECT_TRUE(image.words == values);
            EXPECT_TRUE(image.bytes.empty());
        }
    }
}

TEST(DicomGreyLevels, hand_worked_signed_inverted_shifted_and_rescaled_words) {
    TempDir dir;
    const std::string path = dir.Path("f.dcm");
    auto rescaled = [](const char* slope, const char* intercept) {
        DicomFixture f = Plain({0, 50, 100, 3000, 3, 4095}, 3, 2);
        f.attributes.emplace_back("RescaleSlope", slope);
        f.attributes.emplace_back("RescaleIntercept", intercept);
        return f;
    };
    struct Case {
        const char* what;
        DicomFixture f;
        std::vector<unsigned short> expected;
        const char* note;  // words of a note; "": no note at all
    };
    std::vector<Case> cases;
    // 12 bits signed: -1, -2048 and 2047 become 2047, 0 and 4095.
    cases.push_back({"signed",
                     Plain({0xFFFF, 0xF800, 0x07FF, 0x0000}, 2, 2),
                     {2047, 0, 4095, 2048},
                     "signed samples offset by 2048"});
    cases.back().f.nPixelRepresentation = 1;
    // 14 bits at high bit 15, MONOCHROME1: (w >> 2) then 16383 - v; the two
    // low bits are not part of the sample.
    cases.push_back({"14 bits at high bit 15, MONOCHROME1",
                     Plain({0x0003, 0xFFFC, 0x8001, 0x0010}, 2, 2),
                     {16383, 0, 16383 - 0x2000, 16383 - 4},
                     "moved to the bottom"});
    cases.back().f.nBitsStored = 14;
    cases.back().f.nHighBit = 15;
    cases.back().f.photometric = "MONOCHROME1";
    // Bits above the stored ones (an overlay, say) are cleared.
    cases.push_back({"overlay bits", Plain({0xF123, 0x1FFF}, 2, 1), {0x123, 0xFFF}, ""});
    // Rescale applied, then clamped to the stored range.
    cases.push_back({"2x - 100",
                     rescaled("2", "-100"),
                     {0, 0, 100, 4095, 0, 4095},
                     "; 4 samples clamped to 0..4095"});
    // Rounded half up: 0.5 * 3 + 0.5 = 2 stays 2, 0.5 * 0 + 0.5 becomes 1.
    cases.push_back(
        {"x / 2 + 0.5", rescaled("0.5", "0.5"), {1, 26, 51, 1501, 2, 2048}, "; 0 samples clamped"});
    // Identity rescale: no note, no change.
    cases.push_back({"identity", rescaled("1", "0"), {0, 50, 100, 3000, 3, 4095}, ""});
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const Image image = WriteAndRead(path, c.f);
        EXPECT_EQ(image.words, c.expected);
        std::string notes;
        for (const std::string& note : image.notes) notes += note + "\n";
        if (*c.note == '\0')
            EXPECT_EQ(notes, "");
        else
            EXPECT_NE(notes.find(c.note), std::string::npos) << notes;
    }
}

TEST(DicomGreyLevels, eight_bits_allocated_gives_an_8bit_image) {
    TempDir dir;
    const std::string path = dir.Path("f.dcm");
    DicomFixture f;
    f.nWidth = 4;
    f.nHeight = 1;
    f.nBitsAllocated = 8;
    f.nBitsStored = 8;
    f.nHighBit = 7;
    f.photometric = "MONOCHROME1";
    f.bytes = {0, 10, 255, 128};
    f.attributes = {{"PixelSpacing", "0.2\\0.2"}};
    for (const char* ts : {kExplicitLittle, kJpegLossless, kRle}) {
        f.transferSyntaxUid = ts;
        const Image image = WriteAndRead(path, f);
        EXPECT_TRUE(image.Is8Bit()) << ts;
        EXPECT_EQ(image.bytes, (std::vector<unsigned char>{255, 245, 0, 127})) << ts;
        EXPECT_TRUE(image.words.empty());
    }
    // Eight bits stored in 16-bit words make an 8-bit image too.
    DicomFixture wide = Plain({0x0100, 0x00FF, 0x8012, 7}, 2, 2);
    wide.nBitsStored = 8;
    wide.nHighBit = 7;
    const Image image = WriteAndRead(path, wide);
    EXPECT_TRUE(image.Is8Bit());
    EXPECT_EQ(image.bytes, (std::vector<unsigned char>{0, 255, 0x12, 7}));
}

// ---- facts ------------------------------------------------------------------------

TEST(DicomFacts, pixel_size_in_order_of_preference_and_the_override) {
    TempDir dir;
    const std::string path = dir.Path("f.dcm");
    DicomFixture f = Plain({1, 2}, 2, 1);
    f.attributes = {{"SpatialResolution", ".05"},
                    {"NominalScannedPixelSpacing", "0.3\\0.3"},
                    {"PixelSpacing", "0.1\\0.2"},
                    {"ImagerPixelSpacing", "0.0941\\0.0942"}};
    struct Expect {
        double dRow;
        double dColumn;
        const char* source;
    };
    const Expect kExpected[] = {{0.0941, 0.0942, "ImagerPixelSpacing"},
                                {0.1, 0.2, "PixelSpacing"},
                                {0.3, 0.3, "NominalScannedPixelSpacing"},
                                {0.05, 0.05, "SpatialResolution"}};
    for (const Expect& e : kExpected) {
        const Image image = WriteAndRead(path, f);
        ASSERT_TRUE(image.rowSpacing && image.columnSpacing) << e.source;
        EXPECT_EQ(image.rowSpacing->value, e.dRow);
        EXPECT_EQ(image.columnSpacing->value, e.dColumn);
        EXPECT_EQ(image.rowSpacing->source, e.source);
        EXPECT_EQ(image.columnSpacing->source, e.source);
        ReadOptions o;
        o.pixelSize = 0.07;
        const Image overridden = ReadImage(path, o);
        EXPECT_EQ(overridden.rowSpacing->value, 0.07);
        EXPECT_EQ(overridden.rowSpacing->source, "--pixel-size");
        f.attributes.pop_back();
    }
    // An unusable value is passed over, with a note.
    f.attributes = {{"ImagerPixelSpacing", "0\\0"},
                    {"PixelSpacing", "0.15\\0.15"},
                    {"PresentationIntentType", "FOR PRESENTATION"}};
    const Image image = WriteAndRead(path, f);
    EXPECT_EQ(image.rowSpacing->source, "PixelSpacing");
    EXPECT_EQ(image.notes.size(), 1u);
}

TEST(DicomFacts, laterality_view_orientation_and_intent) {
    TempDir dir;
    const std::string path = dir.Path("f.dcm");
    DicomFixture f = Plain({1, 2}, 2, 1);
    f.attributes.emplace_back("ImageLaterality", "R");
    f.attributes.emplace_back("Laterality", "L");
    f.attributes.emplace_back("ViewPosition", "MLO");
    f.attributes.emplace_back("PatientOrientation", "P\\L");
    f.attributes.emplace_back("PresentationIntentType", "FOR PROCESSING");
    f.viewCodeValue = "R-10242";
    f.viewCodeMeaning = "cranio-caudal";
    Image image = WriteAndRead(path, f);
    ASSERT_TRUE(image.laterality && image.view && image.forProcessing);
    EXPECT_EQ(image.laterality->value, Laterality::Right);
    EXPECT_EQ(image.laterality->source, "ImageLaterality");
    EXPECT_EQ(image.view->value, "MLO");
    EXPECT_EQ(image.view->source, "ViewPosition");
    EXPECT_EQ(image.patientOrientationRow, "P");
    EXPECT_EQ(image.patientOrientationColumn, "L");
    EXPECT_TRUE(*image.forProcessing);
    EXPECT_FALSE(image.sopInstanceUid.empty());

    // Without the preferred elements: Laterality, then the view code.
    f.attributes = {{"ImagerPixelSpacing", "0.1"}, {"Laterality", "L"}};
    image = WriteAndRead(path, f);
    EXPECT_EQ(image.laterality->value, Laterality::Left);
    EXPECT_EQ(image.laterality->source, "Laterality");
    EXPECT_EQ(image.view->value, "CC");
    EXPECT_EQ(image.view->source, "ViewCodeSequence");
    // The SOP class says for presentation when the intent is not given.
    ASSERT_TRUE(image.forProcessing);
    EXPECT_FALSE(*image.forProcessing);
    EXPECT_TRUE(image.patientOrientationRow.empty());

    const char* kCodes[][3] = {{"", "medio-lateral oblique", "MLO"},
                               {"", "Cranio-Caudal Exaggerated Laterally", "XCCL"},
                               {"R-10228", "latero-medial", "LM"},
                               {"R-10226", "something else", "MLO"}};
    for (const auto& code : kCodes) {
        f.viewCodeValue = code[0];
        f.viewCodeMeaning = code[1];
        image = WriteAndRead(path, f);
        ASSERT_TRUE(image.view) << code[1];
        EXPECT_EQ(image.view->value, code[2]);
    }

    // Neither side nor a known view: left unset, said in the notes.
    f.attributes = {{"ImagerPixelSpacing", "0.1"}, {"ImageLaterality", "B"}};
    f.viewCodeValue = "X-1";
    f.viewCodeMeaning = "unheard of";
    image = WriteAndRead(path, f);
    EXPECT_FALSE(image.laterality);
    EXPECT_FALSE(image.view);
    int nSaid = 0;
    for (const std::string& note : image.notes)
        nSaid += note == "ImageLaterality 'B' is neither L nor R; ignored" ||
                 note == "view code X-1 'unheard of' not recognised";
    EXPECT_EQ(nSaid, 2);
}

TEST(DicomFacts, image_round_trips_through_the_image_writer) {
    TempDir dir;
    Image image = Small();
    image.rowSpacing = Fact<double>{0.5, "--pixel-size"};
    image.columnSpacing = Fact<double>{0.5, "--pixel-size"};
    image.laterality = Fact<Laterality>{Laterality::Right, "image"};
    image.view = Fact<std::string>{"CC", "image"};
    image.patientOrientationRow = "A";
    image.patientOrientationColumn = "R";
    for (const char* ts : {"", kJpeg2000Lossless}) {
        const std::string path = dir.Path("phantom.dcm");
        WriteDicom(path, image, ts);
        const Image back = ReadImage(path, ReadOptions{});
        EXPECT_EQ(back.words, image.words);
        EXPECT_EQ(back.nBitsStored, 12);
        EXPECT_EQ(back.rowSpacing->value, 0.5);
        EXPECT_EQ(back.rowSpacing->source, "ImagerPixelSpacing");
        EXPECT_EQ(back.laterality->value, Laterality::Right);
        EXPECT_EQ(back.view->value, "CC");
        EXPECT_EQ(back.patientOrientationColumn, "R");
        EXPECT_FALSE(*back.forProcessing);
    }
    image.nBitsStored = 8;
    image.bytes.assign(image.words.begin(), image.words.end());
    image.words.clear();
    const std::string path = dir.Path("phantom8.dcm");
    WriteDicom(path, image);
    EXPECT_EQ(ReadImage(path, ReadOptions{}).bytes, image.bytes);
}

// ---- refusals -------------------------------------------------------------------

// What the writer cannot write or the reader will not read, from a 2 x 1
// plain mammogram changed in one way; the writer leaves nothing behind.
TEST(DicomRefusals, each_names_the_file_and_the_cause) {
    TempDir dir;
    using Edit = void (*)(DicomFixture&);
    const struct {
        const char* cause;
        Edit edit;
        bool bWriter;
    } kCases[] = {
        {"not a mammogram: modality CT",
         [](DicomFixture& f) {
             f.modality = "CT";
             f.sopClassUid = "1.2.840.10008.5.1.4.1.1.2";
         },
         false},
        // A digitised film under another modality needs to show the breast.
        {"not a mammogram: modality RG",
         [](DicomFixture& f) {
             f.modality = "RG";
             f.sopClassUid = "1.2.840.10008.5.1.4.1.1.7";
         },
         false},
        {"multi-frame image (2 frames)",
         [](DicomFixture& f) {
             f.nFrames = 2;
             f.words = {1, 2, 3, 4};
         },
         false},
        {"colour image (RGB, 3 samples",
         [](DicomFixture& f) {
             f.nSamplesPerPixel = 3;
             f.nBitsAllocated = f.nBitsStored = 8;
             f.nHighBit = 7;
             f.photometric = "RGB";
             f.words.clear();
             f.bytes = {1, 2, 3, 4, 5, 6};
         },
         false},
        {"high bit 10 is below bits stored - 1 (11)", [](DicomFixture& f) { f.nHighBit = 10; },
         false},
        {"no pixel size in the file; pass --pixel-size",
         [](DicomFixture& f) { f.attributes.clear(); }, false},
        {"unknown transfer syntax 1.2.3.4",
         [](DicomFixture& f) { f.transferSyntaxUid = "1.2.3.4"; }, true},
        {"smaller than 16 x 16", [](DicomFixture& f) { f.transferSyntaxUid = kJpeg2000Lossless; },
         true},
        {"cannot write DICOM attribute PatientName",
         [](DicomFixture& f) { f.attributes.emplace_back("PatientName", "x"); }, true},
        {"has 3 samples, its size needs 4",
         [](DicomFixture& f) {
             f.nHeight = 2;
             f.words = {1, 2, 3};
         },
         true},
        {"odd number of 8-bit samples",
         [](DicomFixture& f) {
             f.nWidth = 3;
             f.nBitsAllocated = f.nBitsStored = 8;
             f.nHighBit = 7;
             f.words.clear();
             f.bytes = {1, 2, 3};
             f.transferSyntaxUid = kRle;
         },
         true},
    };
    for (const auto& c : kCases) {
        DicomFixture f = Plain({1, 2}, 2, 1);
        c.edit(f);
        const std::string path = dir.Path(std::string(c.cause).substr(0, 12) + ".dcm");
        ExpectError([&] { WriteAndRead(path, f); }, path, c.cause);
        EXPECT_EQ(std::filesystem::exists(path), !c.bWriter) << c.cause;
    }
    for (const std::string& name : dir.Files())
        EXPECT_EQ(name.find(".tmp"), std::string::npos) << name;
    ExpectError([&] { WriteDicom(dir.Path("none/w.dcm"), Plain({1}, 1, 1)); },
                dir.Path("none/w.dcm"), "No such file or directory");
}

TEST(DicomRefusals, breast_films_under_other_modalities_are_taken) {
    TempDir dir;
    const std::string path = dir.Path("f.dcm");
    DicomFixture f = Plain({1, 2}, 2, 1);
    f.modality = "RG";
    f.sopClassUid = "1.2.840.10008.5.1.4.1.1.7";
    f.attributes.emplace_back("BodyPartExamined", "BREAST");
    EXPECT_EQ(WriteAndRead(path, f).words, f.words);
    // So is any modality with a mammography SOP class.
    f.attributes = {{"ImagerPixelSpacing", "0.1"}};
    f.modality = "OT";
    f.sopClassUid = "1.2.840.10008.5.1.4.1.1.1.2.1";
    EXPECT_TRUE(*WriteAndRead(path, f).forProcessing);
}

// Truncated files are refused. GDCM stops the process on some malformed
// files; whatever bytes are changed, reading ends in an image or an Error.
TEST(DicomRefusals, truncated_and_corrupt_files_end_in_an_error_never_a_stop) {
    TempDir dir;
    std::mt19937 rng(7);
    for (const char* ts : {kExplicitLittle, kJpegLossless, kJpeg2000Lossless, kJpegLs, kRle}) {
        DicomFixture f = Store(Small().words, {12, 11, false, false}, ts);
        f.viewCodeValue = "R-10226";
        f.viewCodeMeaning = "medio-lateral oblique";
        const std::string path = dir.Path("full.dcm");
        WriteDicom(path, f);
        const std::string whole = ReadText(path);
        for (std::size_t n :
             {std::size_t{140}, std::size_t{600}, whole.size() / 2, whole.size() - 40}) {
            const std::string cut = dir.Write("cut.dcm", whole.substr(0, n));
            EXPECT_THROW(ReadImage(cut, ReadOptions{}), Error) << ts << " cut at " << n;
        }
        if (ts == kJpegLs) continue;
        for (int k = 0; k < 30; ++k) {
            std::string bytes = whole;
            for (int j = 0; j < 3; ++j)
                bytes[128 + rng() % (bytes.size() - 128)] = static_cast<char>(rng());
            const std::string bad = dir.Write("bad.dcm", bytes);
            try {
                const Image image = ReadImage(bad, ReadOptions{});
                EXPECT_EQ(image.PixelCount(),
                          image.Is8Bit() ? image.bytes.size() : image.words.size());
            } catch (const Error& e) {
                EXPECT_EQ(e.File(), bad);
            }
        }
    }
    std::string junk(128, '\0');
    junk += "DICM";
    junk += std::string(300, '\x7f');
    const std::string path = dir.Write("junk.dcm", junk);
    EXPECT_THROW(ReadImage(path, ReadOptions{}), Error);
}

// Rows rewritten in the file after writing, so that the header and the
// pixel data disagree (explicit little endian: tag, "US", length 2, value).
void PatchRows(const std::string& path, unsigned nOld, unsigned nNew) {
    std::string bytes = ReadText(path);
    std::string rows("\x28\x00\x10\x00US\x02\x00", 8);
    rows += static_cast<char>(nOld & 0xFF);
    rows += static_cast<char>(nOld >> 8);
    const std::size_t at = bytes.find(rows);
    ASSERT_NE(at, std::string::npos);
    bytes[at + 8] = static_cast<char>(nNew & 0xFF);
    bytes[at + 9] = static_cast<char>(nNew >> 8);
    std::ofstream(path, std::ios::binary) << bytes;
}

TEST(DicomRefusals, header_size_disagreeing_with_the_pixel_data) {
    TempDir dir;
    for (const char* ts : {kExplicitLittle, kJpegLossless, kJpegLs, kJpeg2000Lossless, kRle}) {
        for (unsigned nRows : {89u, 91u, 4000u}) {
            // RLE segments say nothing of the rows; fewer rows than coded
            // read as the image's first rows.
            if (ts == kRle && nRows < 90) continue;
            const std::string path = dir.Path("patched.dcm");
            WriteDicom(path, Store(Small().words, {12, 11, false, false}, ts));
            PatchRows(path, 90, nRows);
            EXPECT_THROW(ReadImage(path, ReadOptions{}), Error) << ts << " rows " << nRows;
        }
    }
}

// ---- real files -------------------------------------------------------------------

#ifdef ZETDIP_SHARED_DATA
using testing::Shared;

TEST(DicomRealFiles, four_mammography_headers) {
    struct Expect {
        const char* file;
        int nWidth, nHeight, nBitsStored;
        const char* photometric;
        bool bForProcessing;
        const char* orientationRow;
        const char* orientationColumn;
    };
    const Expect kFiles[] = {
        {"MG-Im-GE-SenDS-scaled.dcm", 4, 4, 14, "MONOCHROME1", true, "A", "R"},
        {"MG-Im-GE_Seno_1_ForPresentation.dcm", 2, 1, 12, "MONOCHROME2", false, "R", "P"},
        {"MG-Im-GE_Seno_1_ForProcessing.dcm", 2, 1, 11, "MONOCHROME1", true, "R", "P"},
        {"MG-Im-GE_Seno_2_ForPresentation.dcm", 2, 1, 11, "MONOCHROME2", false, "R", "P"},
    };
    for (const Expect& e : kFiles) {
        const std::string path = Shared(std::string("dicom-headers/") + e.file);
        if (!std::ifstream(path)) GTEST_SKIP() << "no shared data";
        SCOPED_TRACE(e.file);
        const Image image = ReadImage(path, ReadOptions{});
        EXPECT_EQ(image.nWidth, e.nWidth);
        EXPECT_EQ(image.nHeight, e.nHeight);
        EXPECT_EQ(image.nBitsStored, e.nBitsStored);
        EXPECT_EQ(image.photometric, e.photometric);
        EXPECT_EQ(image.transferSyntax, kExplicitLittle);
        ASSERT_TRUE(image.rowSpacing && image.laterality && image.view && image.forProcessing);
        EXPECT_NEAR(image.rowSpacing->value, 0.0941, 1e-4);
        EXPECT_NEAR(image.columnSpacing->value, 0.0941, 1e-4);
        EXPECT_EQ(image.rowSpacing->source, "ImagerPixelSpacing");
        EXPECT_EQ(image.laterality->value, Laterality::Left);
        EXPECT_EQ(image.laterality->source, "ImageLaterality");
        EXPECT_EQ(image.view->value, "CC");
        EXPECT_EQ(*image.forProcessing, e.bForProcessing);
        EXPECT_EQ(image.patientOrientationRow, e.orientationRow);
        EXPECT_EQ(image.patientOrientationColumn, e.orientationColumn);
        const int nMax = (1 << e.nBitsStored) - 1;
        for (unsigned short w : image.words) EXPECT_LE(w, nMax);
    }
}

TEST(DicomRealFiles, mg1_jpeg2000_equals_its_raw_decoding_and_lossy_jpeg_is_close) {
    const std::string j2k = Shared("mg1/MG1_J2KI.dcm");
    const std::string jpeg = Shared("mg1/MG1_JPLY.dcm");
    if (!std::ifstream(j2k) || !std::ifstream(jpeg)) GTEST_SKIP() << "no shared data";
    const std::vector<unsigned short> raw = testing::Mg1Raw();
    ASSERT_EQ(raw.size(), 3064u * 4664u);

    Image image = ReadImage(j2k, ReadOptions{});
    EXPECT_EQ(image.nWidth, 3064);
    EXPECT_EQ(image.nHeight, 4664);
    EXPECT_EQ(image.nBitsStored, 12);
    EXPECT_TRUE(image.words == raw);
    ASSERT_TRUE(image.rowSpacing && image.laterality && image.view);
    EXPECT_EQ(image.rowSpacing->value, 0.05);
    EXPECT_EQ(image.rowSpacing->source, "SpatialResolution");
    EXPECT_EQ(image.laterality->value, Laterality::Left);
    EXPECT_EQ(image.laterality->source, "Laterality");
    EXPECT_EQ(image.view->value, "MLO");
    EXPECT_EQ(image.patientOrientationRow, "A");
    EXPECT_EQ(image.patientOrientationColumn, "F");
    EXPECT_FALSE(image.forProcessing);

    // The lossy JPEG is a second lossy coding of the same film, compared with
    // the JPEG 2000 decoding: measured mean absolute difference 13.25 grey
    // levels of 4095 and maximum 192, spread evenly over the image (every
    // eighth of the rows between 12.2 and 14.0), with equal means.
    image = ReadImage(jpeg, ReadOptions{});
    ASSERT_EQ(image.words.size(), raw.size());
    double dSum = 0.0;
    int nMax = 0;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        const int d = std::abs(static_cast<int>(image.words[i]) - static_cast<int>(raw[i]));
        dSum += d;
        nMax = std::max(nMax, d);
    }
    const double dMean = dSum / static_cast<double>(raw.size());
    EXPECT_GT(dMean, 12.0);
    EXPECT_LT(dMean, 14.5);
    EXPECT_LE(nMax, 200);
}
#endif

}  // namespace
}  // namespace zetdip::host
