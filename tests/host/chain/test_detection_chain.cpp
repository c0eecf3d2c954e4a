// The whole detection chain on a synthetic mammogram padded with zeros and
// hung either way up: every planted cluster of four or more is marked within
// 5 mm of it in the file's frame, nothing else is, and the mask comes back in
// the file's frame.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "detection_chain.h"
#include "phantom.h"
#include "synthetic.h"

namespace {

using zetdip::host::Side;

struct Hanging {
    bool bBreastOnRight, bAxillaAtTop;
    unsigned nSeed;
};

class PaddedFilm : public ::testing::TestWithParam<Hanging> {};

TEST_P(PaddedFilm, MarksPlantedClustersAndNothingElseInTheFileFrame) {
    const Hanging h = GetParam();
    zetdip::phantom::Options options;
    options.bBreastOnRight = h.bBreastOnRight;
    options.nSeed = h.nSeed;
    options.clusterSizes = {6, 5, 8, 3};
    const auto m = zetdip::phantom::MakeMammogram(options);
    const int padLeft = 70, padTop = 5, W = m.nWidth + 150, H = m.nHeight + 12;
    zetdip::host::Image image = zetdip::host::SyntheticImage(m);
    image.nWidth = W;
    image.nHeight = H;
    image.words.assign(static_cast<std::size_t>(W) * H, 0);
    image.patientOrientationColumn = h.bAxillaAtTop ? "F" : "H";
    // The truth's rows count up from the chest-wall end.
    auto fileRow = [&](double libraryRow) {
        return padTop + (h.bAxillaAtTop ? m.nHeight - 1 - libraryRow : libraryRow);
    };
    for (int y = 0; y < m.nHeight; ++y)
        std::copy_n(&m.image[static_cast<std::size_t>(y) * m.nWidth], m.nWidth,
                    &image.words[static_cast<std::size_t>(fileRow(y)) * W + padLeft]);

    zetdip::host::DetectOptions detect;
    const auto r = zetdip::host::Detect(image, detect);
    ASSERT_TRUE(r.Ok()) << r.failedStep;
    for (const auto& step : r.steps) EXPECT_EQ(step.returned, 1) << step.name;
    EXPECT_EQ((std::vector<int>{r.frame.left, r.frame.top, r.frame.width, r.frame.height}),
              (std::vector<int>{padLeft, padTop, m.nWidth, m.nHeight}));
    EXPECT_EQ(r.frame.flipRows, h.bAxillaAtTop);
    EXPECT_EQ(r.flipRows.source, "PatientOrientation");
    EXPECT_EQ(r.breastSide.value, h.bBreastOnRight ? Side::Right : Side::Left);
    ASSERT_EQ(r.mask.size(), image.PixelCount());

    std::vector<bool> bMarksCluster(r.clusters.size(), false);
    for (const auto& cluster : m.truth.clusters) {
        const double x = padLeft + cluster.centre.x, y = fileRow(cluster.centre.y);
        bool bFound = false;
        for (std::size_t k = 0; k < r.clusters.size(); ++k)
            if (std::hypot(r.clusters[k].x - x, r.clusters[k].y - y) <= 5.0 / m.dPixelSize)
                bFound = bMarksCluster[k] = true;
        if (cluster.members.size() >= 4) {
            EXPECT_TRUE(bFound) << "not marked: " << x << ", " << y;
        }
    }
    for (std::size_t k = 0; k < r.clusters.size(); ++k) {
        const auto& c = r.clusters[k];
        EXPECT_TRUE(bMarksCluster[k]) << "circle at " << c.x << ", " << c.y << " marks nothing";
        EXPECT_NEAR(c.xMm, c.x * m.dPixelSize, 1e-9);
    }
    // Nothing in the padding; the film's chest-wall edge inside the breast.
    const std::size_t row = static_cast<std::size_t>(H / 2) * W;
    EXPECT_EQ(r.mask[row + (h.bBreastOnRight ? W - 1 : 0)], 0);
    EXPECT_EQ(r.mask[row + padLeft + (h.bBreastOnRight ? m.nWidth - 1 : 0)], 255);
}

// Two hangings catch a wrong side and a wrong row order alike.
INSTANTIATE_TEST_SUITE_P(BothSidesBothWaysUp, PaddedFilm,
                         ::testing::Values(Hanging{false, true, 5}, Hanging{true, false, 21}),
                         [](const ::testing::TestParamInfo<Hanging>& info) {
                             return std::string(info.param.bBreastOnRight ? "Right" : "Left") +
                                    (info.param.bAxillaAtTop ? "AxillaAtTop" : "AxillaAtBottom");
                         });

}  // namespace
