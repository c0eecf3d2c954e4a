#include "detection_chain.h"

#include <ZetDIP.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>

#include "core/error.h"

namespace zetdip::host {
namespace {

// 8-bit images are promoted to 12 bits by a shift, so that one 16-bit path
// serves every image: the library's 8-bit variants differ on purpose (the
// pectoral removal reports false after its opening succeeds, the diagonal
// line search is routed to the north-south one), which would leave 8-bit
// films without those steps.
constexpr int kPromotedBits = 12;
constexpr int kMinSide = 64;  // the mask's margins and bands need some rows

unsigned char* Bytes(std::vector<unsigned short>& v) {
    return reinterpret_cast<unsigned char*>(v.data());
}

long long CountSet(const std::vector<unsigned short>& v) {
    return static_cast<long long>(v.size()) -
           static_cast<long long>(std::count(v.begin(), v.end(), 0));
}

class Stopwatch {
public:
    double Ms() const {
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_)
            .count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

std::string Format(const char* format, double a, double b = 0.0) {
    char text[200];
    std::snprintf(text, sizeof text, format, a, b);
    return text;
}

// The 8-connected blobs of a binary image, as centroids (column, row).
std::vector<std::pair<double, double>> BlobCentroids(const std::vector<unsigned short>& binary,
                                                     int W, int H) {
    std::vector<std::pair<double, double>> centroids;
    std::vector<unsigned char> seen(binary.size(), 0);
    std::vector<std::size_t> stack;
    for (std::size_t start = 0; start < binary.size(); ++start) {
        if (binary[start] == 0 || seen[start]) continue;
        double sumX = 0.0, sumY = 0.0;
        long long n = 0;
        seen[start] = 1;
        stack.push_back(start);
        while (!stack.empty()) {
            const std::size_t i = stack.back();
            stack.pop_back();
            const int x = static_cast<int>(i % W), y = static_cast<int>(i / W);
            sumX += x;
            sumY += y;
            ++n;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const int nx = x + dx, ny = y + dy;
                    if (nx < 0 || ny < 0 || nx >= W || ny >= H) continue;
                    const std::size_t j = static_cast<std::size_t>(ny) * W + nx;
                    if (binary[j] != 0 && !seen[j]) {
                        seen[j] = 1;
                        stack.push_back(j);
                    }
                }
        }
        centroids.emplace_back(sumX / static_cast<double>(n), sumY / static_cast<double>(n));
    }
    return centroids;
}

// The side from the tags, in the order of their weight: the Patient
// Orientation's row direction says where the chest wall is (A: columns run
// towards the nipple, so the chest wall is at column 0); Laterality, read
// with the display convention of the images here (a left breast hangs
// against the left edge).
std::optional<Fact<Side>> SideFromTags(const Image& image) {
    const std::string& row = image.patientOrientationRow;
    if (!row.empty() && (row[0] == 'A' || row[0] == 'P'))
        return Fact<Side>{row[0] == 'A' ? Side::Left : Side::Right, "PatientOrientation"};
    if (image.laterality)
        return Fact<Side>{image.laterality->value == Laterality::Left ? Side::Left : Side::Right,
                          image.laterality->source};
    return std::nullopt;
}

double MeanOf(const Working& w, int x0, int x1, int y0, int y1) {
    double sum = 0.0;
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) sum += w.image[static_cast<std::size_t>(y) * w.nWidth + x];
    const double n = static_cast<double>(x1 - x0) * static_cast<double>(y1 - y0);
    return n > 0.0 ? sum / n : 0.0;
}

void FlipRows(std::vector<unsigned short>& v, int W, int H) {
    for (int y = 0; y < H / 2; ++y)
        std::swap_ranges(v.begin() + static_cast<std::ptrdiff_t>(y) * W,
                         v.begin() + static_cast<std::ptrdiff_t>(y + 1) * W,
                         v.begin() + static_cast<std::ptrdiff_t>(H - 1 - y) * W);
}

}  // namespace

DetectionResult Detect(const Image& image, const DetectOptions& options) {
    const std::string& path = image.path;
    if (image.nBitsStored < 8 || image.nBitsStored > 16)
        throw Error(path, "cannot process " + std::to_string(image.nBitsStored) +
                              " bits stored; 8 to 16 are supported");
    if (image.nWidth < kMinSide || image.nHeight < kMinSide)
        throw Error(path, "image of " + std::to_string(image.nWidth) + " x " +
                              std::to_string(image.nHeight) + " is too small; at least " +
                              std::to_string(kMinSide) + " x " + std::to_string(kMinSide));
    const std::size_t n = image.PixelCount();
    if ((image.Is8Bit() ? image.bytes.size() : image.words.size()) != n)
        throw Error(path, "pixel buffer does not hold width x height samples");
    if (!image.columnSpacing || !image.rowSpacing)
        throw Error(path, "no pixel size; pass --pixel-size");
    const double dColumnMm = image.columnSpacing->value, dRowMm = image.rowSpacing->value;
    if (!(dColumnMm > 0.0) || !(dRowMm > 0.0) || !std::isfinite(dColumnMm) ||
        !std::isfinite(dRowMm))
        throw Error(path, "pixel size must be a positive number of millimetres");

    DetectionResult r;
    const Stopwatch prepareClock;
    const Box box = image.Is8Bit() ? FindContent(image.bytes.data(), image.nWidth, image.nHeight)
                                   : FindContent(image.words.data(), image.nWidth, image.nHeight);
    if (box.width < kMinSide || box.height < kMinSide)
        throw Error(path, "the image holds almost nothing but zeros");
    Frame& f = r.frame;
    f.fileWidth = image.nWidth;
    f.fileHeight = image.nHeight;
    f.left = box.left;
    f.top = box.top;
    f.width = box.width;
    f.height = box.height;

    Working w;
    w.nWidth = f.width;
    w.nHeight = f.height;
    w.nBitsStored = image.Is8Bit() ? kPromotedBits : image.nBitsStored;
    w.dPixelSize = dColumnMm;
    r.nBitsStored = w.nBitsStored;
    r.dPixelSize = dColumnMm;
    if (std::fabs(dRowMm - dColumnMm) > 1e-6 * dColumnMm)
        r.warnings.push_back(Format(
            "pixels are not square (%.4g mm between rows, %.4g mm between columns); the breast "
            "and line steps use the column spacing",
            dRowMm, dColumnMm));
    const std::size_t nw = static_cast<std::size_t>(w.nWidth) * w.nHeight;
    w.image.resize(nw);
    if (image.Is8Bit())
        f.ToWork(image.bytes.data(), w.image.data(), kPromotedBits - 8);
    else
        f.ToWork(image.words.data(), w.image.data());

    // Which side: the user, the tags, else the library's own probe at the
    // rows its breast mask tries.
    auto* pImage = Bytes(w.image);
    if (options.breastSide) {
        r.breastSide = *options.breastSide;
    } else if (auto tagged = SideFromTags(image)) {
        r.breastSide = *tagged;
    } else {
        const Stopwatch clock;
        int nCode = -1;
        for (float fRow : {1.0f / 3.0f, 0.5f, 1.0f / 6.0f, 2.0f / 3.0f, 5.0f / 6.0f}) {
            nCode = CDipFilters::IsOnTheRightOrLeftSideOfTheImage(pImage, 16, w.nBitsStored,
                                                                  w.nWidth, w.nHeight, fRow);
            if (nCode != -1) break;
        }
        if (nCode == -1) {
            const bool bRight = MeanOf(w, w.nWidth / 2, w.nWidth, 0, w.nHeight) >
                                MeanOf(w, 0, w.nWidth / 2, 0, w.nHeight);
            r.breastSide = {bRight ? Side::Right : Side::Left, "image"};
            r.warnings.push_back(std::string("no laterality in the file and the side probe was "
                                             "undecided; took the brighter half: ") +
                                 ToString(r.breastSide.value));
        } else {
            r.breastSide = {nCode == 1 ? Side::Right : Side::Left, "image"};
            r.warnings.push_back(std::string("no laterality in the file; the side probe says ") +
                                 ToString(r.breastSide.value));
        }
        r.steps.push_back({"IsOnTheRightOrLeftSideOfTheImage", false, nCode, {}, clock.Ms()});
    }
    w.bBreastOnRight = r.breastSide.value == Side::Right;

    // Which end is the chest-wall end: the Patient Orientation's column
    // direction (F: rows run towards the feet, so the axilla is at the top),
    // else the brighter end of the chest-wall side, where the muscle is.
    const std::string& column = image.patientOrientationColumn;
    if (!column.empty() && (column[0] == 'F' || column[0] == 'H')) {
        r.flipRows = {column[0] == 'F', "PatientOrientation"};
    } else {
        const int x0 = w.bBreastOnRight ? w.nWidth - w.nWidth / 3 : 0;
        const int x1 = w.bBreastOnRight ? w.nWidth : w.nWidth / 3;
        const double top = MeanOf(w, x0, x1, 0, w.nHeight / 4);
        const double bottom = MeanOf(w, x0, x1, w.nHeight - w.nHeight / 4, w.nHeight);
        r.flipRows = {top > bottom, "image"};
        r.warnings.push_back(std::string("no Patient Orientation; took the brighter end of the "
                                         "chest-wall side as the axilla: the ") +
                             (top > bottom ? "top" : "bottom"));
    }
    if (image.view && image.view->value != "MLO")
        r.warnings.push_back("view " + image.view->value +
                             ": the breast mask and the pectoral muscle removal are made for MLO "
                             "views");
    f.flipRows = r.flipRows.value;
    if (f.flipRows) FlipRows(w.image, w.nWidth, w.nHeight);
    // The preparation comes first in the list; its time includes the side probe.
    r.steps.insert(r.steps.begin(), {"prepare",
                                     true,
                                     1,
                                     {{"cropped_left", f.left},
                                      {"cropped_right", f.fileWidth - f.left - f.width},
                                      {"cropped_top", f.top},
                                      {"cropped_bottom", f.fileHeight - f.top - f.height},
                                      {"flipped_rows", f.flipRows ? 1 : 0}},
                                     prepareClock.Ms()});

    const int W = w.nWidth, H = w.nHeight, nBits = w.nBitsStored;
    const double dPx = w.dPixelSize;
    w.mask.assign(nw, 0);
    w.lines.assign(nw, 0);
    w.candidates.assign(nw, 0);
    w.kept.assign(nw, 0);
    auto finish = [&](const std::string& failed) {
        r.failedStep = failed;
        r.mask = f.BinaryToFile(w.mask);
        if (options.keepStepImages) {
            r.lines = f.BinaryToFile(w.lines);
            r.candidates = f.BinaryToFile(w.candidates);
            r.kept = f.BinaryToFile(w.kept);
        }
        return r;
    };
    // Runs one step: records what it returned, its counts and its time;
    // the chain stops at a step that must succeed and did not.
    auto run = [&](const char* name, auto&& call, auto&& counts) {
        const Stopwatch clock;
        const bool ok = call();
        r.steps.push_back({name, true, ok ? 1 : 0, {}, 0.0});
        r.steps.back().counts = counts();
        r.steps.back().ms = clock.Ms();
        return ok;
    };
    auto none = [] { return std::vector<std::pair<std::string, long long>>{}; };

    bool bRight = w.bBreastOnRight;
    if (!run(
            "CreateMaskOfBreast",
            [&] {
                return CDipFilters::CreateMaskOfBreast(pImage, Bytes(w.mask), 16, nBits, W, H,
                                                       bRight, dPx);
            },
            [&] {
                return decltype(none()){{"mask_pixels", CountSet(w.mask)}};
            }))
        return finish("CreateMaskOfBreast");
    if (bRight != w.bBreastOnRight) {
        // The 16-bit mask turns a left guess into right when its probe says so.
        r.warnings.push_back(std::string("the breast mask's side probe overruled ") +
                             r.breastSide.source + ": processed as right");
        r.breastSide = {Side::Right, "image"};
        w.bBreastOnRight = true;
    }
    const long long nMask = CountSet(w.mask);
    if (nMask == 0) r.warnings.push_back("the breast mask is empty");
    if (nMask == static_cast<long long>(nw))
        r.warnings.push_back(
            "the breast mask covers the whole image: no breast edge was found against a dark "
            "background");
    if (!run(
            "RemovePectoralMuscleFromMask",
            [&] {
                return CDipFilters::RemovePectoralMuscleFromMask(pImage, Bytes(w.mask), 16, nBits,
                                                                 W, H, w.bBreastOnRight, dPx);
            },
            [&] {
                return decltype(none()){{"pectoral_pixels", nMask - CountSet(w.mask)}};
            }))
        r.warnings.push_back(
            "no pectoral muscle found at the chest-wall end; the mask keeps the whole breast");

    if (!run(
            "SearchLinesImage",
            [&] {
                return CDipClustering::SearchLinesImage(pImage, Bytes(w.lines), 16, nBits, W, H);
            },
            [&] {
                return decltype(none()){{"line_pixels", CountSet(w.lines)}};
            }))
        r.warnings.push_back(
            "the north-south line search refused the image (its gradient level lies outside "
            "its gate); going on with the diagonal lines only");
    if (!run(
            "SearchLinesSWNEImage",
            [&] {
                return CDipClustering::SearchLinesSWNEImage(pImage, Bytes(w.lines), Bytes(w.mask),
                                                            16, nBits, W, H, dPx);
            },
            [&] {
                return decltype(none()){{"line_pixels", CountSet(w.lines)}};
            }))
        return finish("SearchLinesSWNEImage");

    if (!run(
            "candidates", [&] { return options.candidates(w); },
            [&] {
                return decltype(none()){{"candidate_pixels", CountSet(w.candidates)}};
            }))
        return finish("candidates");
    std::vector<std::pair<double, double>> blobs;
    if (!run(
            "ApplyFPRemovalCAD",
            [&] {
                return CDipClustering::ApplyFPRemovalCAD(Bytes(w.lines), Bytes(w.candidates),
                                                         Bytes(w.kept), 16, nBits, H, W, true);
            },
            [&] {
                blobs = BlobCentroids(w.kept, W, H);
                return decltype(none()){{"kept_pixels", CountSet(w.kept)},
                                        {"kept_blobs", static_cast<long long>(blobs.size())}};
            }))
        return finish("ApplyFPRemovalCAD");

    CArray<CPoint, const CPoint&> circles;
    if (!run(
            "ApplyClustering",
            [&] {
                return CDipClustering::ApplyClustering(pImage, Bytes(w.kept), Bytes(w.mask),
                                                       circles, 16, nBits, W, H, dColumnMm, dRowMm);
            },
            [&] {
                return decltype(none()){
                    {"clusters", static_cast<long long>(circles.GetSize() / 2)}};
            }))
        return finish("ApplyClustering");

    for (INT_PTR k = 0; k + 1 < circles.GetSize(); k += 2) {
        const CPoint centre = circles[k];
        Cluster c;
        c.radius = C2dGeo::GetDistanceBetweenPoints(centre, circles[k + 1]);
        const double cx = centre.x, cy = H - centre.y;  // working row
        for (const auto& [bx, by] : blobs)
            c.members += std::hypot(bx - cx, by - cy) <= c.radius ? 1 : 0;
        c.x = f.FileColumn(centre.x);
        c.y = f.FileRowOfStoredY(centre.y);
        c.xMm = c.x * dColumnMm;
        c.yMm = c.y * dRowMm;
        c.radiusMm = c.radius * dColumnMm;
        r.clusters.push_back(c);
    }
    return finish("");
}

}  // namespace zetdip::host
