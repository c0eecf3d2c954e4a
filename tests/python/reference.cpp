// zetdip_pyref DIR OP nBitsStored nWidth nHeight: runs one library entry on
// DIR/in0.raw (and DIR/in1.raw), writes its output buffer to DIR/out.raw and
// prints its scalar results, for the Python tests to hold the bindings against.
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "ZetDIP.h"

namespace {

std::vector<unsigned char> Load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) return 2;
    const std::string dir = argv[1], op = argv[2];
    const int bits = std::atoi(argv[3]), w = std::atoi(argv[4]), h = std::atoi(argv[5]);
    std::vector<unsigned char> a = Load(dir + "/in0.raw"), dst(a.size(), 0);
    std::ofstream out(dir + "/out.raw", std::ios::binary);
    if (op == "ApplyGauss") {
        std::cout << CDipFilters::ApplyGauss(a.data(), dst.data(), 8, bits, w, h, 0.8f);
    } else if (op == "CreateHisto") {
        int nBins = 0;
        unsigned int* p = CDipHisto::CreateHisto(a.data(), 8, bits, 11, w, h, &nBins);
        std::cout << nBins;
        if (p)
            out.write(reinterpret_cast<const char*>(p),
                      static_cast<std::streamsize>(sizeof(unsigned int)) * nBins);
        delete[] p;
        dst.clear();
    } else if (op == "CreateMaskOfBreast") {
        bool bRight = false;
        std::cout << CDipFilters::CreateMaskOfBreast(a.data(), dst.data(), 8, bits, w, h, bRight,
                                                     0.2)
                  << " " << bRight;
    } else if (op == "ApplyFPRemovalCAD") {
        std::vector<unsigned char> exclusion = Load(dir + "/in1.raw");
        // Height before width, as the entry takes them.
        std::cout << CDipClustering::ApplyFPRemovalCAD(exclusion.data(), a.data(), dst.data(), 8,
                                                       bits, h, w, true);
    } else if (op == "ApplyWaveletDecomposition") {
        std::vector<double> coef(static_cast<std::size_t>(w) * h);
        int lowW = 0, lowH = 0, wOdd[4] = {0, 0, 0, 0}, hOdd[4] = {0, 0, 0, 0};
        std::cout << CDipWavelet::ApplyWaveletDecomposition(a.data(), coef.data(), w, h, 8, bits,
                                                            lowW, lowH, wOdd, hOdd, 0)
                  << " " << lowW << " " << lowH;
        for (int k = 0; k < 4; ++k) std::cout << " " << wOdd[k] << " " << hOdd[k];
        out.write(reinterpret_cast<const char*>(coef.data()),
                  static_cast<std::streamsize>(coef.size() * sizeof(double)));
        dst.clear();
    } else {
        return 2;
    }
    std::cout << "\n";
    out.write(reinterpret_cast<const char*>(dst.data()), static_cast<std::streamsize>(dst.size()));
    return 0;
}
