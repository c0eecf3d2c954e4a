// One mammogram from file to results: read it, run the chain, write
// <stem>.json and the overlay <stem>.png (and with steps the step pictures
// <stem>.mask.png, .lines.png, .candidates.png, .kept.png) into a directory.
// Shared by the command-line program, its batch mode and the Python module.
#ifndef ZETDIP_HOST_REPORT_PROCESS_H
#define ZETDIP_HOST_REPORT_PROCESS_H

#include <string>
#include <vector>

#include "chain/detection_chain.h"
#include "core/image.h"
#include "io/read_image.h"
#include "report/json_report.h"

namespace zetdip::host {

struct ProcessOptions {
    ReadOptions read;
    DetectOptions detect;
    std::string outDir = ".";
    bool steps = false;     // also write the step pictures
    bool fullSize = false;  // pictures at the image's size instead of at most 2048 rows
    // Also <stem>.sr.dcm, a DICOM Mammography CAD SR, for a DICOM input that
    // the chain ran through; other inputs get a warning instead.
    bool structuredReport = false;
};

struct ProcessResult {
    std::string input;
    bool ok = false;    // false: a chain step failed; the JSON says which
    std::string error;  // "the chain stopped: ..." when not ok
    std::string jsonPath;
    std::vector<std::string> picturePaths;  // the overlay first
    std::string srPath;                     // when a structured report was written
    DetectionResult detection;
    Timing timing;
};

// Creates the directory if it is missing and makes sure files can be
// written into it; throws Error naming the directory otherwise.
void PrepareOutputDirectory(const std::string& dir);

// Reads and processes the file. Throws Error (file and cause) when the file
// cannot be read or processed, having written nothing; out of memory is
// such an error too.
ProcessResult ProcessFile(const std::string& path, const ProcessOptions& options);

// The same for an image already in memory; the outputs are named by stem.
ProcessResult ProcessImage(const Image& image, const std::string& stem,
                           const ProcessOptions& options, double readMs = 0.0);

// The file name without directory and extension: "a/MG1_J2KI.dcm" -> "MG1_J2KI".
std::string OutputStem(const std::string& path);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_REPORT_PROCESS_H
