// Preparing a mammogram for the library's breast operations, on plain
// buffers of 16-bit words: cropping the zero padding a digitiser adds,
// finding the side the breast lies on and the chest-wall end of the view,
// the level of the background, and a mask of the breast that leaves film
// labels, markers and frame edges out. Each fallback taken is reported as
// a warning.
#ifndef ZETDIP_HOST_CHAIN_PREPARATION_H
#define ZETDIP_HOST_CHAIN_PREPARATION_H

#include <string>
#include <vector>

namespace zetdip::host {

// A rectangle of an image: the columns x0 .. x0 + nWidth - 1 and the rows
// y0 .. y0 + nHeight - 1.
struct Rect {
    int x0 = 0, y0 = 0, nWidth = 0, nHeight = 0;
};

// The rectangle left when the rows and columns of padding are taken off the
// edges of the image: those where at most 1% of the samples exceed 1/40 of
// the range (a digitiser's zeros with a little noise, not film). An image
// that is padding only keeps its full size.
Rect FindZeroPadding(const unsigned short* pImage, int nWidth, int nHeight, int nBitsStored);

// Copy of the rectangle r of an image of row length nWidth.
std::vector<unsigned short> CropImage(const unsigned short* pImage, int nWidth, const Rect& r);

// The image with its rows in reverse order.
void FlipRows(std::vector<unsigned short>& image, int nWidth, int nHeight);

// Level that separates the background (air, unexposed film) from the
// breast: halfway between the background's most frequent non-zero level and the
// threshold that best splits the histogram into two classes (between-class
// variance). Levels above it are breast, labels or markers.
int BackgroundLevel(const unsigned short* pImage, int nWidth, int nHeight, int nBitsStored);

struct BreastMask {
    std::vector<unsigned short> mask;  // maximum sample value inside, 0 outside
    long long nPixels = 0;
    bool bBreastOnRight = false;   // the breast touches the right edge
    bool bChestWallAtTop = false;  // the wider end of the breast lies at row 0
    int nBackground = 0;
    std::vector<std::string> warnings;
};

// The breast as the largest connected region above the background level,
// opened by a square of 4 mm (frame edges and streaks fall away), its holes
// filled: labels, markers and scanner streaks that do not touch
// it stay out, and in each row only the run nearest the chest wall is kept.
// Side: the vertical edge the region touches more; chest-wall end of an MLO
// view: the end whose chest-wall corner is brighter (the pectoral muscle).
BreastMask MakeBreastMask(const unsigned short* pImage, int nWidth, int nHeight, int nBitsStored,
                          double dPixelSize);

// Clears from the mask the pectoral muscle of an MLO view when the
// library's removal found none: the bright region above the level that
// best splits the mask's samples in the chest-wall corner quarter, grown
// from the corner. Returns the number of pixels cleared (0 when no
// plausible muscle is found). The image is in the library's orientation:
// chest-wall end at the high rows.
long long RemovePectoralFallback(const unsigned short* pImage, std::vector<unsigned short>& mask,
                                 int nWidth, int nHeight, int nBitsStored, bool bBreastOnRight);

}  // namespace zetdip::host

#endif  // ZETDIP_HOST_CHAIN_PREPARATION_H
