// The batch driver: which files it takes, and a crash or a hang in one file
// among workers running side by side.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <thread>

#include "batch/batch.h"
#include "core/error.h"
#include "host/fixtures.h"
#include "io/write_image.h"

namespace zetdip::host {
namespace {

namespace fs = std::filesystem;
using testing::Lines;
using testing::ReadText;
using testing::TempDir;

TEST(BatchInputs, FoldersListsShardsAndWhyAFileIsSkipped) {
    TempDir dir;
    fs::create_directories(dir.Dir() / "b" / "c");
    fs::create_directories(dir.Dir() / ".cache");
    for (const char* name : {"z.dcm", "a.png", "b/x.txt", "b/c/y.dcm", ".hidden", ".cache/k.dcm"})
        dir.Write(name, "x");
    // A folder: its tree, sorted, without hidden files.
    const auto files = ListInputs(dir.Dir().string());
    const std::string root = dir.Dir().string() + "/";
    EXPECT_EQ(files, (std::vector<std::string>{root + "a.png", root + "b/c/y.dcm", root + "b/x.txt",
                                               root + "z.dcm"}));
    EXPECT_EQ(Shard(files, 2, 3), (std::vector<std::string>{root + "b/c/y.dcm"}));

    // A list: paths relative to its folder, comments, blank lines and repeats dropped.
    const std::string list =
        dir.Write("list.txt", "# archive\n\n  scans/b.dcm  \n/abs/a.png\nscans/b.dcm\n");
    EXPECT_EQ(ListInputs(list), (std::vector<std::string>{"/abs/a.png", dir.Path("scans/b.dcm")}));
    // Results mirror the input's folders; files outside it keep their own tree.
    EXPECT_EQ(OutputDirectoryFor(dir.Path("scans/b.dcm"), list, "/out"), "/out/scans");
    EXPECT_EQ(OutputDirectoryFor(dir.Path("top.dcm"), dir.Dir().string(), "/out"), "/out");

    const std::string png = dir.Path("m.png");
    WritePngGrey16(png, std::vector<unsigned short>(4, 7).data(), 2, 2);
    EXPECT_EQ(WhySkipped(png, ReadOptions{}), "no pixel size: pass --pixel-size");
}

// A stand-in for the chain: a report with one cluster per digit in the
// file's name; crashes on "crash", hangs on "hang".
FileOutcome FakeWork(const std::string& path, const ProcessOptions& options) {
    const std::string name = fs::path(path).filename().string();
    if (name.find("crash") != std::string::npos) std::abort();
    if (name.find("hang") != std::string::npos) std::this_thread::sleep_for(std::chrono::hours(1));
    FileOutcome o{path, "ok", "", "", 0.0};
    std::string clusters;
    for (char c : name)
        if (c >= '0' && c <= '9')
            clusters += std::string(clusters.empty() ? "" : ",") + "{\"x\": " + c + ", \"y\": 1}";
    o.jsonPath = (fs::path(options.outDir) / (OutputStem(path) + ".json")).string();
    WriteFileAtomically(o.jsonPath,
                        "{\"schema\": \"zetdip-cad/1\", \"status\": \"ok\", "
                        "\"clusters\": [" +
                            clusters + "]}");
    return o;
}

TEST(BatchRun, CrashAndHangInOneFileLoseNoOther) {
    TempDir in, out;
    fs::create_directories(in.Dir() / "sub");
    for (const char* name : {"a12.png", "crash.png", "hang.png", "sub/b3.png", "c.png"})
        in.Write(name, "x");
    BatchOptions options;
    options.input = in.Dir().string();
    options.process.outDir = out.Dir().string();
    options.jobs = 2;
    options.timeLimitSeconds = 1.0;
    options.progress = Progress::None;
    const BatchSummary s = RunBatch(options, stderr, FakeWork);
    EXPECT_EQ(std::vector<int>({s.files, s.ok, s.failed}), std::vector<int>({5, 3, 2}));
    std::map<std::string, std::string> status;
    for (const auto& line : Lines(ReadText(s.imagesCsv))) {
        const auto comma = line.find(',');
        status[fs::path(line.substr(0, comma)).filename().string()] =
            line.substr(comma + 1, line.find(',', comma + 1) - comma - 1);
    }
    EXPECT_EQ(status["a12.png"] + status["b3.png"] + status["crash.png"] + status["hang.png"],
              "okokcrashedtimeout");
    EXPECT_TRUE(fs::exists(out.Dir() / "sub" / "b3.json"));     // mirrors the input tree
    EXPECT_EQ(Lines(ReadText(s.clustersCsv)).size(), 1u + 3u);  // 2 for a12, 1 for b3
}

}  // namespace
}  // namespace zetdip::host
