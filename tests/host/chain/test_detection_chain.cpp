// The whole detection chain on a synthetic 12-bit mammogram hung as a file
// brings it: every planted cluster of four calcifications or more is marked
// by a circle centred within 5 mm of it in the file's frame, and no circle
// lies where nothing was planted; a film padded with zero columns and rows,
// hung either way up, is cropped, and its circles and mask still land in
// the file's frame.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "detection_chain.h"
#include "phantom.h"
#include "synthetic.h"

namespace {

using zetdip::host::Detect;
using zetdip::host::Side;

class DetectionChain : public ::testing::TestWithParam<bool> {};

TEST_P(DetectionChain, MarksPlantedClustersAndNothingElse) {
    zetdip::phantom::Options options;
    options.bBreastOnRight = GetParam();
    options.nSeed = GetParam() ? 21 : 5;
    options.clusterSizes = {6, 5, 8, 3};
    const auto m = zetdip::phantom::MakeMammogram(options);
    const auto image = zetdip::host::SyntheticImage(m);
    zetdip::host::DetectOptions detect;
    detect.keepStepImages = true;
    const auto r = Detect(image, detect);
    ASSERT_TRUE(r.Ok()) << r.failedStep;
    EXPECT_EQ(r.breastSide.value, GetParam() ? Side::Right : Side::Left);
    EXPECT_TRUE(r.frame.flipRows);
    EXPECT_EQ(r.flipRows.source, "PatientOrientation");
    for (const auto& step : r.steps) EXPECT_EQ(step.returned, 1) << step.name;
    ASSERT_EQ(r.mask.size(), image.PixelCount());
    ASSERT_EQ(r.kept.size(), image.PixelCount());

    std::vector<bool> bMarksCluster(r.clusters.size(), false);
    for (const auto& cluster : m.truth.clusters) {
        const double row = m.nHeight - 1 - cluster.centre.y;  // the truth's rows count up
        bool bFound = false;
        for (std::size_t k = 0; k < r.clusters.size(); ++k)
            if (std::hypot(r.clusters[k].x - cluster.centre.x, r.clusters[k].y - row) <=
                5.0 / m.dPixelSize)
                bFound = bMarksCluster[k] = true;
        if (cluster.members.size() >= 4) EXPECT_TRUE(bFound) << cluster.centre.x << ", " << row;
    }
    for (std::size_t k = 0; k < r.clusters.size(); ++k) {
        const auto& c = r.clusters[k];
        EXPECT_TRUE(bMarksCluster[k]) << "circle at " << c.x << ", " << c.y << " marks nothing";
        EXPECT_GE(c.members, 1);
        EXPECT_NEAR(c.xMm, c.x * m.dPixelSize, 1e-9);
        EXPECT_NEAR(c.radiusMm, c.radius * m.dPixelSize, 1e-9);
        const std::size_t i = static_cast<std::size_t>(c.y) * m.nWidth + c.x;
        EXPECT_TRUE(r.kept[i] == 255 || r.mask[i] == 255);
    }
}

INSTANTIATE_TEST_SUITE_P(BothSides, DetectionChain, ::testing::Values(false, true));

struct Hanging {
    bool bBreastOnRight, bAxillaAtTop;
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
    EXPECT_EQ((std::vector<int>{r.frame.left, r.frame.top, r.frame.width, r.frame.height}),
              (std::vector<int>{padLeft, padTop, m.nWidth, m.nHeight}));
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
    // The mask in the file frame: nothing in the padding, the film's
    // chest-wall edge inside the breast.
    const std::size_t row = static_cast<std::size_t>(H / 2) * W;
    EXPECT_EQ(r.mask[row + (h.bBreastOnRight ? W - 1 : 0)], 0);
    EXPECT_EQ(r.mask[row + padLeft + (h.bBreastOnRight ? m.nWidth - 1 : 0)], 255);
}

// Two hangings catch a wrong side and a wrong row order alike.
INSTANTIATE_TEST_SUITE_P(BothSidesBothWaysUp, PaddedFilm,
                         ::testing::Values(Hanging{false, true}, Hanging{true, false}),
                         [](const ::testing::TestParamInfo<Hanging>& info) {
                             return std::string(info.param.bBreastOnRight ? "Right" : "Left") +
                                    (info.param.bAxillaAtTop ? "AxillaAtTop" : "AxillaAtBottom");
                         });

}  // namespace
