// The cluster generator changes the image only near its members, inside the
// area, the same for the same seed; film artefacts only in the background.
#include <gtest/gtest.h>

#include <cmath>

#include "calcifications.h"

namespace {

using namespace zetdip::phantom;

TEST(InsertClusters, RisesOnlyNearMembersInsideTheAreaAndRepeatsForASeed) {
    const int W = 800, H = 700;
    std::vector<unsigned short> image(W * H, 2000), area(W * H, 0);
    for (int y = 50; y < 650; ++y) std::fill_n(&area[y * W], 600, 1);
    ClusterOptions o;
    o.dPixelSize = 0.1;
    o.nClusters = 4;
    o.dContrast = 0.05;
    o.nSeed = 17;
    const auto clusters = InsertClusters(image, area, W, H, o);
    ASSERT_GE(clusters.size(), 2u);
    int nChanged = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const int d = image[y * W + x] - 2000;
            ASSERT_TRUE(d >= 0 && d <= 100) << d;  // by at most the contrast
            if (d == 0) continue;
            ++nChanged;
            bool bNear = false;
            for (const auto& c : clusters)
                for (const auto& m : c.members)
                    bNear = bNear || std::hypot(x - m.x, y - m.y) <= 4.0;
            ASSERT_TRUE(bNear && area[y * W + x]) << x << ", " << y;
        }
    EXPECT_GT(nChanged, 0);
    std::vector<unsigned short> again(W * H, 2000);
    InsertClusters(again, area, W, H, o);
    EXPECT_EQ(again, image);
}

TEST(AddFilmArtefacts, LabelAndMarkersOnlyInTheBackground) {
    const int W = 1200, H = 900;
    std::vector<unsigned short> image(W * H, 100), area(W * H, 0);
    for (int y = 0; y < H; ++y) {
        std::fill_n(&area[y * W], 500, 1);
        std::fill_n(&image[y * W], 500, 1500);
    }
    FilmOptions o;
    o.dPixelSize = 0.1;
    o.dGrain = 0.0;
    o.nStreaks = 0;
    AddFilmArtefacts(image, area, W, H, o);
    int nBright = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const unsigned short v = image[y * W + x];
            if (x < 550) {  // the breast and 5 mm beside it: untouched
                ASSERT_EQ(v, x < 500 ? 1500 : 100) << x << ", " << y;
            }
            nBright += x >= 550 && v >= 3000;
        }
    EXPECT_GT(nBright, 150 * 250);  // label of 20 x 28 mm less its strokes
}

}  // namespace
