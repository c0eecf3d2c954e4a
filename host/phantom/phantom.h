// Synthetic mammogram generator: a 12-bit MLO-like image with known truth
// (side, breast region, pectoral muscle, microcalcification clusters), in the
// orientation ZetDIP expects: the chest-wall end (axilla, pectoral muscle) at
// the high row indices, the breast against one vertical edge.
#ifndef ZETDIP_HOST_PHANTOM_H
#define ZETDIP_HOST_PHANTOM_H

#include <cstdint>
#include <vector>

namespace zetdip::phantom {

struct Options {
    double dPixelSize = 0.1;      // mm per pixel
    double dWidthMm = 120.0;      // image width
    double dHeightMm = 160.0;     // image height
    bool bBreastOnRight = false;  // which vertical edge the breast touches
    std::uint32_t nSeed = 1;
    int nBitsStored = 12;

    double dBackground = 150.0;        // mean of the background
    double dBackgroundNoise = 25.0;    // pixel noise sigma of the background
    double dTissue = 1500.0;           // mean tissue level in the breast
    double dTextureAmplitude = 180.0;  // amplitude of the smooth tissue texture
    double dNoise = 20.0;              // pixel noise sigma inside the breast
    double dMuscle = 2600.0;           // level of the pectoral muscle
    double dVesselContrast = 260.0;    // peak added along vessels
    int nVessels = 8;
    double dCalcification = 3900.0;  // peak level of a microcalcification
    // Clusters to plant: members per cluster (each >= 1). A cluster of 3 or
    // fewer members is planted too but is not meant to be reported.
    std::vector<int> clusterSizes = {6, 5, 8};
};

struct Point {
    double x;  // column
    double y;  // row (buffer row index)
};

struct Cluster {
    Point centre;                // mean of the member centres
    std::vector<Point> members;  // microcalcification centres
};

struct Truth {
    bool bBreastOnRight = false;
    std::vector<std::uint8_t> breast;  // 1 inside the breast (muscle included)
    std::vector<std::uint8_t> muscle;  // 1 inside the pectoral muscle
    std::vector<Cluster> clusters;
    std::vector<std::vector<Point>> vessels;  // centre lines
};

struct Mammogram {
    int nWidth = 0;
    int nHeight = 0;
    double dPixelSize = 0.0;
    int nBitsStored = 12;
    std::vector<unsigned short> image;  // row-major, nWidth * nHeight
    Truth truth;
};

// Deterministic for given options (same seed, same image).
Mammogram MakeMammogram(const Options& options);

// The same image with every sample shifted right so that it fits 8 bits.
std::vector<unsigned char> To8Bits(const Mammogram& m);

// Writes an 8-bit PGM of the image (scaled to 8 bits) for looking at it.
bool WritePgm(const char* pszPath, const std::vector<unsigned char>& image, int nWidth,
              int nHeight);

}  // namespace zetdip::phantom

#endif  // ZETDIP_HOST_PHANTOM_H
