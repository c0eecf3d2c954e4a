#include "report/html_report.h"

#include <png.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "core/error.h"

namespace zetdip::host {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

// Thumbnails are at most this wide or high; enough to see where the
// circles are without making the page heavy for a large batch.
constexpr int kThumbnailSize = 240;

// ---- the results as the detector writes them; read tolerantly, since a
// field added later must not break an older page

std::string Escape(const std::string& s) {
    std::string out;
    out.reserve(s.size());
    for (char c : s) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&#39;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string Number(double d, int decimals) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, d);
    return buffer;
}

// A fact is stored either as a plain value or as {"value": ..., "source": ...};
// it may sit at the top of the result or in its "input" object.
const json* Field(const json& result, const char* key) {
    if (result.contains("input") && result["input"].is_object() && result["input"].contains(key))
        return &result["input"][key];
    if (result.contains(key)) return &result[key];
    return nullptr;
}

std::string Plain(const json& v) {
    if (v.is_string()) return v.get<std::string>();
    if (v.is_number_integer()) return std::to_string(v.get<long long>());
    if (v.is_number()) return Number(v.get<double>(), 4);
    if (v.is_boolean()) return v.get<bool>() ? "yes" : "no";
    if (v.is_null()) return "";
    return v.dump();
}

// "value (source)" for a fact; empty when absent.
std::string FactText(const json& result, const char* key) {
    const json* f = Field(result, key);
    if (f == nullptr || f->is_null()) return "";
    std::string text, source;
    if (f->is_object()) {
        if (f->contains("value")) text = Plain((*f)["value"]);
        if (f->contains("source")) source = Plain((*f)["source"]);
    } else {
        text = Plain(*f);
    }
    const json* s = Field(result, (std::string(key) + "_source").c_str());
    if (source.empty() && s != nullptr) source = Plain(*s);
    return source.empty() ? text : text + " (" + source + ")";
}

// Millimetres to the micrometre, without trailing zeros: "0.05", "0.0941".
std::string Mm(const json& v) {
    if (!v.is_number()) return Plain(v);
    std::string s = Number(v.get<double>(), 4);
    while (s.size() > 1 && s.back() == '0') s.pop_back();
    if (s.back() == '.') s.pop_back();
    return s;
}

// Pixel spacing as "row × column mm (source)", whatever shape it is kept in:
// one number, [row, column], or an object with row_mm/column_mm, row/column
// or value.
std::string SpacingText(const json& result) {
    const char* keys[] = {"pixel_spacing", "pixel_spacing_mm", "pixel_size", "pixel_size_mm"};
    for (const char* key : keys) {
        const json* f = Field(result, key);
        if (f == nullptr || f->is_null()) continue;
        std::string text, source;
        if (f->is_number()) {
            text = Mm(*f);
        } else if (f->is_array() && f->size() == 2) {
            text = Mm((*f)[0]) + " × " + Mm((*f)[1]);
        } else if (f->is_object()) {
            if (f->contains("row_mm") && f->contains("column_mm"))
                text = Mm((*f)["row_mm"]) + " × " + Mm((*f)["column_mm"]);
            else if (f->contains("row") && f->contains("column"))
                text = Mm((*f)["row"]) + " × " + Mm((*f)["column"]);
            else if (f->contains("value"))
                text = (*f)["value"].is_array() && (*f)["value"].size() == 2
                           ? Mm((*f)["value"][0]) + " × " + Mm((*f)["value"][1])
                           : Mm((*f)["value"]);
            if (f->contains("source")) source = Plain((*f)["source"]);
        } else {
            text = Plain(*f);
        }
        const json* s = Field(result, (std::string(key) + "_source").c_str());
        if (source.empty() && s != nullptr) source = Plain(*s);
        if (!text.empty()) text += " mm";
        return source.empty() ? text : text + " (" + source + ")";
    }
    return "";
}

double NumberOr(const json& o, const char* key, double fallback) {
    return o.is_object() && o.contains(key) && o[key].is_number() ? o[key].get<double>() : fallback;
}

struct Row {
    std::string stem, file, laterality, view, spacing, status, error, thumbnail, overlay;
    std::vector<std::string> warnings, clusters;
    int nClusters = -1;  // -1: failed, nothing found
};

// ---- thumbnails: the overlay box-averaged down to kThumbnailSize

struct PngImage {
    png_image image{};
    PngImage() { image.version = PNG_IMAGE_VERSION; }
    ~PngImage() { png_image_free(&image); }
    PngImage(const PngImage&) = delete;
    PngImage& operator=(const PngImage&) = delete;
};

// Returns false when the overlay cannot be read; the row then has no picture.
bool WriteThumbnail(const fs::path& overlay, const fs::path& thumbnail) {
    std::vector<unsigned char> rgb;
    int w = 0, h = 0;
    {
        PngImage in;
        if (!png_image_begin_read_from_file(&in.image, overlay.string().c_str())) return false;
        in.image.format = PNG_FORMAT_RGB;
        w = static_cast<int>(in.image.width);
        h = static_cast<int>(in.image.height);
        rgb.resize(PNG_IMAGE_SIZE(in.image));
        if (!png_image_finish_read(&in.image, nullptr, rgb.data(), 0, nullptr)) return false;
    }
    if (w <= 0 || h <= 0) return false;
    const long long longer = std::max(w, h);
    const int tw =
        longer <= kThumbnailSize ? w : std::max(1, static_cast<int>(w * kThumbnailSize / longer));
    const int th =
        longer <= kThumbnailSize ? h : std::max(1, static_cast<int>(h * kThumbnailSize / longer));
    std::vector<unsigned char> small(static_cast<std::size_t>(tw) * th * 3);
    for (int ty = 0; ty < th; ++ty) {
        const int y0 = static_cast<int>(static_cast<long long>(ty) * h / th);
        const int y1 = std::max(y0 + 1, static_cast<int>(static_cast<long long>(ty + 1) * h / th));
        for (int tx = 0; tx < tw; ++tx) {
            const int x0 = static_cast<int>(static_cast<long long>(tx) * w / tw);
            const int x1 =
                std::max(x0 + 1, static_cast<int>(static_cast<long long>(tx + 1) * w / tw));
            // A coloured pixel in the box belongs to a circle (the tissue is
            // grey): keep its colour so that circles one or two pixels wide
            // survive the reduction; a grey box is averaged.
            unsigned long long sum[3] = {0, 0, 0};
            const unsigned char* circle = nullptr;
            for (int y = y0; y < y1; ++y)
                for (int x = x0; x < x1; ++x) {
                    const unsigned char* p = &rgb[(static_cast<std::size_t>(y) * w + x) * 3];
                    if (circle == nullptr && (p[0] != p[1] || p[1] != p[2])) circle = p;
                    for (int c = 0; c < 3; ++c) sum[c] += p[c];
                }
            const unsigned long long n = static_cast<unsigned long long>(y1 - y0) * (x1 - x0);
            unsigned char* out = &small[(static_cast<std::size_t>(ty) * tw + tx) * 3];
            for (int c = 0; c < 3; ++c)
                out[c] = circle != nullptr ? circle[c] : static_cast<unsigned char>(sum[c] / n);
        }
    }
    const fs::path tmp = thumbnail.string() + ".tmp";
    PngImage out;
    out.image.width = static_cast<png_uint_32>(tw);
    out.image.height = static_cast<png_uint_32>(th);
    out.image.format = PNG_FORMAT_RGB;
    if (!png_image_write_to_file(&out.image, tmp.string().c_str(), 0, small.data(), 0, nullptr)) {
        std::error_code ec;
        fs::remove(tmp, ec);
        return false;
    }
    std::error_code ec;
    fs::rename(tmp, thumbnail, ec);
    return !ec;
}

// A relative path as a URL: each byte outside the unreserved set escaped,
// the separators kept.
std::string UrlPath(const std::string& path) {
    static const char* kHex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : path) {
        if (std::isalnum(c) || c == '-' || c == '_' || c == '.' || c == '~' || c == '/') {
            out += static_cast<char>(c);
        } else {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        }
    }
    return out;
}

// stem: the result's path below the report's directory without ".json"
// ("a/b/MG1" for a batch that mirrored folders); its overlay and thumbnail
// go by the same relative name.
Row ReadRow(const fs::path& dir, const std::string& stem, const fs::path& filesDir) {
    const fs::path jsonPath = dir / (stem + ".json");
    Row row;
    row.stem = stem;
    row.file = stem + ".json";
    json result;
    try {
        std::ifstream in(jsonPath);
        result = json::parse(in);
    } catch (const json::exception& e) {
        row.status = "error";
        row.error = std::string("unreadable result: ") + e.what();
        return row;
    }
    if (const json* path = Field(result, "path"); path != nullptr && path->is_string())
        row.file = path->get<std::string>();
    row.laterality = FactText(result, "laterality");
    row.view = FactText(result, "view");
    row.spacing = SpacingText(result);
    row.status = result.contains("status") ? Plain(result["status"]) : "ok";
    if (result.contains("error")) row.error = Plain(result["error"]);
    if (result.contains("warnings") && result["warnings"].is_array())
        for (const json& w : result["warnings"]) row.warnings.push_back(Plain(w));
    if (row.status != "error" && result.contains("clusters") && result["clusters"].is_array()) {
        row.nClusters = static_cast<int>(result["clusters"].size());
        for (const json& c : result["clusters"]) {
            std::string text =
                "(" + Number(NumberOr(c, "x", 0), 0) + ", " + Number(NumberOr(c, "y", 0), 0) + ")";
            if (c.contains("radius_mm") && c["radius_mm"].is_number())
                text += " ⌀ " + Number(2.0 * c["radius_mm"].get<double>(), 1) + " mm";
            else if (c.contains("radius") && c["radius"].is_number())
                text += " ⌀ " + Number(2.0 * c["radius"].get<double>(), 0) + " px";
            if (c.contains("members") && c["members"].is_number_integer())
                text += ", " + std::to_string(c["members"].get<long long>()) + " calcifications";
            row.clusters.push_back(text);
        }
    }
    const fs::path overlay = dir / (stem + ".png");
    std::error_code missing;
    if (fs::is_regular_file(overlay, missing)) {
        row.overlay = UrlPath(stem + ".png");
        const fs::path thumbnail = filesDir / (stem + ".png");
        std::error_code ec;
        fs::create_directories(thumbnail.parent_path(), ec);
        if (!ec && WriteThumbnail(overlay, thumbnail))
            row.thumbnail = UrlPath(filesDir.filename().string() + "/" + stem + ".png");
    }
    return row;
}

// RFC 4180 records: fields separated by commas, quoted when they hold a
// comma, a quote ("" inside) or a line break.
std::vector<std::vector<std::string>> CsvRecords(const std::string& text) {
    std::vector<std::vector<std::string>> records;
    std::vector<std::string> record;
    std::string field;
    bool bQuoted = false, bAny = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (bQuoted) {
            if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
                field += '"';
                ++i;
            } else if (c == '"') {
                bQuoted = false;
            } else {
                field += c;
            }
        } else if (c == '"') {
            bQuoted = bAny = true;
        } else if (c == ',') {
            record.push_back(field);
            field.clear();
            bAny = true;
        } else if (c == '\n' || c == '\r') {
            if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
            if (bAny || !field.empty()) {
                record.push_back(field);
                records.push_back(record);
            }
            record.clear();
            field.clear();
            bAny = false;
        } else {
            field += c;
            bAny = true;
        }
    }
    if (bAny || !field.empty()) {
        record.push_back(field);
        records.push_back(record);
    }
    return records;
}

// A batch's images.csv also lists the files that left no result: skipped
// (not an image, no pixel size) or stopped (crashed, out of time).
void AddFilesWithoutResult(const fs::path& csv, std::vector<Row>& rows) {
    std::ifstream in(csv, std::ios::binary);
    if (!in) return;
    std::stringstream text;
    text << in.rdbuf();
    const auto records = CsvRecords(text.str());
    if (records.empty()) return;
    int path = -1, status = -1, error = -1;
    for (std::size_t k = 0; k < records[0].size(); ++k) {
        if (records[0][k] == "path") path = static_cast<int>(k);
        if (records[0][k] == "status") status = static_cast<int>(k);
        if (records[0][k] == "error") error = static_cast<int>(k);
    }
    if (path < 0 || status < 0) return;
    std::vector<std::string> known;
    for (const Row& r : rows) known.push_back(r.file);
    for (std::size_t k = 1; k < records.size(); ++k) {
        const auto& f = records[k];
        if (static_cast<int>(f.size()) <= std::max(path, status) || f[status] == "ok") continue;
        if (std::find(known.begin(), known.end(), f[path]) != known.end()) continue;
        Row row;
        row.stem = f[path];
        row.file = f[path];
        row.status = f[status];
        if (error >= 0 && error < static_cast<int>(f.size())) row.error = f[error];
        rows.push_back(row);
    }
}

// The one script of the page: sort the rows by their cluster count.
constexpr const char* kScript = R"js(
(function () {
  var body = document.querySelector('#results tbody');
  var header = document.getElementById('sort-clusters');
  var descending = true;
  function sort(desc) {
    var rows = Array.prototype.slice.call(body.querySelectorAll('tr.image'));
    rows.sort(function (a, b) {
      var d = Number(a.dataset.clusters) - Number(b.dataset.clusters);
      return desc ? -d : d;
    });
    rows.forEach(function (r) { body.appendChild(r); });
    header.setAttribute('aria-sort', desc ? 'descending' : 'ascending');
  }
  header.addEventListener('click', function () { sort(descending); descending = !descending; });
  if (location.hash === '#sort=clusters') sort(true);
  if (location.hash === '#sort=clusters-asc') sort(false);
})();
)js";

constexpr const char* kStyle = R"css(
body { font-family: sans-serif; margin: 1.5em; color: #222; }
table { border-collapse: collapse; }
th, td { border-bottom: 1px solid #ccc; padding: 0.4em 0.7em; text-align: left; vertical-align: top; }
th#sort-clusters { cursor: pointer; text-decoration: underline dotted; }
tr.failed td { background: #fdecea; }
td.error { color: #a00; }
img { display: block; max-width: 240px; max-height: 240px; background: #000; }
ul { margin: 0; padding-left: 1.2em; }
)css";

}  // namespace

int WriteHtmlReport(const std::string& outDir) {
    const fs::path dir(outDir);
    const fs::path filesDir = dir / "report_files";
    // A batch mirrors the input's folders below the output directory.
    std::vector<std::string> stems;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code notFile;
        if (it->path() == filesDir) {
            it.disable_recursion_pending();
        } else if (it->path().extension() == ".json" && it->is_regular_file(notFile)) {
            fs::path rel = it->path().lexically_relative(dir);
            stems.push_back(rel.replace_extension().generic_string());
        }
    }
    if (ec) throw Error(outDir, "cannot list the results: " + ec.message());
    std::sort(stems.begin(), stems.end());

    std::vector<Row> rows;
    for (const std::string& stem : stems) {
        const fs::path p = dir / (stem + ".json");
        // Other JSON files in the folder (a summary, a manifest) are not results.
        try {
            std::ifstream in(p);
            const json head = json::parse(in);
            if (!head.is_object() || !head.contains("schema") || !head["schema"].is_string() ||
                head["schema"].get<std::string>().rfind("zetdip-cad/", 0) != 0)
                continue;
        } catch (const json::exception&) {
            // A result cut short still gets a row, with its error.
        }
        rows.push_back(ReadRow(dir, stem, filesDir));
    }

    AddFilesWithoutResult(dir / "images.csv", rows);

    int nFailed = 0, nSkipped = 0, nClusters = 0;
    for (const Row& r : rows) {
        if (r.status == "skipped")
            ++nSkipped;
        else if (r.status != "ok")
            ++nFailed;
        nClusters += std::max(0, r.nClusters);
    }
    std::ostringstream html;
    html << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         << "<title>zetdip-cad results</title>\n<style>" << kStyle << "</style>\n</head>\n<body>\n"
         << "<h1>zetdip-cad results</h1>\n<p id=\"summary\">" << rows.size() << " images, "
         << nFailed << " failed, " << nSkipped << " skipped, " << nClusters
         << " clusters found.</p>\n"
         << "<table id=\"results\">\n<thead><tr><th>Overlay</th><th>Image</th>"
         << "<th>Laterality / view</th><th>Pixel spacing</th><th>Status</th>"
         << "<th id=\"sort-clusters\" title=\"sort\">Clusters</th></tr></thead>\n<tbody>\n";
    for (const Row& r : rows) {
        const bool bFailed = r.status != "ok";
        html << "<tr class=\"image" << (bFailed ? " failed" : "") << "\" data-file=\""
             << Escape(r.stem) << "\" data-clusters=\"" << r.nClusters << "\">\n<td>";
        if (!r.thumbnail.empty())
            html << "<a href=\"" << r.overlay << "\"><img src=\"" << r.thumbnail
                 << "\" alt=\"overlay of " << Escape(r.stem) << "\"></a>";
        else if (!r.overlay.empty())
            html << "<a href=\"" << r.overlay << "\">overlay</a>";
        html << "</td>\n<td>" << Escape(r.file) << "</td>\n<td>" << Escape(r.laterality);
        if (!r.view.empty()) html << "<br>" << Escape(r.view);
        html << "</td>\n<td>" << Escape(r.spacing) << "</td>\n<td"
             << (bFailed ? " class=\"error\"" : "") << ">" << Escape(r.status);
        if (!r.error.empty()) html << ": " << Escape(r.error);
        if (!r.warnings.empty()) {
            html << "<ul class=\"warnings\">";
            for (const std::string& w : r.warnings) html << "<li>" << Escape(w) << "</li>";
            html << "</ul>";
        }
        html << "</td>\n<td>";
        if (r.nClusters >= 0) {
            html << "<span class=\"count\">" << r.nClusters << "</span>";
            if (!r.clusters.empty()) {
                html << "<ul class=\"clusters\">";
                for (const std::string& c : r.clusters) html << "<li>" << Escape(c) << "</li>";
                html << "</ul>";
            }
        }
        html << "</td>\n</tr>\n";
    }
    html << "</tbody>\n</table>\n<script>" << kScript << "</script>\n</body>\n</html>\n";

    const fs::path page = dir / "report.html";
    const fs::path tmp = dir / "report.html.tmp";
    {
        std::ofstream out(tmp, std::ios::binary | std::ios::trunc);
        out << html.str();
        out.close();
        if (!out) {
            fs::remove(tmp, ec);
            throw Error(page.string(), "cannot write the report page");
        }
    }
    fs::rename(tmp, page, ec);
    if (ec) {
        fs::remove(tmp, ec);
        throw Error(page.string(), "cannot rename the finished page into place");
    }
    return static_cast<int>(rows.size());
}

}  // namespace zetdip::host
