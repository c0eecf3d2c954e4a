#include "synthetic.h"

#include <algorithm>

namespace zetdip::host {

Image SyntheticImage(const phantom::Mammogram& m) {
    Image image;
    image.nWidth = m.nWidth;
    image.nHeight = m.nHeight;
    image.nBitsStored = m.nBitsStored;
    image.words.resize(m.image.size());
    for (int y = 0; y < m.nHeight; ++y)
        std::copy_n(m.image.begin() + static_cast<std::ptrdiff_t>(m.nHeight - 1 - y) * m.nWidth,
                    m.nWidth, image.words.begin() + static_cast<std::ptrdiff_t>(y) * m.nWidth);
    image.rowSpacing = Fact<double>{m.dPixelSize, "synthetic"};
    image.columnSpacing = Fact<double>{m.dPixelSize, "synthetic"};
    const bool bRight = m.truth.bBreastOnRight;
    image.laterality = Fact<Laterality>{bRight ? Laterality::Right : Laterality::Left, "synthetic"};
    image.view = Fact<std::string>{"MLO", "synthetic"};
    image.patientOrientationRow = bRight ? "P" : "A";
    image.patientOrientationColumn = "F";
    image.path = "synthetic";
    image.format = "synthetic";
    image.photometric = "MONOCHROME2";
    return image;
}

}  // namespace zetdip::host
