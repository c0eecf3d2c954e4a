// zetdip-cad evaluate: runs the microcalcification chain on images with
// known clusters and prints, per operating point of the candidate threshold,
// the fraction of clusters found (a circle's centre inside the known circle)
// and the false clusters per image: the points of a FROC curve. Then a table
// per image at the chosen operating point.
//
// The known clusters come from a truth CSV beside the images, or are
// inserted by the cluster generator into images without clusters (a list
// of normals, or synthetic mammograms).
#include "evaluate_command.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <set>

#include "calcification_chain.h"
#include "calcifications.h"
#include "core/error.h"
#include "detection_chain.h"
#include "io/read_image.h"
#include "io/write_image.h"
#include "phantom.h"
#include "report/evaluation.h"
#include "report/overlay.h"

namespace zetdip::cad {

using namespace zetdip::host;

EvaluateArgs::EvaluateArgs()
    : dDefault(kDefaultCandidateThreshold), thresholds{4.0, 4.5, 5.0, 5.2, 5.5,
                                                       5.8, 6.0, 6.5, 7.0} {}

namespace {

// An image with its known clusters, as 16-bit words in its file's frame:
// 8-bit files are widened to 12 bits (shifted left by 4), as the chain
// itself promotes them, so that the clusters can be inserted at one depth.
// The whole chain is scored on the image as read, with its facts (side,
// view), unless clusters were inserted into the words.
struct Case {
    std::string name;
    int nWidth = 0, nHeight = 0, nBitsStored = 0;
    double dPixelSize = 0.0;
    std::vector<unsigned short> words;
    std::vector<TruthCluster> truth;
    Image asRead;  // facts of the file; pixels too while the words are untouched
    bool bInserted = false;
};

std::string Stem(const std::string& name) {
    return std::filesystem::path(name).stem().string();
}

// The image file of a reference name in dir: the name as written, or the
// name with one of the extensions the readers know.
std::string FindImage(const std::string& dir, const std::string& name) {
    namespace fs = std::filesystem;
    for (const char* ext : {"", ".pgm", ".png", ".dcm", ".tif", ".tiff", ".PGM", ".DCM"}) {
        const fs::path p = fs::path(dir) / (name + ext);
        std::error_code ec;
        if (fs::is_regular_file(p, ec)) return p.string();
    }
    throw Error((fs::path(dir) / name).string(), "no image of that name");
}

Case ReadCase(const std::string& path, const std::string& name, double dPixelSize) {
    ReadOptions options;
    if (dPixelSize > 0.0) options.pixelSize = dPixelSize;
    Case c;
    c.asRead = ReadImage(path, options);
    const Image& image = c.asRead;
    c.name = name;
    c.nWidth = image.nWidth;
    c.nHeight = image.nHeight;
    c.dPixelSize = image.columnSpacing->value;
    if (image.Is8Bit()) {
        c.nBitsStored = 12;
        c.words.assign(image.bytes.begin(), image.bytes.end());
        for (auto& w : c.words) w = static_cast<unsigned short>(w << 4);
    } else {
        c.nBitsStored = image.nBitsStored;
        c.words = image.words;
    }
    return c;
}

// The marks of the whole chain as zetdip-cad detect runs it (library mask
// and host mask, pectoral removal, line searches, candidates, clustering).
// With a dump folder, the overlay detect writes (the file's frame, full
// size) goes there too.
std::vector<Mark> WholeChainMarks(const Case& c, double dThreshold, const std::string& dumpDir) {
    DetectOptions options;
    options.candidates = BandPassCandidates(dThreshold);
    Image inserted;
    if (c.bInserted) {
        inserted = c.asRead;
        inserted.bytes.clear();
        inserted.nBitsStored = c.nBitsStored;
        inserted.words = c.words;
    }
    const Image& image = c.bInserted ? inserted : c.asRead;
    const DetectionResult result = Detect(image, options);
    if (!dumpDir.empty()) {
        const Picture p = RenderOverlay(image, result, 1);
        WritePngRgb8((std::filesystem::path(dumpDir) / (c.name + ".overlay.png")).string(),
                     p.pixels.data(), p.nWidth, p.nHeight);
    }
    std::vector<Mark> marks;
    for (const auto& k : result.clusters) marks.push_back({double(k.x), double(k.y), k.radius});
    return marks;
}

void PrintCircles(const std::vector<Mark>& marks, const std::vector<TruthCluster>& truth) {
    for (const auto& t : truth)
        std::printf("         truth (%.0f, %.0f) r %.0f\n", t.x, t.y, t.dRadius);
    for (const auto& m : marks)
        std::printf("         mark (%.0f, %.0f) r %.0f\n", m.x, m.y, m.dRadius);
}

void Add(FrocPoint& p, const ImageScore& s) {
    p.nImages += 1;
    p.nClusters += s.nClusters;
    p.nFound += s.nFound;
    p.nFalse += s.nFalse;
}

// The image dimmed, its mask at full brightness and the candidates white:
// what the candidate step saw, for a look by eye.
void WriteDump(const std::string& dir, const Case& c, const PreparedImage& prepared,
               const CandidateImages& candidates) {
    std::vector<unsigned char> pic(c.words.size());
    for (std::size_t i = 0; i < pic.size(); ++i)
        pic[i] = static_cast<unsigned char>((c.words[i] >> (c.nBitsStored - 8)) / 3);
    for (int y = 0; y < prepared.nHeight; ++y)
        for (int x = 0; x < prepared.nWidth; ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * prepared.nWidth + x;
            double fx = 0, fy = 0;
            WorkingToFile(prepared, x, y, fx, fy);
            const std::size_t j =
                static_cast<std::size_t>(fy) * c.nWidth + static_cast<std::size_t>(fx);
            if (prepared.mask[i])
                pic[j] =
                    static_cast<unsigned char>(prepared.image[i] >> (prepared.nBitsStored - 8));
            if (candidates.binary[i]) pic[j] = 255;
        }
    WritePngGrey8((std::filesystem::path(dir) / (c.name + ".png")).string(), pic.data(), c.nWidth,
                  c.nHeight);
}

// Runs the chain at every operating point and adds the image's scores to
// the FROC points; prints the image's row of the table at the default
// point.
void Evaluate(const Case& c, const EvaluateArgs& a, std::vector<FrocPoint>& froc) {
    if (a.bWholeChain) {
        for (std::size_t k = 0; k < a.thresholds.size(); ++k) {
            const bool bDefault = a.thresholds[k] == a.dDefault;
            const std::vector<Mark> marks =
                WholeChainMarks(c, a.thresholds[k], bDefault ? a.dumpDir : std::string());
            const ImageScore s = ScoreImage(marks, c.truth);
            Add(froc[k], s);
            if (!bDefault) continue;
            std::printf("%-8s %5d %5d %6d\n", c.name.c_str(), s.nClusters, s.nFound, s.nFalse);
            PrintCircles(marks, c.truth);
        }
        std::fflush(stdout);
        return;
    }
    // The host's preparation and candidate answer once; each operating
    // point only thresholds it.
    const PreparedImage prepared =
        PrepareImage(c.words.data(), c.nWidth, c.nHeight, c.nBitsStored, c.dPixelSize, {});
    const CandidateResponse response =
        ComputeCandidateResponse(prepared.image.data(), prepared.mask.data(), prepared.nWidth,
                                 prepared.nHeight, c.dPixelSize);
    for (std::size_t k = 0; k < a.thresholds.size(); ++k) {
        const ThresholdResult r = MarkClusters(prepared, response, a.thresholds[k]);
        std::vector<Mark> marks;
        for (const auto& m : r.marks) marks.push_back({m.x, m.y, m.dRadius});
        const ImageScore s = ScoreImage(marks, c.truth);
        Add(froc[k], s);
        if (a.thresholds[k] != a.dDefault) continue;
        if (!a.dumpDir.empty())
            WriteDump(a.dumpDir, c, prepared,
                      SelectCandidates(response, a.thresholds[k], prepared.nBitsStored));
        std::string warnings;
        for (const auto& w : prepared.warnings) warnings += w + "; ";
        std::printf(
            "%-8s %5d %5d %6d %6lld %6lld %6lld %6lld %6.1f  %s\n", c.name.c_str(), s.nClusters,
            s.nFound, s.nFalse, r.counts.nPeaks, r.counts.nTooLarge, r.counts.nElongated,
            r.counts.nCandidates,
            100.0 * double(prepared.nPectoralPixels) / double(std::max(1LL, prepared.nMaskPixels)),
            warnings.c_str());
        PrintCircles(marks, c.truth);
    }
    std::fflush(stdout);
}

void PrintFroc(const std::vector<FrocPoint>& froc) {
    std::printf("%9s %9s %9s %12s\n", "threshold", "found", "fraction", "false/image");
    for (const auto& p : froc)
        std::printf("%9.2f %4d/%-4d %9.3f %12.3f\n", p.dThreshold, p.nFound, p.nClusters,
                    p.Sensitivity(), p.FalsePerImage());
    std::fflush(stdout);
}

void PrintHeader(const EvaluateArgs& a) {
    if (a.bWholeChain)
        std::printf("%-8s %5s %5s %6s   (at %.2f noise multiples)\n", "image", "clust", "found",
                    "false", a.dDefault);
    else
        std::printf("%-8s %5s %5s %6s %6s %6s %6s %6s %6s  %s   (at %.2f noise multiples)\n",
                    "image", "clust", "found", "false", "peaks", "large", "line", "cands", "pect%",
                    "warnings", a.dDefault);
}

// The area of a real image where clusters may be inserted: its breast
// mask, in its own file frame.
std::vector<unsigned short> BreastArea(const Case& c) {
    const PreparedImage p =
        PrepareImage(c.words.data(), c.nWidth, c.nHeight, c.nBitsStored, c.dPixelSize, {});
    std::vector<unsigned short> mask(c.words.size(), 0);
    for (int y = 0; y < p.nHeight; ++y)
        for (int x = 0; x < p.nWidth; ++x) {
            double fx = 0, fy = 0;
            WorkingToFile(p, x, y, fx, fy);
            mask[static_cast<std::size_t>(fy) * c.nWidth + static_cast<std::size_t>(fx)] =
                p.mask[static_cast<std::size_t>(y) * p.nWidth + x];
        }
    return mask;
}

// A synthetic mammogram as a file stores it (the chest-wall end at row 0),
// with the area clusters may go into.
Case SyntheticCase(std::uint32_t nSeed, bool bBreastOnRight, double dPixelSize,
                   std::vector<unsigned short>& area) {
    zetdip::phantom::Options po;
    po.dPixelSize = dPixelSize;
    po.bBreastOnRight = bBreastOnRight;
    po.nSeed = nSeed;
    po.clusterSizes = {};
    auto m = zetdip::phantom::MakeMammogram(po);
    Case c;
    c.name = "synth" + std::to_string(nSeed);
    c.nWidth = m.nWidth;
    c.nHeight = m.nHeight;
    c.nBitsStored = m.nBitsStored;
    c.dPixelSize = dPixelSize;
    c.asRead.rowSpacing = Fact<double>{dPixelSize, "synthetic"};
    c.asRead.columnSpacing = Fact<double>{dPixelSize, "synthetic"};
    c.asRead.nWidth = c.nWidth;
    c.asRead.nHeight = c.nHeight;
    c.asRead.format = "synthetic";
    c.words = std::move(m.image);
    area.assign(c.words.size(), 0);
    for (std::size_t k = 0; k < area.size(); ++k)
        area[k] = m.truth.breast[k] && !m.truth.muscle[k] ? 1 : 0;
    FlipRows(c.words, c.nWidth, c.nHeight);
    FlipRows(area, c.nWidth, c.nHeight);
    return c;
}

std::vector<FrocPoint> NewCurve(const std::vector<double>& thresholds) {
    std::vector<FrocPoint> froc(thresholds.size());
    for (std::size_t k = 0; k < thresholds.size(); ++k) froc[k].dThreshold = thresholds[k];
    return froc;
}

std::string InFolder(const std::string& dir, const std::string& file) {
    return std::filesystem::path(file).has_parent_path()
               ? file
               : (std::filesystem::path(dir) / file).string();
}

// Clusters inserted into the normals of a folder or into synthetic
// mammograms, one curve per contrast.
void EvaluateInserted(const EvaluateArgs& a, std::vector<std::string>& labels,
                      std::vector<std::vector<FrocPoint>>& curves) {
    std::vector<std::string> normals;
    if (a.nSynthetic == 0) {
        if (a.dir.empty() || a.normalsPath.empty())
            throw Error("", "--insert without --synthetic needs DIR and --normals");
        normals = ReadNameList(InFolder(a.dir, a.normalsPath));
    }
    const double dSyntheticPixelSize = a.dPixelSize > 0.0 ? a.dPixelSize : 0.1;
    const std::vector<double> contrasts =
        a.contrasts.empty() ? std::vector<double>{0.05} : a.contrasts;
    for (double dContrast : contrasts) {
        std::vector<FrocPoint> froc = NewCurve(a.thresholds);
        std::printf("\n== clusters at contrast %.3f ==\n", dContrast);
        PrintHeader(a);
        const int nImages = a.nSynthetic > 0 ? a.nSynthetic : static_cast<int>(normals.size());
        for (int i = 0; i < nImages; ++i) {
            const std::uint32_t nCaseSeed = a.nSeed + static_cast<std::uint32_t>(i);
            std::vector<unsigned short> area;
            Case c;
            if (a.nSynthetic > 0) {
                c = SyntheticCase(nCaseSeed, i % 2 == 1, dSyntheticPixelSize, area);
            } else {
                const std::string& name = normals[static_cast<std::size_t>(i)];
                c = ReadCase(FindImage(a.dir, name), Stem(name), a.dPixelSize);
                area = BreastArea(c);
            }
            zetdip::phantom::ClusterOptions co;
            co.dPixelSize = c.dPixelSize;
            co.nBitsStored = c.nBitsStored;
            co.dContrast = dContrast;
            co.nSeed = nCaseSeed * 7919u;
            c.bInserted = true;
            for (const auto& k :
                 zetdip::phantom::InsertClusters(c.words, area, c.nWidth, c.nHeight, co))
                c.truth.push_back({c.name, k.centre.x, k.centre.y, k.dRadius});
            if (a.nSynthetic > 0) {
                zetdip::phantom::FilmOptions fo;
                fo.dPixelSize = c.dPixelSize;
                fo.nBitsStored = c.nBitsStored;
                fo.nSeed = nCaseSeed * 104729u;
                zetdip::phantom::AddFilmArtefacts(c.words, area, c.nWidth, c.nHeight, fo);
            }
            Evaluate(c, a, froc);
        }
        PrintFroc(froc);
        char label[64];
        std::snprintf(label, sizeof label, "inserted, contrast %.3f", dContrast);
        labels.push_back(label);
        curves.push_back(froc);
    }
}

// The images of a truth CSV and a list of normals in a folder.
void EvaluateKnown(const EvaluateArgs& a, std::vector<std::string>& labels,
                   std::vector<std::vector<FrocPoint>>& curves) {
    if (a.dir.empty() || a.truthPath.empty())
        throw Error("", "give DIR and --truth, or --synthetic N");
    const auto truth = ReadTruthCsv(InFolder(a.dir, a.truthPath));
    std::vector<std::string> names;
    std::set<std::string> seen;
    for (const auto& t : truth)
        if (seen.insert(t.image).second) names.push_back(t.image);
    if (!a.normalsPath.empty())
        for (const auto& n : ReadNameList(InFolder(a.dir, a.normalsPath)))
            if (seen.insert(Stem(n)).second) names.push_back(n);
    std::vector<FrocPoint> froc = NewCurve(a.thresholds);
    PrintHeader(a);
    for (const auto& name : names) {
        Case c = ReadCase(FindImage(a.dir, name), Stem(name), a.dPixelSize);
        for (const auto& t : truth)
            if (t.image == c.name) c.truth.push_back(t);
        Evaluate(c, a, froc);
    }
    std::printf("\n");
    PrintFroc(froc);
    labels.push_back("known clusters");
    curves.push_back(froc);
}

}  // namespace

int RunEvaluate(const EvaluateArgs& a) {
    try {
        std::vector<std::vector<FrocPoint>> curves;
        std::vector<std::string> labels;
        if (a.nSynthetic > 0 || !a.contrasts.empty())
            EvaluateInserted(a, labels, curves);
        else
            EvaluateKnown(a, labels, curves);
        if (!a.svgPath.empty()) WriteFrocSvg(a.svgPath, labels, curves, 3.0);
        return 0;
    } catch (const Error& e) {
        std::fprintf(stderr, "zetdip-cad: %s\n", e.what());
        return 1;
    }
}

}  // namespace zetdip::cad
