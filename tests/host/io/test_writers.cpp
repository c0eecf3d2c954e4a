// Writers never leave a partial file: the temporary file is renamed into
// place when complete and removed on failure.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "core/error.h"
#include "host/fixtures.h"
#include "io/read_image.h"
#include "io/write_image.h"

namespace zetdip::host {
namespace {

using testing::TempDir;

TEST(AtomicWrite, replaces_the_old_file_and_leaves_no_temporary) {
    TempDir dir;
    const std::string path = dir.Path("report.json");
    WriteFileAtomically(path, "old contents that are longer");
    WriteFileAtomically(path, "new");
    EXPECT_EQ(testing::ReadText(path), "new");
    WriteFileAtomically(path, "");
    EXPECT_EQ(testing::ReadText(path), "");
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"report.json"});
}

TEST(AtomicWrite, failure_names_the_file_and_the_system_cause) {
    TempDir dir;
    const std::string nowhere = dir.Path("no-such-dir/out.png");
    const unsigned char pixel = 7;
    try {
        WritePngGrey8(nowhere, &pixel, 1, 1);
        ADD_FAILURE() << "no Error";
    } catch (const Error& e) {
        EXPECT_NE(e.File().find("out.png"), std::string::npos);
        EXPECT_NE(e.Cause().find("No such file or directory"), std::string::npos) << e.what();
    }
    EXPECT_THROW(WriteFileAtomically(nowhere, "x"), Error);

    // A directory in the way of the rename: the temporary file goes away.
    const std::string blocked = dir.Path("blocked");
    std::filesystem::create_directories(blocked + "/inside");
    EXPECT_THROW(WriteFileAtomically(blocked, "x"), Error);
    EXPECT_THROW(WritePngGrey8(blocked, &pixel, 1, 1), Error);
    EXPECT_EQ(dir.Files(), std::vector<std::string>{"blocked"});
}

TEST(AtomicWrite, png_writer_refuses_empty_or_oversized_images) {
    TempDir dir;
    const std::string path = dir.Path("x.png");
    const unsigned char pixel = 1;
    EXPECT_THROW(WritePngGrey8(path, &pixel, 0, 1), Error);
    EXPECT_THROW(WritePngGrey8(path, &pixel, 1 << 16, 1 << 13), Error);
    EXPECT_THROW(WritePngGrey8(path, nullptr, 1, 1), Error);
    EXPECT_TRUE(dir.Files().empty());
}

}  // namespace
}  // namespace zetdip::host
