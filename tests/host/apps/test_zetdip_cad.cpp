// zetdip-cad as a user meets it: run as a separate process in a scratch
// directory, judged by its exit code, its output lines and the files it
// leaves. Bad input must give one line "zetdip-cad: <file>: <cause>", a
// non-zero exit and no output files, and must not stop the other files.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "host/io/temp_dir.h"
#include "io/write_image.h"
#include "phantom.h"

namespace {

namespace fs = std::filesystem;
using zetdip::host::testing::Lines;
using zetdip::host::testing::ReadText;
using zetdip::host::testing::TempDir;

struct Outcome {
    int code = -1;
    std::string out, err;
};

class ZetdipCad : public ::testing::Test {
protected:
    // Runs the program with args (shell words) in the scratch directory.
    Outcome Cad(const std::string& args) {
        const std::string cmd = "cd '" + dir_.Dir().string() + "' && '" ZETDIP_CAD_PROGRAM "' " +
                                args + " >'" + out_ + "' 2>'" + err_ + "'";
        const int status = std::system(cmd.c_str());
        Outcome r;
        r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.out = ReadText(out_);
        r.err = ReadText(err_);
        return r;
    }
    std::string Path(const std::string& name) const { return dir_.Path(name); }
    std::string Write(const std::string& name, const std::string& contents) const {
        return dir_.Write(name, contents);
    }
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
        return Write(name, pgm);
    }

    TempDir dir_;
    std::string out_ = dir_.Path("stdout.txt"), err_ = dir_.Path("stderr.txt");
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

TEST_F(ZetdipCad, PgmFilmGivesReportOverlayAndStepsWithClustersInTheFileFrame) {
    std::vector<std::pair<double, double>> truth;
    const std::string pgm = WritePhantomPgm("film.pgm", &truth);
    const Outcome r = Cad("detect film.pgm --pixel-size 0.2 --out o --steps");
    ASSERT_EQ(r.code, 0) << r.err;
    ASSERT_EQ(Lines(r.out).size(), 1u) << r.out;
    EXPECT_EQ(Lines(r.out)[0].rfind("film.pgm: ", 0), 0u) << r.out;
    for (const char* name : {"film.json", "film.png", "film.mask.png", "film.lines.png",
                             "film.candidates.png", "film.kept.png"})
        EXPECT_TRUE(fs::exists(Path(std::string("o/") + name))) << name;

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

TEST_F(ZetdipCad, BadFilesGiveOneLineEachAndNoOutput) {
    Write("empty.pgm", "");
    Write("truncated.pgm", "P5\n64 64\n255\n" + std::string(100, '\x40'));
    Write("text.pgm", "this is not an image\n");
    Write("small.raw", std::string(1000, '\0'));
    fs::create_directories(Path("folder.pgm"));
    const std::pair<std::string, std::string> cases[] = {
        {"missing.pgm --pixel-size 0.2", "missing.pgm"},
        {"empty.pgm --pixel-size 0.2", "empty.pgm"},
        {"truncated.pgm --pixel-size 0.2", "truncated.pgm"},
        {"text.pgm --pixel-size 0.2", "text.pgm"},
        {"folder.pgm --pixel-size 0.2", "folder.pgm"},
        {"small.raw --raw-size 100x100 --pixel-size 0.1", "small.raw"},
        {"small.raw --raw-size 1000000x1000000 --pixel-size 0.1", "small.raw"},
        {"small.raw --width 20 --height 25 --pixel-size 0.1", "small.raw"},  // too small
    };
    for (const auto& [args, file] : cases) {
        const Outcome r = Cad("detect " + args + " --out o");
        EXPECT_NE(r.code, 0) << args;
        ASSERT_EQ(Lines(r.err).size(), 2u) << args << "\n" << r.err;  // progress + error
        EXPECT_EQ(Lines(r.err)[1].rfind("zetdip-cad: " + file + ": ", 0), 0u) << r.err;
        EXPECT_EQ(r.out, "") << args;
        EXPECT_TRUE(Outputs().empty()) << args;
    }
    WritePhantomPgm("film.pgm");
    const Outcome r = Cad("detect film.pgm --out o --quiet");
    EXPECT_NE(r.code, 0);
    EXPECT_EQ(r.err, "zetdip-cad: film.pgm: no pixel size in the file; pass --pixel-size\n");
    EXPECT_TRUE(Outputs().empty());
}

TEST_F(ZetdipCad, OneBadFileDoesNotStopTheOthers) {
    WritePhantomPgm("film.pgm");
    const Outcome r = Cad("detect missing.pgm film.pgm --pixel-size 0.2 --out o --quiet");
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(Lines(r.err).size(), 1u) << r.err;
    EXPECT_EQ(r.err.rfind("zetdip-cad: missing.pgm: ", 0), 0u) << r.err;
    EXPECT_EQ(Lines(r.out).size(), 1u) << r.out;
    EXPECT_TRUE(fs::exists(Path("o/film.json")));
    EXPECT_TRUE(fs::exists(Path("o/film.png")));
    EXPECT_FALSE(fs::exists(Path("o/missing.json")));
}

TEST_F(ZetdipCad, BadOptionsAreRefusedBeforeAnyWork) {
    WritePhantomPgm("film.pgm");
    for (const char* option :
         {"--pixel-size 256px", "--pixel-size nan", "--pixel-size inf", "--pixel-size -inf",
          "--pixel-size 0", "--pixel-size -0.1", "--pixel-size ''", "--bits 7", "--bits 17",
          "--bits 12x", "--laterality X", "--raw-size 12x", "--raw-size 0x10", "--raw-size 10x10px",
          "--width 10", "--width -5 --height 5", "--raw-size 9x9 --width 9"}) {
        const Outcome r = Cad(std::string("detect film.pgm --out o ") + option);
        EXPECT_NE(r.code, 0) << option;
        ASSERT_EQ(Lines(r.err).size(), 1u) << option << "\n" << r.err;
        EXPECT_EQ(r.err.rfind("zetdip-cad: ", 0), 0u) << r.err;
        EXPECT_TRUE(Outputs().empty()) << option;
        EXPECT_FALSE(fs::exists(Path("o"))) << option;
    }
    const Outcome r = Cad("detect --pixel-size 0.2");  // no file
    EXPECT_NE(r.code, 0);
    EXPECT_EQ(r.err.rfind("zetdip-cad: ", 0), 0u) << r.err;
}

TEST_F(ZetdipCad, OutputDirectoryIsCreatedOrRefusedBeforeAnyWork) {
    WritePhantomPgm("film.pgm");
    Outcome r = Cad("detect film.pgm --pixel-size 0.2 --out new/deeper --quiet");
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(fs::exists(Path("new/deeper/film.json")));

    // A file in the way, and a directory under a regular file (what is
    // left to simulate no permission when the tests run as root).
    Write("blocker", "x");
    for (const char* out : {"blocker", "blocker/sub"}) {
        r = Cad(std::string("detect film.pgm missing.pgm --pixel-size 0.2 --out ") + out);
        EXPECT_NE(r.code, 0) << out;
        ASSERT_EQ(Lines(r.err).size(), 1u) << r.err;
        EXPECT_EQ(r.err.rfind(std::string("zetdip-cad: ") + out + ": ", 0), 0u) << r.err;
        EXPECT_EQ(r.out, "");
    }
    EXPECT_EQ(ReadText(Path("blocker")), "x");
}

TEST_F(ZetdipCad, NonMammogramDicomIsRefused) {
    // A secondary-capture DICOM of a plain picture, made by GDCM's tool.
    if (std::system("command -v gdcmimg >/dev/null 2>&1") != 0) GTEST_SKIP() << "no gdcmimg";
    std::string pgm = "P5\n100 80\n255\n";
    for (int i = 0; i < 100 * 80; ++i) pgm += static_cast<char>(i % 251);
    Write("plain.pgm", pgm);
    ASSERT_EQ(std::system(("cd '" + dir_.Dir().string() +
                           "' && gdcmimg -i plain.pgm -o plain.dcm -C 1.2.840.10008.5.1.4.1.1.2")
                              .c_str()),
              0);
    const Outcome r = Cad("detect plain.dcm --pixel-size 0.1 --out o --quiet");
    EXPECT_NE(r.code, 0);
    ASSERT_EQ(Lines(r.err).size(), 1u) << r.err;
    EXPECT_EQ(r.err.rfind("zetdip-cad: plain.dcm: not a mammogram", 0), 0u) << r.err;
    EXPECT_TRUE(Outputs().empty());
}

#ifdef ZETDIP_SHARED_DATA
// The digitised film as DICOM (tags: laterality, Patient Orientation) and
// its decoded pixels as a 16-bit PNG (no tags: side and row order from the
// image) give the same clusters in the same file frame; they lie in the
// breast half of the image.
TEST_F(ZetdipCad, RealFilmSameClustersFromDicomAndPng) {
    const std::string dicom = ZETDIP_SHARED_DATA "/mg1/MG1_J2KI.dcm";
    const std::string raw = ZETDIP_SHARED_DATA "/mg1/MG1_3064x4664_u16le.raw";
    if (!fs::exists(raw) || !fs::exists(dicom)) GTEST_SKIP() << "no mg1 data";
    const std::string bytes = ReadText(raw);
    const int W = 3064, H = 4664;
    std::vector<unsigned short> pixels(static_cast<std::size_t>(W) * H);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<unsigned short>(static_cast<unsigned char>(bytes[2 * i]) |
                                                static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
    zetdip::host::WritePngGrey16(Path("mg1.png"), pixels.data(), W, H);
    Outcome r = Cad("detect mg1.png --pixel-size 0.05 --out o --quiet");
    ASSERT_EQ(r.code, 0) << r.err;
    r = Cad("detect '" + dicom + "' --out o --quiet");
    ASSERT_EQ(r.code, 0) << r.err;

    const auto png = nlohmann::json::parse(ReadText(Path("o/mg1.json")));
    const auto dcm = nlohmann::json::parse(ReadText(Path("o/MG1_J2KI.json")));
    EXPECT_EQ(png["input"]["bits_stored"], 12);
    EXPECT_EQ(png["chain"]["rows_flipped"]["source"], "image");
    EXPECT_FALSE(dcm["input"]["sop_instance_uid"].get<std::string>().empty());
    EXPECT_EQ(dcm["input"]["laterality"]["value"], "L");
    EXPECT_EQ(dcm["chain"]["rows_flipped"]["source"], "PatientOrientation");
    EXPECT_EQ(dcm["chain"]["breast_side"]["value"], "left");
    EXPECT_EQ(png["chain"]["rows_flipped"]["value"], dcm["chain"]["rows_flipped"]["value"]);
    EXPECT_EQ(png["clusters"], dcm["clusters"]);
    for (const auto& c : dcm["clusters"]) {
        EXPECT_GE(c["x"].get<int>(), 0);
        // The breast lies against the left edge and reaches about column 2000
        // at the nipple; the label and the marker lie beyond.
        EXPECT_LT(c["x"].get<int>(), 2100);
        EXPECT_GE(c["y"].get<int>(), 0);
        EXPECT_LT(c["y"].get<int>(), H);
    }
    EXPECT_TRUE(fs::exists(Path("o/MG1_J2KI.png")));
}
#endif

}  // namespace
