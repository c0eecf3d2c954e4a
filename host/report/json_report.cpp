#include "json_report.h"

#include <nlohmann/json.hpp>

namespace zetdip::host {
namespace {

using nlohmann::json;

template <class T, class F>
json FactJson(const std::optional<Fact<T>>& fact, F&& value) {
    if (!fact) return nullptr;
    return {{"value", value(fact->value)}, {"source", fact->source}};
}

json InputJson(const Image& image) {
    json input = {{"path", image.path},
                  {"format", image.format},
                  {"width", image.nWidth},
                  {"height", image.nHeight},
                  {"bits_stored", image.nBitsStored},
                  {"photometric_interpretation", image.photometric}};
    if (!image.sopInstanceUid.empty()) input["sop_instance_uid"] = image.sopInstanceUid;
    if (!image.transferSyntax.empty()) input["transfer_syntax"] = image.transferSyntax;
    if (image.rowSpacing && image.columnSpacing)
        input["pixel_spacing"] = {{"row_mm", image.rowSpacing->value},
                                  {"column_mm", image.columnSpacing->value},
                                  {"source", image.columnSpacing->source}};
    else
        input["pixel_spacing"] = nullptr;
    input["laterality"] = FactJson(image.laterality, [](Laterality l) { return ToString(l); });
    input["view"] = FactJson(image.view, [](const std::string& v) { return v; });
    input["patient_orientation"] =
        image.patientOrientationRow.empty() && image.patientOrientationColumn.empty()
            ? json(nullptr)
            : json::array({image.patientOrientationRow, image.patientOrientationColumn});
    input["intent"] = image.forProcessing
                          ? json(*image.forProcessing ? "processing" : "presentation")
                          : json(nullptr);
    input["reader_notes"] = image.notes;
    return input;
}

}  // namespace

std::string ReportJson(const Image& image, const DetectionResult& r, const Timing& timing) {
    json report = {{"schema", kReportSchema}, {"status", r.Ok() ? "ok" : "error"}};
    if (!r.Ok()) report["error"] = "the chain stopped: " + r.failedStep + " returned false";
    report["input"] = InputJson(image);
    const Frame& f = r.frame;
    report["chain"] = {
        {"content", {{"left", f.left}, {"top", f.top}, {"width", f.width}, {"height", f.height}}},
        {"rows_flipped", {{"value", r.flipRows.value}, {"source", r.flipRows.source}}},
        {"breast_side", {{"value", ToString(r.breastSide.value)}, {"source", r.breastSide.source}}},
        {"bits_stored", r.nBitsStored},
        {"pixel_size_mm", r.dPixelSize}};
    json steps = json::array();
    for (const auto& s : r.steps) {
        json counts = json::object();
        for (const auto& [name, value] : s.counts) counts[name] = value;
        steps.push_back({{"name", s.name},
                         {"returned", s.isBool ? json(s.returned != 0) : json(s.returned)},
                         {"counts", counts},
                         {"ms", s.ms}});
    }
    report["steps"] = steps;
    json clusters = json::array();
    for (const auto& c : r.clusters)
        clusters.push_back({{"x", c.x},
                            {"y", c.y},
                            {"radius", c.radius},
                            {"x_mm", c.xMm},
                            {"y_mm", c.yMm},
                            {"radius_mm", c.radiusMm},
                            {"members", c.members}});
    report["clusters"] = clusters;
    report["warnings"] = r.warnings;
    report["timing_ms"] = {
        {"read", timing.readMs}, {"detect", timing.detectMs}, {"total", timing.totalMs}};
    return report.dump(2) + "\n";
}

std::string ErrorJson(const std::string& path, const std::string& cause) {
    const json report = {{"schema", kReportSchema},
                         {"status", "error"},
                         {"error", cause},
                         {"input", {{"path", path}}}};
    return report.dump(2) + "\n";
}

}  // namespace zetdip::host
