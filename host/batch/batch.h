// Archives of mammograms: the files of a folder tree or a list, the
// mammograms among them, and two CSV tables (images.csv: one row per file;
// clusters.csv: one row per cluster) that grow as files finish, so that an
// interrupted run keeps what it did and a resumed one goes on from there.
//
// Every file runs in a child process of its own, at most `jobs` at a time:
// a file that crashes the process or hangs past the time limit is recorded
// as such and the others go on.
#ifndef ZETDIP_HOST_BATCH_BATCH_H
#define ZETDIP_HOST_BATCH_BATCH_H

#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "report/process.h"

namespace zetdip::host {

enum class Progress { Auto, Bar, Lines, Jsonl, None };

struct BatchOptions {
    std::string input;       // a directory, or a text file of paths (one a line)
    ProcessOptions process;  // reading, the chain, process.outDir: where results go
    int jobs = 1;
    int shardIndex = 1;  // this run takes files shardIndex, shardIndex + shardCount, ...
    int shardCount = 1;  // (1-based, of the sorted list)
    bool resume = false;
    double timeLimitSeconds = 600.0;
    Progress progress = Progress::Auto;
};

// What became of one file.
struct FileOutcome {
    std::string path;
    std::string status;    // "ok", "error", "skipped", "timeout", "crashed"
    std::string error;     // why, for every status but "ok"
    std::string jsonPath;  // the report, when one was written
    double seconds = 0.0;
};

struct BatchSummary {
    int files = 0;  // in this shard
    int ok = 0, failed = 0, skipped = 0, resumed = 0;
    double seconds = 0.0;
    std::string imagesCsv, clustersCsv;
};

// The work on one file, run in the child: the real one reads, detects and
// writes the report; tests put in one that crashes or hangs.
using FileWork = std::function<FileOutcome(const std::string& path, const ProcessOptions& options)>;

// The files of a directory tree (regular files, hidden ones excluded) or of
// a list (blank lines and lines starting with # ignored; relative paths are
// relative to the list's directory), sorted, so that every shard of a run
// sees the same order. Throws Error when the input cannot be read.
std::vector<std::string> ListInputs(const std::string& input);

// Files k, k + n, k + 2n, ... (1-based) of the list.
std::vector<std::string> Shard(const std::vector<std::string>& files, int k, int n);

// Why a file is not taken ("not an image", "not a mammogram: modality CT",
// "no pixel size: pass --pixel-size"), or nothing when it is: DICOM files
// of modality MG (or a mammography SOP class, or body part BREAST), and
// PNG, PGM and TIFF images when a pixel size is given.
std::optional<std::string> WhySkipped(const std::string& path, const ReadOptions& read);

// Where the results of a file of the input go: the output directory plus
// the file's directory relative to the input's root, so that equal names in
// different folders do not collide.
std::string OutputDirectoryFor(const std::string& path, const std::string& input,
                               const std::string& outDir);

// The real work: skip, or process and write <stem>.json (the error report
// when the file cannot be processed).
FileOutcome ProcessOneFile(const std::string& path, const ProcessOptions& options);

// The report at jsonPath when it is complete (parses and names its schema).
std::optional<std::string> CompleteReport(const std::string& jsonPath);

// The CSV tables. Rows are built from the JSON report, so a row made during
// the run and one rebuilt from the report on resume are the same.
std::string ImagesCsvHeader();
std::string ClustersCsvHeader();
std::string ImagesCsvRow(const FileOutcome& outcome, const std::string& reportJson);
std::string ClustersCsvRows(const std::string& path, const std::string& reportJson);

// Runs the batch; progress goes to `progress` (stderr). Throws Error for an
// input or output that cannot be used at all.
BatchSummary RunBatch(const BatchOptions& options, std::FILE* progress,
                      const FileWork& work = ProcessOneFile);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_BATCH_BATCH_H
