// Scoring against known clusters, the truth file and the FROC picture.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "core/error.h"
#include "report/evaluation.h"

namespace {

using namespace zetdip::host;

TEST(ScoreImage, CentreInsideTheCircleFindsEachClusterOnce) {
    const std::vector<TruthCluster> truth = {{"a", 100, 100, 10}, {"a", 300, 100, 5}};
    // On the rim counts; two marks in one cluster find it once and are not
    // false; a mark just outside both is false.
    const std::vector<Mark> marks = {{110, 100, 30}, {95, 95, 20}, {300, 106, 8}, {500, 500, 9}};
    const ImageScore s = ScoreImage(marks, truth);
    EXPECT_EQ(s.nClusters, 2);
    EXPECT_EQ(s.nFound, 1);
    EXPECT_EQ(s.nFalse, 2);
    const ImageScore none = ScoreImage({}, truth);
    EXPECT_EQ(none.nFound, 0);
    EXPECT_EQ(none.nFalse, 0);
    EXPECT_EQ(ScoreImage(marks, {}).nFalse, 4);
}

TEST(FrocPoint, FractionAndRate) {
    FrocPoint p;
    EXPECT_EQ(p.Sensitivity(), 0.0);
    EXPECT_EQ(p.FalsePerImage(), 0.0);
    p.nImages = 32;
    p.nClusters = 12;
    p.nFound = 7;
    p.nFalse = 13;
    EXPECT_DOUBLE_EQ(p.Sensitivity(), 7.0 / 12.0);
    EXPECT_DOUBLE_EQ(p.FalsePerImage(), 13.0 / 32.0);
}

TEST(ReadTruthCsv, ColumnsByNameAndErrorsNameTheFile) {
    const std::string path = ::testing::TempDir() + "truth_test.csv";
    {
        std::ofstream o(path);
        o << "radius_px,refnum,y_top_origin,x,note\r\nmdb1,bad\n";
    }
    EXPECT_THROW(ReadTruthCsv(path), Error);
    {
        std::ofstream o(path);
        o << "radius_px,refnum,y_top_origin,x,note\r\n12,mdb7,30.5,40,\r\n\n3,mdb8,1,2,x\n";
    }
    const auto t = ReadTruthCsv(path);
    ASSERT_EQ(t.size(), 2u);
    EXPECT_EQ(t[0].image, "mdb7");
    EXPECT_EQ(t[0].x, 40.0);
    EXPECT_EQ(t[0].y, 30.5);
    EXPECT_EQ(t[0].dRadius, 12.0);
    {
        std::ofstream o(path);
        o << "refnum,x,radius_px\n";
    }
    try {
        ReadTruthCsv(path);
        FAIL();
    } catch (const Error& e) {
        EXPECT_EQ(e.File(), path);
        EXPECT_NE(e.Cause().find("y_top_origin"), std::string::npos);
    }
    std::remove(path.c_str());
    EXPECT_THROW(ReadTruthCsv(path), Error);
}

TEST(ReadTruthCsv, TheMiasDevelopmentSet) {
    const std::string dir = std::string(ZETDIP_SHARED_DATA) + "/mias/";
    std::ifstream probe(dir + "calc_truth.csv");
    if (!probe) GTEST_SKIP() << "no " << dir;
    const auto t = ReadTruthCsv(dir + "calc_truth.csv");
    EXPECT_EQ(t.size(), 12u);
    EXPECT_EQ(ReadNameList(dir + "normals.txt").size(), 22u);
    for (const auto& c : t) {  // y from the top: inside the 1024-row image
        EXPECT_GT(c.y, 0.0);
        EXPECT_LT(c.y, 1024.0);
    }
}

TEST(WriteFrocSvg, WritesACompletePicture) {
    const std::string path = ::testing::TempDir() + "froc_test.svg";
    FrocPoint a{4.0, 10, 12, 7, 4}, b{5.0, 10, 12, 5, 1};
    WriteFrocSvg(path, {"dev"}, {{a, b}}, 3.0);
    std::ifstream in(path);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(text.rfind("<svg", 0), 0u);
    EXPECT_NE(text.find("</svg>"), std::string::npos);
    EXPECT_NE(text.find("dev"), std::string::npos);
    std::ifstream tmp(path + ".tmp");
    EXPECT_FALSE(tmp.good());
    std::remove(path.c_str());
    EXPECT_THROW(WriteFrocSvg("/nonexistent-dir/x.svg", {}, {}, 1.0), Error);
}

}  // namespace
