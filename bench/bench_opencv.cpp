// Times every public operation family beside its closest OpenCV counterpart
// in one process, calls interleaved, on 3328 x 4084 8-bit and 12-bit images,
// with a memcpy of the image as the floor; then the detection chain step by
// step with the peak heap each step allocates beyond the images it is given,
// and the clustering on a dense candidate image.
//
// Usage: bench_opencv [rounds] [filter]
//   rounds: median of this many rounds (default 7); filter: only the table
//   rows whose name contains it, or "chain" for the chain alone.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <new>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "ZetDIP.h"
#include "core/memory.h"
#include "phantom.h"

// Heap accounting: every allocation of the process goes through these, so a
// step's peak is the high-water mark of live bytes above its starting level.
namespace {
std::atomic<long long> g_live{0}, g_peak{0};
constexpr std::size_t kHeader = 16;

void* CountedAlloc(std::size_t n) {
    void* p = std::malloc(n + kHeader);
    if (!p) return nullptr;
    *static_cast<std::size_t*>(p) = n;
    const long long live = g_live += static_cast<long long>(n);
    long long peak = g_peak.load();
    while (live > peak && !g_peak.compare_exchange_weak(peak, live)) {
    }
    return static_cast<char*>(p) + kHeader;
}
void CountedFree(void* q) {
    if (!q) return;
    void* p = static_cast<char*>(q) - kHeader;
    g_live -= static_cast<long long>(*static_cast<std::size_t*>(p));
    std::free(p);
}
}  // namespace

void* operator new(std::size_t n) {
    if (void* p = CountedAlloc(n)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t n) {
    if (void* p = CountedAlloc(n)) return p;
    throw std::bad_alloc();
}
void* operator new(std::size_t n, const std::nothrow_t&) noexcept {
    return CountedAlloc(n);
}
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept {
    return CountedAlloc(n);
}
void operator delete(void* p) noexcept {
    CountedFree(p);
}
void operator delete[](void* p) noexcept {
    CountedFree(p);
}
void operator delete(void* p, std::size_t) noexcept {
    CountedFree(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    CountedFree(p);
}
void operator delete(void* p, const std::nothrow_t&) noexcept {
    CountedFree(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
    CountedFree(p);
}

namespace {

// Times are the calling thread's CPU time: on a shared machine the wall
// clock also counts the time other processes hold the cores.
double ThreadCpuMs() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) / 1e6;
}

double Ms(const std::function<void()>& f) {
    const double t0 = ThreadCpuMs();
    f();
    return ThreadCpuMs() - t0;
}

// Median of the times (reordered in place); NaN when the row has no such call.
double Median(std::vector<double>& v) {
    if (v.empty()) return NAN;
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

struct Row {
    std::string name;
    std::function<void()> zet8, cv8, zet16, cv16;
};

// Runs every row's four calls once per round, interleaved, and prints medians.
void RunTable(const std::vector<Row>& rows, int nRounds) {
    std::vector<std::vector<double>> t(rows.size() * 4);
    for (int r = 0; r < nRounds; ++r)
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const std::function<void()>* f[4] = {&rows[i].zet8, &rows[i].cv8, &rows[i].zet16,
                                                 &rows[i].cv16};
            for (int k = 0; k < 4; ++k)
                if (*f[k]) t[i * 4 + k].push_back(Ms(*f[k]));
        }
    std::printf("%-40s %9s %9s %7s | %9s %9s %7s\n", "operation (cpu ms, median)", "ZetDIP 8",
                "OpenCV 8", "ratio", "ZetDIP 12", "OpenCV 12", "ratio");
    for (std::size_t i = 0; i < rows.size(); ++i) {
        double m[4];
        for (int k = 0; k < 4; ++k) m[k] = Median(t[i * 4 + k]);
        auto ratio = [](double a, double b) { return a > 0 && b > 0 ? a / b : NAN; };
        std::printf("%-40s %9.2f %9.2f %7.2f | %9.2f %9.2f %7.2f\n", rows[i].name.c_str(), m[0],
                    m[1], ratio(m[0], m[1]), m[2], m[3], ratio(m[2], m[3]));
    }
}

std::vector<int> Disc(int r) {
    std::vector<int> se(static_cast<std::size_t>(2 * r + 1) * (2 * r + 1));
    for (int y = -r; y <= r; ++y)
        for (int x = -r; x <= r; ++x)
            se[static_cast<std::size_t>(y + r) * (2 * r + 1) + x + r] = x * x + y * y <= r * r;
    return se;
}

template <class T>
unsigned char* B(std::vector<T>& v) {
    return reinterpret_cast<unsigned char*>(v.data());
}

struct Step {
    const char* name;
    std::function<bool()> run;
};

// Each step once (its result feeds the next), timed, with its heap peak.
void RunSteps(const std::vector<Step>& steps, std::size_t nImageBytes) {
    double total = 0;
    long long worst = 0;
    std::printf("%-34s %9s %12s %8s\n", "step", "cpu ms", "peak extra", "x image");
    for (const Step& s : steps) {
        const long long base = g_live.load();
        g_peak = base;
        bool ok = true;
        const double ms = Ms([&] { ok = s.run(); });
        const long long extra = g_peak.load() - base;
        worst = std::max(worst, extra);
        total += ms;
        std::printf("%-34s %9.1f %10.1f MB %8.2f%s\n", s.name, ms, extra / 1048576.0,
                    static_cast<double>(extra) / static_cast<double>(nImageBytes),
                    ok ? "" : "  (reported false)");
    }
    std::printf("%-34s %9.1f %10.1f MB %8.2f\n", "whole chain", total, worst / 1048576.0,
                static_cast<double>(worst) / static_cast<double>(nImageBytes));
}

}  // namespace

// The image as doubles, four levels of pyrDown on them, and with bUp the
// four pyrUp back to full size (in t).
void DoublePyramid(const cv::Mat& image, cv::Mat& c, cv::Mat& t, bool bUp) {
    image.convertTo(c, CV_64F);
    cv::pyrDown(c, t);
    for (int k = 0; k < 3; ++k) cv::pyrDown(t, t);
    for (int k = 0; bUp && k < 4; ++k) cv::pyrUp(t, t);
}

int main(int argc, char** argv) {
    const int nRounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 7;
    const std::string filter = argc > 2 ? argv[2] : "";
    cv::setNumThreads(1);
    cv::setUseOptimized(true);
    const int w = 3328, h = 4084;
    const std::size_t n = static_cast<std::size_t>(w) * h;

    // 12-bit phantom and its 8-bit version: real structure, not noise.
    zetdip::phantom::Options options;
    options.dPixelSize = 0.05;
    options.dWidthMm = w * 0.05;
    options.dHeightMm = h * 0.05;
    const auto phantom = zetdip::phantom::MakeMammogram(options);
    std::vector<unsigned short> s16 = phantom.image, d16(n), e16(n);
    std::vector<unsigned char> s8 = zetdip::phantom::To8Bits(phantom), d8(n), e8(n);
    std::vector<unsigned short> bin16(n);
    std::vector<unsigned char> bin8(n);
    std::mt19937 rng(7);
    for (std::size_t i = 0; i < n; ++i) {
        bin16[i] = (rng() % 16 == 0) ? 4095 : 0;
        bin8[i] = bin16[i] ? 255 : 0;
    }
    cv::Mat m8(h, w, CV_8U, s8.data()), o8(h, w, CV_8U, d8.data());
    cv::Mat m16(h, w, CV_16U, s16.data()), o16(h, w, CV_16U, d16.data());
    cv::Mat mb8(h, w, CV_8U, bin8.data()), mb16(h, w, CV_16U, bin16.data());
    cv::Mat tmp8, tmp16, tmpb, hist, c64, t64;
    std::vector<double> coef(n);
    int lw = 0, lh = 0, wo[8] = {}, ho[8] = {};
    const std::vector<int> disc7 = Disc(7);
    const cv::Mat ell15 = cv::getStructuringElement(cv::MORPH_ELLIPSE, {15, 15});
    const cv::Mat cross3 = cv::getStructuringElement(cv::MORPH_CROSS, {3, 3});
    const cv::Mat line3 = cv::getStructuringElement(cv::MORPH_RECT, {3, 1});
    const cv::Mat kNS = (cv::Mat_<float>(3, 3) << -1, -1, -1, 0, 0, 0, 1, 1, 1);
    volatile int sink = 0;
    const int hist8[] = {256}, hist16[] = {4096};
    const float range8[] = {0, 256}, range16[] = {0, 4096};
    const float* ranges8[] = {range8};
    const float* ranges16[] = {range16};
    const int channels[] = {0};

    // The wavelet pyramid of either depth, and a decomposition followed by
    // the reconstruction of level 0.
    auto decompose8 = [&] {
        CDipWavelet::ApplyWaveletDecomposition(B(s8), coef.data(), w, h, 8, 8, lw, lh, wo, ho, 4);
    };
    auto decompose16 = [&] {
        CDipWavelet::ApplyWaveletDecomposition(B(s16), coef.data(), w, h, 16, 12, lw, lh, wo, ho,
                                               4);
    };
    auto roundTrip8 = [&] {
        decompose8();
        CDipWavelet::ApplyWaveletReconstruction(coef.data(), B(d8), 8, 8, w, h, 0, 0, lw, lh, wo,
                                                ho, 4);
    };
    auto roundTrip16 = [&] {
        decompose16();
        CDipWavelet::ApplyWaveletReconstruction(coef.data(), B(d16), 16, 12, w, h, 0, 0, lw, lh, wo,
                                                ho, 4);
    };

    std::vector<Row> rows = {
        {"memcpy (floor)", [&] { std::memcpy(d8.data(), s8.data(), n); }, nullptr,
         [&] { std::memcpy(d16.data(), s16.data(), 2 * n); }, nullptr},
        {"thresholding / threshold",
         [&] { CDipThresholding::ApplyThresholding(B(s8), B(d8), 8, 8, w, h, 100); },
         [&] { cv::threshold(m8, o8, 99, 255, cv::THRESH_BINARY); },
         [&] { CDipThresholding::ApplyThresholding(B(s16), B(d16), 16, 12, w, h, 1600); },
         [&] { cv::threshold(m16, o16, 1599, 4095, cv::THRESH_BINARY); }},
        {"THwMD / meanStdDev",
         [&] { sink = CDipThresholding::CalculateThresholdingTHwMD(B(s8), 8, 8, w, h); },
         [&] {
             cv::Scalar a, b;
             cv::meanStdDev(m8, a, b);
         },
         [&] { sink = CDipThresholding::CalculateThresholdingTHwMD(B(s16), 16, 12, w, h); },
         [&] {
             cv::Scalar a, b;
             cv::meanStdDev(m16, a, b);
         }},
        {"Thresholding1 binary / meanStdDev",
         [&] { sink = CDipThresholding::CalculateThresholding1(B(bin8), 8, 8, w, h); },
         [&] {
             cv::Scalar a, b;
             cv::meanStdDev(mb8, a, b);
         },
         [&] { sink = CDipThresholding::CalculateThresholding1(B(bin16), 16, 12, w, h); },
         [&] {
             cv::Scalar a, b;
             cv::meanStdDev(mb16, a, b);
         }},
        {"histogram / calcHist",
         [&] {
             int nb = 0;
             delete[] CDipHisto::CreateHisto(B(s8), 8, 8, 7, w, h, &nb);
         },
         [&] { cv::calcHist(&m8, 1, channels, cv::Mat(), hist, 1, hist8, ranges8); },
         [&] {
             int nb = 0;
             delete[] CDipHisto::CreateHisto(B(s16), 16, 12, 11, w, h, &nb);
         },
         [&] { cv::calcHist(&m16, 1, channels, cv::Mat(), hist, 1, hist16, ranges16); }},
        {"stretching / LUT, convertScaleAbs",
         [&] { CDipEnhancement::ApplyStretching(B(s8), B(d8), 8, 8, w, h, 20, 200); },
         [&] { m8.convertTo(o8, CV_8U, 255.0 / 180.0, -20 * 255.0 / 180.0); },
         [&] { CDipEnhancement::ApplyStretching(B(s16), B(d16), 16, 12, w, h, 300, 3500); },
         [&] { m16.convertTo(o16, CV_16U, 4095.0 / 3200.0, -300 * 4095.0 / 3200.0); }},
        {"mean 3x3 / blur", [&] { CDipFilters::ApplyMean(B(s8), B(d8), 8, 8, w, h); },
         [&] {
             cv::blur(m8, o8, {3, 3});
         },
         [&] { CDipFilters::ApplyMean(B(s16), B(d16), 16, 12, w, h); },
         [&] {
             cv::blur(m16, o16, {3, 3});
         }},
        {"gradient NS / filter2D 3x3",
         [&] { CDipFilters::ApplyGradientNS(B(s8), B(d8), 8, 8, w, h); },
         [&] { cv::filter2D(m8, o8, -1, kNS); },
         [&] { CDipFilters::ApplyGradientNS(B(s16), B(d16), 16, 12, w, h); },
         [&] { cv::filter2D(m16, o16, -1, kNS); }},
        {"Gauss sigma 1 / GaussianBlur",
         [&] { CDipFilters::ApplyGauss(B(s8), B(d8), 8, 8, w, h, 1.0f); },
         [&] {
             cv::GaussianBlur(m8, o8, {0, 0}, 1.0);
         },
         [&] { CDipFilters::ApplyGauss(B(s16), B(d16), 16, 12, w, h, 1.0f); },
         [&] {
             cv::GaussianBlur(m16, o16, {0, 0}, 1.0);
         }},
        {"DOG / 2 GaussianBlur + subtract",
         [&] { CDipFilters::ApplyDOG(B(s8), B(d8), 8, 8, w, h, 1.0f, 2.0f, 1.0f, 2.0f); },
         [&] {
             cv::GaussianBlur(m8, tmp8, {0, 0}, 1.0);
             cv::GaussianBlur(m8, o8, {0, 0}, 2.0);
             cv::subtract(tmp8, o8, o8);
         },
         [&] { CDipFilters::ApplyDOG(B(s16), B(d16), 16, 12, w, h, 1.0f, 2.0f, 1.0f, 2.0f); },
         [&] {
             cv::GaussianBlur(m16, tmp16, {0, 0}, 1.0);
             cv::GaussianBlur(m16, o16, {0, 0}, 2.0);
             cv::subtract(tmp16, o16, o16);
         }},
        {"erosion line 3x1 / erode",
         [&] { CDipMorphMath::ApplyErosionLine(B(s8), B(d8), 8, 8, w, h); },
         [&] { cv::erode(m8, o8, line3); },
         [&] { CDipMorphMath::ApplyErosionLine(B(s16), B(d16), 16, 12, w, h); },
         [&] { cv::erode(m16, o16, line3); }},
        {"erosion circle (cross) / erode",
         [&] { CDipMorphMath::ApplyErosionCircle(B(s8), B(d8), 8, 8, w, h); },
         [&] { cv::erode(m8, o8, cross3); },
         [&] { CDipMorphMath::ApplyErosionCircle(B(s16), B(d16), 16, 12, w, h); },
         [&] { cv::erode(m16, o16, cross3); }},
        {"erosion disc r7 / erode ellipse",
         [&] {
             CDipMorphMath::ApplyErosionWithSE(B(s8), B(d8), 8, 8, w, h, disc7.data(), 15, 15, 149);
         },
         [&] { cv::erode(m8, o8, ell15); },
         [&] {
             CDipMorphMath::ApplyErosionWithSE(B(s16), B(d16), 16, 12, w, h, disc7.data(), 15, 15,
                                               149);
         },
         [&] { cv::erode(m16, o16, ell15); }},
        {"opening / morphologyEx open",
         [&] { CDipMorphMath::ApplyOpening(B(s8), B(d8), 8, 8, w, h); },
         [&] { cv::morphologyEx(m8, o8, cv::MORPH_OPEN, cross3); },
         [&] { CDipMorphMath::ApplyOpening(B(s16), B(d16), 16, 12, w, h); },
         [&] { cv::morphologyEx(m16, o16, cv::MORPH_OPEN, cross3); }},
        {"union / bitwise_or",
         [&] {
             CDipThickness::CreateUnionBetweenImages(B(s8), B(bin8), B(d8), w, h, 8, 8, w, h, 8, 8);
         },
         [&] { cv::bitwise_or(m8, mb8, o8); },
         [&] {
             CDipThickness::CreateUnionBetweenImages(B(s16), B(bin16), B(d16), w, h, 16, 12, w, h,
                                                     16, 12);
         },
         [&] { cv::bitwise_or(m16, mb16, o16); }},
        {"FP removal / erode 3x3 + and",
         [&] { CDipClustering::ApplyFPRemovalCAD(B(bin8), B(bin8), B(d8), 8, 8, h, w, true); },
         [&] {
             cv::erode(mb8, tmpb, cv::Mat());
             cv::bitwise_and(mb8, tmpb, o8);
         },
         [&] { CDipClustering::ApplyFPRemovalCAD(B(bin16), B(bin16), B(d16), 16, 12, h, w, true); },
         [&] {
             cv::erode(mb16, tmpb, cv::Mat());
             cv::bitwise_and(mb16, tmpb, o16);
         }},
        {"wavelet decomposition 4 / pyrDown 4", decompose8,
         [&] {
             cv::pyrDown(m8, tmp8);
             for (int k = 0; k < 3; ++k) cv::pyrDown(tmp8, tmp8);
         },
         decompose16,
         [&] {
             cv::pyrDown(m16, tmp16);
             for (int k = 0; k < 3; ++k) cv::pyrDown(tmp16, tmp16);
         }},
        {"wavelet reconstruction 4 / pyrUp 4", roundTrip8,
         [&] {
             cv::pyrDown(m8, tmp8);
             for (int k = 0; k < 3; ++k) cv::pyrDown(tmp8, tmp8);
             for (int k = 0; k < 4; ++k) cv::pyrUp(tmp8, tmp8);
         },
         roundTrip16,
         [&] {
             cv::pyrDown(m16, tmp16);
             for (int k = 0; k < 3; ++k) cv::pyrDown(tmp16, tmp16);
             for (int k = 0; k < 4; ++k) cv::pyrUp(tmp16, tmp16);
         }},
        // The decomposition must write the image as doubles, eight bytes a sample;
        // OpenCV's conversion to doubles alone is the floor of that, and its
        // pyramid on doubles the stand-in that writes the same kind of output.
        {"wavelet floor / convertTo 64F", nullptr, [&] { m8.convertTo(c64, CV_64F); }, nullptr,
         [&] { m16.convertTo(c64, CV_64F); }},
        {"wavelet decomposition 4 / 64F pyrDown 4", decompose8,
         [&] { DoublePyramid(m8, c64, t64, false); }, decompose16,
         [&] { DoublePyramid(m16, c64, t64, false); }},
        {"wavelet reconstruction 4 / 64F pyrUp 4", roundTrip8,
         [&] {
             DoublePyramid(m8, c64, t64, true);
             t64.convertTo(o8, CV_8U);
         },
         roundTrip16,
         [&] {
             DoublePyramid(m16, c64, t64, true);
             t64.convertTo(o16, CV_16U);
         }},
    };
    std::printf("%d x %d, %d rounds, single thread, OpenCV %s\n\n", w, h, nRounds, CV_VERSION);
    rows.erase(std::remove_if(rows.begin(), rows.end(),
                              [&](const Row& r) {
                                  return r.name.find(filter) == std::string::npos &&
                                         r.name != "memcpy (floor)";
                              }),
               rows.end());
    if (filter != "chain") RunTable(rows, nRounds);
    (void)sink;
    if (!filter.empty() && filter != "chain") return 0;

    // The chain on the 12-bit phantom, step by step as a host drives it,
    // with the allocator set as zetdip-cad sets it.
    zetdip::host::KeepReleasedBuffersForReuse();
    std::printf("\ndetection chain on the %d x %d 12-bit phantom\n", w, h);
    std::vector<unsigned short> image = phantom.image, mask(n), lines(n), cand(n), kept(n);
    bool bRight = false;
    CArray<CPoint, const CPoint&> circles;
    const double px = 0.05;
    std::vector<double>().swap(coef);
    std::unique_ptr<double[]> chainCoef;
    const std::vector<Step> steps = {
        {"CreateMaskOfBreast",
         [&] {
             return CDipFilters::CreateMaskOfBreast(B(image), B(mask), 16, 12, w, h, bRight, px);
         }},
        {"RemovePectoralMuscleFromMask",
         [&] {
             return CDipFilters::RemovePectoralMuscleFromMask(B(image), B(mask), 16, 12, w, h,
                                                              bRight, px);
         }},
        {"SearchLinesImage",
         [&] { return CDipClustering::SearchLinesImage(B(image), B(lines), 16, 12, w, h); }},
        {"SearchLinesSWNEImage",
         [&] {
             return CDipClustering::SearchLinesSWNEImage(B(image), B(lines), B(mask), 16, 12, w, h,
                                                         px);
         }},
        {"wavelet decomposition (coef alloc)",
         [&] {
             // As the host allocates it: the decomposition writes every
             // coefficient, so the buffer is not zeroed first.
             chainCoef.reset(new double[n]);
             return CDipWavelet::ApplyWaveletDecomposition(B(image), chainCoef.get(), w, h, 16, 12,
                                                           lw, lh, wo, ho, 4);
         }},
        {"wavelet reconstruction",
         [&] {
             return CDipWavelet::ApplyWaveletReconstruction(chainCoef.get(), B(cand), 16, 12, w, h,
                                                            0, 0, lw, lh, wo, ho, 4);
         }},
        {"ApplyFPRemovalCAD",
         [&] {
             chainCoef.reset();
             return CDipClustering::ApplyFPRemovalCAD(B(lines), B(cand), B(kept), 16, 12, h, w,
                                                      true);
         }},
        {"ApplyClustering",
         [&] {
             return CDipClustering::ApplyClustering(B(image), B(kept), B(mask), circles, 16, 12, w,
                                                    h, px, px);
         }},
    };
    RunSteps(steps, n * sizeof(unsigned short));

    // Clustering on 4000 x 3000 with one candidate pixel in eight on a
    // saturated grey image: every blob's shape runs reach the image edge.
    {
        const int cw = 4000, ch = 3000;
        const std::size_t cn = static_cast<std::size_t>(cw) * ch;
        std::vector<unsigned short> grey(cn, 4095), cbin(cn, 0), cmask(cn, 4095);
        for (std::size_t i = 0; i < cn; i += 8) cbin[i] = 4095;
        CArray<CPoint, const CPoint&> cc;
        std::printf("\n");
        RunSteps({{"ApplyClustering 4000x3000, 1 in 8",
                   [&] {
                       return CDipClustering::ApplyClustering(B(grey), B(cbin), B(cmask), cc, 16,
                                                              12, cw, ch, 0.05, 0.05);
                   }}},
                 cn * sizeof(unsigned short));
    }
    return 0;
}
