// The report, the overlay, the evaluation's scoring and the per-file
// processing, on small hand-built results: what the JSON says is what the
// result held, the circles are drawn where the clusters are, marks are
// scored by their centres, and nothing is written half.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "core/error.h"
#include "host/fixtures.h"
#include "report/evaluation.h"
#include "report/json_report.h"
#include "report/overlay.h"
#include "report/process.h"

namespace {

namespace fs = std::filesystem;
using namespace zetdip::host;
using zetdip::host::testing::ExpectError;
using zetdip::host::testing::ReadText;
using zetdip::host::testing::TempDir;

// A grey ramp, and a result with a rectangular mask and one cluster.
Image GreyImage(int W, int H) {
    Image image;
    image.nWidth = W;
    image.nHeight = H;
    image.nBitsStored = 8;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) image.bytes.push_back(static_cast<unsigned char>(x + y));
    image.rowSpacing = image.columnSpacing = Fact<double>{0.1, "--pixel-size"};
    image.path = "grey.pgm";
    image.format = "PGM";
    image.photometric = "MONOCHROME2";
    return image;
}

DetectionResult HandResult(const Image& image) {
    DetectionResult r;
    r.frame = {image.nWidth, image.nHeight, 0, 0, image.nWidth, image.nHeight, true};
    r.mask.assign(image.PixelCount(), 0);
    for (int y = 20; y < 180; ++y) std::fill_n(&r.mask[y * image.nWidth], 150, 255);
    Cluster c;
    c.x = 100, c.y = 80, c.radius = 20.5, c.xMm = 10.0, c.yMm = 8.0, c.radiusMm = 2.05;
    c.members = 5;
    r.clusters.push_back(c);
    r.steps.push_back({"ApplyClustering", true, 1, {{"clusters", 1}}, 1.5});
    r.steps.push_back({"IsOnTheRightOrLeftSideOfTheImage", false, -1, {}, 0.1});
    r.breastSide = {Side::Left, "image"};
    r.flipRows = {true, "PatientOrientation"};
    r.warnings.push_back("a fallback");
    return r;
}

TEST(Overlay, CirclesAndOutlineWhereTheResultSaysAtEveryScale) {
    EXPECT_EQ(PictureScale(2049, false) * 10 + PictureScale(4664, true), 21);  // full size: 1
    const Image image = GreyImage(300, 200);
    for (int scale : {1, 3}) {
        const Picture p = RenderOverlay(image, HandResult(image), scale);
        ASSERT_EQ(p.nChannels, 3);
        EXPECT_EQ(p.nWidth, (300 + scale - 1) / scale);
        EXPECT_EQ(p.nHeight, (200 + scale - 1) / scale);
        auto px = [&](double x, double y) {
            const std::size_t i = (static_cast<std::size_t>(std::lround(y)) * p.nWidth +
                                   static_cast<std::size_t>(std::lround(x))) *
                                  3;
            const int r = p.pixels[i], g = p.pixels[i + 1], b = p.pixels[i + 2];
            return r == g && g == b                 ? 'k'
                   : r == 255 && g < 100 && b < 100 ? 'r'
                   : g > 200 && r < 100             ? 'g'
                                                    : '?';
        };
        const double cx = 100.5 / scale - 0.5, cy = 80.5 / scale - 0.5, radius = 20.5 / scale;
        // On the rim left and above, not at the centre; the mask's inner edge
        // is outlined, the image edge is not.
        const std::string seen = {px(cx - radius, cy), px(cx, cy - radius),
                                  px(std::floor(cx), std::floor(cy)), px(149 / scale, 100 / scale),
                                  px(0, 100 / scale)};
        EXPECT_EQ(seen, "rrkgk");
    }
    std::vector<unsigned char> binary(10 * 7, 0);  // a shrunk binary keeps every set pixel
    binary[6 * 10 + 9] = 255;
    EXPECT_EQ(RenderBinary(binary, 10, 7, 3).pixels[2 * 4 + 3], 255);
}

TEST(Report, SaysWhatTheResultHeld) {
    Image image = GreyImage(300, 200);
    DetectionResult r = HandResult(image);
    auto report = nlohmann::json::parse(ReportJson(image, r, {1.0, 2.0, 3.5}));
    EXPECT_EQ(report["status"], "ok");
    EXPECT_FALSE(report.contains("error") || report["input"].contains("sop_instance_uid"));
    EXPECT_TRUE(report["input"]["laterality"].is_null());
    EXPECT_EQ(report["chain"]["breast_side"]["value"], "left");
    EXPECT_EQ(report["chain"]["rows_flipped"]["source"], "PatientOrientation");
    EXPECT_EQ(
        report["clusters"].at(0).dump(),
        R"({"members":5,"radius":20.5,"radius_mm":2.05,"x":100,"x_mm":10.0,"y":80,"y_mm":8.0})");
    EXPECT_EQ(report["steps"][1]["returned"], -1);
    EXPECT_EQ(report["warnings"].at(0), "a fallback");

    image.sopInstanceUid = "1.2.3";
    image.laterality = Fact<Laterality>{Laterality::Right, "ImageLaterality"};
    r.failedStep = "ApplyFPRemovalCAD";
    report = nlohmann::json::parse(ReportJson(image, r, {}));
    EXPECT_EQ(report["status"], "error");
    EXPECT_EQ(report["error"], "the chain stopped: ApplyFPRemovalCAD returned false");
    EXPECT_EQ(report["input"]["sop_instance_uid"], "1.2.3");
    EXPECT_EQ(report["input"]["laterality"].dump(), R"({"source":"ImageLaterality","value":"R"})");
}

TEST(Process, AStoppedChainWritesItsReportAndNoPictureInADirectoryItMade) {
    TempDir dir;
    ProcessOptions options;
    options.outDir = dir.Path("a/b");
    PrepareOutputDirectory(options.outDir);
    EXPECT_TRUE(fs::is_directory(options.outDir) && fs::is_empty(options.outDir));
    options.steps = true;
    options.detect.candidates = [](Working&) { return false; };
    const ProcessResult r =
        ProcessImage(zetdip::host::testing::Phantom(1, false, 0.4), "stopped", options);
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.error, "the chain stopped: candidates returned false");
    EXPECT_TRUE(r.picturePaths.empty());
    EXPECT_EQ(nlohmann::json::parse(ReadText(r.jsonPath))["status"], "error");
    EXPECT_EQ(std::distance(fs::directory_iterator(options.outDir), fs::directory_iterator()), 1);

    const std::string file = dir.Write("file", "x");
    for (const std::string& bad : {file, file + "/sub"})
        ExpectError([&] { PrepareOutputDirectory(bad); }, bad, "");
}

// Marks are scored by their centres; truth columns are found by name.
TEST(Evaluation, CentreInsideTheCircleFindsEachClusterOnce) {
    const std::vector<TruthCluster> truth = {{"a", 100, 100, 10}, {"a", 300, 100, 5}};
    // On the rim counts; two marks in one cluster find it once and are not
    // false; a mark just outside is false.
    const std::vector<Mark> marks = {{110, 100, 30}, {95, 95, 20}, {300, 106, 8}, {500, 500, 9}};
    const ImageScore s = ScoreImage(marks, truth);
    EXPECT_EQ(std::vector<int>({s.nClusters, s.nFound, s.nFalse}), std::vector<int>({2, 1, 2}));
    const FrocPoint none;
    EXPECT_EQ(none.Sensitivity() + none.FalsePerImage(), 0.0);  // no division by zero

    TempDir dir;  // columns found by name, whatever their order
    const auto t = ReadTruthCsv(dir.Write(
        "t.csv", "radius_px,refnum,y_top_origin,x,note\r\n12,mdb7,30.5,40,\r\n\n3,mdb8,1,2,x\n"));
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[0].image, "mdb7");
    EXPECT_EQ(std::vector<double>({t[0].x, t[0].y, t[0].dRadius}),
              std::vector<double>({40.0, 30.5, 12.0}));
}

}  // namespace
