// A directory of its own for each test, removed with everything in it.
#ifndef ZETDIP_TESTS_HOST_IO_TEMP_DIR_H
#define ZETDIP_TESTS_HOST_IO_TEMP_DIR_H

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace zetdip::host::testing {

class TempDir {
public:
    TempDir() {
        static std::atomic<int> nCounter{0};
        dir_ = std::filesystem::temp_directory_path() /
               ("zetdip-io-" + std::to_string(::getpid()) + "-" + std::to_string(nCounter++));
        std::filesystem::remove_all(dir_);
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
    std::string Write(const std::string& name, const std::vector<unsigned char>& bytes) const {
        return Write(name, std::string(bytes.begin(), bytes.end()));
    }

    // Names of the files left in the directory.
    std::vector<std::string> Files() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(dir_))
            names.push_back(e.path().filename().string());
        return names;
    }

private:
    std::filesystem::path dir_;
};

// A whole file as text, and text as its lines.
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

}  // namespace zetdip::host::testing

#endif  // ZETDIP_TESTS_HOST_IO_TEMP_DIR_H
