// One page that shows a whole batch: every image with its circles, for the
// people who would rather look at results than read them.
#ifndef ZETDIP_HOST_REPORT_HTML_REPORT_H
#define ZETDIP_HOST_REPORT_HTML_REPORT_H

#include <string>

namespace zetdip::host {

// Writes outDir/report.html (through a temporary name and a rename) from
// the per-image results in outDir and its subdirectories: every "*.json"
// whose schema is "zetdip-cad/..." makes one row (laterality and view, pixel
// spacing, status, warnings, clusters with their size in mm), and an image
// that failed shows its error. The overlay "<stem>.png" beside a result is
// shrunk into outDir/report_files/ (same relative name) as the row's
// thumbnail and linked in full. Files that a batch's images.csv lists
// without a result (skipped, stopped) get a row with their status too. The
// page is self-contained (no network) and sorts by the number of clusters
// when its column header is clicked, or on opening with "#sort=clusters"
// (most first) or "#sort=clusters-asc". Returns the number of rows; throws
// Error when outDir cannot be read or the page cannot be written.
int WriteHtmlReport(const std::string& outDir);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_REPORT_HTML_REPORT_H
