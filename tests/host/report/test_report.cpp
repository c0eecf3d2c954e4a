// The overlay and the evaluation's scoring on small hand-built results: the
// circles are drawn where the clusters are, marks are scored by their centres.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "host/fixtures.h"
#include "report/evaluation.h"
#include "report/overlay.h"

namespace {

using namespace zetdip::host;
using zetdip::host::testing::TempDir;

// A grey ramp, and a result with a rectangular mask and one cluster.
Image GreyImage(int W, int H) {
    Image image;
    image.nWidth = W;
    image.nHeight = H;
    image.nBitsStored = 8;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) image.bytes.push_back(static_cast<unsigned char>(x + y));
    return image;
}

DetectionResult HandResult(const Image& image) {
    DetectionResult r;
    r.frame = {image.nWidth, image.nHeight, 0, 0, image.nWidth, image.nHeight, true};
    r.mask.assign(image.PixelCount(), 0);
    for (int y = 20; y < 180; ++y) std::fill_n(&r.mask[y * image.nWidth], 150, 255);
    Cluster c;
    c.x = 100, c.y = 80, c.radius = 20.5, c.xMm = 10.0, c.yMm = 8.0, c.radiusMm = 2.05;
    c.members = 5;
    r.clusters.push_back(c);
    return r;
}

TEST(Overlay, CirclesAndOutlineWhereTheResultSaysAtEveryScale) {
    EXPECT_EQ(PictureScale(2049, false) * 10 + PictureScale(4664, true), 21);  // full size: 1
    const Image image = GreyImage(300, 200);
    for (int scale : {1, 3}) {
        const Picture p = RenderOverlay(image, HandResult(image), scale);
        ASSERT_EQ(p.nChannels, 3);
        EXPECT_EQ(p.nWidth, (300 + scale - 1) / scale);
        EXPECT_EQ(p.nHeight, (200 + scale - 1) / scale);
        auto px = [&](double x, double y) {
            const std::size_t i = (static_cast<std::size_t>(std::lround(y)) * p.nWidth +
                                   static_cast<std::size_t>(std::lround(x))) *
                                  3;
            const int r = p.pixels[i], g = p.pixels[i + 1], b = p.pixels[i + 2];
            return r == g && g == b                 ? 'k'
                   : r == 255 && g < 100 && b < 100 ? 'r'
                   : g > 200 && r < 100             ? 'g'
                                                    : '?';
        };
        const double cx = 100.5 / scale - 0.5, cy = 80.5 / scale - 0.5, radius = 20.5 / scale;
        // On the rim left and above, not at the centre; the mask's inner edge
        // is outlined, the image edge is not.
        const std::string seen = {px(cx - radius, cy), px(cx, cy - radius),
                                  px(std::floor(cx), std::floor(cy)), px(149 / scale, 100 / scale),
                                  px(0, 100 / scale)};
        EXPECT_EQ(seen, "rrkgk");
    }
}

// Marks are scored by their centres; truth columns are found by name.
TEST(Evaluation, CentreInsideTheCircleFindsEachClusterOnce) {
    const std::vector<TruthCluster> truth = {{"a", 100, 100, 10}, {"a", 300, 100, 5}};
    // On the rim counts; two marks in one cluster find it once and are not
    // false; a mark just outside is false.
    const std::vector<Mark> marks = {{110, 100, 30}, {95, 95, 20}, {300, 106, 8}, {500, 500, 9}};
    const ImageScore s = ScoreImage(marks, truth);
    EXPECT_EQ(std::vector<int>({s.nClusters, s.nFound, s.nFalse}), std::vector<int>({2, 1, 2}));
    const FrocPoint none;
    EXPECT_EQ(none.Sensitivity() + none.FalsePerImage(), 0.0);  // no division by zero

    TempDir dir;  // columns found by name, whatever their order
    const auto t = ReadTruthCsv(dir.Write(
        "t.csv", "radius_px,refnum,y_top_origin,x,note\r\n12,mdb7,30.5,40,\r\n\n3,mdb8,1,2,x\n"));
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[0].image, "mdb7");
    EXPECT_EQ(std::vector<double>({t[0].x, t[0].y, t[0].dRadius}),
              std::vector<double>({40.0, 30.5, 12.0}));
}

}  // namespace
