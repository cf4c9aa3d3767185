// The file manager over files that fail on demand: one object a name, the limit, every failure.

#include "ptc/files/file_manager.h"

#include <gtest/gtest.h>

#include <barrier>
#include <cerrno>
#include <random>
#include <thread>
#include <unordered_set>
#include <vector>

#include "ptc/files/file_identity.h"
#include "ptc/files/thread_files.h"
#include "tests/ptc/fake_files.h"
#include "tests/support/together.h"
#include "util/stats/process_stats.h"

namespace {

using File = UtFileManager::File;

constexpr auto SizesFor = UtFileManager::SizesFor;
static_assert(SizesFor(8, 1024, 256).allowance == 127);
static_assert(SizesFor(8, 16, 4).allowance == 2);
static_assert(SizesFor(5, 16, 4).allowance == 2 && SizesFor(4, 16, 4).allowance == 3);
static_assert(SizesFor(100, 16, 4).allowance == 2, "more threads than files");
static_assert(SizesFor(0, 0, -1).limit == 1 && SizesFor(0, 10, 0).allowance == 9);
static_assert(SizesFor(8, 1024, 256).buckets == 1024 && SizesFor(8, 256, 256).buckets == 1024);
static_assert(SizesFor(8, 16400, 4100).buckets == 2048, "the power of two not below 1025");
static_assert(SizesFor(1, 2147483647, 2147483647).limit == UtFileManager::kMostFiles);

/// A manager of its own, with a table for the test's thread.
class PtcFileManager : public testing::Test {
protected:
    void Make(int threads, int limit) {
        table_.reset();
        manager_ = std::make_shared<UtFileManager>(SizesFor(threads, limit, limit / 4));
        table_ = std::make_unique<ThreadFiles>(manager_);
    }
    File* Open(const std::string& name) { return OpenIn(*table_, name); }
    File* OpenIn(ThreadFiles& table, const std::string& name) {
        FakeOpener opener(&disk_);
        return table.Open(name.c_str(), opener, &opened_);
    }
    void TearDown() override {
        EXPECT_EQ(disk_.closed_while_used, 0);
        if (manager_) {
            EXPECT_STREQ(manager_->BrokenPromise(), nullptr);
            table_.reset();
            EXPECT_STREQ(manager_->BrokenPromise(), nullptr);
            manager_.reset();
        }
        EXPECT_EQ(disk_.open_now, 0) << "a file was lost or closed twice";
    }

    FakeDisk disk_;
    std::shared_ptr<UtFileManager> manager_;
    std::unique_ptr<ThreadFiles> table_;
    bool opened_ = false;
};

TEST(PtcFileIdentity, IsNeverGivenOutTwice) {
    static std::uint32_t hash = 0xABCDF000;
    --hash;  // each run uses one up; the first has the low bits that could make kNoFile
    std::unordered_set<std::uint32_t> seen;
    std::uint32_t identity;
    while ((identity = file_identity::New(hash)) != file_identity::kNone) {
        ASSERT_TRUE(seen.insert(identity).second) << identity;
        ASSERT_NE(identity, file_identity::kNoFile);
        ASSERT_EQ(identity & file_identity::kNameMask, hash & file_identity::kNameMask);
    }
    EXPECT_GT(seen.size(), 1'000'000U);
    EXPECT_EQ(file_identity::New(hash), file_identity::kNone) << "it began again";
    EXPECT_NE(file_identity::New(hash - 1), file_identity::kNone) << "other names have their own";
}

TEST_F(PtcFileManager, OpensANameOnceAndHandsOutTheSameObject) {
    Make(8, 16);
    File* const a = Open("a");
    ASSERT_NE(a, nullptr);
    EXPECT_TRUE(opened_);
    EXPECT_EQ(Open("a"), a);
    EXPECT_FALSE(opened_);
    EXPECT_EQ(a->Holders(), 2U) << "one for this thread, one for the manager";
    EXPECT_EQ(table_->Uses(*a), 2U);
    EXPECT_NE(Open("b"), a);
    for (int i = 0; i < 3; ++i) table_->Release(*a);  // once too often
    EXPECT_EQ(table_->Uses(*a), 0U);
    EXPECT_EQ(Open("a"), a);
    EXPECT_FALSE(opened_);
    EXPECT_EQ(disk_.calls, 2);
}

TEST_F(PtcFileManager, ClosesTheFileThatIsIdleLongestAndReopensItWhenAskedFor) {
    Make(1, 3);
    disk_.pinned = {"pinned"};
    File* const pinned = Open("pinned");
    File* const a = Open("a");
    File* const b = Open("b");
    for (File* file : {pinned, b, a}) table_->Release(*file);
    File* const c = Open("c");
    EXPECT_TRUE(pinned->IsOpen() && a->IsOpen() && !b->IsOpen() && c->IsOpen());
    File* const d = Open("d");  // nothing else to close but what is used: a
    EXPECT_TRUE(pinned->IsOpen() && !a->IsOpen() && d->IsOpen());
    EXPECT_EQ(disk_.most_open, 3);

    const std::uint32_t before = b->Identity();
    disk_.changes = true;
    EXPECT_EQ(Open("b"), b);
    EXPECT_FALSE(opened_);
    EXPECT_NE(b->Identity(), before);
    EXPECT_EQ(manager_->OpenFiles(), 4) << "all are used, so the limit gives way";
    for (File* file : {b, c, d}) table_->Release(*file);
    EXPECT_EQ(manager_->OpenFiles(), 3) << "and holds again as soon as it can";

    TgStats stats;
    manager_->FillStats(&stats);
    EXPECT_EQ(stats.files_opened.Value(), 5U);
    EXPECT_EQ(stats.files_reopened.Value(), 1U);
    EXPECT_EQ(stats.files_reclaimed.Value(), 3U);
    EXPECT_EQ(stats.files_open_error.Value(), 0U);
    EXPECT_EQ(stats.file_log.Values(), (std::set<std::string>{"a", "b", "c", "d", "pinned"}));
}

// Few names share a slot in the first table and many in none, so removal closes gaps of all kinds.
TEST_F(PtcFileManager, TablesGrowAndShrinkWithoutLosingAFile) {
    Make(8, 310);
    EXPECT_EQ(table_->Capacity(), 128U);
    std::vector<File*> files;
    for (int i = 0; i < 300; ++i) files.push_back(Open(std::to_string(i)));
    EXPECT_EQ(table_->Held(), 300U);
    EXPECT_EQ(table_->Capacity(), 512U);
    std::mt19937 random(1);
    std::shuffle(files.begin(), files.end(), random);
    while (!files.empty()) {
        table_->Release(*files.back());
        files.pop_back();
        for (File* file : files) ASSERT_EQ(table_->Uses(*file), 1U) << file->Name();
    }
    for (int i = 0; i < 100; ++i) {
        File* const last = Open(std::to_string(i));
        table_->Release(*last);
        EXPECT_EQ(last->Holders(), 2U) << "what was used last is kept";
    }
    EXPECT_EQ(table_->Held(), 37U) << "another number than the allowance is kept";
}

TEST_F(PtcFileManager, WhatAThreadKeepsUnusedMakesRoomForItsOwnNextFileOnly) {
    Make(1, 4);
    File* const kept = Open("kept");
    {
        ThreadFiles other(manager_);
        other.Release(*kept);
        EXPECT_EQ(table_->Uses(*kept), 1U) << "another thread has given it back";
        table_->Release(*kept);
        for (const char* name : {"a", "b", "c"}) OpenIn(other, name);
        EXPECT_EQ(kept->Holders(), 2U);
        EXPECT_NE(Open("d"), nullptr);
        EXPECT_FALSE(kept->IsOpen());
        EXPECT_EQ(disk_.most_open, 4);
        EXPECT_EQ(OpenIn(other, "d")->Holders(), 3U);
    }
    EXPECT_EQ(Open("d")->Holders(), 2U) << "the other thread has ended";
}

TEST_F(PtcFileManager, AFileThatIsClosedWhileItIsHeldIsOpenedByTheNextRequest) {
    for (const int limit : {16, 3000}) {  // the larger table is too large to be searched by name
        Make(1, limit);
        File* const a = Open("a");
        disk_.FailNext(1, EIO, 1);
        EXPECT_EQ(ToErrorCode(manager_->Reopen(*a, *table_)), EIO);
        EXPECT_FALSE(a->IsOpen());
        EXPECT_EQ(manager_->OpenFiles(), 0);
        EXPECT_EQ(Open("a"), a);
        EXPECT_TRUE(a->IsOpen());
        EXPECT_EQ(a->Holders(), 2U) << "one hold a thread, however often it asks";
        EXPECT_EQ(table_->Uses(*a), 2U);
    }
}

TEST_F(PtcFileManager, AFailureIsKeptUnlessItIsAShortage) {
    struct Row {
        int code;
        int failures;
        bool is_remembered;
        int calls;  // of the opener and of close(), in two requests
    };
    for (const Row& row : {Row{ENOENT, 1, true, 1}, Row{ENOMEM, 1, false, 2},
                           // The opener, the close of the idle file, the opener again.
                           Row{EMFILE, 1, false, 3}, Row{ENFILE, 3, false, 3}}) {
        SCOPED_TRACE(row.code);
        Make(1, 8);
        table_->Release(*Open("idle"));
        const int calls = disk_.FailNext(row.failures, row.code);
        File* const first = Open("a");
        EXPECT_EQ(opened_, first != nullptr);
        disk_.failures = 0;
        EXPECT_EQ(Open("a") == nullptr, row.is_remembered);
        EXPECT_EQ(disk_.calls - calls, row.calls);
        EXPECT_NE(Open("idle"), nullptr);
    }
}

/// Opens, reopens and closes; every call may fail. What is left works as soon as nothing fails.
TEST_F(PtcFileManager, EveryOpenCloseAndReopenMayFail) {
    for (const int code : {EIO, EMFILE}) {
        for (int fail_at = 0, calls = 1; fail_at < calls; ++fail_at) {
            SCOPED_TRACE(testing::Message() << "code " << code << ", call " << fail_at);
            Make(1, 2);
            disk_.calls = 0;
            disk_.FailNext(1, code, fail_at);
            for (const char* name : {"a", "b", "c", "a", "c", "b", "d", "a"})
                if (File* const file = Open(name)) {
                    EXPECT_TRUE(file->IsOpen());
                    table_->Release(*file);
                }
            EXPECT_STREQ(manager_->BrokenPromise(), nullptr);
            calls = disk_.calls;
            disk_.failures = 0;
            int failed = 0;
            for (const char* name : {"a", "b", "c", "d"}) {
                File* const file = Open(name);
                failed += file ? 0 : 1;
                if (file) table_->Release(*file);
            }
            EXPECT_LE(failed, code == EMFILE ? 0 : 1);
            EXPECT_LE(manager_->OpenFiles(), 2);
            EXPECT_STREQ(manager_->BrokenPromise(), nullptr);
        }
    }
}

TEST_F(PtcFileManager, ManyThreadsShareOneObjectForEachName) {
    constexpr int kThreads = 8, kNames = 40;
    Make(kThreads, 1024);
    std::vector<std::vector<File*>> seen(kThreads);
    std::atomic<int> openers{0};
    RunTogether(kThreads, [&](int id) {
        ThreadFiles table(manager_);
        FakeOpener opener(&disk_);
        for (int i = 0; i < kNames; ++i) {
            bool opened = false;
            seen[static_cast<std::size_t>(id)].push_back(
                table.Open(std::to_string(i).c_str(), opener, &opened));
            if (opened) ++openers;
        }
    });
    for (const auto& files : seen) EXPECT_EQ(files, seen[0]);
    EXPECT_EQ(disk_.opens, kNames);
    EXPECT_EQ(openers, kNames);
}

// Everything at once: a limit below the number of files, failures, threads that come and go.
TEST_F(PtcFileManager, KeepsItsPromisesUnderAnyInterleaving) {
    constexpr int kThreads = 8, kGenerations = 8, kRounds = 10'000;
    disk_.changes = true;
    disk_.code = EIO;
    Make(kThreads, 2);
    for (const char* name : {"0", "1", "2", "3"}) table_->Release(*Open(name));
    disk_.fail_every = 7;  // from here on only closing and reopening fail, so files recover
    std::atomic<int> unusable{0};
    const auto render = [&](unsigned seed) {
        std::mt19937 random(seed);
        ThreadFiles table(manager_);
        FakeOpener opener(&disk_);
        std::vector<FakeFile*> used;
        for (int round = 0; round < kRounds; ++round) {
            if (used.size() < 3 && random() % 2 == 0) {
                bool opened;
                auto* file = static_cast<FakeFile*>(
                    table.Open(std::to_string(random() % 4).c_str(), opener, &opened));
                if (!file) continue;
                ++file->users;
                used.push_back(file);
                if (!file->IsOpen() || !file->IsUsable()) ++unusable;
            } else if (!used.empty()) {
                --used.back()->users;
                table.Release(*used.back());
                used.pop_back();
            }
        }
        for (FakeFile* file : used) --file->users;  // their holds end with the table
    };
    RunLives(kThreads, kGenerations, render);
    EXPECT_EQ(unusable, 0);
    EXPECT_EQ(disk_.opens, 4);
    EXPECT_GT(disk_.reopens, 0);
    disk_.fail_every = 0;
    for (const char* name : {"0", "1", "2", "3"}) table_->Release(*Open(name));
    EXPECT_EQ(manager_->OpenFiles(), 2);
}

TEST(PtcFileManagerLife, EndsBeforeItsThreadsDo) {
    FakeDisk disk;
    const auto open = [&](const char* name) {
        FakeOpener opener(&disk);
        bool opened = false;
        UtFileManager::Get()->Open(name, opener, &opened);
    };
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(UtFileManager::Get(), nullptr) << "nobody has made one";
        UtFileManager::Create(8, 16, 4);
        UtFileManager::Create(1, 999, 4);  // too late
        ASSERT_NE(UtFileManager::Get(), nullptr);
        EXPECT_EQ(UtFileManager::Get()->Manager().GetSizes().limit, 16);
        std::barrier step(2);
        std::thread outliving([&] {
            open("a");
            step.arrive_and_wait();
            step.arrive_and_wait();
            EXPECT_EQ(UtFileManager::Get(), nullptr);
        });
        open("b");
        step.arrive_and_wait();
        UtFileManager::Shutdown();
        EXPECT_EQ(disk.open_now, 0) << "a file outlives the manager";
        step.arrive_and_wait();
        outliving.join();
    }
    {  // a thread that is just ending keeps the manager, but no handle alive
        UtFileManager::Create(1, 1, 4);
        std::barrier closing(2);
        std::thread ending([&] { open("a"); });
        ending.join();
        FakeOpener opener(&disk);
        bool opened = false;
        File* const used = UtFileManager::Get()->Open("used", opener, &opened);
        ending = std::thread([&] {
            open("a");
            disk.at_close = &closing;
        });
        closing.arrive_and_wait();
        UtFileManager::Shutdown();
        EXPECT_TRUE(used->HasOutlivedManager());
        EXPECT_FALSE(used->IsOpen());
        UtFileManager::ReleaseOutlived(*used);
        closing.arrive_and_wait();
        ending.join();
        EXPECT_EQ(disk.open_now, 0);
    }
    for (int round = 0; round < 50; ++round) {  // threads may end meanwhile
        UtFileManager::Create(8, 2, 4);
        std::barrier used(5);
        std::vector<std::jthread> threads;
        for (const char* name : {"a", "b", "c", "d"})
            threads.emplace_back([&, name] {
                open(name);
                used.arrive_and_wait();
            });
        used.arrive_and_wait();
        UtFileManager::Shutdown();
        threads.clear();  // joins
        ASSERT_EQ(disk.open_now, 0);
    }
}

}  // namespace
