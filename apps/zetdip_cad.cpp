// zetdip-cad: runs the detection chain of ZetDIP on one mammogram and prints
// what each step returned. Without an input file it generates a synthetic
// 12-bit mammogram with planted microcalcification clusters and reports how
// many of them were marked.
#include <ZetDIP.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "detection_chain.h"
#include "phantom.h"

namespace {

struct Arguments {
    std::string rawPath, outDir;
    int nWidth = 0, nHeight = 0, nBits = 12;
    double dPixelSize = 0.1;
    bool bFlip = false, bRight = false;
    int nBackground = -1;
    unsigned nSeed = 1;
};

void Usage() {
    std::puts(
        "usage: zetdip-cad [options]\n"
        "  (no input)           run on a synthetic 12-bit mammogram\n"
        "  --seed N             seed of the synthetic mammogram (default 1)\n"
        "  --right              synthetic breast on the right / guess for a file\n"
        "  --raw FILE           unsigned 16-bit little-endian pixels, no header\n"
        "  --width W --height H size of the raw image\n"
        "  --bits B             bits stored (9..16, default 12)\n"
        "  --pixel-size MM      pixel size in mm (default 0.1)\n"
        "  --top-down           the file's rows run top-down (DICOM): flip them, since\n"
        "                       the library wants the chest-wall end at the high rows\n"
        "  --background LEVEL   stretch [LEVEL, max] onto the full range first\n"
        "                       (brings a film background down to 0)\n"
        "  --out DIR            write image, mask, lines, candidates and result as PGM");
}

bool Parse(int argc, char** argv, Arguments& a) {
    for (int i = 1; i < argc; ++i) {
        const std::string opt = argv[i];
        auto value = [&]() -> const char* { return i + 1 < argc ? argv[++i] : nullptr; };
        const char* v = nullptr;
        if (opt == "--right")
            a.bRight = true;
        else if (opt == "--top-down")
            a.bFlip = true;
        else if (opt == "--help" || opt == "-h")
            return false;
        else if ((v = value()) == nullptr)
            return false;
        else if (opt == "--raw")
            a.rawPath = v;
        else if (opt == "--out")
            a.outDir = v;
        else if (opt == "--width")
            a.nWidth = std::atoi(v);
        else if (opt == "--height")
            a.nHeight = std::atoi(v);
        else if (opt == "--bits")
            a.nBits = std::atoi(v);
        else if (opt == "--pixel-size")
            a.dPixelSize = std::atof(v);
        else if (opt == "--background")
            a.nBackground = std::atoi(v);
        else if (opt == "--seed")
            a.nSeed = static_cast<unsigned>(std::strtoul(v, nullptr, 10));
        else
            return false;
    }
    if (!a.rawPath.empty() && (a.nWidth <= 0 || a.nHeight <= 0)) return false;
    return a.nBits >= 9 && a.nBits <= 16 && a.dPixelSize > 0;
}

// 8-bit picture of a 16-bit image (or of a binary image when nShift < 0).
std::vector<unsigned char> Picture(const std::vector<unsigned short>& image, int nShift) {
    std::vector<unsigned char> out(image.size());
    for (std::size_t i = 0; i < image.size(); ++i)
        out[i] = nShift < 0 ? (image[i] ? 255 : 0) : static_cast<unsigned char>(image[i] >> nShift);
    return out;
}

void DrawCircle(std::vector<unsigned char>& picture, int W, int H, int cx, int cy, double r) {
    for (int k = 0; k < 720; ++k) {
        const double a = k * 3.14159265358979 / 360.0;
        for (double dr = -1.0; dr <= 1.0; dr += 1.0) {
            const int x = static_cast<int>(std::lround(cx + (r + dr) * std::cos(a)));
            const int y = static_cast<int>(std::lround(cy + (r + dr) * std::sin(a)));
            if (x >= 0 && y >= 0 && x < W && y < H)
                picture[static_cast<std::size_t>(y) * W + x] = 255;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    Arguments a;
    if (!Parse(argc, argv, a)) {
        Usage();
        return 2;
    }
    std::vector<unsigned short> image;
    zetdip::phantom::Mammogram phantom;
    int W = a.nWidth, H = a.nHeight;
    if (a.rawPath.empty()) {
        zetdip::phantom::Options options;
        options.bBreastOnRight = a.bRight;
        options.nSeed = a.nSeed;
        options.dPixelSize = a.dPixelSize;
        options.nBitsStored = a.nBits;
        phantom = zetdip::phantom::MakeMammogram(options);
        image = phantom.image;
        W = phantom.nWidth;
        H = phantom.nHeight;
        std::printf(
            "input: synthetic mammogram %d x %d, %d bits, %.3f mm/pixel, breast on the %s, "
            "%zu clusters planted (seed %u)\n",
            W, H, a.nBits, a.dPixelSize, a.bRight ? "right" : "left", phantom.truth.clusters.size(),
            a.nSeed);
    } else {
        std::ifstream in(a.rawPath, std::ios::binary);
        std::vector<unsigned short> raw(static_cast<std::size_t>(W) * H);
        in.read(reinterpret_cast<char*>(raw.data()), static_cast<std::streamsize>(raw.size() * 2));
        if (!in) {
            std::fprintf(stderr, "cannot read %d x %d 16-bit pixels from %s\n", W, H,
                         a.rawPath.c_str());
            return 1;
        }
        image.resize(raw.size());
        for (int y = 0; y < H; ++y)
            std::memcpy(&image[static_cast<std::size_t>(a.bFlip ? H - 1 - y : y) * W],
                        &raw[static_cast<std::size_t>(y) * W], static_cast<std::size_t>(W) * 2);
        std::printf("input: %s, %d x %d, %d bits, %.3f mm/pixel%s\n", a.rawPath.c_str(), W, H,
                    a.nBits, a.dPixelSize, a.bFlip ? ", flipped to bottom-up rows" : "");
    }
    auto* pImage = reinterpret_cast<unsigned char*>(image.data());
    if (a.nBackground >= 0) {
        CDipEnhancement::ApplyStretching(pImage, pImage, 16, a.nBits, W, H, a.nBackground,
                                         (1 << a.nBits) - 1);
        std::printf("background: levels below %d stretched away\n", a.nBackground);
    }

    const int nSide =
        CDipFilters::IsOnTheRightOrLeftSideOfTheImage(pImage, 16, a.nBits, W, H, 0.5f);
    std::printf("side probe at half height: %s\n", nSide == 1   ? "right"
                                                   : nSide == 0 ? "left"
                                                                : "undecided");

    const double nPixels = static_cast<double>(W) * H;
    auto r = zetdip::host::RunDetectionChain(image, W, H, a.nBits, a.dPixelSize, a.bRight);
    std::printf("breast mask: breast on the %s, %lld pixels (%.1f%%)\n",
                r.bBreastOnRight ? "right" : "left", r.nMaskPixels,
                100.0 * r.nMaskPixels / nPixels);
    std::printf("pectoral muscle removal: %s, %lld mask pixels cleared\n",
                r.bPectoralRemoved ? "true" : "false", r.nPectoralPixels);
    const int nLevel = 1 << a.nBits;
    std::printf("north-south line search: %s (smoothed gradient level %d, runs for %.1f .. %.1f)\n",
                r.bNorthSouthRan ? "ran" : "refused by its gate", r.nGateLevel, nLevel / 6.3,
                nLevel / 5.6);
    if (!r.failedStep.empty()) {
        std::printf("stopped: %s returned false\n", r.failedStep.c_str());
        return 1;
    }
    std::printf("line structures: %lld pixels\n", r.nLinePixels);
    std::printf(
        "candidates (finest wavelet level): %lld pixels, %lld after false-positive removal\n",
        r.nCandidates, r.nKept);
    std::printf("clusters: %zu\n", r.circles.size());
    for (std::size_t k = 0; k < r.circles.size(); ++k) {
        const auto& c = r.circles[k];
        const int nRow = H - c.y;  // the library stores y = nHeight - row
        const int nInputRow = a.bFlip ? H - 1 - nRow : nRow;
        std::printf("  circle %zu: column %d, row %d, radius %.1f mm\n", k + 1, c.x, nInputRow,
                    c.dRadius * a.dPixelSize);
    }
    if (a.rawPath.empty()) {
        // A circle marks a planted cluster when its centre lies within 5 mm.
        auto marks = [&](const zetdip::host::Circle& c, const zetdip::phantom::Cluster& cl) {
            return std::hypot(c.x - cl.centre.x, (H - c.y) - cl.centre.y) <= 5.0 / a.dPixelSize;
        };
        int nPlanted = 0, nMarked = 0, nStray = 0;
        for (const auto& cl : phantom.truth.clusters) {
            if (cl.members.size() < 4) continue;
            ++nPlanted;
            for (const auto& c : r.circles)
                if (marks(c, cl)) {
                    ++nMarked;
                    break;
                }
        }
        for (const auto& c : r.circles) {
            bool bMarks = false;
            for (const auto& cl : phantom.truth.clusters) bMarks = bMarks || marks(c, cl);
            nStray += !bMarks;
        }
        std::printf(
            "truth: %d of %d planted clusters of four or more marked; %d circles elsewhere\n",
            nMarked, nPlanted, nStray);
    }

    if (!a.outDir.empty()) {
        const int nShift = a.nBits - 8;
        auto save = [&](const char* name, const std::vector<unsigned char>& picture) {
            const std::string path = a.outDir + "/" + name;
            if (!zetdip::phantom::WritePgm(path.c_str(), picture, W, H))
                std::fprintf(stderr, "cannot write %s\n", path.c_str());
        };
        auto result = Picture(image, nShift);
        for (const auto& c : r.circles) DrawCircle(result, W, H, c.x, H - c.y, c.dRadius);
        save("image.pgm", Picture(image, nShift));
        save("mask.pgm", Picture(r.mask, -1));
        save("lines.pgm", Picture(r.lines, -1));
        save("candidates.pgm", Picture(r.kept, -1));
        save("result.pgm", result);
        std::printf("pictures written to %s (bottom-up rows, as processed)\n", a.outDir.c_str());
    }
    return 0;
}
