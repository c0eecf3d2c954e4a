// zetdip-cad's reports as a user meets them: detect --sr beside each DICOM
// result (the same clusters as the JSON, accepted by the DICOM validator, a
// warning for other inputs), and a batch over a folder of synthetic
// mammograms with --report, whose page has a row for each.
#include <gdcmReader.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "host/fixtures.h"
#include "host/report/command.h"
#include "host/report/sr_reader.h"
#include "io/write_image.h"

namespace {

namespace fs = std::filesystem;
using zetdip::host::testing::ReadText;
using zetdip::host::testing::TempDir;

using zetdip::host::testing::Phantom;

class ZetdipCadReports : public ::testing::Test {
protected:
    int Cad(const std::string& args) {
        const auto r = zetdip::host::testing::RunCad(dir_, args);
        out_ = r.out;
        err_ = r.err;
        return r.code;
    }

    TempDir dir_;
    std::string out_, err_;
};

TEST_F(ZetdipCadReports, DetectSrHoldsTheJsonClustersAndPassesTheValidator) {
    const zetdip::host::Image image = Phantom(4, false);
    zetdip::host::WriteDicom(dir_.Path("m.dcm"), image);
    zetdip::host::WritePngGrey16(dir_.Path("p.png"), image.words.data(), image.nWidth,
                                 image.nHeight);
    ASSERT_EQ(Cad("detect m.dcm p.png --pixel-size 0.1 --sr --out o"), 0) << err_;
    EXPECT_NE(out_.find("o/m.sr.dcm"), std::string::npos) << out_;

    const auto json = nlohmann::json::parse(ReadText(dir_.Path("o/m.json")));
    ASSERT_FALSE(json["clusters"].empty());
    gdcm::Reader reader;
    reader.SetFileName(dir_.Path("o/m.sr.dcm").c_str());
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
    if (zetdip::test::HaveTool("dciodvfy")) {
        const std::string v =
            zetdip::test::CommandOutput("dciodvfy '" + dir_.Path("o/m.sr.dcm") + "'");
        EXPECT_EQ(v.find("Error"), std::string::npos) << v;
    }

    // Not DICOM: no report, and the result says why.
    EXPECT_FALSE(fs::exists(dir_.Path("o/p.sr.dcm")));
    const auto png = nlohmann::json::parse(ReadText(dir_.Path("o/p.json")));
    EXPECT_NE(png["warnings"].dump().find("no structured report"), std::string::npos);
}

TEST_F(ZetdipCadReports, BatchOverPhantomFolderWritesAPageWithARowEach) {
    fs::create_directories(dir_.Dir() / "in" / "right");
    zetdip::host::WriteDicom(dir_.Path("in/left.dcm"), Phantom(7, false));
    zetdip::host::WriteDicom(dir_.Path("in/right/r.dcm"), Phantom(8, true));
    ASSERT_EQ(Cad("batch in --out o --sr --report --progress none"), 0) << err_;
    EXPECT_NE(out_.find("o/report.html"), std::string::npos) << out_;
    EXPECT_TRUE(fs::exists(dir_.Path("o/left.sr.dcm")));
    EXPECT_TRUE(fs::exists(dir_.Path("o/right/r.sr.dcm")));
    ASSERT_TRUE(fs::exists(dir_.Path("o/report.html")));

    // The report command alone writes the same page again.
    fs::remove(dir_.Path("o/report.html"));
    ASSERT_EQ(Cad("report o"), 0) << err_;
    EXPECT_NE(out_.find("2 images"), std::string::npos) << out_;
    EXPECT_NE(Cad("report missing"), 0);

    // A row for each result; the page itself is opened by a browser in the
    // report writer's own tests.
    const std::string html = ReadText(dir_.Path("o/report.html"));
    EXPECT_NE(html.find("data-file=\"left\""), std::string::npos);
    EXPECT_NE(html.find("data-file=\"right/r\""), std::string::npos);
}

}  // namespace
