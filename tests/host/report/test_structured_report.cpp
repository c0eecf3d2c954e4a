// The Mammography CAD SR: it passes the DICOM validator, and reading it back
// with GDCM gives its class, the source's study, the summary code and the
// clusters that were written.
#include <gdcmReader.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "core/error.h"
#include "host/fixtures.h"
#include "host/report/command.h"
#include "host/report/sr_reader.h"
#include "io/write_image.h"
#include "report/structured_report.h"

namespace {

namespace fs = std::filesystem;
using zetdip::host::SrCluster;
using zetdip::host::WriteMammographyCadSr;
using namespace zetdip::test;

const zetdip::host::SrAlgorithm kAlgorithm{"zetdip-cad", "0.1.0"};

gdcm::DataSet ReadDataSet(gdcm::Reader& reader, const std::string& path) {
    reader.SetFileName(path.c_str());
    EXPECT_TRUE(reader.Read()) << path;
    return reader.GetFile().GetDataSet();
}

TEST(StructuredReport, ValidatesAndReadsBackWithZeroOneAndThreeClusters) {
    zetdip::host::testing::TempDir dir;
    const std::string source = dir.Path("source.dcm");
    zetdip::host::WriteDicom(source, zetdip::host::testing::Phantom(1, false, 0.5, 33.5, 45.0));
    gdcm::Reader sourceReader;
    const std::string study = Value(ReadDataSet(sourceReader, source), 0x0020, 0x000d);
    ASSERT_FALSE(study.empty());
    const std::vector<std::vector<SrCluster>> cases = {
        {}, {{120, 80, 30.5, 7}}, {{0, 0, 12, 4}, {5, 3, 40.25, 0}, {3063, 4663, 100, 11}}};
    for (const auto& clusters : cases) {
        SCOPED_TRACE(::testing::Message() << clusters.size() << " clusters");
        const std::string out = dir.Path("report.sr.dcm");
        WriteMammographyCadSr(source, clusters, out, kAlgorithm);
        EXPECT_FALSE(fs::exists(out + ".tmp"));
        gdcm::Reader reader;
        const gdcm::DataSet ds = ReadDataSet(reader, out);
        EXPECT_EQ(Value(ds, 0x0008, 0x0016), "1.2.840.10008.5.1.4.1.1.88.50");
        EXPECT_EQ(Value(ds, 0x0008, 0x0060), "SR");
        EXPECT_EQ(Value(ds, 0x0020, 0x000d), study);
        // The summary code says whether anything was found.
        const auto top = Items(ds, 0x0040, 0xa730);
        ASSERT_EQ(top.size(), 4u);
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
        EXPECT_EQ(ValidatorErrors(out), std::vector<std::string>{});
    }

    // A source it cannot reference, and an output it cannot write.
    const std::string out = dir.Path("refused.sr.dcm");
    EXPECT_THROW(WriteMammographyCadSr(dir.Write("not.dcm", "P5 1 1 255\n"), {}, out, kAlgorithm),
                 zetdip::host::Error);
    EXPECT_THROW(WriteMammographyCadSr(source, {}, dir.Path("missing/r.dcm"), kAlgorithm),
                 zetdip::host::Error);
    EXPECT_FALSE(fs::exists(out) || fs::exists(dir.Path("missing")));
}

}  // namespace
