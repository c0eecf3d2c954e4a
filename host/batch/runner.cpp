// The batch driver: one child process per file, at most `jobs` at a time.
// Processes rather than threads because a file that crashes or hangs must
// not take the others with it: a crashed child is reported by its signal, a
// child past the time limit is killed, and the parent, which alone writes
// the CSV tables, goes on. The parent is single-threaded, so forking it is
// safe; children leave with _exit and never touch the parent's stdio.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "batch/batch.h"
#include "core/error.h"
#include "io/write_image.h"

namespace zetdip::host {

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using nlohmann::json;

double SecondsSince(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

// ---- the tables ------------------------------------------------------------------

// An append-only CSV table. Each file's rows go out in one write, so an
// interrupted run leaves whole rows (a torn last line is dropped on resume).
class Table {
public:
    Table(std::string path, std::string header)
        : path_(std::move(path)), header_(std::move(header)) {}
    ~Table() {
        if (fd_ >= 0) ::close(fd_);
    }
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    const std::string& Path() const { return path_; }

    // The rows of the previous run, header excluded, complete lines only.
    std::vector<std::string> ExistingRows() const {
        std::ifstream in(path_, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        std::string all = text.str();
        if (const auto end = all.rfind('\n'); end != std::string::npos)
            all.resize(end + 1);
        else
            all.clear();
        std::vector<std::string> rows;
        std::istringstream lines(all);
        std::string line;
        bool bHeader = true;
        while (std::getline(lines, line)) {
            if (bHeader) {
                bHeader = false;
                continue;
            }
            if (!line.empty()) rows.push_back(line + "\n");
        }
        return rows;
    }

    // Starts the table afresh with the given rows (atomically), then keeps
    // it open for appending.
    void Start(const std::vector<std::string>& rows) {
        std::string text = header_;
        for (const auto& r : rows) text += r;
        WriteFileAtomically(path_, text);
        fd_ = ::open(path_.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
        if (fd_ < 0) throw Error(path_, std::strerror(errno));
    }

    void Append(const std::string& rows) {
        std::size_t done = 0;
        while (done < rows.size()) {
            const ssize_t n = ::write(fd_, rows.data() + done, rows.size() - done);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) throw Error(path_, std::strerror(errno));
            done += static_cast<std::size_t>(n);
        }
    }

private:
    std::string path_;
    std::string header_;
    int fd_ = -1;
};

// The first field of a CSV row (the path), unquoted.
std::string FirstField(const std::string& row) {
    if (row.empty() || row[0] != '"') return row.substr(0, row.find(','));
    std::string field;
    for (std::size_t i = 1; i < row.size(); ++i) {
        if (row[i] == '"') {
            if (i + 1 < row.size() && row[i + 1] == '"') {
                field += '"';
                ++i;
            } else {
                break;
            }
        } else {
            field += row[i];
        }
    }
    return field;
}

// The second field: the status, which never needs quotes.
std::string SecondField(const std::string& row) {
    std::string rest = row;
    if (!row.empty() && row[0] == '"') {
        std::size_t i = 1;
        while (i < row.size() && !(row[i] == '"' && (i + 1 >= row.size() || row[i + 1] != '"')))
            i += row[i] == '"' ? 2 : 1;
        rest = row.substr(i + 1);
    } else {
        rest = row.substr(row.find(',') == std::string::npos ? row.size() : row.find(','));
    }
    if (rest.empty() || rest[0] != ',') return "";
    return rest.substr(
        1, rest.find(',', 1) == std::string::npos ? std::string::npos : rest.find(',', 1) - 1);
}

// ---- progress ------------------------------------------------------------------

class Reporter {
public:
    Reporter(std::FILE* out, Progress mode, int total)
        : out_(out), mode_(mode), total_(total), start_(Clock::now()) {
        if (mode_ == Progress::Auto)
            mode_ = ::isatty(::fileno(out)) ? Progress::Bar : Progress::Lines;
        if (mode_ == Progress::Jsonl) Emit({{"event", "start"}, {"files", total_}});
    }

    void Resumed(int n) {
        done_ += n;
        base_ += n;
    }

    void Finished(const FileOutcome& o, int nClusters) {
        ++done_;
        const double elapsed = SecondsSince(start_);
        const int processed = done_ - base_;
        const double rate = elapsed > 0.0 ? processed / elapsed : 0.0;
        const double eta = rate > 0.0 ? (total_ - done_) / rate : 0.0;
        switch (mode_) {
            case Progress::Bar: {
                const int width = 30;
                const int filled = total_ > 0 ? done_ * width / total_ : width;
                std::fprintf(out_, "\r[%s%s] %d/%d files  %.2f files/s  ETA %s ",
                             std::string(static_cast<std::size_t>(filled), '#').c_str(),
                             std::string(static_cast<std::size_t>(width - filled), '.').c_str(),
                             done_, total_, rate, Hms(eta).c_str());
                if (o.status != "ok" && o.status != "skipped")
                    std::fprintf(out_, "\n%s: %s: %s\n", o.path.c_str(), o.status.c_str(),
                                 o.error.c_str());
                break;
            }
            case Progress::Lines:
                std::fprintf(
                    out_, "zetdip-cad: [%d/%d] %s: %s%s%s (%.1f s; %.2f files/s, ETA %s)\n", done_,
                    total_, o.path.c_str(), o.status.c_str(), o.error.empty() ? "" : ": ",
                    o.error.c_str(), o.seconds, rate, Hms(eta).c_str());
                break;
            case Progress::Jsonl:
                Emit({{"event", "file"},
                      {"path", o.path},
                      {"status", o.status},
                      {"error", o.error},
                      {"clusters", nClusters},
                      {"seconds", o.seconds},
                      {"done", done_},
                      {"files", total_},
                      {"rate", rate},
                      {"eta_s", eta}});
                break;
            default:
                break;
        }
        std::fflush(out_);
    }

    void End(const BatchSummary& s) {
        if (mode_ == Progress::Jsonl) {
            Emit({{"event", "end"},
                  {"files", s.files},
                  {"ok", s.ok},
                  {"failed", s.failed},
                  {"skipped", s.skipped},
                  {"resumed", s.resumed},
                  {"seconds", s.seconds}});
        } else if (mode_ != Progress::None) {
            std::fprintf(
                out_,
                "%szetdip-cad: %d files: %d ok, %d failed, %d skipped, %d done before; %.1f s\n",
                mode_ == Progress::Bar ? "\n" : "", s.files, s.ok, s.failed, s.skipped, s.resumed,
                s.seconds);
        }
        std::fflush(out_);
    }

private:
    static std::string Hms(double seconds) {
        const long s = static_cast<long>(seconds + 0.5);
        char text[32];
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
        return text;
    }
    void Emit(const json& j) { std::fprintf(out_, "%s\n", j.dump().c_str()); }

    std::FILE* out_;
    Progress mode_;
    int total_;
    int done_ = 0;
    int base_ = 0;
    Clock::time_point start_;
};

// ---- children ------------------------------------------------------------------

struct Child {
    std::string path;
    Clock::time_point start;
    int fd = -1;          // read end of the child's pipe; -1 once at its end
    std::string message;  // what the child wrote: its outcome as JSON
};

// In the child: do the work, send the outcome, leave without running the
// parent's exit handlers or flushing its buffers.
[[noreturn]] void RunChild(int fd, const std::string& path, const ProcessOptions& options,
                           const FileWork& work) {
    std::string text;
    try {
        const FileOutcome o = work(path, options);
        text = json{{"status", o.status}, {"error", o.error}, {"json", o.jsonPath}}.dump();
    } catch (const std::exception& e) {
        text = json{{"status", "error"}, {"error", e.what()}, {"json", ""}}.dump();
    } catch (...) {
        text = json{{"status", "error"}, {"error", "unknown failure"}, {"json", ""}}.dump();
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += static_cast<std::size_t>(n);
    }
    ::_exit(0);
}

FileOutcome OutcomeOf(const Child& c, int status) {
    FileOutcome o;
    o.path = c.path;
    o.seconds = SecondsSince(c.start);
    const json m = json::parse(c.message, nullptr, false);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0 && m.is_object()) {
        o.status = m.value("status", "error");
        o.error = m.value("error", "");
        o.jsonPath = m.value("json", "");
    } else if (WIFSIGNALED(status)) {
        o.status = "crashed";
        o.error = std::string("the process died of signal ") + std::to_string(WTERMSIG(status)) +
                  " (" + strsignal(WTERMSIG(status)) + ")";
    } else {
        o.status = "crashed";
        o.error = "the process exited with code " + std::to_string(WEXITSTATUS(status)) +
                  " without an outcome";
    }
    return o;
}

}  // namespace

BatchSummary RunBatch(const BatchOptions& options, std::FILE* progress, const FileWork& work) {
    const auto start = Clock::now();
    if (options.jobs < 1) throw Error("-j", "needs at least one job");
    const std::vector<std::string> files =
        Shard(ListInputs(options.input), options.shardIndex, options.shardCount);

    const std::string& outDir = options.process.outDir;
    PrepareOutputDirectory(outDir);
    const std::string suffix = options.shardCount > 1
                                   ? ".shard-" + std::to_string(options.shardIndex) + "-of-" +
                                         std::to_string(options.shardCount)
                                   : "";
    Table images((fs::path(outDir) / ("images" + suffix + ".csv")).string(), ImagesCsvHeader());
    Table clusters((fs::path(outDir) / ("clusters" + suffix + ".csv")).string(),
                   ClustersCsvHeader());

    BatchSummary summary;
    summary.files = static_cast<int>(files.size());
    summary.imagesCsv = images.Path();
    summary.clustersCsv = clusters.Path();

    auto jsonPathOf = [&](const std::string& path) {
        return (fs::path(OutputDirectoryFor(path, options.input, outDir)) /
                (OutputStem(path) + ".json"))
            .string();
    };

    // On resume, a file is done when its report is complete, or when it was
    // skipped; its rows are kept (or rebuilt from the report when the run
    // stopped between the two). Crashed and timed-out files run again.
    std::vector<std::string> pending;
    std::vector<std::string> imageRows, clusterRows;
    int nResumed = 0;
    if (options.resume) {
        const std::set<std::string> mine(files.begin(), files.end());
        std::map<std::string, std::string> keptRow;
        for (const auto& row : images.ExistingRows()) {
            const std::string path = FirstField(row);
            const std::string status = SecondField(row);
            if (!mine.count(path)) continue;
            if (status == "skipped" ||
                ((status == "ok" || status == "error") && CompleteReport(jsonPathOf(path))))
                keptRow[path] = row;
        }
        for (const auto& row : clusters.ExistingRows())
            if (keptRow.count(FirstField(row))) clusterRows.push_back(row);
        for (const auto& path : files) {
            if (keptRow.count(path)) {
                imageRows.push_back(keptRow[path]);
                if (SecondField(keptRow[path]) == "skipped")
                    ++summary.skipped;
                else if (SecondField(keptRow[path]) == "ok")
                    ++summary.ok;
                else
                    ++summary.failed;
                ++nResumed;
            } else if (const auto report = CompleteReport(jsonPathOf(path))) {
                FileOutcome o;
                o.path = path;
                const json r = json::parse(*report, nullptr, false);
                o.status = r.value("status", "error");
                o.error = r.value("error", "");
                o.seconds =
                    r.contains("timing_ms") ? r["timing_ms"].value("total", 0.0) / 1000.0 : 0.0;
                imageRows.push_back(ImagesCsvRow(o, *report));
                clusterRows.push_back(ClustersCsvRows(path, *report));
                (o.status == "ok" ? summary.ok : summary.failed)++;
                ++nResumed;
            } else {
                pending.push_back(path);
            }
        }
    } else {
        pending = files;
    }
    summary.resumed = nResumed;
    images.Start(imageRows);
    clusters.Start(clusterRows);

    Reporter reporter(progress, options.progress, summary.files);
    reporter.Resumed(nResumed);

    auto finish = [&](const FileOutcome& o) {
        std::string report;
        if (!o.jsonPath.empty()) report = CompleteReport(o.jsonPath).value_or("");
        images.Append(ImagesCsvRow(o, report));
        const std::string rows = ClustersCsvRows(o.path, report);
        if (!rows.empty()) clusters.Append(rows);
        if (o.status == "ok")
            ++summary.ok;
        else if (o.status == "skipped")
            ++summary.skipped;
        else
            ++summary.failed;
        int nClusters = 0;
        for (char c : rows) nClusters += c == '\n';
        reporter.Finished(o, nClusters);
    };

    std::map<pid_t, Child> running;
    std::size_t next = 0;
    while (next < pending.size() || !running.empty()) {
        while (next < pending.size() && static_cast<int>(running.size()) < options.jobs) {
            const std::string& path = pending[next++];
            ProcessOptions fileOptions = options.process;
            fileOptions.outDir = OutputDirectoryFor(path, options.input, outDir);
            std::error_code ec;
            fs::create_directories(fileOptions.outDir, ec);
            int fds[2];
            if (::pipe2(fds, O_CLOEXEC) != 0) throw Error(path, std::strerror(errno));
            std::fflush(progress);
            const pid_t pid = ::fork();
            if (pid < 0) {
                ::close(fds[0]);
                ::close(fds[1]);
                throw Error(path, std::string("cannot start a process: ") + std::strerror(errno));
            }
            if (pid == 0) {
                // A child outlives neither an interrupted nor a killed batch.
                ::prctl(PR_SET_PDEATHSIG, SIGKILL);
                ::close(fds[0]);
                for (const auto& [other, child] : running)
                    if (child.fd >= 0) ::close(child.fd);
                RunChild(fds[1], path, fileOptions, work);
            }
            ::close(fds[1]);
            running[pid] = Child{path, Clock::now(), fds[0], ""};
        }

        // Wait for output, an exit or the nearest time limit.
        std::vector<pollfd> polls;
        std::vector<pid_t> owners;
        for (const auto& [pid, child] : running) {
            if (child.fd >= 0) {
                polls.push_back({child.fd, POLLIN, 0});
                owners.push_back(pid);
            }
        }
        ::poll(polls.data(), polls.size(), 100);
        for (std::size_t i = 0; i < polls.size(); ++i) {
            if (!(polls[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            Child& child = running[owners[i]];
            char buffer[4096];
            const ssize_t n = ::read(child.fd, buffer, sizeof buffer);
            if (n > 0) {
                child.message.append(buffer, static_cast<std::size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                ::close(child.fd);
                child.fd = -1;
            }
        }

        for (auto it = running.begin(); it != running.end();) {
            Child& child = it->second;
            int status = 0;
            pid_t done = ::waitpid(it->first, &status, WNOHANG);
            if (done == 0 && SecondsSince(child.start) > options.timeLimitSeconds) {
                ::kill(it->first, SIGKILL);
                ::waitpid(it->first, &status, 0);
                if (child.fd >= 0) ::close(child.fd);
                FileOutcome o;
                o.path = child.path;
                o.status = "timeout";
                o.seconds = SecondsSince(child.start);
                o.error = "stopped after " +
                          std::to_string(static_cast<int>(options.timeLimitSeconds)) +
                          " s (--timeout)";
                finish(o);
                it = running.erase(it);
                continue;
            }
            if (done == it->first) {
                // Whatever the child wrote before it left is in the pipe.
                if (child.fd >= 0) {
                    char buffer[4096];
                    ssize_t n = 0;
                    while ((n = ::read(child.fd, buffer, sizeof buffer)) > 0)
                        child.message.append(buffer, static_cast<std::size_t>(n));
                    ::close(child.fd);
                }
                finish(OutcomeOf(child, status));
                it = running.erase(it);
                continue;
            }
            ++it;
        }
    }

    summary.seconds = SecondsSince(start);
    reporter.End(summary);
    return summary;
}

}  // namespace zetdip::host
