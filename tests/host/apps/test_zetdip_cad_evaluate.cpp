// zetdip-cad evaluate as a user runs it on a folder: the images found by
// their reference names, a truth CSV and a list of normals; every known
// cluster is found or missed by a circle's centre, every other circle is a
// false cluster, and the FROC line at the default point says so.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>

#include "calcification_candidates.h"
#include "host/fixtures.h"
#include "io/write_image.h"

namespace {

using namespace zetdip::host::testing;

// The FROC row of one operating point: "     5.50    1/2        0.500        0.500".
std::string FrocRow(const std::string& out, const std::string& threshold) {
    for (const auto& line : Lines(out))
        if (line.rfind(threshold, line.find_first_not_of(' ')) == line.find_first_not_of(' ') &&
            line.find('/') != std::string::npos)
            return line;
    return "";
}

TEST(ZetdipCadEvaluate, FolderWithTruthAndNormalsScoresFoundMissedAndFalse) {
    TempDir dir;
    const zetdip::host::Image film = Phantom(4);
    zetdip::host::WriteDicom(dir.Path("film.dcm"), film);
    zetdip::host::WriteDicom(dir.Path("normal.dcm"), Phantom(7));
    // Where detect puts the film's circles: the truth circle around the first
    // is found, one far from every circle is missed.
    ASSERT_EQ(RunCad(dir, "detect film.dcm --out d --quiet").code, 0);
    const auto report = nlohmann::json::parse(ReadText(dir.Path("d/film.json")));
    ASSERT_FALSE(report["clusters"].empty());
    const int nCircles = static_cast<int>(report["clusters"].size());
    const double x = report["clusters"][0]["x"], y = report["clusters"][0]["y"];
    dir.Write("truth.csv", "refnum,x,y_top_origin,radius_px\nfilm," + std::to_string(x) + "," +
                               std::to_string(y) + ",40\nfilm,1,1,2\n");
    dir.Write("normals.txt", "normal\n");
    char point[16];
    std::snprintf(point, sizeof point, "%.2f", zetdip::host::kDefaultCandidateThreshold);
    const Outcome r = RunCad(
        dir, std::string("evaluate . --truth truth.csv --normals normals.txt --whole-chain ") +
                 "--thresholds 3.0 " + point);
    ASSERT_EQ(r.code, 0) << r.err;
    // The normal is the second image; its circles, if any, are false ones too.
    const Outcome normal = RunCad(dir, "detect normal.dcm --out n --quiet");
    ASSERT_EQ(normal.code, 0) << normal.err;
    const auto normalReport = nlohmann::json::parse(ReadText(dir.Path("n/normal.json")));
    const int nFalse = nCircles - 1 + static_cast<int>(normalReport["clusters"].size());
    char expected[64];
    std::snprintf(expected, sizeof expected, "1/2        0.500 %12.3f", nFalse / 2.0);
    EXPECT_NE(FrocRow(r.out, point).find(expected), std::string::npos) << r.out;
}

TEST(ZetdipCadEvaluate, RefusalsAreOneLine) {
    TempDir dir;
    dir.Write("truth.csv", "refnum,x,y_top_origin,radius_px\nfilm,1,1,2\n");
    zetdip::host::WritePngGrey16(dir.Path("film.png"), Phantom(4).words.data(), 600, 800);
    struct Case {
        const char* args;
        const char* message;
    } cases[] = {
        {"evaluate . --truth truth.csv", "film.png: no pixel size"},
        {"evaluate --truth truth.csv", "give DIR and --truth"},
        {"evaluate . --truth missing.csv --pixel-size 0.1", "missing.csv"},
    };
    for (const auto& c : cases) {
        const Outcome r = RunCad(dir, c.args);
        EXPECT_EQ(r.code, 1) << c.args;
        EXPECT_EQ(Lines(r.err).size(), 1u) << c.args << ": " << r.err;
        EXPECT_NE(r.err.find(c.message), std::string::npos) << c.args << ": " << r.err;
    }
}

}  // namespace
