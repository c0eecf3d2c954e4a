// Runs one library entry on raw buffers from files, so that the Python tests
// can hold the bindings' results against the C++ calls on the same images.
//
//   zetdip_pyref DIR OP nBitsPerPixel nBitsStored nWidth nHeight [NUMBER...]
//
// Reads DIR/in0.raw (and in1.raw, in2.raw where the entry takes more
// images), writes the entry's output buffer to DIR/out.raw and prints its
// scalar results on one line.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "ZetDIP.h"

namespace {

using Bytes = std::vector<unsigned char>;

Bytes Load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void Save(const std::string& path, const void* p, std::size_t n) {
    std::ofstream out(path, std::ios::binary);
    out.write(static_cast<const char*>(p), static_cast<std::streamsize>(n));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 7) {
        std::fprintf(stderr, "usage: %s DIR OP BPP BITS W H [NUMBER...]\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1], op = argv[2];
    const int bpp = std::atoi(argv[3]), bits = std::atoi(argv[4]);
    const int w = std::atoi(argv[5]), h = std::atoi(argv[6]);
    std::vector<double> num;
    for (int i = 7; i < argc; ++i) num.push_back(std::atof(argv[i]));
    auto n = [&](std::size_t i) { return num.at(i); };

    Bytes a = Load(dir + "/in0.raw");
    Bytes dst(a.size(), 0);
    unsigned char* pA = a.data();
    unsigned char* pDst = dst.data();
    std::ostream& out = std::cout;

    if (op == "ApplyGauss") {
        out << CDipFilters::ApplyGauss(pA, pDst, bpp, bits, w, h, static_cast<float>(n(0)));
    } else if (op == "ApplyStretching") {
        out << CDipEnhancement::ApplyStretching(pA, pDst, bpp, bits, w, h, static_cast<int>(n(0)),
                                                static_cast<int>(n(1)));
    } else if (op == "CreateHisto") {
        int nBins = 0;
        unsigned int* p =
            CDipHisto::CreateHisto(pA, bpp, bits, static_cast<int>(n(0)), w, h, &nBins);
        out << nBins;
        if (p) Save(dir + "/out.raw", p, sizeof(unsigned int) * static_cast<std::size_t>(nBins));
        delete[] p;
        out << "\n";
        return 0;
    } else if (op == "ApplyErosionWithSE") {
        const int se[9] = {0, 1, 0, 1, 1, 1, 0, 1, 0};
        out << CDipMorphMath::ApplyErosionWithSE(pA, pDst, bpp, bits, w, h, se, 3, 3, 5);
    } else if (op == "IsOnTheRightOrLeftSideOfTheImage") {
        out << CDipFilters::IsOnTheRightOrLeftSideOfTheImage(pA, bpp, bits, w, h,
                                                             static_cast<float>(n(0)))
            << "\n";
        return 0;
    } else if (op == "CreateMaskOfBreast") {
        bool bRight = n(0) != 0;
        out << CDipFilters::CreateMaskOfBreast(pA, pDst, bpp, bits, w, h, bRight, n(1)) << " "
            << bRight;
    } else if (op == "ApplyFPRemovalCAD") {
        Bytes exclusion = Load(dir + "/in1.raw");
        // Note the order: height before width.
        out << CDipClustering::ApplyFPRemovalCAD(exclusion.data(), pA, pDst, bpp, bits, h, w,
                                                 n(0) != 0);
    } else if (op == "ApplyWaveletDecomposition") {
        std::vector<double> coef(static_cast<std::size_t>(w) * h);
        int lowW = 0, lowH = 0, wOdd[4] = {0, 0, 0, 0}, hOdd[4] = {0, 0, 0, 0};
        out << CDipWavelet::ApplyWaveletDecomposition(pA, coef.data(), w, h, bpp, bits, lowW, lowH,
                                                      wOdd, hOdd, 0)
            << " " << lowW << " " << lowH;
        for (int k = 0; k < 4; ++k) out << " " << wOdd[k] << " " << hOdd[k];
        out << "\n";
        Save(dir + "/out.raw", coef.data(), coef.size() * sizeof(double));
        return 0;
    } else if (op == "ApplyClustering") {
        Bytes binary = Load(dir + "/in1.raw"), mask = Load(dir + "/in2.raw");
        CArray<CPoint, const CPoint&> circles;
        out << CDipClustering::ApplyClustering(pA, binary.data(), mask.data(), circles, bpp, bits,
                                               w, h, n(0), n(1));
        for (INT_PTR i = 0; i < circles.GetSize(); ++i)
            out << " " << circles[i].x << " " << circles[i].y;
    } else {
        std::fprintf(stderr, "unknown entry %s\n", op.c_str());
        return 2;
    }
    out << "\n";
    Save(dir + "/out.raw", pDst, dst.size());
    return 0;
}
