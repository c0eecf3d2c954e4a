// Running the DICOM validator on what the report writers wrote.
#ifndef ZETDIP_TESTS_HOST_REPORT_COMMAND_H
#define ZETDIP_TESTS_HOST_REPORT_COMMAND_H

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace zetdip::test {

// What the shell command printed on both streams.
inline std::string CommandOutput(const std::string& command) {
    std::string out;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return out;
    std::array<char, 4096> buffer{};
    for (std::size_t n; (n = std::fread(buffer.data(), 1, buffer.size(), pipe)) > 0;)
        out.append(buffer.data(), n);
    pclose(pipe);
    return out;
}

inline bool HaveTool(const std::string& tool) {
    return std::system(("command -v " + tool + " >/dev/null 2>&1").c_str()) == 0;
}

// The validator's error lines about a DICOM file; empty when it is absent.
inline std::vector<std::string> ValidatorErrors(const std::string& path) {
    std::vector<std::string> errors;
    if (!HaveTool("dciodvfy")) return errors;
    std::istringstream in(CommandOutput("dciodvfy '" + path + "'"));
    for (std::string line; std::getline(in, line);)
        if (line.rfind("Error", 0) == 0) errors.push_back(line);
    return errors;
}

}  // namespace zetdip::test

#endif  // ZETDIP_TESTS_HOST_REPORT_COMMAND_H
