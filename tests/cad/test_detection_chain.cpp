// The whole detection chain on a synthetic 12-bit mammogram: breast mask,
// pectoral removal, line searches, wavelet candidates, false-positive
// removal with the lines as exclusion, clustering. Every planted cluster of
// four or more microcalcifications must be marked within 5 mm, and no
// circle may lie where nothing was planted.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "ZetDIP.h"
#include "phantom.h"
#include "support/images.h"

namespace {

using zetdip::test::Bytes;
using Image = std::vector<unsigned short>;

struct ChainResult {
    int nGateLevel = 0;
    long long nCandidates = 0, nKept = 0;
    CArray<CPoint, const CPoint&> circles;
};

// Candidates: the pyramid's finest detail level rebuilt and binarised. A
// microcalcification (0.3 to 0.8 mm, far brighter than the tissue) gives a
// strong response there, in blobs of a few pixels that pass the size test
// of 0.1 to 1 mm; the smooth texture, the vessels (sigma 0.5 mm) and the
// noise stay below half the range after the reconstruction's scaling. With
// the second level kept as well, the blobs of the larger calcifications
// grow past 1 mm and are rejected.
Image WaveletCandidates(Image& image, int W, int H) {
    std::vector<double> coef(image.size());
    int nLowWidth = 0, nLowHeight = 0, widthOdd[4] = {}, heightOdd[4] = {};
    EXPECT_TRUE(CDipWavelet::ApplyWaveletDecomposition(Bytes(image), coef.data(), W, H, 16, 12,
                                                       nLowWidth, nLowHeight, widthOdd, heightOdd,
                                                       4));
    int nLevels = 0;
    for (int w = W, h = H; nLevels < 4 && w >= 16 && h >= 16; ++nLevels) w = (w + 1) / 2, h = (h + 1) / 2;
    Image candidates(image.size());
    EXPECT_TRUE(CDipWavelet::ApplyWaveletReconstruction(coef.data(), Bytes(candidates), 16, 12, W,
                                                        H, 0, 0, nLowWidth, nLowHeight, widthOdd,
                                                        heightOdd, nLevels));
    return candidates;
}

void RunChain(zetdip::phantom::Mammogram& m, ChainResult& r) {
    const int W = m.nWidth, H = m.nHeight;
    const double px = m.dPixelSize;
    Image mask(m.image.size()), lines(m.image.size());
    bool bRight = false;
    ASSERT_TRUE(CDipFilters::CreateMaskOfBreast(Bytes(m.image), Bytes(mask), 16, 12, W, H, bRight, px));
    ASSERT_EQ(bRight, m.truth.bBreastOnRight);
    ASSERT_TRUE(CDipFilters::RemovePectoralMuscleFromMask(Bytes(m.image), Bytes(mask), 16, 12, W, H,
                                                          bRight, px));

    // The north-south search runs only inside its gate on the smoothed
    // gradient level; record the level it saw.
    Image grad(m.image.size()), smooth(m.image.size());
    CDipFilters::ApplyGradientNS(Bytes(m.image), Bytes(grad), 16, 12, W, H);
    CDipFilters::ApplyMean(Bytes(grad), Bytes(smooth), 16, 12, W, H);
    CDipFilters::ApplyMean(Bytes(smooth), Bytes(smooth), 16, 12, W, H);
    CDipFilters::ApplyMean(Bytes(smooth), Bytes(smooth), 16, 12, W, H);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            if (x < 2 || y < 2 || x >= W - 2 || y >= H - 2) smooth[static_cast<std::size_t>(y) * W + x] = 0;
    r.nGateLevel = CDipThresholding::CalculateThresholding1(Bytes(smooth), 16, 12, W, H);
    ASSERT_TRUE(CDipClustering::SearchLinesImage(Bytes(m.image), Bytes(lines), 16, 12, W, H))
        << "gate level " << r.nGateLevel;
    ASSERT_TRUE(CDipClustering::SearchLinesSWNEImage(Bytes(m.image), Bytes(lines), Bytes(mask), 16,
                                                     12, W, H, px));

    Image candidates = WaveletCandidates(m.image, W, H);
    Image kept(candidates.size());
    ASSERT_TRUE(CDipClustering::ApplyFPRemovalCAD(Bytes(lines), Bytes(candidates), Bytes(kept), 16,
                                                  12, H, W, true));
    for (std::size_t i = 0; i < kept.size(); ++i) {
        r.nCandidates += candidates[i] != 0;
        r.nKept += kept[i] != 0;
    }
    ASSERT_TRUE(CDipClustering::ApplyClustering(Bytes(m.image), Bytes(kept), Bytes(mask), r.circles,
                                                16, 12, W, H, px, px));
}

class DetectionChain : public ::testing::TestWithParam<bool> {};

TEST_P(DetectionChain, FindsPlantedClustersAndNothingElse) {
    zetdip::phantom::Options options;
    options.bBreastOnRight = GetParam();
    options.nSeed = GetParam() ? 21 : 5;
    options.clusterSizes = {6, 5, 8, 3};  // the cluster of three must not be reported
    auto m = zetdip::phantom::MakeMammogram(options);
    ChainResult r;
    RunChain(m, r);
    if (HasFatalFailure()) return;
    const int nCircles = static_cast<int>(r.circles.GetSize() / 2);
    std::printf("gate level %d; candidates %lld, kept %lld; circles %d\n", r.nGateLevel,
                r.nCandidates, r.nKept, nCircles);

    // Circle centres are stored with y = nHeight - row.
    auto centreRow = [&](int k) { return m.nHeight - r.circles[2 * k].y; };
    const double dReach = 5.0 / m.dPixelSize;
    std::vector<bool> bMatched(nCircles, false);
    for (const auto& cluster : m.truth.clusters) {
        bool bFound = false;
        for (int k = 0; k < nCircles; ++k) {
            const double d = std::hypot(r.circles[2 * k].x - cluster.centre.x, centreRow(k) - cluster.centre.y);
            if (d <= dReach) bFound = bMatched[k] = true;
        }
        std::printf("cluster of %zu at (%.0f, %.0f): %s\n", cluster.members.size(), cluster.centre.x,
                    cluster.centre.y, bFound ? "found" : "not found");
        if (cluster.members.size() >= 4) {
            EXPECT_TRUE(bFound);
        }
    }
    for (int k = 0; k < nCircles; ++k)
        EXPECT_TRUE(bMatched[k]) << "circle at (" << r.circles[2 * k].x << ", " << centreRow(k)
                                 << ") marks no planted cluster";
}

INSTANTIATE_TEST_SUITE_P(BothSides, DetectionChain, ::testing::Values(false, true));

}  // namespace
