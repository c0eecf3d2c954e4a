// The batch driver: which files it takes, the CSV tables, a crash or a hang
// in one file, and the program's resume and shards holding each file once.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
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

// A name with a comma and a quote is quoted; the columns come from the report.
TEST(BatchTables, RowsComeFromTheReportAndQuoteWhatNeedsIt) {
    const std::string report = R"({"schema": "zetdip-cad/1", "status": "ok",
        "input": {"width": 30, "height": 40, "bits_stored": 12,
                  "pixel_spacing": {"row_mm": 0.07, "column_mm": 0.07, "source": "ImagerPixelSpacing"},
                  "laterality": {"value": "L", "source": "ImageLaterality"},
                  "view": {"value": "MLO", "source": "ViewPosition"}},
        "steps": [{"name": "CreateMaskOfBreast", "returned": true},
                  {"name": "IsOnTheRightOrLeftSideOfTheImage", "returned": 0}],
        "clusters": [{"x": 3, "y": 4, "radius": 5.5, "x_mm": 0.21, "y_mm": 0.28,
                      "radius_mm": 0.385, "members": 6}]})";
    EXPECT_EQ(ImagesCsvRow(FileOutcome{"a,\"b\".dcm", "ok", "", "", 1.23456}, report),
              "\"a,\"\"b\"\".dcm\",ok,,30,40,12,0.07,0.07,ImagerPixelSpacing,L,ImageLaterality,"
              "MLO,CreateMaskOfBreast=true;IsOnTheRightOrLeftSideOfTheImage=0,1,1.235\n");
    EXPECT_EQ(ClustersCsvRows("p.dcm", report), "p.dcm,1,3,4,5.5,0.21,0.28,0.385,6\n");
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
    options.progress = Progress::Jsonl;
    std::FILE* progress = std::tmpfile();
    const BatchSummary s = RunBatch(options, progress, FakeWork);
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
    std::fclose(progress);
}

// ---- the program over an archive of six small phantoms, a corrupt file
// and a text file ----------------------------------------------------------------

int Shell(const std::string& command) {
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class BatchProgram : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        archive_ = new TempDir();
        for (unsigned i = 0; i < 6; ++i) {
            const Image image = testing::Phantom(10 + i, false, 0.1, 40.0, 50.0);
            WritePngGrey16(archive_->Path("m" + std::to_string(i) + ".png"), image.words.data(),
                           image.nWidth, image.nHeight);
        }
        archive_->Write("corrupt.png", std::string("\x89PNG\r\n\x1a\n", 8) + "truncated");
        archive_->Write("README.txt", "not a mammogram");
    }
    static void TearDownTestSuite() { delete archive_; }

    static std::string Command(const TempDir& out, const std::string& extra) {
        return std::string(ZETDIP_CAD_PROGRAM) + " batch " + archive_->Dir().string() +
               " --pixel-size 0.1 --out " + out.Dir().string() + " >/dev/null " + extra;
    }
    static std::map<std::string, int> RowsPerFile(const std::string& csv) {
        std::map<std::string, int> rows;
        const auto lines = Lines(ReadText(csv));
        for (std::size_t i = 1; i < lines.size(); ++i)
            ++rows[fs::path(lines[i].substr(0, lines[i].find(','))).filename().string()];
        return rows;
    }

    static TempDir* archive_;
};
TempDir* BatchProgram::archive_ = nullptr;

// Exit code 1 for the corrupt file; the text file is skipped, not failed.
TEST_F(BatchProgram, ResumeAfterAKilledRunDoesEachFileOnce) {
    TempDir out;
    const pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        const std::string command = "exec " + Command(out, "-j 1 --progress=none");
        ::execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
        ::_exit(127);
    }
    // Killed once some files are done and others are not.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(120);
    while (RowsPerFile(out.Path("images.csv")).size() < 3 &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
    const auto before = RowsPerFile(out.Path("images.csv"));
    ASSERT_GE(before.size(), 3u);
    ASSERT_LT(before.size(), 8u);

    const std::string log = out.Path("log.txt");
    EXPECT_EQ(Shell(Command(out, "-j 2 --resume --progress=jsonl 2>" + log)), 1);
    const auto after = RowsPerFile(out.Path("images.csv"));
    EXPECT_EQ(after.size(), 8u);
    for (const auto& [file, n] : after) EXPECT_EQ(n, 1) << file;
    const std::string images = ReadText(out.Path("images.csv"));
    EXPECT_NE(images.find("corrupt.png,error,"), std::string::npos);
    EXPECT_NE(images.find("README.txt,skipped,not an image"), std::string::npos);
    const std::string end = Lines(ReadText(log)).back();
    EXPECT_NE(end.find("\"resumed\":" + std::to_string(before.size())), std::string::npos) << end;
    for (const auto& [file, n] : RowsPerFile(out.Path("clusters.csv")))
        EXPECT_EQ(after.count(file), 1u) << file;  // cluster rows only of files done once
}

TEST_F(BatchProgram, ShardsTogetherCoverTheArchiveOnce) {
    TempDir out;
    for (int k = 1; k <= 3; ++k)
        Shell(Command(out, "--progress=none --shard " + std::to_string(k) + "/3"));
    std::map<std::string, int> all;
    for (int k = 1; k <= 3; ++k)
        for (const auto& [file, n] :
             RowsPerFile(out.Path("images.shard-" + std::to_string(k) + "-of-3.csv")))
            all[file] += n;
    EXPECT_EQ(all.size(), 8u);
    for (const auto& [file, n] : all) EXPECT_EQ(n, 1) << file;
    EXPECT_NE(Shell(Command(out, "--shard 4/3 2>/dev/null")), 0);
}

}  // namespace
}  // namespace zetdip::host
