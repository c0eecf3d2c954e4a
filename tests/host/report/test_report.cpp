// The report, the overlay and the per-file processing, on small hand-built
// results: what the JSON says is what the result held, the circles are
// drawn where the clusters are, and nothing is written half.
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "core/error.h"
#include "host/fixtures.h"
#include "report/json_report.h"
#include "report/overlay.h"
#include "report/process.h"

namespace {

namespace fs = std::filesystem;
using namespace zetdip::host;

Image GreyImage(int W, int H) {
    Image image;
    image.nWidth = W;
    image.nHeight = H;
    image.nBitsStored = 8;
    image.bytes.resize(image.PixelCount());
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) image.bytes[y * W + x] = static_cast<unsigned char>(x + y);
    image.rowSpacing = image.columnSpacing = Fact<double>{0.1, "--pixel-size"};
    image.path = "grey.pgm";
    image.format = "PGM";
    image.photometric = "MONOCHROME2";
    return image;
}

// A result with a rectangular mask and one cluster, as Detect leaves it.
DetectionResult HandResult(const Image& image) {
    DetectionResult r;
    r.frame = {image.nWidth, image.nHeight, 0, 0, image.nWidth, image.nHeight, true};
    r.mask.assign(image.PixelCount(), 0);
    for (int y = 20; y < 180; ++y)
        for (int x = 0; x < 150; ++x) r.mask[y * image.nWidth + x] = 255;
    Cluster c;
    c.x = 100;
    c.y = 80;
    c.radius = 20.5;
    c.xMm = 10.0;
    c.yMm = 8.0;
    c.radiusMm = 2.05;
    c.members = 5;
    r.clusters.push_back(c);
    r.steps.push_back({"ApplyClustering", true, 1, {{"clusters", 1}}, 1.5});
    r.steps.push_back({"IsOnTheRightOrLeftSideOfTheImage", false, -1, {}, 0.1});
    r.breastSide = {Side::Left, "image"};
    r.flipRows = {true, "PatientOrientation"};
    r.warnings.push_back("a fallback");
    return r;
}

bool IsRed(const Picture& p, int x, int y) {
    const unsigned char* px = &p.pixels[(static_cast<std::size_t>(y) * p.nWidth + x) * 3];
    return px[0] == 255 && px[1] < 100 && px[2] < 100;
}
bool IsGreen(const Picture& p, int x, int y) {
    const unsigned char* px = &p.pixels[(static_cast<std::size_t>(y) * p.nWidth + x) * 3];
    return px[1] > 200 && px[0] < 100;
}
bool IsGrey(const Picture& p, int x, int y) {
    const unsigned char* px = &p.pixels[(static_cast<std::size_t>(y) * p.nWidth + x) * 3];
    return px[0] == px[1] && px[1] == px[2];
}

TEST(PictureScale, ShrinksToAtMost2048RowsUnlessFullSize) {
    EXPECT_EQ(PictureScale(2048, false), 1);
    EXPECT_EQ(PictureScale(2049, false), 2);
    EXPECT_EQ(PictureScale(4664, false), 3);
    EXPECT_EQ(PictureScale(4664, true), 1);
    EXPECT_EQ(PictureScale(1, false), 1);
}

TEST(Overlay, DrawsCirclesAndOutlineWhereTheResultSays) {
    const Image image = GreyImage(300, 200);
    const DetectionResult r = HandResult(image);
    for (int scale : {1, 2, 3}) {
        const Picture p = RenderOverlay(image, r, scale);
        ASSERT_EQ(p.nChannels, 3);
        EXPECT_EQ(p.nWidth, (300 + scale - 1) / scale);
        EXPECT_EQ(p.nHeight, (200 + scale - 1) / scale);
        const double cx = (100 + 0.5) / scale - 0.5, cy = (80 + 0.5) / scale - 0.5,
                     radius = 20.5 / scale;
        // On the rim left, right, above and below; not at the centre.
        EXPECT_TRUE(IsRed(p, static_cast<int>(std::lround(cx + radius)),
                          static_cast<int>(std::lround(cy))));
        EXPECT_TRUE(IsRed(p, static_cast<int>(std::lround(cx - radius)),
                          static_cast<int>(std::lround(cy))));
        EXPECT_TRUE(IsRed(p, static_cast<int>(std::lround(cx)),
                          static_cast<int>(std::lround(cy - radius))));
        EXPECT_TRUE(IsGrey(p, static_cast<int>(cx), static_cast<int>(cy)));
        // The mask's inner edges are outlined; the image edge is not.
        EXPECT_TRUE(IsGreen(p, 149 / scale, 100 / scale));
        EXPECT_TRUE(IsGreen(p, 50 / scale, 20 / scale));
        EXPECT_TRUE(IsGrey(p, 0, 100 / scale));
    }
}

TEST(Overlay, BinaryPicturesKeepEverySetPixel) {
    std::vector<unsigned char> binary(10 * 7, 0);
    binary[6 * 10 + 9] = 255;
    const Picture p = RenderBinary(binary, 10, 7, 3);
    ASSERT_EQ(p.nWidth, 4);
    ASSERT_EQ(p.nHeight, 3);
    for (int i = 0; i < 12; ++i) EXPECT_EQ(p.pixels[i], i == 2 * 4 + 3 ? 255 : 0) << i;
}

TEST(Report, SaysWhatTheResultHeld) {
    Image image = GreyImage(300, 200);
    DetectionResult r = HandResult(image);
    auto report = nlohmann::json::parse(ReportJson(image, r, {1.0, 2.0, 3.5}));
    EXPECT_EQ(report["schema"], "zetdip-cad/1");
    EXPECT_EQ(report["status"], "ok");
    EXPECT_FALSE(report.contains("error"));
    EXPECT_FALSE(report["input"].contains("sop_instance_uid"));
    EXPECT_TRUE(report["input"]["laterality"].is_null());
    EXPECT_EQ(report["input"]["pixel_spacing"]["column_mm"], 0.1);
    EXPECT_EQ(report["chain"]["breast_side"]["value"], "left");
    EXPECT_EQ(report["chain"]["rows_flipped"]["source"], "PatientOrientation");
    const auto& c = report["clusters"].at(0);
    EXPECT_EQ(c["x"], 100);
    EXPECT_EQ(c["y"], 80);
    EXPECT_EQ(c["radius"], 20.5);
    EXPECT_EQ(c["members"], 5);
    EXPECT_EQ(report["steps"][0]["returned"], true);
    EXPECT_EQ(report["steps"][0]["counts"]["clusters"], 1);
    EXPECT_EQ(report["steps"][1]["returned"], -1);
    EXPECT_EQ(report["warnings"].at(0), "a fallback");
    EXPECT_EQ(report["timing_ms"]["total"], 3.5);

    image.sopInstanceUid = "1.2.3";
    image.laterality = Fact<Laterality>{Laterality::Right, "ImageLaterality"};
    r.failedStep = "ApplyFPRemovalCAD";
    report = nlohmann::json::parse(ReportJson(image, r, {}));
    EXPECT_EQ(report["status"], "error");
    EXPECT_EQ(report["error"], "the chain stopped: ApplyFPRemovalCAD returned false");
    EXPECT_EQ(report["input"]["sop_instance_uid"], "1.2.3");
    EXPECT_EQ(report["input"]["laterality"]["value"], "R");
    EXPECT_EQ(report["input"]["laterality"]["source"], "ImageLaterality");
}

TEST(Process, AStoppedChainWritesItsReportAndNoPicture) {
    zetdip::host::testing::TempDir dir;
    const Image image = zetdip::host::testing::Phantom(1, false, 0.4);
    ProcessOptions options;
    options.outDir = dir.Dir().string();
    options.steps = true;
    options.detect.candidates = [](Working&) { return false; };
    const ProcessResult r = ProcessImage(image, "stopped", options);
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.error, "the chain stopped: candidates returned false");
    EXPECT_TRUE(r.picturePaths.empty());
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"stopped.json"});
    EXPECT_EQ(nlohmann::json::parse(zetdip::host::testing::ReadText(r.jsonPath))["status"],
              "error");
}

TEST(Process, OutputDirectoryMustBeADirectoryWeCanWrite) {
    zetdip::host::testing::TempDir dir;
    PrepareOutputDirectory(dir.Path("a/b"));
    EXPECT_TRUE(fs::is_directory(dir.Path("a/b")));
    EXPECT_TRUE(fs::is_empty(dir.Path("a/b")));
    const std::string file = dir.Write("file", "x");
    for (const std::string& bad : {file, file + "/sub"})
        zetdip::host::testing::ExpectError([&] { PrepareOutputDirectory(bad); }, bad, "");
    EXPECT_EQ(OutputStem("a/MG1_J2KI.dcm"), "MG1_J2KI");
    EXPECT_EQ(OutputStem("noext"), "noext");
}

}  // namespace
