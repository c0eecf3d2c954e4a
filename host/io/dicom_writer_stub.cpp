#include "core/error.h"
#include "io/write_image.h"
namespace zetdip::host {
void WriteDicom(const std::string& path, const Image&, const std::string&) {
    throw Error(path, "DICOM writing is not available yet");
}
}  // namespace zetdip::host
