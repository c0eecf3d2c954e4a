// zetdip-cad as a user meets it: run as a separate process in a scratch
// directory, judged by its exit code, its output lines and the files it
// leaves. Bad input must give one line "zetdip-cad: <file>: <cause>", a
// non-zero exit and no output files, and must not stop the other files.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/fixtures.h"
#include "io/write_image.h"
#include "phantom.h"

namespace {

namespace fs = std::filesystem;
using zetdip::host::testing::Lines;
using zetdip::host::testing::Outcome;
using zetdip::host::testing::ReadText;
using zetdip::host::testing::TempDir;

class ZetdipCad : public ::testing::Test {
protected:
    Outcome Cad(const std::string& args) { return zetdip::host::testing::RunCad(dir_, args); }
    std::string Path(const std::string& name) const { return dir_.Path(name); }
    // Files left in the output directory "o".
    std::vector<std::string> Outputs() const {
        std::vector<std::string> names;
        if (fs::is_directory(Path("o")))
            for (const auto& e : fs::directory_iterator(Path("o")))
                names.push_back(e.path().filename().string());
        return names;
    }
    // A synthetic mammogram at 0.2 mm as an 8-bit PGM hung as a film is
    // (axilla at the top), and its planted clusters in the file's frame.
    std::string WritePhantomPgm(const std::string& name,
                                std::vector<std::pair<double, double>>* clusters = nullptr) {
        zetdip::phantom::Options options;
        options.dPixelSize = 0.2;
        options.dCalcification = 4095.0;
        const auto m = zetdip::phantom::MakeMammogram(options);
        const auto bytes = zetdip::phantom::To8Bits(m);
        std::string pgm =
            "P5\n" + std::to_string(m.nWidth) + " " + std::to_string(m.nHeight) + "\n255\n";
        for (int y = m.nHeight - 1; y >= 0; --y)
            pgm.append(reinterpret_cast<const char*>(bytes.data()) + y * m.nWidth, m.nWidth);
        if (clusters)
            for (const auto& c : m.truth.clusters)
                if (c.members.size() >= 4)
                    clusters->emplace_back(c.centre.x, m.nHeight - 1 - c.centre.y);
        return dir_.Write(name, pgm);
    }

    TempDir dir_;
};

TEST_F(ZetdipCad, WithoutArgumentsWritesTheSyntheticJobAndSaysWhere) {
    const Outcome r = Cad("");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(fs::exists(Path("zetdip-out/synthetic.json")));
    EXPECT_TRUE(fs::exists(Path("zetdip-out/synthetic.png")));
    EXPECT_NE(r.out.find("zetdip-out/synthetic.png"), std::string::npos) << r.out;
}

TEST_F(ZetdipCad, HelpAndVersion) {
    Outcome r = Cad("detect --help");
    EXPECT_EQ(r.code, 0);
    for (const char* option : {"--out", "--pixel-size", "--bits", "--laterality", "--steps",
                               "--full-size", "--quiet", "--raw-size", "--width", "--height"})
        EXPECT_NE(r.out.find(option), std::string::npos) << option;
    r = Cad("--version");
    EXPECT_EQ(r.code, 0);
    EXPECT_NE(r.out.find("zetdip-cad "), std::string::npos);
}

// One bad file among good ones: its line, exit code 1, and the film's
// report, overlay and steps with the clusters in the file's frame.
TEST_F(ZetdipCad, PgmFilmBesideAMissingFileGivesItsResultsInTheFileFrame) {
    std::vector<std::pair<double, double>> truth;
    WritePhantomPgm("film.pgm", &truth);
    const Outcome r = Cad("detect missing.pgm film.pgm --pixel-size 0.2 --out o --steps --quiet");
    EXPECT_EQ(r.code, 1);
    ASSERT_EQ(Lines(r.err).size(), 1u) << r.err;
    EXPECT_EQ(r.err.rfind("zetdip-cad: missing.pgm: ", 0), 0u) << r.err;
    ASSERT_EQ(Lines(r.out).size(), 1u) << r.out;
    EXPECT_EQ(Lines(r.out)[0].rfind("film.pgm: ", 0), 0u) << r.out;
    for (const char* name : {"film.json", "film.png", "film.mask.png", "film.lines.png",
                             "film.candidates.png", "film.kept.png"})
        EXPECT_TRUE(fs::exists(Path(std::string("o/") + name))) << name;
    EXPECT_FALSE(fs::exists(Path("o/missing.json")));

    const auto report = nlohmann::json::parse(ReadText(Path("o/film.json")));
    EXPECT_EQ(report["schema"], "zetdip-cad/1");
    EXPECT_EQ(report["status"], "ok");
    EXPECT_EQ(report["input"]["pixel_spacing"]["source"], "--pixel-size");
    // No tags: side and row order come from the image, with warnings.
    EXPECT_EQ(report["chain"]["breast_side"]["source"], "image");
    EXPECT_EQ(report["chain"]["rows_flipped"]["value"], true);
    EXPECT_GE(report["warnings"].size(), 2u);
    ASSERT_FALSE(report["clusters"].empty());
    for (const auto& c : report["clusters"]) {
        bool bNear = false;
        for (const auto& [x, y] : truth)
            bNear = bNear || std::hypot(c["x"].get<double>() - x, c["y"].get<double>() - y) <= 25;
        EXPECT_TRUE(bNear) << c.dump();
        EXPECT_DOUBLE_EQ(c["y_mm"].get<double>(), c["y"].get<double>() * 0.2);
    }
}

// Every refusal: one line on stderr naming what failed, a non-zero exit (1
// for a file, the parser's code for the command line), nothing on stdout and
// nothing in the output directory; bad options and output directories are
// refused before the directory is made.
TEST_F(ZetdipCad, EachRefusalIsOneLineAndNoOutput) {
    const std::string pgm = ReadText(WritePhantomPgm("film.pgm"));
    dir_.Write("empty.pgm", "");
    dir_.Write("truncated.pgm", "P5\n64 64\n255\n" + std::string(100, '\x40'));
    dir_.Write("text.pgm", "this is not an image\n");
    dir_.Write("small.raw", std::string(1000, '\0'));
    dir_.Write("blocker", "x");
    fs::create_directories(Path("folder.pgm"));
    // A DICOM picture that is not a mammogram.
    zetdip::host::DicomFixture plain;
    plain.nWidth = 100;
    plain.nHeight = 80;
    plain.nBitsAllocated = plain.nBitsStored = 8;
    plain.nHighBit = 7;
    for (int i = 0; i < 100 * 80; ++i) plain.bytes.push_back(static_cast<unsigned char>(i % 251));
    plain.modality = "OT";
    plain.sopClassUid = "1.2.840.10008.5.1.4.1.1.7";
    zetdip::host::WriteDicom(Path("plain.dcm"), plain);

    const struct {
        const char* args;    // after "detect"; --out o --quiet follow unless --out is given
        const char* prefix;  // of the line after "zetdip-cad: "
        bool bUsage;
    } kCases[] = {
        {"missing.pgm --pixel-size 0.2", "missing.pgm: ", false},
        {"empty.pgm --pixel-size 0.2", "empty.pgm: ", false},
        {"truncated.pgm --pixel-size 0.2", "truncated.pgm: ", false},
        {"text.pgm --pixel-size 0.2", "text.pgm: ", false},
        {"folder.pgm --pixel-size 0.2", "folder.pgm: ", false},
        {"small.raw --raw-size 100x100 --pixel-size 0.1", "small.raw: ", false},
        {"small.raw --raw-size 1000000x1000000 --pixel-size 0.1", "small.raw: ", false},
        {"small.raw --width 20 --height 25 --pixel-size 0.1", "small.raw: ", false},  // too small
        {"plain.dcm --pixel-size 0.1", "plain.dcm: not a mammogram", false},
        {"film.pgm", "film.pgm: no pixel size in the file; pass --pixel-size", false},
        {"film.pgm missing.pgm --pixel-size 0.2 --out blocker", "blocker: ", false},
        // A directory under a regular file: what is left to simulate no
        // permission when the tests run as root.
        {"film.pgm missing.pgm --pixel-size 0.2 --out blocker/sub", "blocker/sub: ", false},
        {"--pixel-size 0.2", "", true},  // no file
        {"film.pgm --pixel-size 256px", "", true},
        {"film.pgm --pixel-size nan", "", true},
        {"film.pgm --pixel-size inf", "", true},
        {"film.pgm --pixel-size -inf", "", true},
        {"film.pgm --pixel-size 0", "", true},
        {"film.pgm --pixel-size -0.1", "", true},
        {"film.pgm --pixel-size ''", "", true},
        {"film.pgm --bits 7", "", true},
        {"film.pgm --bits 17", "", true},
        {"film.pgm --bits 12x", "", true},
        {"film.pgm --laterality X", "", true},
        {"film.pgm --raw-size 12x", "", true},
        {"film.pgm --raw-size 0x10", "", true},
        {"film.pgm --raw-size 10x10px", "", true},
        {"film.pgm --width 10", "", true},
        {"film.pgm --width -5 --height 5", "", true},
        {"film.pgm --raw-size 9x9 --width 9", "", true},
    };
    for (const auto& c : kCases) {
        fs::remove_all(Path("o"));
        std::string args = std::string("detect ") + c.args;
        if (args.find("--out") == std::string::npos) args += " --out o --quiet";
        const Outcome r = Cad(args);
        EXPECT_EQ(c.bUsage ? r.code >= 2 : r.code == 1, true) << c.args << ": " << r.code;
        ASSERT_EQ(Lines(r.err).size(), 1u) << c.args << "\n" << r.err;
        EXPECT_EQ(r.err.rfind(std::string("zetdip-cad: ") + c.prefix, 0), 0u) << r.err;
        EXPECT_EQ(r.out, "") << c.args;
        EXPECT_TRUE(Outputs().empty()) << c.args;
        EXPECT_EQ(fs::exists(Path("o")), !c.bUsage && args.find("--out o") != std::string::npos)
            << c.args;
    }
    EXPECT_EQ(ReadText(Path("blocker")), "x");
    EXPECT_EQ(ReadText(Path("film.pgm")), pgm);

    // A missing output directory is made, however deep.
    const Outcome r = Cad("detect film.pgm --pixel-size 0.2 --out new/deeper --quiet");
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(fs::exists(Path("new/deeper/film.json")));
}

#ifdef ZETDIP_SHARED_DATA
// The digitised film as DICOM (tags: laterality, Patient Orientation) and
// its decoded pixels as a headerless file (no tags: side and row order from
// the image) give the same clusters in the same file frame; they lie in the
// breast half of the image.
TEST_F(ZetdipCad, RealFilmSameClustersFromDicomAndItsDecodedPixels) {
    using zetdip::host::testing::Shared;
    const std::string dicom = Shared("mg1/MG1_J2KI.dcm");
    const std::string raw = Shared("mg1/MG1_3064x4664_u16le.raw");
    if (!fs::exists(raw) || !fs::exists(dicom)) GTEST_SKIP() << "no mg1 data";
    Outcome r = Cad("detect '" + raw + "' --raw-size 3064x4664 --pixel-size 0.05 --out o --quiet");
    ASSERT_EQ(r.code, 0) << r.err;
    r = Cad("detect '" + dicom + "' --out o --quiet");
    ASSERT_EQ(r.code, 0) << r.err;

    const auto file = nlohmann::json::parse(ReadText(Path("o/MG1_3064x4664_u16le.json")));
    const auto dcm = nlohmann::json::parse(ReadText(Path("o/MG1_J2KI.json")));
    EXPECT_EQ(file["input"]["bits_stored"], 12);
    EXPECT_EQ(file["chain"]["rows_flipped"]["source"], "image");
    EXPECT_FALSE(dcm["input"]["sop_instance_uid"].get<std::string>().empty());
    EXPECT_EQ(dcm["input"]["laterality"]["value"], "L");
    EXPECT_EQ(dcm["chain"]["rows_flipped"]["source"], "PatientOrientation");
    EXPECT_EQ(dcm["chain"]["breast_side"]["value"], "left");
    EXPECT_EQ(file["chain"]["rows_flipped"]["value"], dcm["chain"]["rows_flipped"]["value"]);
    EXPECT_EQ(file["clusters"], dcm["clusters"]);
    for (const auto& c : dcm["clusters"]) {
        EXPECT_GE(c["x"].get<int>(), 0);
        // The breast lies against the left edge and reaches about column 2000
        // at the nipple; the label and the marker lie beyond.
        EXPECT_LT(c["x"].get<int>(), 2100);
        EXPECT_GE(c["y"].get<int>(), 0);
        EXPECT_LT(c["y"].get<int>(), zetdip::host::testing::kMg1Height);
    }
    EXPECT_TRUE(fs::exists(Path("o/MG1_J2KI.png")));
}
#endif

}  // namespace
