// The Mammography CAD SR: it passes the DICOM validator without errors, the
// SR dumper prints the finding tree with the coordinates, and reading it back
// with GDCM gives the clusters that were written, the source's identity and
// the reference to the source image.
#include <gdcmDataSet.h>
#include <gdcmItem.h>
#include <gdcmReader.h>
#include <gdcmSequenceOfItems.h>
#include <gdcmWriter.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "core/error.h"
#include "host/fixtures.h"
#include "host/report/command.h"
#include "host/report/sr_reader.h"
#include "report/structured_report.h"

namespace fs = std::filesystem;
using zetdip::host::SrCluster;
using zetdip::test::CollectFindings;
using zetdip::test::CommandOutput;
using zetdip::test::ConceptName;
using zetdip::test::HaveTool;
using zetdip::test::Items;
using zetdip::test::ReadBack;
using zetdip::test::Value;

namespace {

const zetdip::host::SrAlgorithm kAlgorithm{"zetdip-cad", "0.1.0"};

gdcm::DataElement Text(std::uint16_t g, std::uint16_t e, gdcm::VR vr, std::string v) {
    if (v.size() % 2 != 0) v.push_back(vr == gdcm::VR::UI ? '\0' : ' ');
    gdcm::DataElement de(gdcm::Tag(g, e));
    de.SetVR(vr);
    de.SetByteValue(v.data(), static_cast<std::uint32_t>(v.size()));
    return de;
}

// A small 12-bit left MLO mammogram with its identity, written with GDCM.
void WriteSourceFixture(const std::string& path, bool bWithStudy = true) {
    gdcm::DataSet ds;
    ds.Insert(Text(0x0008, 0x0016, gdcm::VR::UI, "1.2.840.10008.5.1.4.1.1.1.2"));
    ds.Insert(Text(0x0008, 0x0018, gdcm::VR::UI, "1.2.3.4.5.6.7"));
    ds.Insert(Text(0x0008, 0x0020, gdcm::VR::DA, "20240131"));
    ds.Insert(Text(0x0008, 0x0050, gdcm::VR::SH, "ACC42"));
    ds.Insert(Text(0x0008, 0x0060, gdcm::VR::CS, "MG"));
    ds.Insert(Text(0x0010, 0x0010, gdcm::VR::PN, "Test^Patient"));
    ds.Insert(Text(0x0010, 0x0020, gdcm::VR::LO, "P-0001"));
    ds.Insert(Text(0x0010, 0x0040, gdcm::VR::CS, "F"));
    ds.Insert(Text(0x0018, 0x1164, gdcm::VR::DS, "0.07\\0.05"));
    ds.Insert(Text(0x0018, 0x5101, gdcm::VR::CS, "MLO"));
    if (bWithStudy) ds.Insert(Text(0x0020, 0x000d, gdcm::VR::UI, "1.2.3.4.1"));
    ds.Insert(Text(0x0020, 0x000e, gdcm::VR::UI, "1.2.3.4.2"));
    ds.Insert(Text(0x0020, 0x0062, gdcm::VR::CS, "L"));
    ds.Insert(Text(0x0028, 0x0004, gdcm::VR::CS, "MONOCHROME2"));
    const std::uint16_t rows = 4, columns = 6, one = 1, bits = 16, stored = 12, high = 11, sign = 0;
    for (auto [e, v] : {std::pair{0x0002, one}, std::pair{0x0010, rows}, std::pair{0x0011, columns},
                        std::pair{0x0100, bits}, std::pair{0x0101, stored}, std::pair{0x0102, high},
                        std::pair{0x0103, sign}}) {
        gdcm::DataElement de(gdcm::Tag(0x0028, static_cast<std::uint16_t>(e)));
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

std::vector<std::string> ErrorLines(const std::string& validatorOutput) {
    std::vector<std::string> errors;
    for (const std::string& line : zetdip::host::testing::Lines(validatorOutput))
        if (line.rfind("Error", 0) == 0) errors.push_back(line);
    return errors;
}

class StructuredReport : public ::testing::Test {
protected:
    void SetUp() override { WriteSourceFixture(source_); }

    zetdip::host::testing::TempDir scratch_;
    fs::path dir_ = scratch_.Dir();
    std::string source_ = scratch_.Path("source.dcm");
};

TEST_F(StructuredReport, ValidatesDumpsAndReadsBackWithZeroOneAndThreeClusters) {
    const std::vector<std::vector<SrCluster>> cases = {
        {},
        {{120, 80, 30.5, 7}},
        {{0, 0, 12, 4}, {5, 3, 40.25, 0}, {3063, 4663, 100, 11}},
    };
    for (std::size_t k = 0; k < cases.size(); ++k) {
        SCOPED_TRACE(::testing::Message() << cases[k].size() << " clusters");
        const std::string out = (dir_ / ("report" + std::to_string(k) + ".sr.dcm")).string();
        zetdip::host::WriteMammographyCadSr(source_, cases[k], out, kAlgorithm);
        EXPECT_FALSE(fs::exists(out + ".tmp"));

        gdcm::Reader reader;
        reader.SetFileName(out.c_str());
        ASSERT_TRUE(reader.Read());
        const gdcm::DataSet& ds = reader.GetFile().GetDataSet();
        EXPECT_EQ(Value(ds, 0x0008, 0x0016), "1.2.840.10008.5.1.4.1.1.88.50");
        EXPECT_EQ(Value(ds, 0x0008, 0x0060), "SR");
        EXPECT_EQ(Value(ds, 0x0010, 0x0010), "Test^Patient");
        EXPECT_EQ(Value(ds, 0x0010, 0x0020), "P-0001");
        EXPECT_EQ(Value(ds, 0x0008, 0x0050), "ACC42");
        EXPECT_EQ(Value(ds, 0x0020, 0x000d), "1.2.3.4.1");
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

        // The image library's entry, the target of every SELECTED FROM.
        const auto top = Items(ds, 0x0040, 0xa730);
        ASSERT_EQ(top.size(), 4u);
        EXPECT_EQ(ConceptName(top[0]), "111028");
        const auto library = Items(top[0], 0x0040, 0xa730);
        ASSERT_EQ(library.size(), 1u);
        EXPECT_EQ(Value(library[0], 0x0040, 0xa040), "IMAGE");
        EXPECT_EQ(Value(Items(library[0], 0x0008, 0x1199).at(0), 0x0008, 0x1155), "1.2.3.4.5.6.7");
        EXPECT_EQ(Value(Items(top[1], 0x0040, 0xa168).at(0), 0x0008, 0x0100),
                  cases[k].empty() ? "111241" : "111242");

        ReadBack back;
        CollectFindings(ds, back);
        ASSERT_EQ(back.clusters.size(), cases[k].size());
        for (std::size_t i = 0; i < cases[k].size(); ++i) {
            EXPECT_NEAR(back.clusters[i].x, cases[k][i].x, 1e-3);
            EXPECT_NEAR(back.clusters[i].y, cases[k][i].y, 1e-3);
            EXPECT_NEAR(back.clusters[i].radius, cases[k][i].radius, 1e-3);
            EXPECT_EQ(back.clusters[i].members, cases[k][i].members);
        }
        for (const auto& target : back.selectedFrom)
            EXPECT_EQ(target, (std::array<std::uint32_t, 3>{1, 1, 1}));

        if (HaveTool("dciodvfy")) {
            const std::string report = CommandOutput("dciodvfy '" + out + "'");
            EXPECT_EQ(ErrorLines(report), std::vector<std::string>{}) << report;
        }
        if (HaveTool("dsrdump")) {
            const std::string dump = CommandOutput("dsrdump '" + out + "'");
            EXPECT_NE(dump.find("Mammography CAD Report"), std::string::npos) << dump;
            EXPECT_EQ(dump.find("Error"), std::string::npos) << dump;
            for (const SrCluster& c : cases[k]) {
                char point[64];
                std::snprintf(point, sizeof point, "%g/%g", c.x + 0.5, c.y + 0.5);
                EXPECT_NE(dump.find(point), std::string::npos) << point << "\n" << dump;
            }
            if (k == 1) std::printf("%s\n", dump.c_str());
        }
    }
}

TEST_F(StructuredReport, RefusesSourcesItCannotReference) {
    const std::string out = (dir_ / "report.sr.dcm").string();
    const std::string noStudy = (dir_ / "no_study.dcm").string();
    WriteSourceFixture(noStudy, false);
    EXPECT_THROW(zetdip::host::WriteMammographyCadSr(noStudy, {}, out, kAlgorithm),
                 zetdip::host::Error);
    const std::string notDicom = scratch_.Write("not.dcm", "P5 1 1 255\n");
    EXPECT_THROW(zetdip::host::WriteMammographyCadSr(notDicom, {}, out, kAlgorithm),
                 zetdip::host::Error);
    EXPECT_THROW(zetdip::host::WriteMammographyCadSr(
                     source_, {}, (dir_ / "missing" / "r.dcm").string(), kAlgorithm),
                 zetdip::host::Error);
    EXPECT_FALSE(fs::exists(out));
    EXPECT_FALSE(fs::exists(dir_ / "missing"));
}

TEST_F(StructuredReport, RealMammogramAsSource) {
    const std::string real = std::string(ZETDIP_SHARED_DATA) + "/mg1/MG1_J2KI.dcm";
    if (!fs::exists(real)) GTEST_SKIP() << real << " not present";
    const std::string out = (dir_ / "MG1_J2KI.sr.dcm").string();
    zetdip::host::WriteMammographyCadSr(real, {{1500, 1200, 60, 5}}, out, kAlgorithm);

    gdcm::Reader source;
    source.SetFileName(real.c_str());
    ASSERT_TRUE(source.ReadUpToTag(gdcm::Tag(0x7fe0, 0x0010)));
    gdcm::Reader reader;
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
    if (HaveTool("dciodvfy")) {
        const std::string report = CommandOutput("dciodvfy '" + out + "'");
        EXPECT_EQ(ErrorLines(report), std::vector<std::string>{}) << report;
    }
}

}  // namespace
