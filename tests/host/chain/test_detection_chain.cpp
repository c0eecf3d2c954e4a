// The whole detection chain on a synthetic 12-bit mammogram hung as a file
// brings it (axilla at the top), both sides: every planted cluster of four
// or more microcalcifications is marked by a circle centred within 5 mm of
// it in the file's frame, and no circle lies where nothing was planted
// (vessels included). Candidates come from the finest wavelet detail level:
// calcifications of 0.3 to 0.8 mm answer there in blobs of a few pixels,
// which pass the 0.1 to 1 mm size test.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "detection_chain.h"
#include "phantom.h"
#include "synthetic.h"

namespace {

using zetdip::host::Detect;
using zetdip::host::DetectOptions;
using zetdip::host::Side;

class DetectionChain : public ::testing::TestWithParam<bool> {};

TEST_P(DetectionChain, MarksPlantedClustersAndNothingElse) {
    zetdip::phantom::Options options;
    options.bBreastOnRight = GetParam();
    options.nSeed = GetParam() ? 21 : 5;
    options.clusterSizes = {6, 5, 8, 3};
    const auto m = zetdip::phantom::MakeMammogram(options);
    const auto image = zetdip::host::SyntheticImage(m);
    DetectOptions detect;
    detect.keepStepImages = true;
    const auto r = Detect(image, detect);
    ASSERT_TRUE(r.Ok()) << r.failedStep;
    EXPECT_EQ(r.breastSide.value, GetParam() ? Side::Right : Side::Left);
    EXPECT_TRUE(r.frame.flipRows);
    EXPECT_EQ(r.flipRows.source, "PatientOrientation");
    for (const auto& step : r.steps) EXPECT_EQ(step.returned, 1) << step.name << " returned false";
    ASSERT_EQ(r.mask.size(), image.PixelCount());
    ASSERT_EQ(r.kept.size(), image.PixelCount());

    std::vector<bool> bMarksCluster(r.clusters.size(), false);
    for (const auto& cluster : m.truth.clusters) {
        // The truth is in the library's orientation: rows bottom-up.
        const double row = m.nHeight - 1 - cluster.centre.y;
        bool bFound = false;
        for (std::size_t k = 0; k < r.clusters.size(); ++k) {
            const auto& c = r.clusters[k];
            if (std::hypot(c.x - cluster.centre.x, c.y - row) <= 5.0 / m.dPixelSize)
                bFound = bMarksCluster[k] = true;
        }
        std::printf("cluster of %zu at column %.0f, row %.0f: %s\n", cluster.members.size(),
                    cluster.centre.x, row, bFound ? "marked" : "not marked");
        if (cluster.members.size() >= 4) {
            EXPECT_TRUE(bFound);
        }
    }
    for (std::size_t k = 0; k < r.clusters.size(); ++k) {
        const auto& c = r.clusters[k];
        EXPECT_TRUE(bMarksCluster[k])
            << "circle at column " << c.x << ", row " << c.y << " marks nothing planted";
        // The circle holds kept candidates, and the mask lies under its centre.
        EXPECT_GE(c.members, 1);
        EXPECT_NEAR(c.xMm, c.x * m.dPixelSize, 1e-9);
        EXPECT_NEAR(c.radiusMm, c.radius * m.dPixelSize, 1e-9);
        EXPECT_EQ(r.kept[static_cast<std::size_t>(c.y) * m.nWidth + c.x] == 255 ||
                      r.mask[static_cast<std::size_t>(c.y) * m.nWidth + c.x] == 255,
                  true);
    }
}

INSTANTIATE_TEST_SUITE_P(BothSides, DetectionChain, ::testing::Values(false, true));

}  // namespace

namespace {

// A film padded with zero columns and rows, hung either way up: the chain
// crops the padding, reverses the rows only when the axilla is at the top,
// and every circle still lands on its planted cluster in the file's frame.
struct Hanging {
    bool bBreastOnRight;
    bool bAxillaAtTop;
};

class PaddedFilm : public ::testing::TestWithParam<Hanging> {};

TEST_P(PaddedFilm, CirclesLandOnTheClustersInTheFileFrame) {
    const Hanging h = GetParam();
    zetdip::phantom::Options options;
    options.dPixelSize = 0.2;
    options.dCalcification = 4095.0;
    options.bBreastOnRight = h.bBreastOnRight;
    const auto m = zetdip::phantom::MakeMammogram(options);
    const int padLeft = 70, padTop = 5, W = m.nWidth + 150, H = m.nHeight + 12;
    zetdip::host::Image image = zetdip::host::SyntheticImage(m);
    image.nWidth = W;
    image.nHeight = H;
    image.words.assign(static_cast<std::size_t>(W) * H, 0);
    image.patientOrientationColumn = h.bAxillaAtTop ? "F" : "H";
    auto fileRow = [&](double libraryRow) {
        return padTop + (h.bAxillaAtTop ? m.nHeight - 1 - libraryRow : libraryRow);
    };
    for (int y = 0; y < m.nHeight; ++y)
        for (int x = 0; x < m.nWidth; ++x)
            image.words[static_cast<std::size_t>(fileRow(y)) * W + padLeft + x] =
                m.image[static_cast<std::size_t>(y) * m.nWidth + x];

    const auto r = Detect(image, {});
    ASSERT_TRUE(r.Ok()) << r.failedStep;
    EXPECT_EQ(r.frame.left, padLeft);
    EXPECT_EQ(r.frame.top, padTop);
    EXPECT_EQ(r.frame.width, m.nWidth);
    EXPECT_EQ(r.frame.height, m.nHeight);
    EXPECT_EQ(r.frame.flipRows, h.bAxillaAtTop);
    EXPECT_EQ(r.breastSide.value, h.bBreastOnRight ? Side::Right : Side::Left);
    ASSERT_FALSE(r.clusters.empty());
    for (const auto& c : r.clusters) {
        bool bNear = false;
        for (const auto& cluster : m.truth.clusters)
            bNear = bNear || std::hypot(c.x - (padLeft + cluster.centre.x),
                                        c.y - fileRow(cluster.centre.y)) <= 5.0 / m.dPixelSize;
        EXPECT_TRUE(bNear) << "circle at column " << c.x << ", row " << c.y;
    }
    // The mask comes back in the file frame: nothing in the padding, and
    // the chest-wall edge of the film is inside the breast.
    const int edge = padLeft + (h.bBreastOnRight ? m.nWidth - 1 : 0);
    EXPECT_EQ(r.mask[static_cast<std::size_t>(H / 2) * W + (h.bBreastOnRight ? W - 1 : 0)], 0);
    EXPECT_EQ(r.mask[static_cast<std::size_t>(H / 2) * W + edge], 255);
}

INSTANTIATE_TEST_SUITE_P(BothSidesBothWaysUp, PaddedFilm,
                         ::testing::Values(Hanging{false, true}, Hanging{true, true},
                                           Hanging{false, false}, Hanging{true, false}));

}  // namespace
