#include "io/write_image.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>

#include "io/io_common.h"

namespace zetdip::host {

namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

}  // namespace

void WriteFileAtomically(const std::string& path, const std::string& contents) {
    try {
        io::WriteThroughTemporary(path, [&](const std::string& tmp) {
            std::unique_ptr<std::FILE, FileCloser> f(std::fopen(tmp.c_str(), "wb"));
            if (!f) throw Error(path, io::ErrnoText(errno));
            if (!contents.empty() &&
                std::fwrite(contents.data(), 1, contents.size(), f.get()) != contents.size())
                throw Error(path, io::ErrnoText(errno));
            if (std::fflush(f.get()) != 0) throw Error(path, io::ErrnoText(errno));
            if (std::fclose(f.release()) != 0) throw Error(path, io::ErrnoText(errno));
        });
    } catch (const std::bad_alloc&) {
        throw Error(path, "out of memory");
    }
}

}  // namespace zetdip::host
