// The batch report page: from a folder of results (some with clusters, one
// failed, one cut short) it writes a page with a row per result whose
// thumbnails and overlays are files beside it.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "core/error.h"
#include "host/fixtures.h"
#include "io/write_image.h"
#include "report/html_report.h"

namespace fs = std::filesystem;
using zetdip::host::testing::ReadText;

namespace {

std::string Result(const std::string& name, int nClusters) {
    std::string clusters;
    for (int k = 0; k < nClusters; ++k)
        clusters += std::string(k ? "," : "") + "{\"x\":" + std::to_string(100 + 10 * k) +
                    ",\"y\":" + std::to_string(200 + k) +
                    ",\"radius\":40,\"x_mm\":5,\"y_mm\":10,\"radius_mm\":2.0,\"members\":" +
                    std::to_string(4 + k) + "}";
    return R"({"schema":"zetdip-cad/1","input":{"path":"/data/)" + name +
           R"(.dcm","width":300,"height":500,"bits_stored":12,"photometric":"MONOCHROME2",
            "pixel_spacing":{"row_mm":0.1,"column_mm":0.0941,"source":"ImagerPixelSpacing"}},
            "steps":[],"clusters":[)" +
           clusters + R"(],"warnings":[],"status":"ok"})";
}

TEST(HtmlReport, RowPerResultAndEveryPictureItNamesExists) {
    zetdip::host::testing::TempDir scratch;
    const fs::path out = scratch.Dir() / "out";
    fs::create_directories(out / "scan 2");  // a batch mirrors the input's folders
    EXPECT_THROW(zetdip::host::WriteHtmlReport((scratch.Dir() / "missing").string()),
                 zetdip::host::Error);

    const std::vector<unsigned char> rgb(3 * 60 * 40, 128);
    for (const auto& [stem, nClusters] :
         {std::pair{"a_two", 2}, {"b_none", 0}, {"scan 2/f#1", 1}}) {  // names need escaping
        std::ofstream(out / (std::string(stem) + ".json"))
            << Result(fs::path(stem).filename().string(), nClusters);
        zetdip::host::WritePngRgb8((out / (std::string(stem) + ".png")).string(), rgb.data(), 60,
                                   40);
    }
    std::ofstream(out / "d_failed.json")
        << R"({"schema":"zetdip-cad/1","input":{"path":"/data/d_failed.pgm"},"status":"error",
              "error":"no pixel size; pass --pixel-size <mm> & retry"})";
    std::ofstream(out / "e_cut.json") << R"({"schema":"zetdip-cad/1","input":{"pa)";

    EXPECT_EQ(zetdip::host::WriteHtmlReport(out.string()), 5);
    EXPECT_FALSE(fs::exists(out / "report.html.tmp"));
    const std::string html = ReadText((out / "report.html").string());
    for (const char* text : {"5 images, 2 failed", "pass --pixel-size &lt;mm&gt; &amp; retry",
                             "unreadable result", "(110, 201) ⌀ 4.0 mm, 5 calcifications"})
        EXPECT_NE(html.find(text), std::string::npos) << text;
    // Every link and picture names a file beside the page.
    int nLinks = 0;
    for (const std::string attribute : {"src=\"", "href=\""})
        for (std::size_t at = html.find(attribute); at != std::string::npos;
             at = html.find(attribute, at)) {
            at += attribute.size();
            const std::string url = html.substr(at, html.find('"', at) - at);
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
    EXPECT_EQ(nLinks, 6);  // thumbnail and overlay of three images
}

}  // namespace
