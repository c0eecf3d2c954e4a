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
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "calcification_chain.h"
#include "core/error.h"
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

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Detection rate of the microcalcification chain on images with known clusters"};
    std::string dir, truthPath, normalsPath, svgPath;
    double dPixelSize = 0.2, dDefault = 4.2;
    std::vector<double> thresholds = {3.6, 3.8, 4.0, 4.1, 4.2, 4.3, 4.5, 5.0, 5.5, 6.0};
    app.add_option("--dir", dir, "folder of the images (binary PGM)")
        ->required()
        ->check(CLI::ExistingDirectory);
    app.add_option("--truth", truthPath, "truth CSV (refnum, x, y_top_origin, radius_px)")
        ->required();
    app.add_option("--normals", normalsPath, "list of images without clusters");
    app.add_option("--pixel-size", dPixelSize, "mm per pixel")->check(CLI::Range(0.01, 1.0));
    app.add_option("--thresholds", thresholds, "operating points, noise multiples");
    app.add_option("--default", dDefault, "operating point of the per-image table");
    app.add_option("--svg", svgPath, "write the FROC curve as SVG");
    std::string dumpDir;
    app.add_option("--dump", dumpDir, "write working image, mask and candidates as PGM here");
    CLI11_PARSE(app, argc, argv);
    try {
        auto path = [&](const std::string& f) {
            return f.find('/') == std::string::npos ? dir + "/" + f : f;
        };
        const auto truth = ReadTruthCsv(path(truthPath));
        std::vector<std::string> images;
        std::set<std::string> seen;
        for (const auto& t : truth)
            if (seen.insert(t.image).second) images.push_back(t.image);
        if (!normalsPath.empty())
            for (const auto& n : ReadNameList(path(normalsPath)))
                if (seen.insert(Stem(n)).second) images.push_back(Stem(n));

        std::vector<FrocPoint> froc(thresholds.size());
        for (std::size_t k = 0; k < thresholds.size(); ++k) froc[k].dThreshold = thresholds[k];
        std::printf("%-8s %5s %5s %6s %6s %7s %5s %5s  %s\n", "image", "clust", "found", "false",
                    "peaks", "cands", "T", "pect%", "warnings");
        for (const auto& name : images) {
            const Pgm pgm = ReadPgm(dir + "/" + name + ".pgm");
            std::vector<TruthCluster> mine;
            for (const auto& t : truth)
                if (t.image == name) mine.push_back(t);
            const PreparedImage prepared =
                PrepareImage(pgm.words.data(), pgm.nWidth, pgm.nHeight, pgm.nBits, dPixelSize, {});
            const CandidateResponse response =
                ComputeCandidateResponse(prepared.image.data(), prepared.mask.data(),
                                         prepared.nWidth, prepared.nHeight, dPixelSize);
            for (std::size_t k = 0; k < thresholds.size(); ++k) {
                const ThresholdResult r = MarkClusters(prepared, response, thresholds[k]);
                std::vector<Mark> marks;
                for (const auto& m : r.marks) marks.push_back({m.x, m.y, m.dRadius});
                const ImageScore s = ScoreImage(marks, mine);
                froc[k].nImages += 1;
                froc[k].nClusters += s.nClusters;
                froc[k].nFound += s.nFound;
                froc[k].nFalse += s.nFalse;
                if (thresholds[k] == dDefault && !dumpDir.empty()) {
                    const CandidateImages c =
                        SelectCandidates(response, thresholds[k], prepared.nBitsStored);
                    std::vector<unsigned char> pic(pgm.words.size());
                    for (std::size_t i = 0; i < pic.size(); ++i)
                        pic[i] = static_cast<unsigned char>((pgm.words[i] >> (pgm.nBits - 8)) / 3);
                    for (int y = 0; y < prepared.nHeight; ++y)
                        for (int x = 0; x < prepared.nWidth; ++x) {
                            const std::size_t i = static_cast<std::size_t>(y) * prepared.nWidth + x;
                            double fx = 0, fy = 0;
                            WorkingToFile(prepared, x, y, fx, fy);
                            const std::size_t j = static_cast<std::size_t>(fy) * pgm.nWidth +
                                                  static_cast<std::size_t>(fx);
                            if (prepared.mask[i])
                                pic[j] = static_cast<unsigned char>(prepared.image[i] >>
                                                                    (prepared.nBitsStored - 8));
                            if (c.binary[i]) pic[j] = 255;
                        }
                    std::ofstream o(dumpDir + "/" + name + ".pgm", std::ios::binary);
                    o << "P5\n" << pgm.nWidth << ' ' << pgm.nHeight << "\n255\n";
                    o.write(reinterpret_cast<const char*>(pic.data()),
                            static_cast<std::streamsize>(pic.size()));
                }
                if (thresholds[k] == dDefault) {
                    std::string warnings;
                    for (const auto& w : prepared.warnings)
                        if (w.rfind("cropped", 0) != 0 && w.rfind("chest-wall end taken", 0) != 0)
                            warnings += w + "; ";
                    if (std::getenv("ZETDIP_EVAL_DEBUG"))
                        std::printf("         too large %lld, elongated %lld\n", r.counts.nTooLarge,
                                    r.counts.nElongated);
                    std::printf("%-8s %5d %5d %6d %6lld %7lld %5.1f %5.1f  %s%s\n", name.c_str(),
                                s.nClusters, s.nFound, s.nFalse, r.counts.nPeaks,
                                r.counts.nCandidates, thresholds[k],
                                100.0 * double(prepared.nPectoralPixels) /
                                    double(std::max(1LL, prepared.nMaskPixels)),
                                prepared.bFlipped ? "" : "[chest wall at bottom] ",
                                warnings.c_str());
                    if (std::getenv("ZETDIP_EVAL_DEBUG")) {
                        const CandidateImages low =
                            SelectCandidates(response, 2.0, prepared.nBitsStored);
                        for (const auto& t : mine) {
                            std::printf("         truth (%.0f, %.0f) r %.0f z:", t.x, t.y,
                                        t.dRadius);
                            for (const auto& c : low.candidates) {
                                double fx = 0, fy = 0;
                                WorkingToFile(prepared, c.x, c.y, fx, fy);
                                if (std::hypot(fx - t.x, fy - t.y) <= t.dRadius)
                                    std::printf(" %.1f", c.z);
                            }
                            std::printf("\n");
                        }
                    }
                    for (const auto& m : r.marks)
                        std::printf("         mark (%.0f, %.0f) r %.0f\n", m.x, m.y, m.dRadius);
                }
            }
            std::fflush(stdout);
        }
        std::printf("\n%9s %8s %10s %14s\n", "threshold", "found", "fraction", "false/image");
        for (const auto& p : froc)
            std::printf("%9.2f %4d/%-3d %10.3f %14.3f\n", p.dThreshold, p.nFound, p.nClusters,
                        p.Sensitivity(), p.FalsePerImage());
        if (!svgPath.empty()) WriteFrocSvg(svgPath, {"MIAS development set"}, {froc}, 3.0);
    } catch (const Error& e) {
        std::fprintf(stderr, "zetdip-evaluate: %s\n", e.what());
        return 1;
    }
    return 0;
}
