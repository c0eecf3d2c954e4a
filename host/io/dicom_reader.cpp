#include "io/io_common.h"
namespace zetdip::host::io {
Image ReadDicom(const std::string& path, const ReadOptions&) {
    throw Error(path, "DICOM reading is not available yet");
}
}  // namespace zetdip::host::io
