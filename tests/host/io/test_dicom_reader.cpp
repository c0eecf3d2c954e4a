// DICOM input: fixtures written with WriteDicom in every layout of grey
// levels and transfer syntax the reader meets, the real headers and the MG1
// mammogram beside the project.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "core/error.h"
#include "io/read_image.h"
#include "io/write_image.h"
#include "phantom.h"
#include "temp_dir.h"

namespace zetdip::host {
namespace {

using testing::TempDir;

constexpr const char* kExplicitLittle = "1.2.840.10008.1.2.1";
constexpr const char* kImplicitLittle = "1.2.840.10008.1.2";
constexpr const char* kExplicitBig = "1.2.840.10008.1.2.2";
constexpr const char* kJpegLossless = "1.2.840.10008.1.2.4.70";
constexpr const char* kJpegLs = "1.2.840.10008.1.2.4.80";
constexpr const char* kJpeg2000Lossless = "1.2.840.10008.1.2.4.90";
constexpr const char* kRle = "1.2.840.10008.1.2.5";

// A small synthetic mammogram, 12 bits, 67 x 90.
const phantom::Mammogram& Small() {
    static const phantom::Mammogram m = [] {
        phantom::Options o;
        o.dPixelSize = 0.5;
        o.dWidthMm = 33.5;
        o.dHeightMm = 45.0;
        o.clusterSizes = {4};
        return phantom::MakeMammogram(o);
    }();
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
DicomFixture Store(const std::vector<unsigned short>& values, int nWidth, int nHeight,
                   const Layout& l) {
    DicomFixture f;
    f.nWidth = nWidth;
    f.nHeight = nHeight;
    f.nBitsStored = l.nBitsStored;
    f.nHighBit = l.nHighBit;
    f.nPixelRepresentation = l.bSigned ? 1 : 0;
    f.photometric = l.bMonochrome1 ? "MONOCHROME1" : "MONOCHROME2";
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

std::string Contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), {});
}

// ---- grey levels ----------------------------------------------------------------

TEST(DicomGreyLevels, every_layout_and_lossless_syntax_reads_back_the_library_form) {
    TempDir dir;
    const auto& m = Small();
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
        std::vector<unsigned short> values = m.image;
        for (auto& v : values) v = static_cast<unsigned short>(v << (l.nBitsStored - 12));
        for (const char* ts : kSyntaxes) {
            const bool bShifted = l.nHighBit != l.nBitsStored - 1;
            if (bShifted && ts != kExplicitLittle && ts != kImplicitLittle) continue;
            SCOPED_TRACE(std::to_string(l.nBitsStored) + " bits, high bit " +
                         std::to_string(l.nHighBit) + (l.bSigned ? ", signed" : "") +
                         (l.bMonochrome1 ? ", MONOCHROME1, " : ", ") + ts);
            DicomFixture f = Store(values, m.nWidth, m.nHeight, l);
            f.transferSyntaxUid = ts;
            const std::string path = dir.Path("f.dcm");
            WriteDicom(path, f);
            const Image image = ReadImage(path, ReadOptions{});
            EXPECT_EQ(image.format, "DICOM");
            EXPECT_EQ(image.transferSyntax, ts);
            EXPECT_EQ(image.nBitsStored, l.nBitsStored);
            EXPECT_EQ(image.photometric, f.photometric);
            EXPECT_TRUE(image.words == values);
            EXPECT_TRUE(image.bytes.empty());
        }
    }
}

TEST(DicomGreyLevels, hand_worked_signed_inverted_and_shifted_words) {
    TempDir dir;
    const std::string path = dir.Path("f.dcm");
    // 12 bits signed: -1, -2048 and 2047 become 2047, 0 and 4095.
    DicomFixture f = Plain({0xFFFF, 0xF800, 0x07FF, 0x0000}, 2, 2);
    f.nPixelRepresentation = 1;
    WriteDicom(path, f);
    Image image = ReadImage(path, ReadOptions{});
    EXPECT_EQ(image.words, (std::vector<unsigned short>{2047, 0, 4095, 2048}));
    EXPECT_EQ(image.notes, std::vector<std::string>{"signed samples offset by 2048"});

    // 14 bits at high bit 15, MONOCHROME1: (w >> 2) then 16383 - v; the two
    // low bits are not part of the sample.
    f = Plain({0x0003, 0xFFFC, 0x8001, 0x0010}, 2, 2);
    f.nBitsStored = 14;
    f.nHighBit = 15;
    f.photometric = "MONOCHROME1";
    WriteDicom(path, f);
    image = ReadImage(path, ReadOptions{});
    EXPECT_EQ(image.words, (std::vector<unsigned short>{16383, 0, 16383 - 0x2000, 16383 - 4}));

    // Bits above the stored ones (an overlay, say) are cleared.
    f = Plain({0xF123, 0x1FFF}, 2, 1);
    WriteDicom(path, f);
    EXPECT_EQ(ReadImage(path, ReadOptions{}).words, (std::vector<unsigned short>{0x123, 0xFFF}));
}

TEST(DicomGreyLevels, rescale_is_applied_rounded_and_clamped_to_the_stored_range) {
    TempDir dir;
    const std::string path = dir.Path("f.dcm");
    DicomFixture f = Plain({0, 50, 100, 3000, 3, 4095}, 3, 2);
    f.attributes.emplace_back("RescaleSlope", "2");
    f.attributes.emplace_back("RescaleIntercept", "-100");
    WriteDicom(path, f);
    Image image = ReadImage(path, ReadOptions{});
    EXPECT_EQ(image.words, (std::vector<unsigned short>{0, 0, 100, 4095, 0, 4095}));
    ASSERT_EQ(image.notes.size(), 1u);
    EXPECT_NE(image.notes[0].find("4 samples clamped to 0..4095"), std::string::npos)
        << image.notes[0];

    // Rounded half up: 0.5 * 3 + 0.5 = 2 stays 2, 0.5 * 0 + 0.5 becomes 1.
    f.attributes = {{"ImagerPixelSpacing", "0.1"},
                    {"RescaleSlope", "0.5"},
                    {"RescaleIntercept", "0.5"},
                    {"PresentationIntentType", "FOR PRESENTATION"}};
    WriteDicom(path, f);
    image = ReadImage(path, ReadOptions{});
    EXPECT_EQ(image.words, (std::vector<unsigned short>{1, 26, 51, 1501, 2, 2048}));

    // Identity rescale: no note, no change.
    f.attributes = {{"ImagerPixelSpacing", "0.1"},
                    {"RescaleSlope", "1"},
                    {"RescaleIntercept", "0"},
                    {"PresentationIntentType", "FOR PRESENTATION"}};
    WriteDicom(path, f);
    image = ReadImage(path, ReadOptions{});
    EXPECT_EQ(image.words, f.words);
    EXPECT_TRUE(image.notes.empty());
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
        WriteDicom(path, f);
        const Image image = ReadImage(path, ReadOptions{});
        EXPECT_TRUE(image.Is8Bit()) << ts;
        EXPECT_EQ(image.bytes, (std::vector<unsigned char>{255, 245, 0, 127})) << ts;
        EXPECT_TRUE(image.words.empty());
    }
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
        WriteDicom(path, f);
        const Image image = ReadImage(path, ReadOptions{});
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
    WriteDicom(path, f);
    ExpectError([&] { ReadImage(path, ReadOptions{}); }, path,
                "no pixel size in the file; pass --pixel-size");
    // An unusable value is passed over, with a note.
    f.attributes = {{"ImagerPixelSpacing", "0\\0"},
                    {"PixelSpacing", "0.15\\0.15"},
                    {"PresentationIntentType", "FOR PRESENTATION"}};
    WriteDicom(path, f);
    const Image image = ReadImage(path, ReadOptions{});
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
    WriteDicom(path, f);
    Image image = ReadImage(path, ReadOptions{});
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
    WriteDicom(path, f);
    image = ReadImage(path, ReadOptions{});
    EXPECT_EQ(image.laterality->value, Laterality::Left);
    EXPECT_EQ(image.laterality->source, "Laterality");
    EXPECT_EQ(image.view->value, "CC");
    EXPECT_EQ(image.view->source, "ViewCodeSequence");
    // The SOP class says for presentation when the intent is not given.
    ASSERT_TRUE(image.forProcessing);
    EXPECT_FALSE(*image.forProcessing);
    EXPECT_TRUE(image.patientOrientationRow.empty());

    const std::pair<const char*, const char*> kCodes[] = {
        {"", "medio-lateral oblique"},
        {"", "Cranio-Caudal Exaggerated Laterally"},
        {"R-10228", "latero-medial"},
        {"R-10226", "something else"}};
    const char* kViews[] = {"MLO", "XCCL", "LM", "MLO"};
    for (std::size_t i = 0; i < std::size(kCodes); ++i) {
        f.viewCodeValue = kCodes[i].first;
        f.viewCodeMeaning = kCodes[i].second;
        WriteDicom(path, f);
        image = ReadImage(path, ReadOptions{});
        ASSERT_TRUE(image.view) << kCodes[i].second;
        EXPECT_EQ(image.view->value, kViews[i]);
    }

    // Neither side nor a known view: left unset, said in the notes.
    f.attributes = {{"ImagerPixelSpacing", "0.1"}, {"ImageLaterality", "B"}};
    f.viewCodeValue = "X-1";
    f.viewCodeMeaning = "unheard of";
    WriteDicom(path, f);
    image = ReadImage(path, ReadOptions{});
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
    const auto& m = Small();
    Image image;
    image.nWidth = m.nWidth;
    image.nHeight = m.nHeight;
    image.nBitsStored = 12;
    image.words = m.image;
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
    image.words.clear();
    image.bytes.assign(m.image.begin(), m.image.end());
    const std::string path = dir.Path("phantom8.dcm");
    WriteDicom(path, image);
    EXPECT_EQ(ReadImage(path, ReadOptions{}).bytes, image.bytes);
}

// ---- refusals -------------------------------------------------------------------

TEST(DicomRefusals, only_single_grey_mammograms) {
    TempDir dir;
    const std::string path = dir.Path("f.dcm");
    DicomFixture f = Plain({1, 2}, 2, 1);
    f.modality = "CT";
    f.sopClassUid = "1.2.840.10008.5.1.4.1.1.2";
    WriteDicom(path, f);
    ExpectError([&] { ReadImage(path, ReadOptions{}); }, path, "not a mammogram: modality CT");

    // A digitised film under another modality is taken when it shows the breast.
    f.modality = "RG";
    f.sopClassUid = "1.2.840.10008.5.1.4.1.1.7";
    WriteDicom(path, f);
    ExpectError([&] { ReadImage(path, ReadOptions{}); }, path, "not a mammogram: modality RG");
    f.attributes.emplace_back("BodyPartExamined", "BREAST");
    WriteDicom(path, f);
    EXPECT_EQ(ReadImage(path, ReadOptions{}).words, f.words);
    // So is any modality with a mammography SOP class.
    f.attributes = {{"ImagerPixelSpacing", "0.1"}};
    f.modality = "OT";
    f.sopClassUid = "1.2.840.10008.5.1.4.1.1.1.2.1";
    WriteDicom(path, f);
    EXPECT_TRUE(*ReadImage(path, ReadOptions{}).forProcessing);

    DicomFixture frames = Plain({1, 2, 3, 4}, 2, 1);
    frames.nFrames = 2;
    WriteDicom(path, frames);
    ExpectError([&] { ReadImage(path, ReadOptions{}); }, path, "multi-frame image (2 frames)");

    DicomFixture rgb;
    rgb.nWidth = 2;
    rgb.nHeight = 1;
    rgb.nSamplesPerPixel = 3;
    rgb.nBitsAllocated = 8;
    rgb.nBitsStored = 8;
    rgb.nHighBit = 7;
    rgb.photometric = "RGB";
    rgb.bytes = {1, 2, 3, 4, 5, 6};
    rgb.attributes = {{"PixelSpacing", "0.1\\0.1"}};
    WriteDicom(path, rgb);
    ExpectError([&] { ReadImage(path, ReadOptions{}); }, path, "colour image (RGB, 3 samples");

    DicomFixture low = Plain({1, 2}, 2, 1);
    low.nHighBit = 10;
    WriteDicom(path, low);
    ExpectError([&] { ReadImage(path, ReadOptions{}); }, path,
                "high bit 10 is below bits stored - 1 (11)");
}

TEST(DicomRefusals, truncated_and_corrupt_files) {
    TempDir dir;
    const auto& m = Small();
    for (const char* ts : {kExplicitLittle, kJpegLossless, kJpeg2000Lossless, kJpegLs, kRle}) {
        DicomFixture f = Store(m.image, m.nWidth, m.nHeight, {12, 11, false, false});
        f.transferSyntaxUid = ts;
        const std::string path = dir.Path("full.dcm");
        WriteDicom(path, f);
        const std::string whole = Contents(path);
        for (std::size_t n :
             {std::size_t{140}, std::size_t{600}, whole.size() / 2, whole.size() - 40}) {
            const std::string cut = dir.Write("cut.dcm", whole.substr(0, n));
            EXPECT_THROW(ReadImage(cut, ReadOptions{}), Error) << ts << " cut at " << n;
        }
    }
    std::string junk(128, '\0');
    junk += "DICM";
    junk += std::string(300, '\x7f');
    const std::string path = dir.Write("junk.dcm", junk);
    EXPECT_THROW(ReadImage(path, ReadOptions{}), Error);
}

// ---- real files -------------------------------------------------------------------

#ifdef ZETDIP_SHARED_DATA
std::string Shared(const std::string& name) {
    return std::string(ZETDIP_SHARED_DATA) + "/" + name;
}

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

std::vector<unsigned short> Mg1Raw() {
    std::ifstream in(Shared("mg1/MG1_3064x4664_u16le.raw"), std::ios::binary);
    std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), {});
    std::vector<unsigned short> words(bytes.size() / 2);
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = static_cast<unsigned short>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    return words;
}

TEST(DicomRealFiles, mg1_jpeg2000_equals_its_raw_decoding_and_lossy_jpeg_is_close) {
    const std::string j2k = Shared("mg1/MG1_J2KI.dcm");
    const std::string jpeg = Shared("mg1/MG1_JPLY.dcm");
    if (!std::ifstream(j2k) || !std::ifstream(jpeg)) GTEST_SKIP() << "no shared data";
    const std::vector<unsigned short> raw = Mg1Raw();
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
