// The cluster generator: members of the asked size, count and spread,
// inside the area, the rise a fraction of the local signal; film artefacts
// only in the background.
#include <gtest/gtest.h>

#include <cmath>

#include "calcifications.h"

namespace {

using namespace zetdip::phantom;

TEST(InsertClusters, MembersInsideTheAreaWithTheAskedShape) {
    const int W = 800, H = 700;
    const double px = 0.1;
    std::vector<unsigned short> image(W * H, 2000), area(W * H, 0);
    for (int y = 50; y < 650; ++y)
        for (int x = 0; x < 600; ++x) area[y * W + x] = 1;
    ClusterOptions o;
    o.dPixelSize = px;
    o.nClusters = 4;
    o.dContrast = 0.05;
    o.nSeed = 17;
    const auto before = image;
    const auto clusters = InsertClusters(image, area, W, H, o);
    ASSERT_GE(clusters.size(), 2u);
    for (const auto& c : clusters) {
        EXPECT_GE(c.members.size(), 5u);
        EXPECT_LE(c.members.size(), 30u);
        EXPECT_LE(c.dRadius * px, 7.5 + 0.3 + 1e-9);
        for (const auto& m : c.members) {
            const int x = static_cast<int>(m.x), y = static_cast<int>(m.y);
            EXPECT_GE(x, 30);  // 3 mm inside the area
            EXPECT_LT(x, 570);
            EXPECT_GE(y, 80);
            EXPECT_LT(y, 620);
            EXPECT_LE(std::hypot(m.x - c.centre.x, m.y - c.centre.y), c.dRadius);
        }
        for (const auto& d : clusters)  // clusters stay apart
            if (&d != &c) {
                EXPECT_GT(std::hypot(c.centre.x - d.centre.x, c.centre.y - d.centre.y),
                          c.dRadius + d.dRadius);
            }
    }
    // The image only rises, by at most the contrast, and only near members.
    int nChanged = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const int d = image[y * W + x] - before[y * W + x];
            EXPECT_GE(d, 0);
            EXPECT_LE(d, 100);
            if (d == 0) continue;
            ++nChanged;
            bool bNear = false;
            for (const auto& c : clusters)
                for (const auto& m : c.members)
                    bNear = bNear || std::hypot(x - m.x, y - m.y) <= 4.0;
            EXPECT_TRUE(bNear) << x << ", " << y;
        }
    EXPECT_GT(nChanged, 0);
    // The same seed gives the same image.
    std::vector<unsigned short> again(W * H, 2000);
    InsertClusters(again, area, W, H, o);
    EXPECT_EQ(again, image);
}

TEST(InsertClusters, NoRoomNoCluster) {
    const int W = 100, H = 100;
    std::vector<unsigned short> image(W * H, 1000), area(W * H, 1);
    ClusterOptions o;
    o.dPixelSize = 0.1;  // 10 mm: a cluster and its margin do not fit
    o.dMinSpreadMm = o.dMaxSpreadMm = 8.0;
    EXPECT_TRUE(InsertClusters(image, area, W, H, o).empty());
    for (unsigned short v : image) ASSERT_EQ(v, 1000);
}

TEST(AddFilmArtefacts, LabelAndMarkersOnlyInTheBackground) {
    const int W = 1200, H = 900;
    std::vector<unsigned short> image(W * H, 100), area(W * H, 0);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < 500; ++x) {
            area[y * W + x] = 1;
            image[y * W + x] = 1500;
        }
    FilmOptions o;
    o.dPixelSize = 0.1;
    o.dGrain = 0.0;
    o.nStreaks = 0;
    AddFilmArtefacts(image, area, W, H, o);
    int nBright = 0, nDark = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const unsigned short v = image[y * W + x];
            if (x < 550) {  // the breast and 5 mm beside it: untouched
                ASSERT_EQ(v, x < 500 ? 1500 : 100) << x << ", " << y;
            } else {
                nBright += v >= 3000;
                nDark += v == 0;
            }
        }
    EXPECT_GT(nBright, 150 * 250);  // label of 20 x 28 mm less its strokes
    EXPECT_GT(nDark, 2500);         // marker of 6 mm
}

}  // namespace
