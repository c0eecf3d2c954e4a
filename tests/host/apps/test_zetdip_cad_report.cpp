// zetdip-cad's reports as a user meets them: detect --sr beside each DICOM
// result (the same clusters as the JSON, accepted by the DICOM validator, a
// warning for other inputs), and a batch over a folder with --report, whose
// page has a row for each; the report command alone writes it again.
#include <gdcmReader.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/fixtures.h"
#include "host/report/command.h"
#include "host/report/sr_reader.h"
#include "io/write_image.h"

namespace {

namespace fs = std::filesystem;
using namespace zetdip::host::testing;

TEST(ZetdipCadReports, DetectSrHoldsTheJsonClustersAndPassesTheValidator) {
    TempDir dir;
    const zetdip::host::Image image = Phantom(4, false);
    zetdip::host::WriteDicom(dir.Path("m.dcm"), image);
    zetdip::host::WritePngGrey16(dir.Path("p.png"), image.words.data(), image.nWidth,
                                 image.nHeight);
    const Outcome r = RunCad(dir, "detect m.dcm p.png --pixel-size 0.1 --sr --out o");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("o/m.sr.dcm"), std::string::npos) << r.out;
    const auto json = nlohmann::json::parse(ReadText(dir.Path("o/m.json")));
    ASSERT_FALSE(json["clusters"].empty());
    gdcm::Reader reader;
    reader.SetFileName(dir.Path("o/m.sr.dcm").c_str());
    ASSERT_TRUE(reader.Read());
    zetdip::test::ReadBack back;
    zetdip::test::CollectFindings(reader.GetFile().GetDataSet(), back);
    ASSERT_EQ(back.clusters.size(), json["clusters"].size());
    for (std::size_t i = 0; i < back.clusters.size(); ++i) {
        const auto& c = json["clusters"][i];
        EXPECT_NEAR(back.clusters[i].x, c["x"].get<double>(), 1e-3);
        EXPECT_NEAR(back.clusters[i].y, c["y"].get<double>(), 1e-3);
        EXPECT_NEAR(back.clusters[i].radius, c["radius"].get<double>(), 1e-3);
        EXPECT_EQ(back.clusters[i].members, c["members"].get<int>());
    }
    EXPECT_EQ(zetdip::test::ValidatorErrors(dir.Path("o/m.sr.dcm")), std::vector<std::string>{});
    // Not DICOM: no report, and the result says why.
    EXPECT_FALSE(fs::exists(dir.Path("o/p.sr.dcm")));
    const auto png = nlohmann::json::parse(ReadText(dir.Path("o/p.json")));
    EXPECT_NE(png["warnings"].dump().find("no structured report"), std::string::npos);
}

TEST(ZetdipCadReports, BatchOverPhantomFolderWritesAPageWithARowEach) {
    TempDir dir;
    fs::create_directories(dir.Dir() / "in" / "right");
    zetdip::host::WriteDicom(dir.Path("in/left.dcm"), Phantom(7, false));
    zetdip::host::WriteDicom(dir.Path("in/right/r.dcm"), Phantom(8, true));
    Outcome r = RunCad(dir, "batch in --out o --sr --report --progress none");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("o/report.html"), std::string::npos) << r.out;
    EXPECT_TRUE(fs::exists(dir.Path("o/left.sr.dcm")));
    EXPECT_TRUE(fs::exists(dir.Path("o/right/r.sr.dcm")));
    ASSERT_TRUE(fs::exists(dir.Path("o/report.html")));
    fs::remove(dir.Path("o/report.html"));
    r = RunCad(dir, "report o");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_NE(r.out.find("2 images"), std::string::npos) << r.out;
    const std::string html = ReadText(dir.Path("o/report.html"));
    EXPECT_NE(html.find("data-file=\"left\""), std::string::npos);
    EXPECT_NE(html.find("data-file=\"right/r\""), std::string::npos);
    EXPECT_NE(RunCad(dir, "report missing").code, 0);
}

}  // namespace
