// Files without a disk: they open, close and reopen as a test wants it, and everything is counted.

#pragma once

#include <atomic>
#include <barrier>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include "ptc/files/file_manager.h"

/// What all files of a test share.
struct FakeDisk {
    std::atomic<int> calls{0};  ///< opens, closes and reopens, those that failed included
    std::atomic<int> opens{0};
    std::atomic<int> reopens{0};
    std::atomic<int> open_now{0};
    std::atomic<int> most_open{0};
    std::atomic<int> closed_while_used{0};
    std::set<std::string> pinned;  ///< names of files that stay open
    bool changes = false;          ///< files are found changed when they are reopened
    /// Two meetings in the next close(): before and behind whatever the test does meanwhile.
    std::atomic<std::barrier<>*> at_close{nullptr};

    /// Lets `count` calls fail with `error`, after as many as `behind`. Answers the calls so far.
    int FailNext(int count, int error, int behind = 0) {
        fail_from = calls + behind;
        failures = count;
        code = error;
        return calls;
    }
    int fail_from = 0;
    int failures = 0;
    int code = 0;
    /// Or one call in as many; 0: none.
    int fail_every = 0;

    int Fail() {
        const int call = calls.fetch_add(1);
        if (fail_every > 0 && call % fail_every == 0) return code;
        return call >= fail_from && call < fail_from + failures ? code : 0;
    }
    void CountOpen() {
        const int now = ++open_now;
        for (int most = most_open; most < now && !most_open.compare_exchange_weak(most, now);) {
        }
    }
};

class FakeFile : public UtFileManager::File {
public:
    FakeFile(const char* name, FakeDisk* disk) : File(name), disk_(disk) {
        StayOpen(disk->pinned.contains(name));
    }
    ~FakeFile() override {
        if (IsOpen()) --disk_->open_now;
    }

    void Open() {
        if (!Failed(Try())) {
            ++disk_->opens;
            disk_->CountOpen();
            MarkOpen();
        } else {
            MarkUnusable();
        }
    }
    AccessStatus close() noexcept override {
        if (users > 0) ++disk_->closed_while_used;
        if (std::barrier<>* const meeting = disk_->at_close.exchange(nullptr)) {
            meeting->arrive_and_wait();
            meeting->arrive_and_wait();
        }
        const AccessStatus status = Try();
        if (Failed(status)) return status;
        --disk_->open_now;
        MarkClosed();
        return status;
    }
    AccessStatus reopen() noexcept override {
        const AccessStatus status = Try();
        if (Failed(status)) return status;
        if (disk_->changes && !RenewIdentity()) return AccessStatus::kUnreadable;
        ++disk_->reopens;
        disk_->CountOpen();
        MarkOpen();
        return status;
    }

    void Outlive() noexcept override {
        if (IsOpen()) --disk_->open_now;
        MarkClosed();
    }

    std::atomic<int> users{0};  ///< kept by the test: threads between Open() and Release()

private:
    AccessStatus Try() {
        std::this_thread::yield();  // a disk takes its time
        const int error = disk_->Fail();
        return Remember(error == 0 ? AccessStatus::kOk
                                   : ToAccessStatus(CloudStatus::kFailed, error));
    }

    FakeDisk* disk_;
};

class FakeOpener : public UtFileManager::Opener {
public:
    explicit FakeOpener(FakeDisk* disk) : disk_(disk) {}
    std::unique_ptr<UtFileManager::File> open(const char* name) noexcept override {
        auto file = std::make_unique<FakeFile>(name, disk_);
        file->Open();
        return file;
    }
    const char* type() const override { return "fake"; }

private:
    FakeDisk* disk_;
};
