// Copies that appear when they are whole, and space that is asked for before it is used.

#include "util/host/copy_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/scratch.h"
#include "tests/support/small_disk.h"
#include "util/io/free_space.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kDisk = 1 << 20;

TEST(UtilCopyFile, WholeCopiesHaveModeAndTimeAndReplace) {
    const ScratchFolder scratch;
    const std::string from = WriteTo(scratch.File("-from\nx"), std::string(300'000, 'x') + "end");
    fs::permissions(from, fs::perms(0640));
    fs::last_write_time(from, fs::file_time_type::clock::now() - std::chrono::hours(1000));
    const std::string old = WriteTo(scratch.File("old"), "old");
    fs::create_symlink(old, scratch.File("link"));
    const fs::path before = fs::current_path();
    fs::current_path(scratch.File(""));
    const struct {
        std::string from, to, file;
    } cases[] = {{from, "-new", "-new"},
                 {"-from\nx", scratch.File("--help"), "--help"},
                 {from, "link", "old"},
                 {from, from, "-from\nx"}};
    for (const auto& row : cases) {
        std::string failure;
        EXPECT_TRUE(CopyFile(row.from, row.to, &failure)) << row.to << failure;
        EXPECT_EQ(ContentOf(scratch.File(row.file)), std::string(300'000, 'x') + "end") << row.to;
        EXPECT_EQ(fs::status(row.file).permissions(), fs::perms(0640)) << row.to;
        EXPECT_EQ(fs::last_write_time(row.file), fs::last_write_time(from)) << row.to;
    }
    EXPECT_TRUE(fs::is_symlink("link"));
    EXPECT_EQ(std::distance(fs::directory_iterator("."), {}), 5);
    fs::current_path(before);
}

TEST(UtilCopyFile, WhatCannotBeCopiedLeavesTheOlderFile) {
    const ScratchFolder scratch;
    const SmallDisk disk(kDisk);
    const std::string from = WriteTo(scratch.File("from"), std::string(2 * kDisk, 'x'));
    const std::string pipe = scratch.File("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const std::string old = WriteTo(scratch.File("old"), "old");
    const std::string missing = scratch.File("missing");
    struct Case {
        std::string from, to, failure;
    };
    std::vector<Case> cases = {
        {missing, old, missing + ": No such file or directory"},
        {scratch.File(""), old, scratch.File("") + ": Is a directory"},
        {pipe, old, pipe + ": Invalid argument"},
        {"/dev/zero", old, "/dev/zero: Invalid argument"},
        {from, pipe, pipe + ": Invalid argument"},
        {from, missing + "/x", missing + "/x: No such file or directory"},
        {std::string("/proc/self/mem"), old, "error reading"},
    };
    if (disk.IsMounted())
        cases.push_back({from, WriteTo(disk.File("full"), "old"),
                         "cp: error writing '" + disk.File("full") + "': No space left on device"});
    for (const Case& row : cases) {
        std::string failure;
        EXPECT_FALSE(CopyFile(row.from, row.to, &failure)) << row.from << row.to;
        EXPECT_NE(failure.find(row.failure), std::string::npos) << failure;
        EXPECT_EQ(failure.find('\n'), std::string::npos) << failure;
        if (row.to != pipe && fs::exists(row.to)) {
            EXPECT_EQ(ContentOf(row.to), "old") << row.from;
        }
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(scratch.File("")), {}), 3);
}

TEST(UtilFreeSpace, OnlyWhatCertainlyCannotFitIsRefused) {
    const ScratchFolder scratch;
    EXPECT_FALSE(FreeBytes(scratch.File("missing")));
    EXPECT_FALSE(FreeBytes("/proc"));
    const SmallDisk disk(kDisk);
    if (!disk.IsMounted()) GTEST_SKIP() << "only root may mount";
    EXPECT_EQ(FreeBytes(disk.File("")), kDisk);
    WriteTo(disk.File("old"), std::string(kDisk / 2, 'x'));
    EXPECT_EQ(FreeBytes(disk.File("")), kDisk / 2);
    fs::create_symlink(disk.File("old"), scratch.File("link"));
    fs::create_symlink("nowhere", disk.File("dangling"));
    ASSERT_EQ(mkfifo(disk.File("pipe").c_str(), 0600), 0);
    const std::string folder = fs::canonical(disk.File("")).string();
    const std::string lack = "needs 524289 bytes, 524288 are free in " + folder;
    const struct {
        std::string path;
        std::int64_t bytes;
        std::string lack;
    } cases[] = {{folder + "/new", kDisk / 2, ""},
                 {folder + "/new", kDisk / 2 + 1, lack},
                 {folder + "/old", kDisk / 2 + 1, lack},  // replaced only when the new one is whole
                 {scratch.File("link"), kDisk / 2 + 1, lack},
                 {folder + "/dangling", kDisk * 2, ""},
                 {folder + "/pipe", kDisk * 2, ""},
                 {folder + "/missing/new", kDisk * 2, ""},
                 {"/dev/null", INT64_MAX, ""},
                 {"/proc/new", INT64_MAX, ""}};
    for (const auto& row : cases)
        EXPECT_EQ(LackOfSpace(row.path, row.bytes), row.lack) << row.path << row.bytes;
}

}  // namespace
