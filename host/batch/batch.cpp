#include "batch/batch.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <system_error>

#include "core/error.h"
#include "io/read_image.h"
#include "io/write_image.h"

namespace zetdip::host {

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

bool Hidden(const fs::path& p) {
    const std::string name = p.filename().string();
    return !name.empty() && name[0] == '.';
}

std::string Trim(std::string s) {
    const auto blank = [](unsigned char c) { return std::isspace(c) || c == '\0'; };
    while (!s.empty() && blank(static_cast<unsigned char>(s.back()))) s.pop_back();
    std::size_t i = 0;
    while (i < s.size() && blank(static_cast<unsigned char>(s[i]))) ++i;
    return s.substr(i);
}

enum class Kind { Dicom, Picture, Other };

Kind KindOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return Kind::Other;
    unsigned char head[132] = {};
    in.read(reinterpret_cast<char*>(head), sizeof head);
    const std::size_t n = static_cast<std::size_t>(in.gcount());
    if (n >= 132 && std::memcmp(head + 128, "DICM", 4) == 0) return Kind::Dicom;
    if (n >= 8 && std::memcmp(head, "\x89PNG\r\n\x1a\n", 8) == 0) return Kind::Picture;
    if (n >= 3 && head[0] == 'P' && (head[1] == '5' || head[1] == '2') && std::isspace(head[2]))
        return Kind::Picture;
    if (n >= 4 && (std::memcmp(head, "II*\0", 4) == 0 || std::memcmp(head, "MM\0*", 4) == 0))
        return Kind::Picture;
    return Kind::Other;
}

std::string Csv(const std::string& field) {
    if (field.find_first_of(",\"\r\n") == std::string::npos) return field;
    std::string quoted = "\"";
    for (char c : field) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + "\"";
}

std::string Number(double v, const char* format = "%.6g") {
    char text[64];
    std::snprintf(text, sizeof text, format, v);
    return text;
}

// A JSON value as a CSV field: strings bare, null empty, numbers as written.
std::string Field(const json& j) {
    if (j.is_null()) return "";
    if (j.is_string()) return j.get<std::string>();
    if (j.is_number_float()) return Number(j.get<double>());
    return j.dump();
}

const json& At(const json& j, std::initializer_list<const char*> keys) {
    static const json kNull;
    const json* p = &j;
    for (const char* k : keys) {
        if (!p->is_object() || !p->contains(k)) return kNull;
        p = &(*p)[k];
    }
    return *p;
}

json ParseOrNull(const std::string& text) {
    if (text.empty()) return json();
    return json::parse(text, nullptr, false);  // a broken report gives "discarded"
}

}  // namespace

std::vector<std::string> ListInputs(const std::string& input) {
    std::error_code ec;
    std::vector<std::string> files;
    if (fs::is_directory(input, ec)) {
        fs::recursive_directory_iterator it(input, fs::directory_options::skip_permission_denied,
                                            ec);
        if (ec) throw Error(input, "cannot read the folder: " + ec.message());
        for (const fs::recursive_directory_iterator end; it != end; it.increment(ec)) {
            if (ec) throw Error(input, "cannot walk the folder: " + ec.message());
            if (Hidden(it->path())) {
                if (it->is_directory(ec)) it.disable_recursion_pending();
                continue;
            }
            if (it->is_regular_file(ec)) files.push_back(it->path().string());
        }
    } else {
        std::ifstream list(input);
        if (!list) throw Error(input, "neither a folder nor a readable list of files");
        const fs::path base = fs::path(input).parent_path();
        std::string line;
        while (std::getline(list, line)) {
            line = Trim(line);
            if (line.empty() || line[0] == '#') continue;
            const fs::path p(line);
            files.push_back((p.is_absolute() ? p : base / p).lexically_normal().string());
        }
    }
    std::sort(files.begin(), files.end());
    files.erase(std::unique(files.begin(), files.end()), files.end());
    return files;
}

std::vector<std::string> Shard(const std::vector<std::string>& files, int k, int n) {
    std::vector<std::string> mine;
    if (n < 1 || k < 1 || k > n) return mine;
    for (std::size_t i = static_cast<std::size_t>(k - 1); i < files.size();
         i += static_cast<std::size_t>(n))
        mine.push_back(files[i]);
    return mine;
}

std::optional<std::string> WhySkipped(const std::string& path, const ReadOptions& read) {
    switch (KindOf(path)) {
        case Kind::Dicom:
            return WhyNotAMammogram(path);
        case Kind::Picture:
            if (read.pixelSize) return std::nullopt;
            return std::string("no pixel size: pass --pixel-size");
        case Kind::Other:
            break;
    }
    return std::string("not an image");
}

std::string OutputDirectoryFor(const std::string& path, const std::string& input,
                               const std::string& outDir) {
    std::error_code ec;
    const fs::path root =
        fs::is_directory(input, ec) ? fs::path(input) : fs::path(input).parent_path();
    const fs::path full = fs::path(path).lexically_relative(root.empty() ? fs::path(".") : root);
    // Files outside the root (absolute paths in a list) keep their own tree.
    const fs::path rel = full.empty() || *full.begin() == ".."
                             ? fs::path(path).parent_path().relative_path()
                             : full.parent_path();
    return rel.empty() ? outDir : (fs::path(outDir) / rel).lexically_normal().string();
}

FileOutcome ProcessOneFile(const std::string& path, const ProcessOptions& options) {
    FileOutcome o;
    o.path = path;
    if (auto why = WhySkipped(path, options.read)) {
        o.status = "skipped";
        o.error = *why;
        return o;
    }
    const std::string jsonPath = (fs::path(options.outDir) / (OutputStem(path) + ".json")).string();
    try {
        std::error_code ec;
        fs::create_directories(options.outDir, ec);
        const ProcessResult r = ProcessFile(path, options);
        o.status = r.ok ? "ok" : "error";
        o.error = r.error;
        o.jsonPath = r.jsonPath;
    } catch (const Error& e) {
        // The error report marks the file as done, so that a resumed run
        // does not try a corrupt file again.
        o.status = "error";
        o.error = e.Cause();
        WriteFileAtomically(jsonPath, ErrorJson(path, e.Cause()));
        o.jsonPath = jsonPath;
    }
    return o;
}

std::optional<std::string> CompleteReport(const std::string& jsonPath) {
    std::ifstream in(jsonPath, std::ios::binary);
    if (!in) return std::nullopt;
    std::stringstream text;
    text << in.rdbuf();
    const json report = ParseOrNull(text.str());
    if (!report.is_object() || !report.contains("schema") || !report.contains("status"))
        return std::nullopt;
    return text.str();
}

std::string ImagesCsvHeader() {
    return "path,status,error,width,height,bits_stored,row_spacing_mm,column_spacing_mm,"
           "spacing_source,laterality,laterality_source,view,steps,clusters,seconds\n";
}

std::string ClustersCsvHeader() {
    return "path,cluster,x,y,radius,x_mm,y_mm,radius_mm,members\n";
}

std::string ImagesCsvRow(const FileOutcome& outcome, const std::string& reportJson) {
    const json r = ParseOrNull(reportJson);
    std::string steps;
    const json& stepList = At(r, {"steps"});
    if (stepList.is_array()) {
        for (const json& s : stepList) {
            if (!steps.empty()) steps += ';';
            steps += Field(At(s, {"name"})) + "=" + Field(At(s, {"returned"}));
        }
    }
    const json& clusters = At(r, {"clusters"});
    const std::vector<std::string> fields = {
        outcome.path,
        outcome.status,
        outcome.error,
        Field(At(r, {"input", "width"})),
        Field(At(r, {"input", "height"})),
        Field(At(r, {"input", "bits_stored"})),
        Field(At(r, {"input", "pixel_spacing", "row_mm"})),
        Field(At(r, {"input", "pixel_spacing", "column_mm"})),
        Field(At(r, {"input", "pixel_spacing", "source"})),
        Field(At(r, {"input", "laterality", "value"})),
        Field(At(r, {"input", "laterality", "source"})),
        Field(At(r, {"input", "view", "value"})),
        steps,
        clusters.is_array() ? std::to_string(clusters.size()) : "",
        Number(outcome.seconds, "%.3f")};
    std::string row;
    for (std::size_t i = 0; i < fields.size(); ++i) row += (i ? "," : "") + Csv(fields[i]);
    return row + "\n";
}

std::string ClustersCsvRows(const std::string& path, const std::string& reportJson) {
    const json report = ParseOrNull(reportJson);
    const json& clusters = At(report, {"clusters"});
    std::string rows;
    if (!clusters.is_array()) return rows;
    int n = 0;
    for (const json& c : clusters) {
        rows += Csv(path) + "," + std::to_string(++n);
        for (const char* key : {"x", "y", "radius", "x_mm", "y_mm", "radius_mm", "members"})
            rows += "," + Csv(Field(At(c, {key})));
        rows += "\n";
    }
    return rows;
}

}  // namespace zetdip::host
