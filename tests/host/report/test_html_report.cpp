// The batch report page: from a folder of results (some with clusters, one
// failed, one cut short, one JSON that is not a result) it writes a page with
// a row per result and thumbnails in which the circles survive; a headless
// browser opens it without console errors, shows every row, sorts them by
// their cluster count and takes a screenshot.
#include <gtest/gtest.h>
#include <png.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "core/error.h"
#include "host/fixtures.h"
#include "host/report/command.h"
#include "report/html_report.h"

namespace fs = std::filesystem;
using zetdip::test::Browser;
using zetdip::test::CommandOutput;
using zetdip::test::ConsoleLines;
using zetdip::test::HaveTool;

namespace {

// A grey ramp (tissue) with a red square outline (a circle's colour).
void WriteOverlay(const fs::path& path, int w, int h) {
    std::vector<unsigned char> rgb(static_cast<std::size_t>(w) * h * 3);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            unsigned char* p = &rgb[(static_cast<std::size_t>(y) * w + x) * 3];
            const bool bRim = (x == w / 4 || x == w / 2) && y >= h / 4 && y <= h / 2;
            const unsigned char grey = static_cast<unsigned char>((x + y) % 200);
            p[0] = bRim ? 255 : grey;
            p[1] = bRim ? 0 : grey;
            p[2] = bRim ? 0 : grey;
        }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(w);
    image.height = static_cast<png_uint_32>(h);
    image.format = PNG_FORMAT_RGB;
    ASSERT_TRUE(png_image_write_to_file(&image, path.string().c_str(), 0, rgb.data(), 0, nullptr));
}

void WriteText(const fs::path& path, const std::string& text) {
    std::ofstream(path) << text;
}

std::string ReadText(const fs::path& path) {
    return zetdip::host::testing::ReadText(path);
}

std::string Result(const std::string& name, int nClusters) {
    std::string clusters;
    for (int k = 0; k < nClusters; ++k)
        clusters += std::string(k ? "," : "") + "{\"x\":" + std::to_string(100 + 10 * k) +
                    ",\"y\":" + std::to_string(200 + k) +
                    ",\"radius\":40,\"x_mm\":5,\"y_mm\":10,\"radius_mm\":2.0,\"members\":" +
                    std::to_string(4 + k) + "}";
    return R"({"schema":"zetdip-cad/1","input":{"path":"/data/)" + name +
           R"(.dcm","width":300,"height":500,"bits_stored":12,"photometric":"MONOCHROME2",
            "pixel_spacing":{"row_mm":0.1,"column_mm":0.0941,"source":"ImagerPixelSpacing"},
            "laterality":{"value":"L","source":"ImageLaterality"},
            "view":{"value":"MLO","source":"ViewPosition"},"future_field":[1,2]},
            "steps":[],"clusters":[)" +
           clusters + R"(],"warnings":["background level guessed"],"status":"ok"})";
}

struct Png {
    int w = 0, h = 0;
    std::vector<unsigned char> rgb;
};

Png ReadPng(const fs::path& path) {
    Png out;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.string().c_str())) return out;
    image.format = PNG_FORMAT_RGB;
    out.rgb.resize(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, out.rgb.data(), 0, nullptr)) {
        out.w = static_cast<int>(image.width);
        out.h = static_cast<int>(image.height);
    }
    png_image_free(&image);
    return out;
}

class HtmlReport : public ::testing::Test {
protected:
    void SetUp() override { fs::create_directories(out_); }

    zetdip::host::testing::TempDir scratch_;
    fs::path dir_ = scratch_.Dir(), out_ = dir_ / "out";
};

TEST_F(HtmlReport, RowPerResultThumbnailsAndBrowser) {
    WriteText(out_ / "a_two.json", Result("a_two", 2));
    WriteOverlay(out_ / "a_two.png", 300, 500);
    WriteText(out_ / "b_none.json", Result("b_none", 0));
    WriteOverlay(out_ / "b_none.png", 900, 600);
    WriteText(out_ / "c_five.json", Result("c_five", 5));
    WriteOverlay(out_ / "c_five.png", 60, 40);
    WriteText(out_ / "d_failed.json",
              R"({"schema":"zetdip-cad/1","input":{"path":"/data/d_failed.pgm"},"status":"error",
                  "error":"no pixel size; pass --pixel-size <mm> & retry"})");
    WriteText(out_ / "e_cut.json", R"({"schema":"zetdip-cad/1","input":{"pa)");
    WriteText(out_ / "summary.json", R"({"images":4})");
    // A batch mirrors the input's folders; names need escaping in links.
    fs::create_directories(out_ / "scan 2");
    WriteText(out_ / "scan 2" / "f#1.json", Result("f#1", 1));
    WriteOverlay(out_ / "scan 2" / "f#1.png", 100, 100);
    // The batch's table: files with a result are not repeated.
    WriteText(out_ / "images.csv",
              "path,status,error,width\n/data/a_two.dcm,ok,,300\n"
              "/data/crashed.dcm,error,\"stopped after 600 s, \"\"timeout\"\"\",\n"
              "/data/notes.txt,skipped,not an image,\n");

    EXPECT_EQ(zetdip::host::WriteHtmlReport(out_.string()), 8);
    EXPECT_FALSE(fs::exists(out_ / "report.html.tmp"));
    const std::string html = ReadText(out_ / "report.html");
    EXPECT_NE(html.find("8 images, 3 failed, 1 skipped, 8 clusters found."), std::string::npos);
    EXPECT_NE(html.find("pass --pixel-size &lt;mm&gt; &amp; retry"), std::string::npos);
    EXPECT_NE(html.find("unreadable result"), std::string::npos);
    EXPECT_NE(html.find("error: stopped after 600 s, &quot;timeout&quot;"), std::string::npos);
    EXPECT_NE(html.find("skipped: not an image"), std::string::npos);
    EXPECT_NE(html.find("0.1 × 0.0941 mm (ImagerPixelSpacing)"), std::string::npos);
    EXPECT_NE(html.find("(110, 201) ⌀ 4.0 mm, 5 calcifications"), std::string::npos);
    EXPECT_NE(html.find("background level guessed"), std::string::npos);
    EXPECT_EQ(html.find("http"), std::string::npos);  // nothing from the network

    // Thumbnails: at most 240 pixels, aspect kept, the red rim still there;
    // small overlays are not enlarged.
    const struct {
        const char* stem;
        int w, h;
    } expected[] = {
        {"a_two", 144, 240}, {"b_none", 240, 160}, {"c_five", 60, 40}, {"scan 2/f#1", 100, 100}};
    for (const auto& e : expected) {
        const Png t = ReadPng(out_ / "report_files" / (std::string(e.stem) + ".png"));
        EXPECT_EQ(t.w, e.w) << e.stem;
        EXPECT_EQ(t.h, e.h) << e.stem;
        int nRed = 0;
        for (std::size_t i = 0; i + 2 < t.rgb.size(); i += 3)
            nRed += t.rgb[i] == 255 && t.rgb[i + 1] == 0 && t.rgb[i + 2] == 0;
        EXPECT_GE(nRed, t.h / 4) << e.stem;
    }
    EXPECT_FALSE(fs::exists(out_ / "report_files" / "d_failed.png"));

    if (!HaveTool("chromium")) GTEST_SKIP() << "chromium not installed";
    const std::string url = "'file://" + (out_ / "report.html").string() + "#sort=clusters'";
    const std::string dom = Browser((dir_ / "profile1").string(), "--dump-dom " + url);
    EXPECT_EQ(ConsoleLines(dom), std::vector<std::string>{}) << dom;
    // Every row, most clusters first, the failed ones last.
    std::vector<std::string> order;
    const std::string key = "data-file=\"";
    for (std::size_t at = dom.find(key); at != std::string::npos; at = dom.find(key, at)) {
        at += key.size();
        order.push_back(dom.substr(at, dom.find('"', at) - at));
    }
    ASSERT_EQ(order.size(), 8u) << dom;
    EXPECT_EQ(order[0], "c_five");
    EXPECT_EQ(order[1], "a_two");
    EXPECT_EQ(order[2], "scan 2/f#1");
    EXPECT_EQ(order[3], "b_none");
    EXPECT_NE(dom.find("src=\"report_files/scan%202/f%231.png\""), std::string::npos);
    EXPECT_NE(dom.find("aria-sort=\"descending\""), std::string::npos);
    // The browser does not complain about a missing picture: every link and
    // picture must name a file beside the page.
    int nLinks = 0;
    for (const std::string attribute : {"src=\"", "href=\""})
        for (std::size_t at = dom.find(attribute); at != std::string::npos;
             at = dom.find(attribute, at)) {
            at += attribute.size();
            const std::string url = dom.substr(at, dom.find('"', at) - at);
            std::string file;
            for (std::size_t i = 0; i < url.size(); ++i)
                if (url[i] == '%' && i + 2 < url.size()) {
                    file += static_cast<char>(std::stoi(url.substr(i + 1, 2), nullptr, 16));
                    i += 2;
                } else {
                    file += url[i];
                }
            EXPECT_TRUE(fs::is_regular_file(out_ / file)) << url;
            ++nLinks;
        }
    EXPECT_EQ(nLinks, 8);  // thumbnail and overlay of four images

    const fs::path shot = dir_ / "report.png";
    const std::string log =
        zetdip::test::Screenshot((dir_ / "profile2-").string(), shot.string(), url, "1280,1400");
    EXPECT_EQ(ConsoleLines(log), std::vector<std::string>{}) << log;
    const Png s = ReadPng(shot);
    EXPECT_EQ(s.w, 1280) << log;
    EXPECT_GT(s.h, 0);
    if (const char* keep = std::getenv("ZETDIP_KEEP_SCREENSHOT"))
        fs::copy_file(shot, keep, fs::copy_options::overwrite_existing);
}

// The console check itself: a page whose script fails is caught.
TEST_F(HtmlReport, BrowserCheckCatchesScriptErrors) {
    if (!HaveTool("chromium")) GTEST_SKIP() << "chromium not installed";
    WriteText(out_ / "broken.html", "<!DOCTYPE html><p>x</p><script>notDefined();</script>");
    const std::string log = Browser((dir_ / "profile").string(),
                                    "--dump-dom 'file://" + (out_ / "broken.html").string() + "'");
    EXPECT_EQ(ConsoleLines(log).size(), 1u) << log;
}

TEST_F(HtmlReport, EmptyFolderAndMissingFolder) {
    EXPECT_EQ(zetdip::host::WriteHtmlReport(out_.string()), 0);
    EXPECT_NE(ReadText(out_ / "report.html").find("0 images, 0 failed"), std::string::npos);
    EXPECT_THROW(zetdip::host::WriteHtmlReport((dir_ / "missing").string()), zetdip::host::Error);
}

}  // namespace
