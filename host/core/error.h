// The one error type of the host layer: which file (or option) and why.
// The library itself never throws; the host layer throws this, and the
// program catches it once and prints "zetdip-cad: <file>: <cause>".
#ifndef ZETDIP_HOST_CORE_ERROR_H
#define ZETDIP_HOST_CORE_ERROR_H

#include <exception>
#include <new>
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

// Runs f and turns every failure escaping it into an Error about file: out
// of memory, a dependency's own exception, or anything else (cause).
template <class F>
auto WithFileErrors(const std::string& file, F&& f, const char* cause = "unexpected failure") {
    try {
        return f();
    } catch (const Error&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw Error(file, "out of memory");
    } catch (const std::exception& e) {
        throw Error(file, e.what());
    } catch (...) {
        throw Error(file, cause);
    }
}

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CORE_ERROR_H
