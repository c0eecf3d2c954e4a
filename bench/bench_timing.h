// Best wall-clock time of a few runs, in milliseconds.
#ifndef ZETDIP_BENCH_TIMING_H
#define ZETDIP_BENCH_TIMING_H

#include <algorithm>
#include <chrono>

template <class F>
double BestMs(F&& run, int nRepeats = 5) {
    using Clock = std::chrono::steady_clock;
    double best = 1e30;
    for (int i = 0; i < nRepeats; ++i) {
        const auto t0 = Clock::now();
        run();
        best = std::min(best, std::chrono::duration<double, std::milli>(Clock::now() - t0).count());
    }
    return best;
}

#endif  // ZETDIP_BENCH_TIMING_H
