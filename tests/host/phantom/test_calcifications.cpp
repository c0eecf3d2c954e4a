// The cluster generator: members of the asked size, count and spread inside
// the area, the rise a fraction of the local signal, none without room;
// film artefacts only in the background.
#include <gtest/gtest.h>

#include <cmath>

#include "calcifications.h"

namespace {

using namespace zetdip::phantom;

TEST(InsertClusters, MembersInsideTheAreaWithTheAskedShapeAndNoneWithoutRoom) {
    const int W = 800, H = 700;
    std::vector<unsigned short> image(W * H, 2000), area(W * H, 0);
    for (int y = 50; y < 650; ++y) std::fill_n(&area[y * W], 600, 1);
    ClusterOptions o;
    o.dPixelSize = 0.1;
    o.nClusters = 4;
    o.dContrast = 0.05;
    o.nSeed = 17;
    const auto before = image;
    const auto clusters = InsertClusters(image, area, W, H, o);
    ASSERT_GE(clusters.size(), 2u);
    for (const auto& c : clusters) {
        EXPECT_TRUE(c.members.size() >= 5 && c.members.size() <= 30) << c.members.size();
        EXPECT_LE(c.dRadius * o.dPixelSize, 7.5 + 0.3 + 1e-9);
        for (const auto& m : c.members) {  // 3 mm inside the area, within the radius
            EXPECT_TRUE(m.x >= 30 && m.x < 570 && m.y >= 80 && m.y < 620) << m.x << ", " << m.y;
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
            ASSERT_TRUE(d >= 0 && d <= 100) << d;
            if (d == 0) continue;
            ++nChanged;
            bool bNear = false;
            for (const auto& c : clusters)
                for (const auto& m : c.members)
                    bNear = bNear || std::hypot(x - m.x, y - m.y) <= 4.0;
            EXPECT_TRUE(bNear) << x << ", " << y;
        }
    EXPECT_GT(nChanged, 0);
    std::vector<unsigned short> again(W * H, 2000);  // the same seed, the same image
    InsertClusters(again, area, W, H, o);
    EXPECT_EQ(again, image);

    // 10 mm square: a cluster and its margin do not fit.
    std::vector<unsigned short> small(100 * 100, 1000), all(100 * 100, 1);
    o.dMinSpreadMm = o.dMaxSpreadMm = 8.0;
    EXPECT_TRUE(InsertClusters(small, all, 100, 100, o).empty());
    EXPECT_EQ(small, std::vector<unsigned short>(100 * 100, 1000));
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
    int nBright = 0, nDark = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x) {
            const unsigned short v = image[y * W + x];
            if (x < 550) {  // the breast and 5 mm beside it: untouched
                ASSERT_EQ(v, x < 500 ? 1500 : 100) << x << ", " << y;
            }
            nBright += x >= 550 && v >= 3000;
            nDark += x >= 550 && v == 0;
        }
    EXPECT_GT(nBright, 150 * 250);  // label of 20 x 28 mm less its strokes
    EXPECT_GT(nDark, 2500);         // marker of 6 mm
}

}  // namespace
