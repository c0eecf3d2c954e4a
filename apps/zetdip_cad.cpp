// zetdip-cad: runs ZetDIP's detection chain on mammograms and writes, per
// file, a JSON report and an overlay picture. Without arguments it runs on
// the built-in synthetic mammogram; `evaluate` measures the detection rate
// on images with known clusters. Each subcommand is a pair of functions:
// one adds its options to the parser, one runs it.
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>
#include <vector>

#include "batch/batch.h"
#include "chain/synthetic.h"
#include "core/error.h"
#include "core/memory.h"
#include "evaluate_command.h"
#include "phantom.h"
#include "report/html_report.h"
#include "report/process.h"

namespace {

using zetdip::host::Error;
using zetdip::host::ProcessOptions;
using zetdip::host::ProcessResult;

void Fail(const std::string& message) {
    std::fprintf(stderr, "zetdip-cad: %s\n", message.c_str());
}

// Strict numbers: the whole text, finite. "256px", "nan" and "inf" are refused.
bool ParseNumber(const std::string& text, double& value) {
    if (text.empty()) return false;
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text.c_str(), &end);
    return errno == 0 && end == text.c_str() + text.size() && std::isfinite(value);
}

bool ParseInt(const std::string& text, int& value) {
    double d = 0.0;
    if (!ParseNumber(text, d) || d != std::floor(d) || d < 1 || d > 1e6) return false;
    value = static_cast<int>(d);
    return true;
}

const CLI::Validator kMillimetres(
    [](std::string& text) {
        double value = 0.0;
        if (!ParseNumber(text, value) || value <= 0.0)
            return "'" + text + "' is not a positive number of millimetres";
        return std::string();
    },
    "MM");

const CLI::Validator kRawSize(
    [](std::string& text) {
        const auto x = text.find_first_of("xX");
        int w = 0, h = 0;
        if (x == std::string::npos || !ParseInt(text.substr(0, x), w) ||
            !ParseInt(text.substr(x + 1), h))
            return "'" + text + "' is not a size WIDTHxHEIGHT (e.g. 3064x4664)";
        return std::string();
    },
    "WxH");

const CLI::Validator kSide(
    [](std::string& text) {
        if (text == "L" || text == "l" || text == "R" || text == "r") return std::string();
        return "'" + text + "' is neither L nor R";
    },
    "L|R");

// Options every subcommand that reads mammograms takes.
struct InputArgs {
    std::string outDir = "zetdip-out";
    std::string pixelSize, laterality, rawSize;
    int bits = 0, width = 0, height = 0;
    bool steps = false, fullSize = false, quiet = false, sr = false;
};

void AddInputOptions(CLI::App* app, InputArgs& a) {
    app->add_option("--out", a.outDir, "Directory for the results (created if missing)")
        ->capture_default_str();
    app->add_option("--pixel-size", a.pixelSize,
                    "Millimetres per pixel; overrides the file (required when it has none)")
        ->check(kMillimetres);
    app->add_option("--bits", a.bits, "Bits stored of 16-bit samples without that fact")
        ->check(CLI::Range(9, 16));
    app->add_option("--laterality", a.laterality,
                    "Side the breast touches in the image: L (left edge) or R (right edge)")
        ->check(kSide);
    auto* raw = app->add_option("--raw-size", a.rawSize,
                                "Headerless 16-bit little-endian input of this size")
                    ->check(kRawSize);
    auto* width = app->add_option("--width", a.width, "Width of a headerless input")
                      ->check(CLI::Range(1, 1000000))
                      ->excludes(raw);
    app->add_option("--height", a.height, "Height of a headerless input")
        ->check(CLI::Range(1, 1000000))
        ->excludes(raw)
        ->needs(width);
    width->needs(app->get_option("--height"));
    app->add_flag("--steps", a.steps, "Also write the mask, lines and candidate pictures");
    app->add_flag("--full-size", a.fullSize, "Pictures at full size (else at most 2048 rows)");
    app->add_flag("--quiet", a.quiet, "No progress on stderr");
    app->add_flag("--sr", a.sr,
                  "Also write <stem>.sr.dcm, a DICOM Mammography CAD structured report, for "
                  "each DICOM input");
}

ProcessOptions ToProcessOptions(const InputArgs& a) {
    ProcessOptions o;
    o.outDir = a.outDir;
    o.steps = a.steps;
    o.fullSize = a.fullSize;
    o.structuredReport = a.sr;
    double mm = 0.0;
    if (!a.pixelSize.empty() && ParseNumber(a.pixelSize, mm)) o.read.pixelSize = mm;
    if (a.bits != 0) o.read.bitsStored = a.bits;
    if (!a.laterality.empty())
        o.detect.breastSide = zetdip::host::Fact<zetdip::host::Side>{
            a.laterality == "L" || a.laterality == "l" ? zetdip::host::Side::Left
                                                       : zetdip::host::Side::Right,
            "--laterality"};
    if (!a.rawSize.empty()) {
        const auto x = a.rawSize.find_first_of("xX");
        int w = 0, h = 0;
        ParseInt(a.rawSize.substr(0, x), w);
        ParseInt(a.rawSize.substr(x + 1), h);
        o.read.rawWidth = w;
        o.read.rawHeight = h;
    } else if (a.width != 0) {
        o.read.rawWidth = a.width;
        o.read.rawHeight = a.height;
    }
    return o;
}

std::string Summary(const ProcessResult& r) {
    std::string line = r.input + ": " + std::to_string(r.detection.clusters.size()) +
                       (r.detection.clusters.size() == 1 ? " cluster" : " clusters") + "; " +
                       r.jsonPath;
    for (const auto& p : r.picturePaths) line += ", " + p;
    if (!r.srPath.empty()) line += ", " + r.srPath;
    return line;
}

// detect FILE...
struct DetectArgs {
    InputArgs input;
    std::vector<std::string> files;
};

CLI::App* AddDetect(CLI::App& app, DetectArgs& a) {
    auto* sub = app.add_subcommand("detect", "Detect clusters of microcalcifications in files");
    sub->add_option("FILE", a.files, "DICOM, PNG, PGM, TIFF or headerless raw mammograms")
        ->required();
    AddInputOptions(sub, a.input);
    return sub;
}

int RunDetect(const DetectArgs& a) {
    const ProcessOptions options = ToProcessOptions(a.input);
    try {
        zetdip::host::PrepareOutputDirectory(options.outDir);
    } catch (const Error& e) {
        Fail(e.what());
        return 1;
    }
    int nFailed = 0;
    for (const auto& path : a.files) {
        if (!a.input.quiet) std::fprintf(stderr, "zetdip-cad: %s: processing\n", path.c_str());
        try {
            const ProcessResult r = zetdip::host::ProcessFile(path, options);
            if (!r.ok) {
                Fail(path + ": " + r.error + " (report: " + r.jsonPath + ")");
                ++nFailed;
                continue;
            }
            if (!a.input.quiet)
                for (const auto& warning : r.detection.warnings)
                    std::fprintf(stderr, "zetdip-cad: %s: warning: %s\n", path.c_str(),
                                 warning.c_str());
            std::printf("%s\n", Summary(r).c_str());
            std::fflush(stdout);
        } catch (const Error& e) {
            Fail(e.File().empty() ? path + ": " + e.Cause() : e.what());
            ++nFailed;
        }
    }
    return nFailed == 0 ? 0 : 1;
}

std::string ReportPagePath(const std::string& dir) {
    return (std::filesystem::path(dir) / "report.html").string();
}

// batch DIR|LIST.txt: the mammograms of a folder tree or a list.
struct BatchArgs {
    InputArgs input;
    std::string source, shard, progress = "auto";
    int jobs = 1;
    bool resume = false, report = false;
    double timeout = 600.0;
};

CLI::App* AddBatch(CLI::App& app, BatchArgs& a) {
    auto* sub = app.add_subcommand(
        "batch", "Process every mammogram of a folder tree or a list of files, N at a time");
    sub->add_option("INPUT", a.source, "A folder (walked recursively) or a text file of paths")
        ->required()
        ->check(CLI::ExistingPath);
    AddInputOptions(sub, a.input);
    sub->add_option("-j,--jobs", a.jobs, "Files processed at the same time")
        ->check(CLI::Range(1, 256))
        ->capture_default_str();
    sub->add_option("--shard", a.shard, "Take files K, K+N, K+2N, ... of the sorted list (K/N)")
        ->check(CLI::Validator(
            [](std::string& text) {
                int k = 0, n = 0;
                char rest = 0;
                if (std::sscanf(text.c_str(), "%d/%d%c", &k, &n, &rest) != 2 || n < 1 || k < 1 ||
                    k > n)
                    return "'" + text + "' is not K/N with 1 <= K <= N (e.g. 2/4)";
                return std::string();
            },
            "K/N"));
    sub->add_flag("--resume", a.resume, "Skip files whose JSON report is complete");
    sub->add_flag("--report", a.report, "Then write report.html, as the report command does");
    sub->add_option("--timeout", a.timeout, "Seconds one file may take before it is stopped")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    sub->add_option("--progress", a.progress,
                    "auto (a bar on a terminal, lines otherwise), bar, lines, jsonl or none")
        ->check(CLI::IsMember({"auto", "bar", "lines", "jsonl", "none"}))
        ->capture_default_str();
    return sub;
}

int RunBatchCommand(const BatchArgs& a) {
    zetdip::host::BatchOptions options;
    options.input = a.source;
    options.process = ToProcessOptions(a.input);
    options.jobs = a.jobs;
    options.resume = a.resume;
    options.timeLimitSeconds = a.timeout;
    if (!a.shard.empty())
        std::sscanf(a.shard.c_str(), "%d/%d", &options.shardIndex, &options.shardCount);
    using zetdip::host::Progress;
    options.progress = a.input.quiet           ? Progress::None
                       : a.progress == "bar"   ? Progress::Bar
                       : a.progress == "lines" ? Progress::Lines
                       : a.progress == "jsonl" ? Progress::Jsonl
                       : a.progress == "none"  ? Progress::None
                                               : Progress::Auto;
    try {
        const auto summary = zetdip::host::RunBatch(options, stderr);
        std::printf("%s\n%s\n", summary.imagesCsv.c_str(), summary.clustersCsv.c_str());
        if (a.report) {
            zetdip::host::WriteHtmlReport(options.process.outDir);
            std::printf("%s\n", ReportPagePath(options.process.outDir).c_str());
        }
        return summary.failed == 0 ? 0 : 1;
    } catch (const Error& e) {
        Fail(e.what());
        return 1;
    }
}

// report DIR: one page over the results of detect or batch.
struct ReportArgs {
    std::string dir;
};

CLI::App* AddReport(CLI::App& app, ReportArgs& a) {
    auto* sub = app.add_subcommand(
        "report", "Write DIR/report.html: every result in DIR on one page, with its overlay");
    sub->add_option("DIR", a.dir, "The --out directory of detect or batch")
        ->required()
        ->check(CLI::ExistingDirectory);
    return sub;
}

int RunReport(const ReportArgs& a) {
    try {
        const int nRows = zetdip::host::WriteHtmlReport(a.dir);
        std::printf("%s: %d %s\n", ReportPagePath(a.dir).c_str(), nRows,
                    nRows == 1 ? "image" : "images");
        return 0;
    } catch (const Error& e) {
        Fail(e.what());
        return 1;
    }
}

// evaluate [DIR]: FROC points on images with known or inserted clusters.
CLI::App* AddEvaluate(CLI::App& app, zetdip::cad::EvaluateArgs& a) {
    auto* sub = app.add_subcommand(
        "evaluate",
        "Detection rate: FROC points on images with known clusters, on images with "
        "inserted clusters, or on synthetic mammograms");
    sub->add_option("DIR,--dir", a.dir, "Folder of the images (any format detect reads)")
        ->check(CLI::ExistingDirectory);
    sub->add_option("--truth", a.truthPath,
                    "Truth CSV (refnum, x, y_top_origin, radius_px), in DIR unless a path");
    sub->add_option("--normals", a.normalsPath,
                    "List of images without clusters, in DIR unless a path");
    sub->add_option("--pixel-size", a.dPixelSize,
                    "Millimetres per pixel; overrides the files (synthetic: default 0.1)")
        ->check(CLI::Range(0.01, 1.0));
    sub->add_option("--thresholds", a.thresholds, "Operating points, in noise multiples")
        ->capture_default_str();
    sub->add_option("--default", a.dDefault, "Operating point of the per-image table")
        ->capture_default_str();
    sub->add_option("--svg", a.svgPath, "Write the FROC curve(s) as an SVG picture");
    sub->add_option("--dump", a.dumpDir,
                    "Write each image as PNG into this folder: its mask and candidates, or with "
                    "--whole-chain the overlay detect writes")
        ->check(CLI::ExistingDirectory);
    sub->add_option("--insert", a.contrasts,
                    "Insert clusters of these contrasts (fraction of the local signal) into "
                    "the normals, or into the synthetic mammograms");
    sub->add_option("--synthetic", a.nSynthetic, "Run on this many synthetic mammograms")
        ->check(CLI::Range(1, 1000));
    sub->add_flag("--whole-chain", a.bWholeChain,
                  "Score the whole chain of detect (library and host masks, line exclusion) "
                  "instead of the host's preparation and candidates alone");
    sub->add_option("--seed", a.nSeed, "First seed of the synthetic mammograms and insertions")
        ->capture_default_str();
    return sub;
}

// No arguments: the synthetic mammogram, into ./zetdip-out/.
int RunDefault() {
    ProcessOptions options;
    options.outDir = "zetdip-out";
    try {
        zetdip::host::PrepareOutputDirectory(options.outDir);
        std::fprintf(stderr, "zetdip-cad: no input given; running on the synthetic mammogram\n");
        const auto m = zetdip::phantom::MakeMammogram({});
        const ProcessResult r =
            zetdip::host::ProcessImage(zetdip::host::SyntheticImage(m), "synthetic", options);
        if (!r.ok) {
            Fail("synthetic: " + r.error);
            return 1;
        }
        std::printf("%s\n", Summary(r).c_str());
        std::printf("picture: %s\n",
                    std::filesystem::absolute(r.picturePaths.front()).lexically_normal().c_str());
        return 0;
    } catch (const Error& e) {
        Fail(e.what());
        return 1;
    }
}

}  // namespace

int main(int argc, char** argv) {
    zetdip::host::KeepReleasedBuffersForReuse();
    try {
        if (argc <= 1) return RunDefault();
        CLI::App app{
            "zetdip-cad: clusters of microcalcifications in mammograms.\n"
            "Without arguments: runs on a synthetic mammogram and writes ./zetdip-out/.",
            "zetdip-cad"};
        app.set_version_flag("--version", std::string("zetdip-cad ") + ZETDIP_VERSION);
        app.require_subcommand(1);
        DetectArgs detect;
        auto* detectCommand = AddDetect(app, detect);
        BatchArgs batch;
        auto* batchCommand = AddBatch(app, batch);
        ReportArgs report;
        auto* reportCommand = AddReport(app, report);
        zetdip::cad::EvaluateArgs evaluate;
        auto* evaluateCommand = AddEvaluate(app, evaluate);
        try {
            app.parse(argc, argv);
        } catch (const CLI::Success& e) {  // --help, --version
            return app.exit(e);
        } catch (const CLI::ParseError& e) {
            Fail(std::string(e.what()) + " (see zetdip-cad --help)");
            return e.get_exit_code() != 0 ? e.get_exit_code() : 2;
        }
        if (detectCommand->parsed()) return RunDetect(detect);
        if (batchCommand->parsed()) return RunBatchCommand(batch);
        if (reportCommand->parsed()) return RunReport(report);
        if (evaluateCommand->parsed()) return zetdip::cad::RunEvaluate(evaluate);
        return 2;
    } catch (const std::bad_alloc&) {
        Fail("out of memory");
        return 1;
    } catch (const std::exception& e) {
        Fail(e.what());
        return 1;
    }
}
