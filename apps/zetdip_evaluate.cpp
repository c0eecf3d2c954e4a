// zetdip-evaluate: runs the microcalcification chain on a folder of
// mammograms with known clusters and prints, per operating point of the
// candidate threshold, the fraction of clusters found (a circle's centre
// inside the known circle) and the false clusters per image: the points of
// a FROC curve. Then a table per image at the chosen operating point.
//
//   zetdip-evaluate --dir ../shared/data/mias --truth calc_truth.csv
//       --normals normals.txt --pixel-size 0.2 [--svg froc.svg]
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "calcification_chain.h"
#include "calcifications.h"
#include "core/error.h"
#include "detection_chain.h"
#include "phantom.h"
#include "report/evaluation.h"

namespace {

using namespace zetdip::host;

struct Pgm {
    int nWidth = 0, nHeight = 0, nBits = 0;
    std::vector<unsigned short> words;
};

// Binary PGM; 8-bit samples are widened to 12 bits (shifted left by 4) so
// that the chain runs one depth.
Pgm ReadPgm(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw Error(path, "cannot open");
    std::string magic;
    in >> magic;
    auto next = [&]() {
        int v = -1;
        while (in >> std::ws && in.peek() == '#') in.ignore(1 << 20, '\n');
        in >> v;
        return v;
    };
    Pgm p;
    p.nWidth = next();
    p.nHeight = next();
    const int nMaxVal = next();
    in.get();
    if (magic != "P5" || p.nWidth <= 0 || p.nHeight <= 0 || nMaxVal <= 0 || nMaxVal > 65535)
        throw Error(path, "not a binary PGM");
    const std::size_t n = static_cast<std::size_t>(p.nWidth) * p.nHeight;
    p.words.resize(n);
    if (nMaxVal < 256) {
        std::vector<unsigned char> b(n);
        if (!in.read(reinterpret_cast<char*>(b.data()), static_cast<std::streamsize>(n)))
            throw Error(path, "truncated pixels");
        for (std::size_t i = 0; i < n; ++i) p.words[i] = static_cast<unsigned short>(b[i] << 4);
        p.nBits = 12;
    } else {
        std::vector<unsigned char> b(2 * n);
        if (!in.read(reinterpret_cast<char*>(b.data()), static_cast<std::streamsize>(2 * n)))
            throw Error(path, "truncated pixels");
        for (std::size_t i = 0; i < n; ++i)
            p.words[i] = static_cast<unsigned short>((b[2 * i] << 8) | b[2 * i + 1]);
        p.nBits = 1;
        while ((1 << p.nBits) - 1 < nMaxVal) ++p.nBits;
        if (p.nBits < 9) p.nBits = 9;
    }
    return p;
}

std::string Stem(const std::string& name) {
    const auto dot = name.rfind('.');
    return dot == std::string::npos ? name : name.substr(0, dot);
}

// One image with its known clusters, in the file's frame.
struct Case {
    std::string name;
    Pgm pgm;
    std::vector<TruthCluster> truth;
};

struct Settings {
    double dPixelSize = 0.2;
    double dDefault = kDefaultCandidateThreshold;
    std::vector<double> thresholds;
    bool bTable = true;
    std::string dumpDir;
    bool bDetect = false;  // score what Detect (zetdip-cad detect) marks
};

// The marks of the whole chain as zetdip-cad detect runs it (library mask
// and host mask, pectoral removal, line searches, candidates, clustering).
std::vector<Mark> DetectMarks(const Pgm& f, double dPixelSize, double dThreshold) {
    Image image;
    image.nWidth = f.nWidth;
    image.nHeight = f.nHeight;
    image.nBitsStored = f.nBits;
    image.words = f.words;
    image.rowSpacing = Fact<double>{dPixelSize, "--pixel-size"};
    image.columnSpacing = Fact<double>{dPixelSize, "--pixel-size"};
    image.format = "PGM";
    DetectOptions options;
    options.candidates = BandPassCandidates(dThreshold);
    std::vector<Mark> marks;
    for (const auto& c : Detect(image, options).clusters)
        marks.push_back({double(c.x), double(c.y), c.radius});
    return marks;
}

// Runs the chain at every operating point and adds the image's scores to
// the FROC points; prints the image's row of the table at the default point.
void Evaluate(const Case& c, const Settings& st, std::vector<FrocPoint>& froc) {
    if (st.bDetect) {
        for (std::size_t k = 0; k < st.thresholds.size(); ++k) {
            const ImageScore s =
                ScoreImage(DetectMarks(c.pgm, st.dPixelSize, st.thresholds[k]), c.truth);
            froc[k].nImages += 1;
            froc[k].nClusters += s.nClusters;
            froc[k].nFound += s.nFound;
            froc[k].nFalse += s.nFalse;
            if (st.bTable && st.thresholds[k] == st.dDefault)
                std::printf("%-8s %5d %5d %6d\n", c.name.c_str(), s.nClusters, s.nFound, s.nFalse);
        }
        std::fflush(stdout);
        return;
    }
    const PreparedImage prepared = PrepareImage(c.pgm.words.data(), c.pgm.nWidth, c.pgm.nHeight,
                                                c.pgm.nBits, st.dPixelSize, {});
    const CandidateResponse response =
        ComputeCandidateResponse(prepared.image.data(), prepared.mask.data(), prepared.nWidth,
                                 prepared.nHeight, st.dPixelSize);
    for (std::size_t k = 0; k < st.thresholds.size(); ++k) {
        const ThresholdResult r = MarkClusters(prepared, response, st.thresholds[k]);
        std::vector<Mark> marks;
        for (const auto& m : r.marks) marks.push_back({m.x, m.y, m.dRadius});
        const ImageScore s = ScoreImage(marks, c.truth);
        froc[k].nImages += 1;
        froc[k].nClusters += s.nClusters;
        froc[k].nFound += s.nFound;
        froc[k].nFalse += s.nFalse;
        if (st.thresholds[k] != st.dDefault) continue;
        if (!st.dumpDir.empty()) {
            // The file with the mask at full brightness, the rest dimmed,
            // and the candidates white.
            const CandidateImages cand =
                SelectCandidates(response, st.thresholds[k], prepared.nBitsStored);
            const Pgm& f = c.pgm;
            std::vector<unsigned char> pic(f.words.size());
            for (std::size_t i = 0; i < pic.size(); ++i)
                pic[i] = static_cast<unsigned char>((f.words[i] >> (f.nBits - 8)) / 3);
            for (int y = 0; y < prepared.nHeight; ++y)
                for (int x = 0; x < prepared.nWidth; ++x) {
                    const std::size_t i = static_cast<std::size_t>(y) * prepared.nWidth + x;
                    double fx = 0, fy = 0;
                    WorkingToFile(prepared, x, y, fx, fy);
                    const std::size_t j =
                        static_cast<std::size_t>(fy) * f.nWidth + static_cast<std::size_t>(fx);
                    if (prepared.mask[i])
                        pic[j] = static_cast<unsigned char>(prepared.image[i] >>
                                                            (prepared.nBitsStored - 8));
                    if (cand.binary[i]) pic[j] = 255;
                }
            std::ofstream o(st.dumpDir + "/" + c.name + ".pgm", std::ios::binary);
            o << "P5\n" << f.nWidth << ' ' << f.nHeight << "\n255\n";
            o.write(reinterpret_cast<const char*>(pic.data()),
                    static_cast<std::streamsize>(pic.size()));
        }
        if (!st.bTable) continue;
        std::string warnings;
        for (const auto& w : prepared.warnings) warnings += w + "; ";
        std::printf(
            "%-8s %5d %5d %6d %6lld %6lld %6lld %6lld %6.1f  %s\n", c.name.c_str(), s.nClusters,
            s.nFound, s.nFalse, r.counts.nPeaks, r.counts.nTooLarge, r.counts.nElongated,
            r.counts.nCandidates,
            100.0 * double(prepared.nPectoralPixels) / double(std::max(1LL, prepared.nMaskPixels)),
            warnings.c_str());
        if (std::getenv("ZETDIP_EVAL_DEBUG")) {
            const CandidateImages low = SelectCandidates(response, 2.0, prepared.nBitsStored);
            for (const auto& t : c.truth) {
                std::printf("         truth (%.0f, %.0f) r %.0f z:", t.x, t.y, t.dRadius);
                for (const auto& k : low.candidates) {
                    double fx = 0, fy = 0;
                    WorkingToFile(prepared, k.x, k.y, fx, fy);
                    if (std::hypot(fx - t.x, fy - t.y) <= t.dRadius) std::printf(" %.1f", k.z);
                }
                std::printf("\n");
            }
        }
        for (const auto& m : r.marks)
            std::printf("         mark (%.0f, %.0f) r %.0f\n", m.x, m.y, m.dRadius);
    }
    std::fflush(stdout);
}

void PrintFroc(const std::vector<FrocPoint>& froc) {
    std::printf("%9s %9s %9s %12s\n", "threshold", "found", "fraction", "false/image");
    for (const auto& p : froc)
        std::printf("%9.2f %4d/%-4d %9.3f %12.3f\n", p.dThreshold, p.nFound, p.nClusters,
                    p.Sensitivity(), p.FalsePerImage());
}

void PrintHeader(const Settings& st) {
    if (st.bTable)
        std::printf("%-8s %5s %5s %6s %6s %6s %6s %6s %6s  %s   (at %.2f noise multiples)\n",
                    "image", "clust", "found", "false", "peaks", "large", "line", "cands", "pect%",
                    "warnings", st.dDefault);
}

// The breast mask of an image in its own file frame.
std::vector<unsigned short> FileMask(const Pgm& f, double dPixelSize) {
    const PreparedImage p =
        PrepareImage(f.words.data(), f.nWidth, f.nHeight, f.nBits, dPixelSize, {});
    std::vector<unsigned short> mask(f.words.size(), 0);
    for (int y = 0; y < p.nHeight; ++y)
        for (int x = 0; x < p.nWidth; ++x) {
            double fx = 0, fy = 0;
            WorkingToFile(p, x, y, fx, fy);
            mask[static_cast<std::size_t>(fy) * f.nWidth + static_cast<std::size_t>(fx)] =
                p.mask[static_cast<std::size_t>(y) * p.nWidth + x];
        }
    return mask;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "Detection rate of the microcalcification chain: FROC points on images with known "
        "clusters, on real images with inserted clusters, or on synthetic mammograms"};
    std::string dir, truthPath, normalsPath, svgPath;
    Settings st;
    st.thresholds = {3.6, 3.8, 4.0, 4.1, 4.2, 4.3, 4.5, 5.0, 5.5, 6.0};
    std::vector<double> contrasts;
    int nSynthetic = 0;
    unsigned nSeed = 1;
    app.add_option("--dir", dir, "folder of the images (binary PGM)")
        ->check(CLI::ExistingDirectory);
    app.add_option("--truth", truthPath, "truth CSV (refnum, x, y_top_origin, radius_px)");
    app.add_option("--normals", normalsPath, "list of images without clusters");
    app.add_option("--pixel-size", st.dPixelSize, "mm per pixel")->check(CLI::Range(0.01, 1.0));
    app.add_option("--thresholds", st.thresholds, "operating points, noise multiples");
    app.add_option("--default", st.dDefault, "operating point of the per-image table");
    app.add_option("--svg", svgPath, "write the FROC curve(s) as SVG");
    app.add_option("--dump", st.dumpDir, "write each image with its mask and candidates as PGM");
    app.add_option("--insert", contrasts,
                   "insert clusters of these contrasts (fraction of the local signal) into the "
                   "normals, or into the synthetic mammograms");
    app.add_option("--synthetic", nSynthetic, "run on this many synthetic mammograms")
        ->check(CLI::Range(1, 1000));
    app.add_flag("--detect", st.bDetect,
                 "score the whole chain of zetdip-cad detect (library and host masks, line "
                 "exclusion) instead of the host's own preparation");
    app.add_option("--seed", nSeed, "first seed of the synthetic mammograms and insertions");
    CLI11_PARSE(app, argc, argv);
    try {
        auto path = [&](const std::string& f) {
            return f.find('/') == std::string::npos ? dir + "/" + f : f;
        };
        std::vector<std::vector<FrocPoint>> curves;
        std::vector<std::string> labels;
        auto fresh = [&]() {
            std::vector<FrocPoint> froc(st.thresholds.size());
            for (std::size_t k = 0; k < st.thresholds.size(); ++k)
                froc[k].dThreshold = st.thresholds[k];
            return froc;
        };
        if (nSynthetic > 0 || !contrasts.empty()) {
            if (contrasts.empty()) contrasts = {0.05};
            std::vector<std::string> normals;
            if (nSynthetic == 0) {
                if (dir.empty() || normalsPath.empty())
                    throw Error("", "--insert without --synthetic needs --dir and --normals");
                normals = ReadNameList(path(normalsPath));
            }
            for (double dContrast : contrasts) {
                std::vector<FrocPoint> froc = fresh();
                std::printf("\n== clusters at contrast %.3f ==\n", dContrast);
                PrintHeader(st);
                const int nImages = nSynthetic > 0 ? nSynthetic : static_cast<int>(normals.size());
                for (int i = 0; i < nImages; ++i) {
                    Case c;
                    std::vector<unsigned short> area;
                    const std::uint32_t nCaseSeed = nSeed + static_cast<std::uint32_t>(i);
                    if (nSynthetic > 0) {
                        zetdip::phantom::Options po;
                        po.dPixelSize = st.dPixelSize;
                        po.bBreastOnRight = i % 2 == 1;
                        po.nSeed = nCaseSeed;
                        po.clusterSizes = {};
                        auto m = zetdip::phantom::MakeMammogram(po);
                        // As a file stores it: the chest-wall end at row 0.
                        c.name = "synth" + std::to_string(nCaseSeed);
                        c.pgm.nWidth = m.nWidth;
                        c.pgm.nHeight = m.nHeight;
                        c.pgm.nBits = m.nBitsStored;
                        c.pgm.words = m.image;
                        area.assign(m.image.size(), 0);
                        for (std::size_t k = 0; k < area.size(); ++k)
                            area[k] = m.truth.breast[k] && !m.truth.muscle[k] ? 1 : 0;
                        FlipRows(c.pgm.words, m.nWidth, m.nHeight);
                        FlipRows(area, m.nWidth, m.nHeight);
                    } else {
                        c.name = Stem(normals[static_cast<std::size_t>(i)]);
                        c.pgm = ReadPgm(dir + "/" + c.name + ".pgm");
                        area = FileMask(c.pgm, st.dPixelSize);
                    }
                    zetdip::phantom::ClusterOptions co;
                    co.dPixelSize = st.dPixelSize;
                    co.nBitsStored = c.pgm.nBits;
                    co.dContrast = dContrast;
                    co.nSeed = nCaseSeed * 7919u;
                    for (const auto& k : zetdip::phantom::InsertClusters(
                             c.pgm.words, area, c.pgm.nWidth, c.pgm.nHeight, co))
                        c.truth.push_back({c.name, k.centre.x, k.centre.y, k.dRadius});
                    if (nSynthetic > 0) {
                        zetdip::phantom::FilmOptions fo;
                        fo.dPixelSize = st.dPixelSize;
                        fo.nBitsStored = c.pgm.nBits;
                        fo.nSeed = nCaseSeed * 104729u;
                        zetdip::phantom::AddFilmArtefacts(c.pgm.words, area, c.pgm.nWidth,
                                                          c.pgm.nHeight, fo);
                    }
                    Evaluate(c, st, froc);
                }
                PrintFroc(froc);
                char label[64];
                std::snprintf(label, sizeof label, "inserted, contrast %.3f", dContrast);
                labels.push_back(label);
                curves.push_back(froc);
            }
        } else {
            if (dir.empty() || truthPath.empty())
                throw Error("", "give --dir and --truth, or --synthetic");
            const auto truth = ReadTruthCsv(path(truthPath));
            std::vector<std::string> images;
            std::set<std::string> seen;
            for (const auto& t : truth)
                if (seen.insert(t.image).second) images.push_back(t.image);
            if (!normalsPath.empty())
                for (const auto& n : ReadNameList(path(normalsPath)))
                    if (seen.insert(Stem(n)).second) images.push_back(Stem(n));
            std::vector<FrocPoint> froc = fresh();
            PrintHeader(st);
            for (const auto& name : images) {
                Case c;
                c.name = name;
                c.pgm = ReadPgm(dir + "/" + name + ".pgm");
                for (const auto& t : truth)
                    if (t.image == name) c.truth.push_back(t);
                Evaluate(c, st, froc);
            }
            std::printf("\n");
            PrintFroc(froc);
            labels.push_back("known clusters");
            curves.push_back(froc);
        }
        if (!svgPath.empty()) WriteFrocSvg(svgPath, labels, curves, 3.0);
    } catch (const Error& e) {
        std::fprintf(stderr, "zetdip-evaluate: %s\n", e.what());
        return 1;
    }
    return 0;
}
