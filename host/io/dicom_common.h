// GDCM, wrapped once for the DICOM reader and writer: quiet diagnostics and
// the attributes both sides name by keyword. Not part of the host layer's
// interface; only host/io/dicom_*.cpp include it.
#ifndef ZETDIP_HOST_IO_DICOM_COMMON_H
#define ZETDIP_HOST_IO_DICOM_COMMON_H

#include <gdcmTag.h>

#include <optional>
#include <string>

namespace zetdip::host::io {

// GDCM prints warnings and errors on its own; the host layer reports
// failures once, through Error, so GDCM is silenced before each use.
void SilenceGdcm();

// The tag of a keyword this layer reads or writes, or nullopt.
std::optional<gdcm::Tag> TagOfKeyword(const std::string& keyword);

// Throws Error unless every element of the file lies inside it (the file
// is not truncated); GDCM must not see a file that fails this.
void CheckDicomStructure(const std::string& path);

constexpr const char* kMammographyForPresentation = "1.2.840.10008.5.1.4.1.1.1.2";
constexpr const char* kMammographyForProcessing = "1.2.840.10008.5.1.4.1.1.1.2.1";

}  // namespace zetdip::host::io

#endif  // ZETDIP_HOST_IO_DICOM_COMMON_H
