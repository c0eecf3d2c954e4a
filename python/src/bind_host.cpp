// The host layer for Python: reading mammograms, the detection chain with
// its JSON report, the synthetic mammogram, and the batch command's per-file
// work and table rows (which zetdip.dask reuses so that both write the same
// files). Python-facing signatures and docstrings live in zetdip/__init__.py;
// these are its private helpers.
#include <pybind11/stl.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>

#include "batch/batch.h"
#include "bindings.h"
#include "chain/detection_chain.h"
#include "chain/synthetic.h"
#include "core/error.h"
#include "io/read_image.h"
#include "io/write_image.h"
#include "phantom.h"
#include "report/json_report.h"
#include "report/process.h"

namespace zetdip::python {

namespace {

using host::Error;
using host::Fact;

// The image's samples as an array that owns them: the vector moves into
// the array's base object, no copy.
py::array Samples(host::Image& image) {
    const std::vector<py::ssize_t> shape = {image.nHeight, image.nWidth};
    if (image.Is8Bit()) {
        auto* owned = new std::vector<unsigned char>(std::move(image.bytes));
        py::capsule base(owned,
                         [](void* p) { delete static_cast<std::vector<unsigned char>*>(p); });
        return py::array_t<std::uint8_t>(shape, owned->data(), base);
    }
    auto* owned = new std::vector<unsigned short>(std::move(image.words));
    py::capsule base(owned, [](void* p) { delete static_cast<std::vector<unsigned short>*>(p); });
    return py::array_t<std::uint16_t>(shape, owned->data(), base);
}

template <class T, class F>
py::object FactDict(const std::optional<Fact<T>>& fact, F&& value) {
    if (!fact) return py::none();
    return py::dict(py::arg("value") = value(fact->value), py::arg("source") = fact->source);
}

// The facts of an image under the names of the JSON report's "input".
py::dict Facts(const host::Image& image) {
    py::dict d;
    d["path"] = image.path;
    d["format"] = image.format;
    d["width"] = image.nWidth;
    d["height"] = image.nHeight;
    d["bits_stored"] = image.nBitsStored;
    d["photometric_interpretation"] = image.photometric;
    if (image.rowSpacing && image.columnSpacing)
        d["pixel_spacing"] = py::dict(py::arg("row_mm") = image.rowSpacing->value,
                                      py::arg("column_mm") = image.columnSpacing->value,
                                      py::arg("source") = image.columnSpacing->source);
    else
        d["pixel_spacing"] = py::none();
    d["laterality"] = FactDict(image.laterality, [](host::Laterality l) { return ToString(l); });
    d["view"] = FactDict(image.view, [](const std::string& v) { return v; });
    d["patient_orientation"] =
        image.patientOrientationRow.empty() && image.patientOrientationColumn.empty()
            ? py::object(py::none())
            : py::object(
                  py::make_tuple(image.patientOrientationRow, image.patientOrientationColumn));
    d["reader_notes"] = image.notes;
    return d;
}

std::string FactSource(const py::dict& fact, const char* fallback) {
    return fact.contains("source") ? fact["source"].cast<std::string>() : fallback;
}

// An Image from an array and facts named as Facts() names them.
host::Image ImageOf(const py::array& a, const py::dict& facts) {
    host::Image image;
    const bool b8 = a.dtype().is(py::dtype::of<std::uint8_t>());
    if (!b8 && !a.dtype().is(py::dtype::of<std::uint16_t>()))
        throw py::value_error("image: expected a uint8 or uint16 array, got " +
                              py::str(a.dtype()).cast<std::string>());
    if (a.ndim() != 2) throw py::value_error("image: expected a 2-D array (rows, columns)");
    image.nHeight = static_cast<int>(a.shape(0));
    image.nWidth = static_cast<int>(a.shape(1));
    const auto c = py::array::ensure(a, py::array::c_style);  // copies a strided view only
    const std::size_t n = image.PixelCount();
    if (b8) {
        const auto* p = static_cast<const unsigned char*>(c.data());
        image.bytes.assign(p, p + n);
        image.nBitsStored = 8;
    } else {
        const auto* p = static_cast<const unsigned short*>(c.data());
        image.words.assign(p, p + n);
        unsigned top = 0;
        for (unsigned short w : image.words) top |= w;
        int bits = 9;
        while (bits < 16 && (top >> bits) != 0) ++bits;
        image.nBitsStored = bits;
    }
    if (facts.contains("bits_stored") && !facts["bits_stored"].is_none())
        image.nBitsStored = facts["bits_stored"].cast<int>();
    if (facts.contains("pixel_spacing") && !facts["pixel_spacing"].is_none()) {
        const py::dict s = facts["pixel_spacing"];
        image.rowSpacing = Fact<double>{s["row_mm"].cast<double>(), FactSource(s, "pixel_size")};
        image.columnSpacing =
            Fact<double>{s["column_mm"].cast<double>(), FactSource(s, "pixel_size")};
    }
    if (facts.contains("laterality") && !facts["laterality"].is_none()) {
        const py::dict l = facts["laterality"];
        const std::string v = l["value"].cast<std::string>();
        if (v != "L" && v != "R")
            throw py::value_error("laterality: expected 'L' or 'R', got '" + v + "'");
        image.laterality =
            Fact<host::Laterality>{v == "L" ? host::Laterality::Left : host::Laterality::Right,
                                   FactSource(l, "laterality")};
    }
    if (facts.contains("view") && !facts["view"].is_none()) {
        const py::dict v = facts["view"];
        image.view = Fact<std::string>{v["value"].cast<std::string>(), FactSource(v, "view")};
    }
    image.path = facts.contains("path") ? facts["path"].cast<std::string>() : "array";
    image.format = facts.contains("format") ? facts["format"].cast<std::string>() : "array";
    image.photometric = "MONOCHROME2";
    return image;
}

host::ReadOptions ReadOptionsOf(std::optional<double> pixelSize, std::optional<int> bitsStored) {
    host::ReadOptions o;
    o.pixelSize = pixelSize;
    o.bitsStored = bitsStored;
    return o;
}

// The report as the program writes it; with an output directory the files
// are written exactly as `zetdip-cad detect` writes them.
std::string Report(const host::Image& image, const std::optional<std::string>& outDir, bool steps,
                   double readMs) {
    py::gil_scoped_release release;
    if (outDir) {
        host::ProcessOptions options;
        options.outDir = *outDir;
        options.steps = steps;
        host::PrepareOutputDirectory(*outDir);
        const host::ProcessResult r =
            host::ProcessImage(image, host::OutputStem(image.path), options, readMs);
        return host::ReportJson(image, r.detection, r.timing);
    }
    const auto start = std::chrono::steady_clock::now();
    const host::DetectionResult r = host::Detect(image, host::DetectOptions{});
    host::Timing timing;
    timing.readMs = readMs;
    timing.detectMs =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    timing.totalMs = readMs + timing.detectMs;
    return host::ReportJson(image, r, timing);
}

}  // namespace

void BindHost(py::module_& m) {
    // One Python exception for the host layer's one error type.
    py::register_exception<Error>(m, "Error", PyExc_RuntimeError);

    m.def(
        "_read",
        [](const std::string& path, std::optional<double> pixelSize,
           std::optional<int> bitsStored) {
            host::Image image;
            {
                py::gil_scoped_release release;
                image = host::ReadImage(path, ReadOptionsOf(pixelSize, bitsStored));
            }
            py::dict facts = Facts(image);
            return py::make_tuple(Samples(image), facts);
        },
        py::arg("path"), py::arg("pixel_size") = py::none(), py::arg("bits_stored") = py::none());

    m.def(
        "_detect_file",
        [](const std::string& path, std::optional<double> pixelSize, std::optional<int> bitsStored,
           std::optional<std::string> outDir, bool steps) {
            const auto start = std::chrono::steady_clock::now();
            host::Image image;
            {
                py::gil_scoped_release release;
                image = host::ReadImage(path, ReadOptionsOf(pixelSize, bitsStored));
            }
            const double readMs =
                std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                    .count();
            return Report(image, outDir, steps, readMs);
        },
        py::arg("path"), py::arg("pixel_size"), py::arg("bits_stored"), py::arg("out_dir"),
        py::arg("steps"));

    m.def(
        "_detect_image",
        [](const py::array& a, const py::dict& facts, std::optional<std::string> outDir,
           bool steps) { return Report(ImageOf(a, facts), outDir, steps, 0.0); },
        py::arg("image"), py::arg("facts"), py::arg("out_dir"), py::arg("steps"));

    m.def(
        "_phantom",
        [](unsigned seed, bool bBreastOnRight, double dPixelSize, double dWidthMm, double dHeightMm,
           int nBitsStored, std::vector<int> clusterSizes) {
            phantom::Options o;
            o.nSeed = seed;
            o.bBreastOnRight = bBreastOnRight;
            o.dPixelSize = dPixelSize;
            o.dWidthMm = dWidthMm;
            o.dHeightMm = dHeightMm;
            o.nBitsStored = nBitsStored;
            o.clusterSizes = std::move(clusterSizes);
            phantom::Mammogram mg;
            host::Image image;
            {
                py::gil_scoped_release release;
                mg = phantom::MakeMammogram(o);
                image = host::SyntheticImage(mg);
            }
            // Truth in the file's frame: rows counted from the top.
            py::list clusters;
            for (const auto& c : mg.truth.clusters)
                clusters.append(py::make_tuple(c.centre.x, mg.nHeight - 1 - c.centre.y,
                                               static_cast<int>(c.members.size())));
            py::dict facts = Facts(image);
            facts["planted_clusters"] = clusters;
            return py::make_tuple(Samples(image), facts);
        },
        py::arg("seed"), py::arg("breast_on_right"), py::arg("pixel_size"), py::arg("width_mm"),
        py::arg("height_mm"), py::arg("bits_stored"), py::arg("cluster_sizes"));

    m.def(
        "_save",
        [](const std::string& path, const py::array& a, const py::dict& facts, bool bDicom) {
            host::Image image = ImageOf(a, facts);
            py::gil_scoped_release release;
            if (bDicom)
                host::WriteDicom(path, image);
            else if (image.Is8Bit())
                host::WritePngGrey8(path, image.bytes.data(), image.nWidth, image.nHeight);
            else
                host::WritePngGrey16(path, image.words.data(), image.nWidth, image.nHeight);
        },
        py::arg("path"), py::arg("image"), py::arg("facts"), py::arg("dicom"));

    // The batch command's pieces.
    m.def(
        "_process_one_file",
        [](const std::string& path, const std::string& root, std::optional<std::string> outDir,
           std::optional<double> pixelSize) {
            host::ProcessOptions options;
            options.read.pixelSize = pixelSize;
            py::gil_scoped_release release;
            const auto start = std::chrono::steady_clock::now();
            host::FileOutcome o;
            std::string report;
            if (outDir) {
                options.outDir = host::OutputDirectoryFor(path, root, *outDir);
                o = host::ProcessOneFile(path, options);
                if (!o.jsonPath.empty()) report = host::CompleteReport(o.jsonPath).value_or("");
            } else {
                // The same outcome and report, written nowhere.
                o.path = path;
                if (auto why = host::WhySkipped(path, options.read)) {
                    o.status = "skipped";
                    o.error = *why;
                } else {
                    try {
                        const host::Image image = host::ReadImage(path, options.read);
                        const host::DetectionResult r = host::Detect(image, options.detect);
                        o.status = r.Ok() ? "ok" : "error";
                        if (!r.Ok())
                            o.error = "the chain stopped: " + r.failedStep + " returned false";
                        report = host::ReportJson(image, r, host::Timing{});
                    } catch (const Error& e) {
                        o.status = "error";
                        o.error = e.Cause();
                        report = host::ErrorJson(path, e.Cause());
                    }
                }
            }
            o.seconds =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            return std::make_tuple(o.status, o.error, o.jsonPath, o.seconds, report);
        },
        py::arg("path"), py::arg("root"), py::arg("out_dir"), py::arg("pixel_size"));
    m.def(
        "_why_skipped",
        [](const std::string& path, std::optional<double> pixelSize) {
            return host::WhySkipped(path, ReadOptionsOf(pixelSize, std::nullopt));
        },
        py::arg("path"), py::arg("pixel_size"));
    m.def("_images_csv_header", &host::ImagesCsvHeader);
    m.def("_clusters_csv_header", &host::ClustersCsvHeader);
    m.def(
        "_csv_rows",
        [](const std::string& path, const std::string& status, const std::string& error,
           double seconds, const std::string& report) {
            const host::FileOutcome o{path, status, error, "", seconds};
            return std::make_pair(host::ImagesCsvRow(o, report),
                                  host::ClustersCsvRows(path, report));
        },
        py::arg("path"), py::arg("status"), py::arg("error"), py::arg("seconds"),
        py::arg("report"));
}

}  // namespace zetdip::python
