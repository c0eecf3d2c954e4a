// The batch report page: from a folder of results (some with clusters, one
// failed, one cut short, one JSON that is not a result) it writes a page with
// a row per result and thumbnails in which the circles survive; a headless
// browser opens it without console errors, shows every row and sorts them
// by their cluster count.
#include <gtest/gtest.h>
#include <png.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/error.h"
#include "host/fixtures.h"
#include "host/report/command.h"
#include "report/html_report.h"

namespace fs = std::filesystem;
using zetdip::host::testing::ReadText;

namespace {

// A grey ramp (tissue) with a red square outline (a circle's colour).
void WriteOverlay(const fs::path& path, int w, int h) {
    std::vector<unsigned char> rgb;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool bRim = (x == w / 4 || x == w / 2) && y >= h / 4 && y <= h / 2;
            const auto grey = static_cast<unsigned char>((x + y) % 200);
            rgb.insert(rgb.end(), {bRim ? static_cast<unsigned char>(255) : grey,
                                   bRim ? static_cast<unsigned char>(0) : grey,
                                   bRim ? static_cast<unsigned char>(0) : grey});
        }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(w);
    image.height = static_cast<png_uint_32>(h);
    image.format = PNG_FORMAT_RGB;
    ASSERT_TRUE(png_image_write_to_file(&image, path.string().c_str(), 0, rgb.data(), 0, nullptr));
}

// Size and number of pure red pixels of a PNG.
std::array<int, 3> SizeAndRed(const fs::path& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, path.string().c_str())) return {0, 0, 0};
    image.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> rgb(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr)) return {0, 0, 0};
    int nRed = 0;
    for (std::size_t i = 0; i + 2 < rgb.size(); i += 3)
        nRed += rgb[i] == 255 && rgb[i + 1] == 0 && rgb[i + 2] == 0;
    return {static_cast<int>(image.width), static_cast<int>(image.height), nRed};
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

TEST(HtmlReport, RowPerResultThumbnailsAndBrowser) {
    zetdip::host::testing::TempDir scratch;
    const fs::path dir = scratch.Dir(), out = dir / "out";
    fs::create_directories(out / "scan 2");  // a batch mirrors the input's folders
    EXPECT_EQ(zetdip::host::WriteHtmlReport(out.string()), 0);
    EXPECT_NE(ReadText(out / "report.html").find("0 images, 0 failed"), std::string::npos);
    EXPECT_THROW(zetdip::host::WriteHtmlReport((dir / "missing").string()), zetdip::host::Error);

    const struct {
        const char* stem;
        int nClusters, w, h, thumbW, thumbH;  // thumbnails: at most 240, never enlarged
    } kResults[] = {{"a_two", 2, 300, 500, 144, 240},
                    {"b_none", 0, 900, 600, 240, 160},
                    {"c_five", 5, 60, 40, 60, 40},
                    {"scan 2/f#1", 1, 100, 100, 100, 100}};  // names need escaping in links
    for (const auto& r : kResults) {
        std::ofstream(out / (std::string(r.stem) + ".json"))
            << Result(fs::path(r.stem).filename().string(), r.nClusters);
        WriteOverlay(out / (std::string(r.stem) + ".png"), r.w, r.h);
    }
    std::ofstream(out / "d_failed.json")
        << R"({"schema":"zetdip-cad/1","input":{"path":"/data/d_failed.pgm"},"status":"error",
              "error":"no pixel size; pass --pixel-size <mm> & retry"})";
    std::ofstream(out / "e_cut.json") << R"({"schema":"zetdip-cad/1","input":{"pa)";
    std::ofstream(out / "summary.json") << R"({"images":4})";
    // The batch's table: files with a result are not repeated.
    std::ofstream(out / "images.csv")
        << "path,status,error,width\n/data/a_two.dcm,ok,,300\n"
           "/data/crashed.dcm,error,\"stopped after 600 s, \"\"timeout\"\"\",\n"
           "/data/notes.txt,skipped,not an image,\n";

    EXPECT_EQ(zetdip::host::WriteHtmlReport(out.string()), 8);
    EXPECT_FALSE(fs::exists(out / "report.html.tmp"));
    const std::string html = ReadText(out / "report.html");
    for (const char* text : {"8 images, 3 failed, 1 skipped, 8 clusters found.",
                             "pass --pixel-size &lt;mm&gt; &amp; retry", "unreadable result",
                             "error: stopped after 600 s, &quot;timeout&quot;",
                             "skipped: not an image", "0.1 × 0.0941 mm (ImagerPixelSpacing)",
                             "(110, 201) ⌀ 4.0 mm, 5 calcifications", "background level guessed"})
        EXPECT_NE(html.find(text), std::string::npos) << text;
    EXPECT_EQ(html.find("http"), std::string::npos);  // nothing from the network
    for (const auto& r : kResults) {
        const auto t = SizeAndRed(out / "report_files" / (std::string(r.stem) + ".png"));
        EXPECT_EQ(t[0] * 1000 + t[1], r.thumbW * 1000 + r.thumbH) << r.stem;
        EXPECT_GE(t[2], t[1] / 4) << r.stem;  // the red rim survives
    }
    EXPECT_FALSE(fs::exists(out / "report_files" / "d_failed.png"));

    if (!zetdip::test::HaveTool("chromium")) GTEST_SKIP() << "chromium not installed";
    const std::string dom = zetdip::test::Browser(
        (dir / "profile").string(),
        "--dump-dom 'file://" + (out / "report.html").string() + "#sort=clusters'");
    EXPECT_EQ(zetdip::test::ConsoleLines(dom), std::vector<std::string>{}) << dom;
    // Every row, most clusters first, the failed ones last.
    std::vector<std::string> order;
    const std::string key = "data-file=\"";
    for (std::size_t at = dom.find(key); at != std::string::npos; at = dom.find(key, at)) {
        at += key.size();
        order.push_back(dom.substr(at, dom.find('"', at) - at));
    }
    ASSERT_EQ(order.size(), 8u) << dom;
    EXPECT_EQ(std::vector<std::string>(order.begin(), order.begin() + 4),
              (std::vector<std::string>{"c_five", "a_two", "scan 2/f#1", "b_none"}));
    EXPECT_NE(dom.find("src=\"report_files/scan%202/f%231.png\""), std::string::npos);
    EXPECT_NE(dom.find("aria-sort=\"descending\""), std::string::npos);
    // Every link and picture names a file beside the page.
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
            EXPECT_TRUE(fs::is_regular_file(out / file)) << url;
            ++nLinks;
        }
    EXPECT_EQ(nLinks, 8);  // thumbnail and overlay of four images
}

}  // namespace
