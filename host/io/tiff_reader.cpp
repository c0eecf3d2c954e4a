#include "io/io_common.h"
namespace zetdip::host::io {
Image ReadTiff(const std::string& path, const ReadOptions&) {
    throw Error(path, "TIFF reading is not available yet");
}
}  // namespace zetdip::host::io
