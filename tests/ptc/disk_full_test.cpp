// Failing writes: every point at which a disk can fill up, a pipe.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/scratch.h"

namespace {

const std::vector<const char*> kOneFloat = {"float"};

/// Three thousand points, which take two pieces, and two nodes.
CloudStatus WriteWholeFile(std::unique_ptr<ByteSink> disk, TokenForm form) {
    std::string why;
    const auto cloud = CreateCloud(WithVariables(kOneFloat), std::move(disk), form, &why);
    if (!cloud) {
        EXPECT_EQ(why, "No space left on device");
        return CloudStatus::kFailed;
    }
    bool failed = false;
    const float data = 1;
    for (int i = 0; i < 3000; ++i)
        failed |= Failed(WritePoint(*cloud, {{1, 2, 3}, {0, 0, 1}, 1}, &data));
    std::int64_t at = 0;
    for (int i = 0; i < 2; ++i) failed |= Failed(WriteNode(*cloud, {0, 1, {}}, nullptr, &at));
    const CloudStatus finished = FinishCloud(*cloud);
    EXPECT_TRUE(!failed || Failed(finished)) << "a failure was forgotten";
    EXPECT_LE(cloud->stored_points, 3000);
    return finished;
}

TEST(PtcWriter, EveryDiskFullPointIsReported) {
    for (const TokenForm form : {TokenForm::kBinary, TokenForm::kText}) {
        const auto whole = std::make_shared<DiskBytes::element_type>();
        ASSERT_EQ(WriteWholeFile(std::make_unique<FullDisk>(SIZE_MAX, whole), form),
                  CloudStatus::kOk);
        // Every byte of the header and of the tail; the records between are alike.
        for (std::size_t room = 0;
             room<whole->size(); room += room> 1200 && room + 400 < whole->size() ? 997 : 1) {
            const auto bytes = std::make_shared<DiskBytes::element_type>();
            EXPECT_EQ(WriteWholeFile(std::make_unique<FullDisk>(room, bytes), form),
                      CloudStatus::kFailed)
                << "room for " << room << " of " << whole->size() << " bytes";
            if (form == TokenForm::kText || room < 400) continue;
            const CloudFile file{TextOf(*bytes)};
            EXPECT_LE(file.PointCount(), static_cast<double>(file.RecordsInFile()))
                << "the header promises records that are not there";
            EXPECT_GE(file.PointCount(), static_cast<double>(file.RecordsInFile() / 2048 * 2048))
                << "the header forgets a piece that is there";
        }
    }
}

TEST(PtcWriter, WhatCannotBeRewrittenCannotBeMade) {
    const ScratchFolder folder;
    const std::string pipe_name = folder.File("pipe");
    ASSERT_EQ(mkfifo(pipe_name.c_str(), 0600), 0);
    const int reader = open(pipe_name.c_str(), O_RDONLY | O_NONBLOCK);
    std::string why;
    EXPECT_FALSE(CreateCloud(WithVariables(kOneFloat, pipe_name.c_str()), &why));
    EXPECT_EQ(why, "Illegal seek");
    EXPECT_FALSE(CreateCloud(WithVariables(kOneFloat), &why)) << "no name is an empty name";
    close(reader);
}

}  // namespace
