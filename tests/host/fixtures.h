// What the host tests share: a scratch directory, files as text, the check of
// an Error, small synthetic mammograms, MG1's pixels and a run of zetdip-cad.
#ifndef ZETDIP_TESTS_HOST_FIXTURES_H
#define ZETDIP_TESTS_HOST_FIXTURES_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "chain/synthetic.h"
#include "core/error.h"
#include "core/image.h"
#include "phantom.h"

namespace zetdip::host::testing {

// A directory of its own, removed with everything in it.
class TempDir {
public:
    TempDir() {
        static std::atomic<int> nCounter{0};
        dir_ = std::filesystem::temp_directory_path() /
               ("zetdip-io-" + std::to_string(::getpid()) + "-" + std::to_string(nCounter++));
        std::filesystem::remove_all(dir_);  // left by an earlier process of the same id
        std::filesystem::create_directories(dir_);
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(dir_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    std::string Path(const std::string& name) const { return (dir_ / name).string(); }
    const std::filesystem::path& Dir() const { return dir_; }
    std::string Write(const std::string& name, const std::string& contents) const {
        std::ofstream(Path(name), std::ios::binary) << contents;
        return Path(name);
    }

private:
    std::filesystem::path dir_;
};

inline std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

// f throws an Error naming path whose cause contains the given words.
template <class F>
void ExpectError(F f, const std::string& path, const std::string& cause) {
    try {
        f();
        ADD_FAILURE() << "no Error for " << path << " (expected: " << cause << ")";
    } catch (const Error& e) {
        EXPECT_EQ(e.File(), path);
        EXPECT_NE(e.Cause().find(cause), std::string::npos) << e.what();
    }
}

// A synthetic mammogram as a file brings it (rows top-down, 12 bits, its
// facts filled in), 60 x 80 mm at 0.1 mm with one cluster of six, or at the
// given pixel size and size.
inline Image Phantom(unsigned nSeed, bool bRight = false, double dPixelSize = 0.1,
                     double dWidthMm = 60.0, double dHeightMm = 80.0) {
    phantom::Options o;
    o.nSeed = nSeed, o.bBreastOnRight = bRight, o.dPixelSize = dPixelSize;
    o.dWidthMm = dWidthMm, o.dHeightMm = dHeightMm, o.clusterSizes = {6};
    return SyntheticImage(phantom::MakeMammogram(o));
}

inline std::string Shared(const std::string& name) {
    return std::string(ZETDIP_SHARED_DATA) + "/" + name;
}

// MG1's pixels (3064 x 4664, 12 bits); empty when absent.
constexpr int kMg1Width = 3064, kMg1Height = 4664;
inline std::vector<unsigned short> Mg1Raw() {
    const std::string bytes = ReadText(Shared("mg1/MG1_3064x4664_u16le.raw"));
    std::vector<unsigned short> words(bytes.size() / 2);
    for (std::size_t i = 0; i < words.size(); ++i)
        words[i] = static_cast<unsigned short>(static_cast<unsigned char>(bytes[2 * i]) |
                                               static_cast<unsigned char>(bytes[2 * i + 1]) << 8);
    return words;
}

// zetdip-cad run with args (shell words) in dir: exit code and both streams.
struct Outcome {
    int code = -1;
    std::string out, err;
};

inline Outcome RunCad(const TempDir& dir, const std::string& args) {
    const std::string out = dir.Path("stdout.txt"), err = dir.Path("stderr.txt");
    const std::string cmd = "cd '" + dir.Dir().string() + "' && '" ZETDIP_CAD_PROGRAM "' " + args +
                            " >'" + out + "' 2>'" + err + "'";
    const int status = std::system(cmd.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, ReadText(out), ReadText(err)};
}

}  // namespace zetdip::host::testing

#endif  // ZETDIP_TESTS_HOST_FIXTURES_H
