#include "process.h"

#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <new>
#include <system_error>

#include "core/error.h"
#include "io/write_image.h"
#include "report/overlay.h"
#include "report/structured_report.h"

namespace zetdip::host {
namespace {

namespace fs = std::filesystem;

double MsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

// A file to write, with its contents rendered in memory first, so that a
// failure while computing leaves nothing on disk.
struct Output {
    std::string path;
    std::string text;  // JSON
    Picture picture;   // or a picture
};

void WriteAll(const std::vector<Output>& outputs) {
    std::vector<std::string> written;
    try {
        for (const auto& o : outputs) {
            if (!o.text.empty())
                WriteFileAtomically(o.path, o.text);
            else if (o.picture.nChannels == 3)
                WritePngRgb8(o.path, o.picture.pixels.data(), o.picture.nWidth, o.picture.nHeight);
            else
                WritePngGrey8(o.path, o.picture.pixels.data(), o.picture.nWidth, o.picture.nHeight);
            written.push_back(o.path);
        }
    } catch (...) {
        // All or nothing: a report without its picture would mislead.
        std::error_code ec;
        for (const auto& path : written) fs::remove(path, ec);
        throw;
    }
}

}  // namespace

std::string OutputStem(const std::string& path) {
    const std::string stem = fs::path(path).stem().string();
    return stem.empty() ? "image" : stem;
}

void PrepareOutputDirectory(const std::string& dir) {
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (ec) throw Error(dir, "cannot create the output directory: " + ec.message());
    if (!fs::is_directory(dir, ec)) throw Error(dir, "not a directory");
    // Root ignores permission bits, so ask the file system itself.
    const fs::path probe = fs::path(dir) / (".zetdip-probe-" + std::to_string(::getpid()));
    try {
        WriteFileAtomically(probe.string(), "");
    } catch (const Error& e) {
        throw Error(dir, "cannot write into the output directory: " + e.Cause());
    }
    fs::remove(probe, ec);
}

ProcessResult ProcessImage(const Image& image, const std::string& stem,
                           const ProcessOptions& options, double readMs) {
    return WithFileErrors(image.path, [&] {
        const auto start = std::chrono::steady_clock::now();
        ProcessResult result;
        result.input = image.path;
        DetectOptions detect = options.detect;
        detect.keepStepImages = detect.keepStepImages || options.steps;
        result.detection = Detect(image, detect);
        const DetectionResult& r = result.detection;
        result.ok = r.Ok();
        if (!result.ok) result.error = "the chain stopped: " + r.failedStep + " returned false";
        result.timing.readMs = readMs;
        result.timing.detectMs = MsSince(start);

        const fs::path dir(options.outDir);
        std::vector<Output> outputs;
        if (result.ok) {
            const int scale = PictureScale(image.nHeight, options.fullSize);
            outputs.push_back(
                {(dir / (stem + ".png")).string(), "", RenderOverlay(image, r, scale)});
            if (options.steps) {
                const std::pair<const char*, const std::vector<unsigned char>*> steps[] = {
                    {"mask", &r.mask},
                    {"lines", &r.lines},
                    {"candidates", &r.candidates},
                    {"kept", &r.kept}};
                for (const auto& [name, binary] : steps)
                    outputs.push_back({(dir / (stem + "." + name + ".png")).string(), "",
                                       RenderBinary(*binary, image.nWidth, image.nHeight, scale)});
            }
        }
        // The structured report references the source file by its DICOM
        // identity, which only a DICOM input has.
        const bool bSr = options.structuredReport && result.ok && image.format == "DICOM";
        if (options.structuredReport && result.ok && !bSr)
            result.detection.warnings.push_back("no structured report: the input is not DICOM");
        result.timing.totalMs = readMs + MsSince(start);
        result.jsonPath = (dir / (stem + ".json")).string();
        outputs.insert(outputs.begin(),
                       {result.jsonPath, ReportJson(image, r, result.timing), Picture{}});
        if (bSr) {
            std::vector<SrCluster> clusters;
            for (const auto& c : r.clusters)
                clusters.push_back({1.0 * c.x, 1.0 * c.y, c.radius, c.members});
            result.srPath = (dir / (stem + ".sr.dcm")).string();
            WriteMammographyCadSr(image.path, clusters, result.srPath,
                                  {"zetdip-cad", ZETDIP_VERSION});
        }
        try {
            WriteAll(outputs);
        } catch (...) {
            std::error_code ec;
            if (bSr) fs::remove(result.srPath, ec);
            throw;
        }
        for (std::size_t i = 1; i < outputs.size(); ++i)
            result.picturePaths.push_back(outputs[i].path);
        return result;
    });
}

ProcessResult ProcessFile(const std::string& path, const ProcessOptions& options) {
    return WithFileErrors(path, [&] {
        const auto start = std::chrono::steady_clock::now();
        const Image image = ReadImage(path, options.read);
        return ProcessImage(image, OutputStem(path), options, MsSince(start));
    });
}

}  // namespace zetdip::host
