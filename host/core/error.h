// The one error type of the host layer: which file (or option) and why.
// The library itself never throws; the host layer throws this, and the
// program catches it once and prints "zetdip-cad: <file>: <cause>".
#ifndef ZETDIP_HOST_CORE_ERROR_H
#define ZETDIP_HOST_CORE_ERROR_H

#include <stdexcept>
#include <string>

namespace zetdip::host {

class Error : public std::runtime_error {
public:
    Error(std::string file, std::string cause)
        : std::runtime_error(file.empty() ? cause : file + ": " + cause),
          file_(std::move(file)),
          cause_(std::move(cause)) {}

    const std::string& File() const { return file_; }
    const std::string& Cause() const { return cause_; }

private:
    std::string file_;
    std::string cause_;
};

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CORE_ERROR_H
