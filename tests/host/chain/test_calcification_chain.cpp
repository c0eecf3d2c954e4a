// The microcalcification chain end to end on real films: the MIAS
// development set, and MG1's marks on the breast.
#include <gtest/gtest.h>

#include <filesystem>

#include "calcification_chain.h"
#include "host/fixtures.h"
#include "io/read_image.h"
#include "report/evaluation.h"

namespace {

using namespace zetdip::host;

std::vector<Mark> Detect(const std::vector<unsigned short>& file, int W, int H, double px,
                         PreparedImage* pPrepared = nullptr) {
    PreparedImage p = PrepareImage(file.data(), W, H, 12, px, {});
    const CandidateResponse r =
        ComputeCandidateResponse(p.image.data(), p.mask.data(), p.nWidth, p.nHeight, px);
    std::vector<Mark> marks;
    for (const auto& k : MarkClusters(p, r, kDefaultCandidateThreshold).marks)
        marks.push_back({k.x, k.y, k.dRadius});
    if (pPrepared) *pPrepared = std::move(p);
    return marks;
}

// The development set at the default operating point: at least 7 of its 12
// clusters at no more than half a false cluster per image.
TEST(MiasDevelopmentSet, SevenClustersAtHalfAFalseClusterPerImage) {
    const std::string dir = zetdip::host::testing::Shared("mias/");
    if (!std::filesystem::exists(dir + "calc_truth.csv")) GTEST_SKIP() << "no " << dir;
    const auto truth = ReadTruthCsv(dir + "calc_truth.csv");
    std::vector<std::string> images;
    for (const auto& t : truth)
        if (images.empty() || images.back() != t.image) images.push_back(t.image);
    for (const auto& n : ReadNameList(dir + "normals.txt")) images.push_back(n.substr(0, 6));
    FrocPoint total;
    ReadOptions o;
    o.pixelSize = 0.2;
    for (const auto& name : images) {
        const Image pgm = ReadImage(dir + name + ".pgm", o);
        ASSERT_EQ(pgm.nWidth, 1024) << name;
        std::vector<unsigned short> words(pgm.bytes.begin(), pgm.bytes.end());
        for (auto& w : words) w = static_cast<unsigned short>(w << 4);
        std::vector<TruthCluster> mine;
        for (const auto& t : truth)
            if (t.image == name) mine.push_back(t);
        const ImageScore s = ScoreImage(Detect(words, pgm.nWidth, pgm.nHeight, 0.2), mine);
        ++total.nImages;
        total.nClusters += s.nClusters;
        total.nFound += s.nFound;
        total.nFalse += s.nFalse;
    }
    EXPECT_EQ(total.nImages, 32);
    EXPECT_EQ(total.nClusters, 12);
    EXPECT_GE(total.nFound, 7);
    EXPECT_LE(total.FalsePerImage(), 0.5);
}

// MG1, a digitised film at 0.05 mm with a label, a marker and bright frame
// edges: every mark lies on the breast, away from the film's edges, and the
// label and the marker are outside the mask.
TEST(Mg1, MarksOnlyOnTheBreast) {
    const std::vector<unsigned short> image = zetdip::host::testing::Mg1Raw();
    if (image.empty()) GTEST_SKIP() << "no MG1";
    const int W = zetdip::host::testing::kMg1Width, H = zetdip::host::testing::kMg1Height;
    PreparedImage p;
    const auto marks = Detect(image, W, H, 0.05, &p);
    EXPECT_FALSE(p.bBreastOnRight);
    EXPECT_TRUE(p.bFlipped);
    // The mask at a file pixel; outside the crop counts as outside.
    auto masked = [&](int fx, int fy) {
        const int x = fx - p.crop.x0, y = fy - p.crop.y0;
        if (x < 0 || y < 0 || x >= p.nWidth || y >= p.nHeight) return false;
        return p.mask[static_cast<std::size_t>(p.bFlipped ? p.nHeight - 1 - y : y) * p.nWidth +
                      x] != 0;
    };
    for (const auto& k : marks) {
        EXPECT_TRUE(masked(static_cast<int>(k.x), static_cast<int>(k.y))) << k.x << ", " << k.y;
        EXPECT_TRUE(k.x > 6.4 / 0.05 && k.x < W - 6.4 / 0.05) << k.x;
        EXPECT_TRUE(k.y > 6.4 / 0.05 && k.y < H - 6.4 / 0.05) << k.y;
    }
    // Label ("L MLO", bright, top right) and marker (dark bar, right).
    EXPECT_GT(image[350 * W + 2400], 3000);
    for (int y = 0; y < H; y += 4)
        for (int x = 2300; x < W; x += 4) ASSERT_FALSE(masked(x, y)) << x << ", " << y;
}

}  // namespace
