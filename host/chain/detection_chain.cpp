#include "detection_chain.h"

#include <ZetDIP.h>

namespace zetdip::host {
namespace {

using Image = std::vector<unsigned short>;

unsigned char* Bytes(Image& image) {
    return reinterpret_cast<unsigned char*>(image.data());
}

long long CountSet(const Image& image) {
    long long n = 0;
    for (unsigned short v : image) n += v != 0;
    return n;
}

// Candidates: the finest wavelet detail level rebuilt and binarised at half
// the range. Microcalcifications, small and far brighter than the tissue,
// answer there in blobs of a few pixels; smooth tissue and vessels do not.
bool WaveletCandidates(Image& image, Image& candidates, int W, int H, int nBits) {
    std::vector<double> coef(image.size());
    int nLowWidth = 0, nLowHeight = 0, widthOdd[4] = {}, heightOdd[4] = {};
    if (!CDipWavelet::ApplyWaveletDecomposition(Bytes(image), coef.data(), W, H, 16, nBits,
                                                nLowWidth, nLowHeight, widthOdd, heightOdd, 4))
        return false;
    int nLevels = 0;
    for (int w = W, h = H; nLevels < 4 && w >= 16 && h >= 16; ++nLevels) {
        w = (w + 1) / 2;
        h = (h + 1) / 2;
    }
    return CDipWavelet::ApplyWaveletReconstruction(coef.data(), Bytes(candidates), 16, nBits, W, H,
                                                   0, 0, nLowWidth, nLowHeight, widthOdd, heightOdd,
                                                   nLevels);
}

}  // namespace

int NorthSouthGateLevel(Image& image, int W, int H, int nBits) {
    Image grad(image.size()), smooth(image.size());
    CDipFilters::ApplyGradientNS(Bytes(image), Bytes(grad), 16, nBits, W, H);
    CDipFilters::ApplyMean(Bytes(grad), Bytes(smooth), 16, nBits, W, H);
    CDipFilters::ApplyMean(Bytes(smooth), Bytes(smooth), 16, nBits, W, H);
    CDipFilters::ApplyMean(Bytes(smooth), Bytes(smooth), 16, nBits, W, H);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            if (x < 2 || y < 2 || x >= W - 2 || y >= H - 2)
                smooth[static_cast<std::size_t>(y) * W + x] = 0;
    return CDipThresholding::CalculateThresholding1(Bytes(smooth), 16, nBits, W, H);
}

ChainResult RunDetectionChain(Image& image, int W, int H, int nBits, double dPixelSize,
                              bool bBreastOnRight) {
    ChainResult r;
    const std::size_t n = image.size();
    r.mask.assign(n, 0);
    r.lines.assign(n, 0);
    r.candidates.assign(n, 0);
    r.kept.assign(n, 0);
    r.bBreastOnRight = bBreastOnRight;
    if (!CDipFilters::CreateMaskOfBreast(Bytes(image), Bytes(r.mask), 16, nBits, W, H,
                                         r.bBreastOnRight, dPixelSize)) {
        r.failedStep = "CreateMaskOfBreast";
        return r;
    }
    r.nMaskPixels = CountSet(r.mask);
    r.bPectoralRemoved = CDipFilters::RemovePectoralMuscleFromMask(
        Bytes(image), Bytes(r.mask), 16, nBits, W, H, r.bBreastOnRight, dPixelSize);
    r.nPectoralPixels = r.nMaskPixels - CountSet(r.mask);

    r.nGateLevel = NorthSouthGateLevel(image, W, H, nBits);
    // Outside its gate the north-south search reports false and leaves the
    // 16-bit line image all 0: the chain goes on without those lines.
    r.bNorthSouthRan =
        CDipClustering::SearchLinesImage(Bytes(image), Bytes(r.lines), 16, nBits, W, H);
    if (!CDipClustering::SearchLinesSWNEImage(Bytes(image), Bytes(r.lines), Bytes(r.mask), 16,
                                              nBits, W, H, dPixelSize)) {
        r.failedStep = "SearchLinesSWNEImage";
        return r;
    }
    r.nLinePixels = CountSet(r.lines);

    if (!WaveletCandidates(image, r.candidates, W, H, nBits)) {
        r.failedStep = "wavelet candidates";
        return r;
    }
    r.nCandidates = CountSet(r.candidates);
    if (!CDipClustering::ApplyFPRemovalCAD(Bytes(r.lines), Bytes(r.candidates), Bytes(r.kept), 16,
                                           nBits, H, W, true)) {
        r.failedStep = "ApplyFPRemovalCAD";
        return r;
    }
    r.nKept = CountSet(r.kept);

    CArray<CPoint, const CPoint&> circles;
    if (!CDipClustering::ApplyClustering(Bytes(image), Bytes(r.kept), Bytes(r.mask), circles, 16,
                                         nBits, W, H, dPixelSize, dPixelSize)) {
        r.failedStep = "ApplyClustering";
        return r;
    }
    for (INT_PTR k = 0; k + 1 < circles.GetSize(); k += 2)
        r.circles.push_back({circles[k].x, circles[k].y, circles[k + 1].x, circles[k + 1].y,
                             C2dGeo::GetDistanceBetweenPoints(circles[k], circles[k + 1])});
    return r;
}

}  // namespace zetdip::host
