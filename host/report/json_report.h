// The JSON report of one mammogram ("schema": "zetdip-cad/1"; the JSON
// Schema is schema/zetdip-cad-1.schema.json): what the file said, what each
// step of the chain returned, the clusters in the file's pixel frame, the
// warnings and the time each step took.
#ifndef ZETDIP_HOST_REPORT_JSON_REPORT_H
#define ZETDIP_HOST_REPORT_JSON_REPORT_H

#include <string>

#include "chain/detection_chain.h"
#include "core/image.h"

namespace zetdip::host {

inline constexpr const char* kReportSchema = "zetdip-cad/1";

struct Timing {
    double readMs = 0.0;
    double detectMs = 0.0;
    double totalMs = 0.0;
};

// The report of a chain that ran; "status" is "error" when a step stopped it.
std::string ReportJson(const Image& image, const DetectionResult& result, const Timing& timing);

// The report of a file that could not be processed at all.
std::string ErrorJson(const std::string& path, const std::string& cause);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_REPORT_JSON_REPORT_H
