// Running the external tools that judge what the report writers wrote (the
// DICOM validator, the SR dumper, a headless browser).
#ifndef ZETDIP_TESTS_HOST_REPORT_COMMAND_H
#define ZETDIP_TESTS_HOST_REPORT_COMMAND_H

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace zetdip::test {

// What the shell command printed on both streams.
inline std::string CommandOutput(const std::string& command) {
    std::string out;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return out;
    std::array<char, 4096> buffer{};
    std::size_t n = 0;
    while ((n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
        out.append(buffer.data(), n);
    pclose(pipe);
    return out;
}

inline bool HaveTool(const std::string& tool) {
    return std::system(("command -v " + tool + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_HOST_REPORT_COMMAND_H
