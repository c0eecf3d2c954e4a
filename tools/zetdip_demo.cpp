// Demo: runs a few ZetDIP operations on a generated 12-bit image and prints
// what they returned.
#include <ZetDIP.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <vector>

int main() {
    const int nWidth = 256, nHeight = 192, nBits = 12;
    std::vector<unsigned short> image(static_cast<std::size_t>(nWidth) * nHeight);
    // A bright half-disc against the left edge over a dark background.
    for (int y = 0; y < nHeight; ++y)
        for (int x = 0; x < nWidth; ++x) {
            const double r = std::hypot(x, y - nHeight / 2.0) / (0.6 * nHeight);
            image[static_cast<std::size_t>(y) * nWidth + x] =
                static_cast<unsigned short>(r < 1.0 ? 2500 - 1500 * r * r : 60 + (x * 7 + y * 3) % 40);
        }
    auto* pImage = reinterpret_cast<unsigned char*>(image.data());

    std::printf("image: %d x %d, %d bits stored\n", nWidth, nHeight, nBits);
    std::printf("CalculateThresholdingTHwMD = %d\n",
                CDipThresholding::CalculateThresholdingTHwMD(pImage, 16, nBits, nWidth, nHeight));
    std::printf("CalculateThresholding1     = %d\n",
                CDipThresholding::CalculateThresholding1(pImage, 16, nBits, nWidth, nHeight));

    std::vector<unsigned short> work(image.size());
    auto* pWork = reinterpret_cast<unsigned char*>(work.data());
    const bool bStretched =
        CDipEnhancement::ApplyStretching(pImage, pWork, 16, nBits, nWidth, nHeight, 500, 2500);
    const bool bManip = CDipEnhancement::ApplyContrastManip(pWork, pWork, 16, nBits, nWidth, nHeight);
    const bool bThreshold =
        CDipThresholding::ApplyThresholding(pWork, pWork, 16, nBits, nWidth, nHeight, 2048);
    std::printf("ApplyStretching(500, 2500) -> %s\n", bStretched ? "true" : "false");
    std::printf("ApplyContrastManip        -> %s\n", bManip ? "true" : "false");
    std::printf("ApplyThresholding(2048)   -> %s\n", bThreshold ? "true" : "false");

    int nBins = 0;
    std::unique_ptr<unsigned int[]> histo(
        CDipHisto::CreateHisto(pWork, 16, nBits, nBits - 1, nWidth, nHeight, &nBins));
    if (!histo) return 1;
    std::printf("CreateHisto: %d bins, %u pixels at 0, %u at %d\n", nBins, histo[0],
                histo[(1 << nBits) - 1], (1 << nBits) - 1);
    return 0;
}
