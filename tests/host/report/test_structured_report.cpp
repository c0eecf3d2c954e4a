// The Mammography CAD SR: it passes the DICOM validator, the SR dumper
// prints the finding tree with the coordinates, and reading it back with
// GDCM gives the clusters that were written, the source's identity and the
// reference to the source image.
#include <gdcmReader.h>
#include <gdcmWriter.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "core/error.h"
#include "host/fixtures.h"
#include "host/report/command.h"
#include "host/report/sr_reader.h"
#include "report/structured_report.h"

namespace {

namespace fs = std::filesystem;
using zetdip::host::SrCluster;
using zetdip::host::WriteMammographyCadSr;
using namespace zetdip::test;

const zetdip::host::SrAlgorithm kAlgorithm{"zetdip-cad", "0.1.0"};

// A 6 x 4 12-bit left MLO mammogram with its identity, written with GDCM.
void WriteSourceFixture(const std::string& path, bool bWithStudy = true) {
    gdcm::DataSet ds;
    auto text = [&](std::uint16_t g, std::uint16_t e, gdcm::VR vr, std::string v) {
        if (v.size() % 2 != 0) v.push_back(vr == gdcm::VR::UI ? '\0' : ' ');
        gdcm::DataElement de(gdcm::Tag(g, e));
        de.SetVR(vr);
        de.SetByteValue(v.data(), static_cast<std::uint32_t>(v.size()));
        ds.Insert(de);
    };
    text(0x0008, 0x0016, gdcm::VR::UI, "1.2.840.10008.5.1.4.1.1.1.2");
    text(0x0008, 0x0018, gdcm::VR::UI, "1.2.3.4.5.6.7");
    text(0x0008, 0x0020, gdcm::VR::DA, "20240131");
    text(0x0008, 0x0050, gdcm::VR::SH, "ACC42");
    text(0x0008, 0x0060, gdcm::VR::CS, "MG");
    text(0x0010, 0x0010, gdcm::VR::PN, "Test^Patient");
    text(0x0010, 0x0020, gdcm::VR::LO, "P-0001");
    text(0x0010, 0x0040, gdcm::VR::CS, "F");
    text(0x0018, 0x1164, gdcm::VR::DS, "0.07\\0.05");
    text(0x0018, 0x5101, gdcm::VR::CS, "MLO");
    if (bWithStudy) text(0x0020, 0x000d, gdcm::VR::UI, "1.2.3.4.1");
    text(0x0020, 0x000e, gdcm::VR::UI, "1.2.3.4.2");
    text(0x0020, 0x0062, gdcm::VR::CS, "L");
    text(0x0028, 0x0004, gdcm::VR::CS, "MONOCHROME2");
    const std::uint16_t rows = 4, columns = 6;
    for (auto [e, v] : {std::pair<std::uint16_t, std::uint16_t>{0x0002, 1},
                        {0x0010, rows},
                        {0x0011, columns},
                        {0x0100, 16},
                        {0x0101, 12},
                        {0x0102, 11},
                        {0x0103, 0}}) {
        gdcm::DataElement de(gdcm::Tag(0x0028, e));
        de.SetVR(gdcm::VR::US);
        de.SetByteValue(reinterpret_cast<const char*>(&v), 2);
        ds.Insert(de);
    }
    std::vector<std::uint16_t> pixels(rows * columns, 1000);
    gdcm::DataElement pixelData(gdcm::Tag(0x7fe0, 0x0010));
    pixelData.SetVR(gdcm::VR::OW);
    pixelData.SetByteValue(reinterpret_cast<const char*>(pixels.data()),
                           static_cast<std::uint32_t>(pixels.size() * 2));
    ds.Insert(pixelData);
    gdcm::Writer writer;
    writer.SetFileName(path.c_str());
    writer.GetFile().GetHeader().SetDataSetTransferSyntax(
        gdcm::TransferSyntax::ExplicitVRLittleEndian);
    writer.GetFile().SetDataSet(ds);
    ASSERT_TRUE(writer.Write());
}

TEST(StructuredReport, ValidatesDumpsAndReadsBackWithZeroOneAndThreeClusters) {
    zetdip::host::testing::TempDir dir;
    const std::string source = dir.Path("source.dcm");
    WriteSourceFixture(source);
    const std::vector<std::vector<SrCluster>> cases = {
        {}, {{120, 80, 30.5, 7}}, {{0, 0, 12, 4}, {5, 3, 40.25, 0}, {3063, 4663, 100, 11}}};
    for (const auto& clusters : cases) {
        SCOPED_TRACE(::testing::Message() << clusters.size() << " clusters");
        const std::string out = dir.Path("report.sr.dcm");
        WriteMammographyCadSr(source, clusters, out, kAlgorithm);
        EXPECT_FALSE(fs::exists(out + ".tmp"));
        gdcm::Reader reader;
        reader.SetFileName(out.c_str());
        ASSERT_TRUE(reader.Read());
        const gdcm::DataSet& ds = reader.GetFile().GetDataSet();
        // Its own class, series and instance; the source's patient and study.
        EXPECT_EQ(Value(ds, 0x0008, 0x0016), "1.2.840.10008.5.1.4.1.1.88.50");
        EXPECT_EQ(Value(ds, 0x0008, 0x0060), "SR");
        EXPECT_EQ(Value(ds, 0x0010, 0x0010) + " " + Value(ds, 0x0010, 0x0020) + " " +
                      Value(ds, 0x0008, 0x0050) + " " + Value(ds, 0x0020, 0x000d),
                  "Test^Patient P-0001 ACC42 1.2.3.4.1");
        EXPECT_NE(Value(ds, 0x0020, 0x000e), "1.2.3.4.2");
        EXPECT_NE(Value(ds, 0x0008, 0x0018), "1.2.3.4.5.6.7");
        // Evidence: study > series > the source image.
        const auto evidence = Items(ds, 0x0040, 0xa375);
        ASSERT_EQ(evidence.size(), 1u);
        EXPECT_EQ(Value(evidence[0], 0x0020, 0x000d), "1.2.3.4.1");
        const auto series = Items(evidence[0], 0x0008, 0x1115);
        ASSERT_EQ(series.size(), 1u);
        EXPECT_EQ(Value(series[0], 0x0020, 0x000e), "1.2.3.4.2");
        const auto sops = Items(series[0], 0x0008, 0x1199);
        ASSERT_EQ(sops.size(), 1u);
        EXPECT_EQ(Value(sops[0], 0x0008, 0x1155), "1.2.3.4.5.6.7");
        // The image library's entry, the target of every SELECTED FROM; the
        // summary code says whether anything was found.
        const auto top = Items(ds, 0x0040, 0xa730);
        ASSERT_EQ(top.size(), 4u);
        EXPECT_EQ(ConceptName(top[0]), "111028");
        const auto library = Items(top[0], 0x0040, 0xa730);
        ASSERT_EQ(library.size(), 1u);
        EXPECT_EQ(Value(library[0], 0x0040, 0xa040), "IMAGE");
        EXPECT_EQ(Value(Items(library[0], 0x0008, 0x1199).at(0), 0x0008, 0x1155), "1.2.3.4.5.6.7");
        EXPECT_EQ(Value(Items(top[1], 0x0040, 0xa168).at(0), 0x0008, 0x0100),
                  clusters.empty() ? "111241" : "111242");
        ReadBack back;
        CollectFindings(ds, back);
        ASSERT_EQ(back.clusters.size(), clusters.size());
        for (std::size_t i = 0; i < clusters.size(); ++i) {
            EXPECT_NEAR(back.clusters[i].x, clusters[i].x, 1e-3);
            EXPECT_NEAR(back.clusters[i].y, clusters[i].y, 1e-3);
            EXPECT_NEAR(back.clusters[i].radius, clusters[i].radius, 1e-3);
            EXPECT_EQ(back.clusters[i].members, clusters[i].members);
        }
        for (const auto& target : back.selectedFrom)
            EXPECT_EQ(target, (std::array<std::uint32_t, 3>{1, 1, 1}));
        EXPECT_EQ(ValidatorErrors(out), std::vector<std::string>{});
        if (HaveTool("dsrdump")) {
            const std::string dump = CommandOutput("dsrdump '" + out + "'");
            EXPECT_NE(dump.find("Mammography CAD Report"), std::string::npos) << dump;
            EXPECT_EQ(dump.find("Error"), std::string::npos) << dump;
            for (const SrCluster& c : clusters) {
                char point[64];
                std::snprintf(point, sizeof point, "%g/%g", c.x + 0.5, c.y + 0.5);
                EXPECT_NE(dump.find(point), std::string::npos) << point << "\n" << dump;
            }
        }
    }

    // Sources it cannot reference, and an output it cannot write.
    const std::string out = dir.Path("refused.sr.dcm");
    WriteSourceFixture(dir.Path("no_study.dcm"), false);
    for (const std::string& bad : {dir.Path("no_study.dcm"), dir.Write("not.dcm", "P5 1 1 255\n")})
        EXPECT_THROW(WriteMammographyCadSr(bad, {}, out, kAlgorithm), zetdip::host::Error) << bad;
    EXPECT_THROW(WriteMammographyCadSr(source, {}, dir.Path("missing/r.dcm"), kAlgorithm),
                 zetdip::host::Error);
    EXPECT_FALSE(fs::exists(out) || fs::exists(dir.Path("missing")));
}

TEST(StructuredReport, RealMammogramAsSource) {
    const std::string real = zetdip::host::testing::Shared("mg1/MG1_J2KI.dcm");
    if (!fs::exists(real)) GTEST_SKIP() << real << " not present";
    zetdip::host::testing::TempDir dir;
    const std::string out = dir.Path("MG1_J2KI.sr.dcm");
    WriteMammographyCadSr(real, {{1500, 1200, 60, 5}}, out, kAlgorithm);
    gdcm::Reader source, reader;
    source.SetFileName(real.c_str());
    ASSERT_TRUE(source.ReadUpToTag(gdcm::Tag(0x7fe0, 0x0010)));
    reader.SetFileName(out.c_str());
    ASSERT_TRUE(reader.Read());
    const gdcm::DataSet& ds = reader.GetFile().GetDataSet();
    const gdcm::DataSet& src = source.GetFile().GetDataSet();
    EXPECT_EQ(Value(ds, 0x0020, 0x000d), Value(src, 0x0020, 0x000d));
    EXPECT_EQ(Value(ds, 0x0010, 0x0020), Value(src, 0x0010, 0x0020));
    ReadBack back;
    CollectFindings(ds, back);
    ASSERT_EQ(back.clusters.size(), 1u);
    EXPECT_NEAR(back.clusters[0].x, 1500, 1e-3);
    EXPECT_NEAR(back.clusters[0].radius, 60, 1e-3);
    EXPECT_EQ(ValidatorErrors(out), std::vector<std::string>{});
}

}  // namespace
