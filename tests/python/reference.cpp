// zetdip_pyref DIR nBitsStored nWidth nHeight: runs ApplyFPRemovalCAD on
// DIR/in0.raw with the exclusion DIR/in1.raw, writes its output to DIR/out.raw
// and prints what it returned, for the Python tests to hold the binding against.
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "ZetDIP.h"

static std::vector<unsigned char> Load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    const std::string dir = argv[1];
    const int bits = std::atoi(argv[2]), w = std::atoi(argv[3]), h = std::atoi(argv[4]);
    std::vector<unsigned char> a = Load(dir + "/in0.raw"), exclusion = Load(dir + "/in1.raw");
    std::vector<unsigned char> dst(a.size(), 0);
    // Height before width, as the entry takes them.
    std::cout << CDipClustering::ApplyFPRemovalCAD(exclusion.data(), a.data(), dst.data(), 8, bits,
                                                   h, w, true);
    std::ofstream(dir + "/out.raw", std::ios::binary)
        .write(reinterpret_cast<const char*>(dst.data()), static_cast<std::streamsize>(dst.size()));
    return 0;
}
