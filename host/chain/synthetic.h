// The synthetic mammogram as a file would bring it: rows top-down with the
// axilla at the top, as an MLO view is hung, and its facts filled in.
#ifndef ZETDIP_HOST_CHAIN_SYNTHETIC_H
#define ZETDIP_HOST_CHAIN_SYNTHETIC_H

#include "core/image.h"
#include "phantom.h"

namespace zetdip::host {

// The image; the truth of m (library orientation) maps to it by
// row -> nHeight - 1 - row.
Image SyntheticImage(const phantom::Mammogram& m);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CHAIN_SYNTHETIC_H
