// The whole detection chain on a synthetic 12-bit mammogram (both sides):
// every planted cluster of four or more microcalcifications is marked by a
// circle centred within 5 mm of it, and no circle lies where nothing was
// planted (vessels included). Candidates come from the finest wavelet
// detail level: calcifications of 0.3 to 0.8 mm answer there in blobs of a
// few pixels, which pass the 0.1 to 1 mm size test; with coarser levels kept
// the blobs of the larger ones grow past 1 mm.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "detection_chain.h"
#include "phantom.h"

namespace {

class DetectionChain : public ::testing::TestWithParam<bool> {};

TEST_P(DetectionChain, MarksPlantedClustersAndNothingElse) {
    zetdip::phantom::Options options;
    options.bBreastOnRight = GetParam();
    options.nSeed = GetParam() ? 21 : 5;
    options.clusterSizes = {6, 5, 8, 3};
    auto m = zetdip::phantom::MakeMammogram(options);
    const int H = m.nHeight;
    auto r = zetdip::host::RunDetectionChain(m.image, m.nWidth, H, 12, m.dPixelSize, false);
    // The north-south search runs only when this level lies in 650.2 .. 731.4.
    std::printf("gate level %d; candidates %lld, kept %lld; circles %zu\n", r.nGateLevel,
                r.nCandidates, r.nKept, r.circles.size());
    ASSERT_EQ(r.failedStep, "");
    EXPECT_TRUE(r.bNorthSouthRan);
    EXPECT_EQ(r.bBreastOnRight, GetParam());
    EXPECT_TRUE(r.bPectoralRemoved);

    std::vector<bool> bMarksCluster(r.circles.size(), false);
    for (const auto& cluster : m.truth.clusters) {
        bool bFound = false;
        for (std::size_t k = 0; k < r.circles.size(); ++k) {
            // Circle centres are stored with y = nHeight - row.
            const double d = std::hypot(r.circles[k].x - cluster.centre.x,
                                        (H - r.circles[k].y) - cluster.centre.y);
            if (d <= 5.0 / m.dPixelSize) bFound = bMarksCluster[k] = true;
        }
        std::printf("cluster of %zu at (%.0f, %.0f): %s\n", cluster.members.size(),
                    cluster.centre.x, cluster.centre.y, bFound ? "marked" : "not marked");
        if (cluster.members.size() >= 4) {
            EXPECT_TRUE(bFound);
        }
    }
    for (std::size_t k = 0; k < r.circles.size(); ++k)
        EXPECT_TRUE(bMarksCluster[k]) << "circle at column " << r.circles[k].x << ", row "
                                      << H - r.circles[k].y << " marks nothing planted";
}

INSTANTIATE_TEST_SUITE_P(BothSides, DetectionChain, ::testing::Values(false, true));

}  // namespace
