// zetdip-cad's reports as a user meets them: detect --sr beside each DICOM
// result (the same clusters as the JSON, accepted by the DICOM validator, a
// warning for other inputs), and a batch over a folder of synthetic
// mammograms with --report, whose page a headless browser opens.
#include <gdcmReader.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "chain/synthetic.h"
#include "host/io/temp_dir.h"
#include "host/report/command.h"
#include "host/report/sr_reader.h"
#include "io/write_image.h"
#include "phantom.h"

namespace {

namespace fs = std::filesystem;
using zetdip::host::testing::ReadText;
using zetdip::host::testing::TempDir;

// A small synthetic mammogram with one cluster, as the reader would bring it.
zetdip::host::Image Phantom(unsigned seed, bool bRight) {
    zetdip::phantom::Options o;
    o.dWidthMm = 60.0;
    o.dHeightMm = 80.0;
    o.nSeed = seed;
    o.bBreastOnRight = bRight;
    o.clusterSizes = {6};
    return zetdip::host::SyntheticImage(zetdip::phantom::MakeMammogram(o));
}

class ZetdipCadReports : public ::testing::Test {
protected:
    int Cad(const std::string& args) {
        const std::string cmd = "cd '" + dir_.Dir().string() + "' && '" ZETDIP_CAD_PROGRAM "' " +
                                args + " >'" + dir_.Path("stdout.txt") + "' 2>'" +
                                dir_.Path("stderr.txt") + "'";
        const int status = std::system(cmd.c_str());
        out_ = ReadText(dir_.Path("stdout.txt"));
        err_ = ReadText(dir_.Path("stderr.txt"));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
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

TEST_F(ZetdipCadReports, BatchOverPhantomFolderWritesAPageTheBrowserOpens) {
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

    if (!zetdip::test::HaveTool("chromium")) GTEST_SKIP() << "chromium not installed";
    const std::string url = "'file://" + dir_.Path("o/report.html") + "'";
    const std::string dom = zetdip::test::Browser(dir_.Path("profile1"), "--dump-dom " + url);
    EXPECT_EQ(zetdip::test::ConsoleLines(dom), std::vector<std::string>{}) << dom;
    EXPECT_NE(dom.find("data-file=\"left\""), std::string::npos) << dom;
    EXPECT_NE(dom.find("data-file=\"right/r\""), std::string::npos) << dom;
    const std::string shot = dir_.Path("page.png");
    const std::string log = zetdip::test::Screenshot(dir_.Path("profile2-"), shot, url, "1280,900");
    EXPECT_EQ(zetdip::test::ConsoleLines(log), std::vector<std::string>{}) << log;
    ASSERT_TRUE(fs::exists(shot)) << log;
    EXPECT_GT(fs::file_size(shot), 1000u);
}

}  // namespace
