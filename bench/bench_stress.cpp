// Worst cases on a mammogram-sized 12-bit image (4000 x 3000 at 0.1 mm): a
// candidate image with every pixel set, the same over a grey image at its
// maximum, and a candidate at every other pixel of every other row (isolated
// one-pixel blobs that pass the size test) over a mid-grey and a saturated
// grey image. Times the false-positive removal, the clustering and the
// test-bench clustering on each and checks every run against its time
// budget of processor time (not wall-clock time, which a shared machine
// stretches). Each run goes in a child process stopped at the budget, so a
// runaway case is reported instead of blocking the benchmark. Exits non-zero
// when a run exceeds its budget, crashes or gives an implausible result.
// Usage: bench_stress [BUDGET_SCALE]  (budgets multiplied by BUDGET_SCALE, default 1)
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "ZetDIP.h"

namespace {

constexpr int kWidth = 4000, kHeight = 3000, kBits = 12, kMax = 4095;
constexpr double kPixelSize = 0.1;

using Words = std::vector<unsigned short>;

unsigned char* Bytes(Words& v) {
    return reinterpret_cast<unsigned char*>(v.data());
}

struct Case {
    const char* name;
    int nGrey;         // grey level of the whole source image
    bool bEveryOther;  // candidates at even rows and columns only, else everywhere
};

Words Candidates(const Case& c) {
    Words binary(static_cast<std::size_t>(kWidth) * kHeight, 0);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            if (!c.bEveryOther || (x % 2 == 0 && y % 2 == 0))
                binary[static_cast<std::size_t>(y) * kWidth + x] = kMax;
    return binary;
}

// One timed run: returns an empty string when the result is plausible, else what is wrong.
struct Run {
    const char* name;
    double dBudgetMs;
    std::function<std::string(const Case&)> run;
};

std::string FPRemoval(const Case& c) {
    Words binary = Candidates(c);
    if (!CDipClustering::ApplyFPRemovalCAD(nullptr, Bytes(binary), Bytes(binary), 16, kBits,
                                           kHeight, kWidth, false))
        return "returned false";
    // Candidates two pixels apart still see each other in the rows above
    // and below: nothing is isolated in either image, so nothing goes.
    return binary == Candidates(c) ? "" : "removed candidates with neighbours";
}

std::string Clustering(const Case& c) {
    Words grey(static_cast<std::size_t>(kWidth) * kHeight, static_cast<unsigned short>(c.nGrey));
    Words binary = Candidates(c), mask(grey.size(), 1);
    CArray<CPoint, const CPoint&> circles;
    if (!CDipClustering::ApplyClustering(Bytes(grey), Bytes(binary), Bytes(mask), circles, 16,
                                         kBits, kWidth, kHeight, kPixelSize, kPixelSize))
        return "returned false";
    return circles.GetSize() % 2 == 0 ? "" : "odd number of circle points";
}

std::string BenchClustering(const Case& c) {
    Words binary = Candidates(c);
    CArray<CPoint, const CPoint&> centres;
    if (!CDipTest::ApplyClustering(Bytes(binary), centres, 16, kBits, kWidth, kHeight, kBits - 1,
                                   kPixelSize, kPixelSize))
        return "returned false";
    return "";
}

double CpuMs() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1000.0 + static_cast<double>(t.tv_nsec) / 1e6;
}

// Runs one case in a child stopped after the budget; true when it finished in time and sane.
bool RunInChild(const Run& r, const Case& c, double dScale) {
    const double dBudgetMs = r.dBudgetMs * dScale;
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid < 0) {
        std::printf("%-26s %-34s fork failed\n", r.name, c.name);
        return false;
    }
    if (pid == 0) {
        // SIGXCPU one second after the budget.
        const auto nLimit = static_cast<rlim_t>(dBudgetMs / 1000.0) + 1;
        const rlimit limit{nLimit, nLimit + 1};
        setrlimit(RLIMIT_CPU, &limit);
        const double dStart = CpuMs();
        const std::string problem = r.run(c);
        const double dMs = CpuMs() - dStart;
        std::printf("%-26s %-34s %9.0f ms cpu (budget %6.0f)%s%s\n", r.name, c.name, dMs, dBudgetMs,
                    problem.empty() ? "" : "  WRONG: ", problem.c_str());
        std::fflush(stdout);
        _exit(!problem.empty() ? 2 : dMs > dBudgetMs ? 1 : 0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFSIGNALED(status)) {
        std::printf("%-26s %-34s stopped: over the budget of %.0f ms (signal %d)\n", r.name, c.name,
                    dBudgetMs, WTERMSIG(status));
        return false;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    const double dScale = argc > 1 ? std::atof(argv[1]) : 1.0;
    const Case cases[] = {{"all candidates, grey 2000", 2000, false},
                          {"all candidates, all maximum", kMax, false},
                          {"every other pixel, grey 2000", 2000, true},
                          {"every other pixel, all maximum", kMax, true}};
    // Budgets in processor milliseconds, several times the times measured
    // where the run is bounded.
    const Run runs[] = {{"ApplyFPRemovalCAD", 1000, FPRemoval},
                        {"ApplyClustering", 10000, Clustering},
                        {"CDipTest::ApplyClustering", 10000, BenchClustering}};
    int nFailed = 0;
    for (const Run& r : runs)
        for (const Case& c : cases) nFailed += RunInChild(r, c, dScale) ? 0 : 1;
    std::printf("%d of %zu runs over budget or wrong\n", nFailed,
                std::size(runs) * std::size(cases));
    return nFailed == 0 ? 0 : 1;
}
