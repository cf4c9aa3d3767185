// Temporary folders: they go with their process however it dies, and nothing else goes with them.

#include "util/host/temporary_folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>
#include <thread>
#include <vector>

#include "tests/support/scratch.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// A folder that TMPDIR names.
class UtilTemporaryFolder : public testing::Test {
protected:
    UtilTemporaryFolder() {
        if (const char* const old = std::getenv("TMPDIR")) old_ = old;
        fs::create_directory(parent_);
        setenv("TMPDIR", parent_.c_str(), 1);
    }
    ~UtilTemporaryFolder() override {
        old_.empty() ? unsetenv("TMPDIR") : setenv("TMPDIR", old_.c_str(), 1);
    }

    /// What all names of ours begin with, the path included.
    std::string Prefix() const {
        TemporaryFolder folder;
        EXPECT_TRUE(folder.Make());
        return folder.Path().substr(0, folder.Path().size() - 6);
    }

    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(parent_))
            names.insert(entry.path().filename());
        return names;
    }

    ScratchFolder scratch_;
    const std::string parent_ = scratch_.File("tmp");

private:
    std::string old_;
};

/// A process that makes a folder with files, and dies without an end of its own.
void DieWithFolder(const std::string& outside) {
    const pid_t child = fork();
    if (child == 0) {
        TemporaryFolder folder;
        if (!folder.Make()) _exit(1);
        WriteTo(folder.Path() + "/a/b/c", "c");
        fs::create_directory_symlink(outside, folder.Path() + "/a/link");
        fs::create_directory_symlink(outside, folder.Path() + "/link");
        raise(SIGKILL);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
}

TEST_F(UtilTemporaryFolder, GoesWithItsOwnerAndWithAKilledOne) {
    const std::string outside = scratch_.File("outside");
    WriteTo(outside + "/kept", "kept");
    {
        TemporaryFolder folder;
        ASSERT_TRUE(folder.Make());
        struct stat info {};
        ASSERT_EQ(stat(folder.Path().c_str(), &info), 0);
        EXPECT_EQ(info.st_mode & 07777, 0700u);
        WriteTo(folder.Path() + "/x/y", "y");
        DieWithFolder(outside);
        EXPECT_EQ(Names().size(), 2u);
        SweepTemporaryFolders(parent_, 0ms);
        EXPECT_EQ(Names().size(), 2u) << "no time";

        const pid_t child = fork();
        if (child == 0) {  // a copy of the owner
            folder.Remove();
            _exit(0);
        }
        waitpid(child, nullptr, 0);
        TemporaryFolder next;
        ASSERT_TRUE(next.Make());
        EXPECT_EQ(Names().size(), 2u) << "the dead one's went, the living ones stay";
        EXPECT_EQ(ContentOf(folder.Path() + "/x/y"), "y");
        next.Remove();
    }
    EXPECT_EQ(Names().size(), 0u);
    EXPECT_EQ(ContentOf(outside + "/kept"), "kept");
}

TEST_F(UtilTemporaryFolder, WhatIsNotOursOrNotDeadStays) {
    const std::string prefix = Prefix();
    const std::string other = fs::path(prefix).parent_path() / "ptc-tmp.elsewhere.";
    const auto age = [](const std::string& name) {
        const timespec long_ago[] = {{.tv_sec = 1, .tv_nsec = 0}, {.tv_sec = 1, .tv_nsec = 0}};
        utimensat(AT_FDCWD, name.c_str(), long_ago, 0);
    };
    const auto folder = [](const std::string& name) {
        fs::create_directory(name);
        chmod(name.c_str(), 0700);
        return name;
    };
    // Each makes one entry, which the sweep leaves or not.
    const struct {
        const char* what;
        bool stays;
        std::string name;
        std::function<void(const std::string&)> make;
    } cases[] = {
        {"dead", false, prefix + "000000", [&](auto& n) { WriteTo(folder(n) + "/.lock", ""); }},
        {"left while it was made", false, prefix + "000001", [&](auto& n) { age(folder(n)); }},
        {"being made", true, prefix + "000002", [&](auto& n) { folder(n); }},
        {"old, without a lock, not empty", true, prefix + "000003",
         [&](auto& n) { WriteTo(folder(n) + "/x", ""), age(n); }},
        {"of another machine", true, other + "000000",
         [&](auto& n) { WriteTo(folder(n) + "/.lock", ""); }},
        {"longer name", true, prefix + "0000000",
         [&](auto& n) { WriteTo(folder(n) + "/.lock", ""); }},
        {"open to others", true, prefix + "000004",
         [&](auto& n) { WriteTo(folder(n) + "/.lock", ""), chmod(n.c_str(), 0755); }},
        {"a file", true, prefix + "000005", [&](auto& n) { WriteTo(n, ""); }},
        {"a link", true, prefix + "000006",
         [&](auto& n) {
             WriteTo(folder(scratch_.File("target")) + "/.lock", "");
             fs::create_directory_symlink(scratch_.File("target"), n);
         }},
        {"the lock is a link", true, prefix + "000007",
         [&](auto& n) {
             fs::create_symlink(WriteTo(scratch_.File("l"), ""), folder(n) + "/.lock");
         }},
        {"the lock is a pipe", true, prefix + "000008",
         [&](auto& n) { mkfifo((folder(n) + "/.lock").c_str(), 0600); }},
        {"the lock is a folder", true, prefix + "000009",
         [&](auto& n) { fs::create_directory(folder(n) + "/.lock"); }},
        {"another user's", geteuid() == 0, prefix + "000010",
         [&](auto& n) {
             WriteTo(folder(n) + "/.lock", "");
             (void)!chown(n.c_str(), 12345, 12345);
         }},
    };
    for (const auto& row : cases) row.make(row.name);
    SweepTemporaryFolders(parent_, 10s);
    for (const auto& row : cases)
        EXPECT_EQ(fs::exists(fs::symlink_status(row.name)), row.stays) << row.what;
    EXPECT_TRUE(fs::exists(scratch_.File("target/.lock")));
}

TEST_F(UtilTemporaryFolder, MakersAndSweepersDoNotDisturbEachOther) {
    std::atomic<int> lost = 0;
    {
        std::vector<std::jthread> makers;
        makers.reserve(4);
        for (int maker = 0; maker < 4; ++maker)
            makers.emplace_back([&] {
                for (int i = 0; i < 100; ++i) {
                    TemporaryFolder folder;  // which sweeps first
                    if (!folder.Make()) ++lost;
                    const std::string file = WriteTo(folder.Path() + "/file", "whole");
                    SweepTemporaryFolders(parent_, 10s);
                    if (ContentOf(file) != "whole") ++lost;
                }
            });
    }
    EXPECT_EQ(lost, 0);
    EXPECT_EQ(Names().size(), 0u);
}

TEST_F(UtilTemporaryFolder, PlacesThatTakeNoFolderAreNamed) {
    const std::string file = WriteTo(scratch_.File("file"), "");
    const struct {
        std::string place;
        int error;
    } cases[] = {{scratch_.File("missing"), ENOENT}, {file, ENOTDIR}};
    for (const auto& row : cases) {
        setenv("TMPDIR", row.place.c_str(), 1);
        TemporaryFolder folder;
        EXPECT_FALSE(folder.Make());
        EXPECT_EQ(errno, row.error) << row.place;
        EXPECT_EQ(folder.FailedName(), row.place);
        EXPECT_EQ(folder.Path(), "");
    }
}

}  // namespace
