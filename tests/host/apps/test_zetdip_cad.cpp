// zetdip-cad as a user meets it: run as a separate process in a scratch
// directory, judged by its exit code, its output lines and the files it
// leaves. Bad input gives one line "zetdip-cad: <file>: <cause>", a
// non-zero exit and no output files, and does not stop the other files;
// the structured reports and the batch page come back readable.
#include <gdcmReader.h>
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/fixtures.h"
#include "host/report/sr_reader.h"
#include "io/write_image.h"
#include "phantom.h"

namespace {

namespace fs = std::filesystem;
using namespace zetdip::host::testing;

// A synthetic mammogram at 0.2 mm as an 8-bit PGM hung as a film is (axilla
// at the top); its clusters of four or more in the file's frame.
std::vector<std::pair<double, double>> WritePhantomPgm(const TempDir& dir,
                                                       const std::string& name) {
    zetdip::phantom::Options options;
    options.dPixelSize = 0.2;
    options.dCalcification = 4095.0;
    const auto m = zetdip::phantom::MakeMammogram(options);
    const auto bytes = zetdip::phantom::To8Bits(m);
    std::string pgm =
        "P5\n" + std::to_string(m.nWidth) + " " + std::to_string(m.nHeight) + "\n255\n";
    for (int y = m.nHeight - 1; y >= 0; --y)
        pgm.append(reinterpret_cast<const char*>(bytes.data()) + y * m.nWidth, m.nWidth);
    dir.Write(name, pgm);
    std::vector<std::pair<double, double>> clusters;
    for (const auto& c : m.truth.clusters)
        if (c.members.size() >= 4) clusters.emplace_back(c.centre.x, m.nHeight - 1 - c.centre.y);
    return clusters;
}

// One bad file among good ones: its line, exit code 1, and the film's
// report, overlay and steps with the clusters in the file's frame.
TEST(ZetdipCad, PgmFilmBesideAMissingFileGivesItsResultsInTheFileFrame) {
    TempDir dir;
    const auto truth = WritePhantomPgm(dir, "film.pgm");
    const Outcome r =
        RunCad(dir, "detect missing.pgm film.pgm --pixel-size 0.2 --out o --steps --quiet");
    EXPECT_EQ(r.code, 1);
    ASSERT_EQ(Lines(r.err).size(), 1u) << r.err;
    EXPECT_EQ(r.err.rfind("zetdip-cad: missing.pgm: ", 0), 0u) << r.err;
    ASSERT_EQ(Lines(r.out).size(), 1u) << r.out;
    EXPECT_EQ(r.out.rfind("film.pgm: ", 0), 0u) << r.out;
    for (const char* name : {"film.json", "film.png", "film.mask.png", "film.kept.png"})
        EXPECT_TRUE(fs::exists(dir.Path(std::string("o/") + name))) << name;
    EXPECT_FALSE(fs::exists(dir.Path("o/missing.json")));

    const auto report = nlohmann::json::parse(ReadText(dir.Path("o/film.json")));
    EXPECT_EQ(report["status"], "ok");
    EXPECT_EQ(report["input"]["pixel_spacing"]["source"], "--pixel-size");
    // No tags: side and row order come from the image, with warnings.
    EXPECT_EQ(report["chain"]["breast_side"]["source"], "image");
    EXPECT_EQ(report["chain"]["rows_flipped"]["value"], true);
    ASSERT_FALSE(report["clusters"].empty());
    for (const auto& c : report["clusters"]) {
        bool bNear = false;
        for (const auto& [x, y] : truth)
            bNear = bNear || std::hypot(c["x"].get<double>() - x, c["y"].get<double>() - y) <= 25;
        EXPECT_TRUE(bNear) << c.dump();
        EXPECT_DOUBLE_EQ(c["y_mm"].get<double>(), c["y"].get<double>() * 0.2);
    }
}

// Refusals (each reader's own causes are the readers' tests): one line on
// stderr naming what failed, a non-zero exit (1 for a file, the parser's
// code >= 2 for the command line), nothing on stdout and nothing in the
// output directory, which bad options never make.
TEST(ZetdipCad, EachRefusalIsOneLineAndNoOutput) {
    TempDir dir;
    WritePhantomPgm(dir, "film.pgm");
    dir.Write("blocker", "x");
    Outcome r;

    const struct {
        const char* args;    // after "detect"; --out o --quiet follow unless --out is given
        const char* prefix;  // of the line after "zetdip-cad: "; "": a usage error
    } kCases[] = {
        {"missing.pgm --pixel-size 0.2", "missing.pgm: "},
        {"film.pgm", "film.pgm: no pixel size in the file; pass --pixel-size"},
        // A directory under a regular file: what is left to simulate no
        // permission when the tests run as root.
        {"film.pgm missing.pgm --pixel-size 0.2 --out blocker/sub", "blocker/sub: "},
        {"--pixel-size 0.2", ""},  // no file
        {"film.pgm --pixel-size 256px", ""},
        {"film.pgm --raw-size 9x9 --width 9", ""},
    };
    for (const auto& c : kCases) {
        fs::remove_all(dir.Path("o"));
        std::string args = std::string("detect ") + c.args;
        if (args.find("--out") == std::string::npos) args += " --out o --quiet";
        r = RunCad(dir, args);
        const bool bUsage = *c.prefix == '\0';
        EXPECT_TRUE(bUsage ? r.code >= 2 : r.code == 1) << c.args << ": " << r.code;
        ASSERT_EQ(Lines(r.err).size(), 1u) << c.args << "\n" << r.err;
        EXPECT_EQ(r.err.rfind(std::string("zetdip-cad: ") + c.prefix, 0), 0u) << r.err;
        EXPECT_EQ(r.out, "") << c.args;
        EXPECT_TRUE(!fs::exists(dir.Path("o")) || fs::is_empty(dir.Path("o"))) << c.args;
        EXPECT_EQ(fs::exists(dir.Path("o")), !bUsage && args.find("--out o") != std::string::npos)
            << c.args;
    }
    EXPECT_EQ(ReadText(dir.Path("blocker")), "x");
}

// The digitised film as DICOM (tags: laterality, Patient Orientation) and
// its decoded pixels as a headerless file (no tags: side and row order from
// the image) give the same clusters in the same file frame, in the breast
// half of the image.
TEST(ZetdipCad, RealFilmSameClustersFromDicomAndItsDecodedPixels) {
    const std::string dicom = Shared("mg1/MG1_J2KI.dcm");
    const std::string raw = Shared("mg1/MG1_3064x4664_u16le.raw");
    if (!fs::exists(raw) || !fs::exists(dicom)) GTEST_SKIP() << "no mg1 data";
    TempDir dir;
    Outcome r =
        RunCad(dir, "detect '" + raw + "' --raw-size 3064x4664 --pixel-size 0.05 --out o --quiet");
    ASSERT_EQ(r.code, 0) << r.err;
    r = RunCad(dir, "detect '" + dicom + "' --out o --quiet");
    ASSERT_EQ(r.code, 0) << r.err;
    const auto file = nlohmann::json::parse(ReadText(dir.Path("o/MG1_3064x4664_u16le.json")));
    const auto dcm = nlohmann::json::parse(ReadText(dir.Path("o/MG1_J2KI.json")));
    EXPECT_EQ(file["chain"]["rows_flipped"]["source"], "image");
    EXPECT_EQ(dcm["chain"]["rows_flipped"]["source"], "PatientOrientation");
    EXPECT_EQ(dcm["chain"]["breast_side"]["value"], "left");
    EXPECT_EQ(file["clusters"], dcm["clusters"]);
    for (const auto& c : dcm["clusters"]) {
        // The breast lies against the left edge and reaches about column
        // 2000 at the nipple; the label and the marker lie beyond.
        EXPECT_TRUE(c["x"].get<int>() >= 0 && c["x"].get<int>() < 2100) << c.dump();
        EXPECT_TRUE(c["y"].get<int>() >= 0 && c["y"].get<int>() < kMg1Height) << c.dump();
    }
}

// detect --sr beside a DICOM result holds the JSON's clusters and passes the
// validator. batch --report writes a page with a row per image, and the
// report command writes it again.
TEST(ZetdipCadReports, SrBesideDicomResultsAndTheBatchPage) {
    TempDir dir;
    const zetdip::host::Image image = Phantom(4, false);
    fs::create_directories(dir.Dir() / "in" / "right");
    zetdip::host::WriteDicom(dir.Path("in/m.dcm"), image);
    zetdip::host::WriteDicom(dir.Path("in/right/r.dcm"), Phantom(8, true));
    Outcome r = RunCad(dir, "detect in/m.dcm --sr --out o");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("o/m.sr.dcm"), std::string::npos) << r.out;
    const auto json = nlohmann::json::parse(ReadText(dir.Path("o/m.json")));
    ASSERT_FALSE(json["clusters"].empty());
    gdcm::Reader reader;
    reader.SetFileName(dir.Path("o/m.sr.dcm").c_str());
    ASSERT_TRUE(reader.Read());
    const gdcm::DataSet& ds = reader.GetFile().GetDataSet();
    EXPECT_EQ(zetdip::test::Value(ds, 0x0008, 0x0016), "1.2.840.10008.5.1.4.1.1.88.50");
    std::vector<zetdip::host::SrCluster> back;
    zetdip::test::CollectFindings(ds, back);
    ASSERT_EQ(back.size(), json["clusters"].size());
    for (std::size_t i = 0; i < back.size(); ++i) {
        const auto& c = json["clusters"][i];
        EXPECT_NEAR(back[i].x, c["x"].get<double>(), 1e-3);
        EXPECT_NEAR(back[i].y, c["y"].get<double>(), 1e-3);
        EXPECT_NEAR(back[i].radius, c["radius"].get<double>(), 1e-3);
        EXPECT_EQ(back[i].members, c["members"].get<int>());
    }
    EXPECT_EQ(zetdip::test::ValidatorErrors(dir.Path("o/m.sr.dcm")), std::vector<std::string>{});

    r = RunCad(dir, "batch in --out b --sr --report --progress none");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(fs::exists(dir.Path("b/right/r.sr.dcm")));
    ASSERT_TRUE(fs::exists(dir.Path("b/report.html")));
    fs::remove(dir.Path("b/report.html"));
    r = RunCad(dir, "report b");
    ASSERT_EQ(r.code, 0) << r.err;
    const std::string html = ReadText(dir.Path("b/report.html"));
    EXPECT_NE(html.find("data-file=\"m\""), std::string::npos);
    EXPECT_NE(html.find("data-file=\"right/r\""), std::string::npos);
}

}  // namespace
