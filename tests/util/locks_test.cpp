// Locks and thread slots: exclusion, whose end frees what, and ends that race.

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "tests/support/together.h"
#include "util/base/tg_lock.h"
#include "util/base/thread_slot.h"

namespace {

template <class Lock, class Guard>
void ExpectExclusion(Lock&& lock) {
    int counted = 0;
    RunTogether(2, [&](int) {
        for (int i = 0; i < 20'000; ++i) {
            const Guard hold(lock);
            ++counted;
        }
    });
    EXPECT_EQ(counted, 40'000);
    const Guard hold(lock);
    std::thread([&] { EXPECT_FALSE(lock.TryLock()); }).join();
}

TEST(UtilLocks, AdmitOneThreadAtATime) {
    for (const int tries : {-1, 0, 1, TgMutex::kDefaultTries})
        ExpectExclusion<TgMutex, TgMutexGuard>(TgMutex(tries));
    ExpectExclusion<TgSpinByte, TgSpinGuard>(TgSpinByte());
}

/// A thing that counts how many of its kind live.
struct Counted {
    explicit Counted(std::atomic<int>& counter) : living(counter) { ++living; }
    ~Counted() { --living; }
    std::atomic<int>& living;
};

TEST(UtilThreadSlot, ThingsEndWithTheirThreadOrWithTheSlotAlsoWhenTheseRace) {
    for (const int kept : {0, 1}) {
        std::atomic<int> living{0}, spawning{2};
        ThreadSlot<Counted> slot(kept ? ThreadSlotEnd::kKeep : ThreadSlotEnd::kFreeWithThread);
        const auto use = [&] {
            return slot.FindOrMake([&] { return std::make_unique<Counted>(living); });
        };
        EXPECT_EQ(use(), use());
        std::thread(use).join();
        EXPECT_EQ(living, 1 + kept);
        slot.Drop();
        EXPECT_EQ(slot.Find(), nullptr);
        EXPECT_EQ(living, kept);
        RunTogether(3, [&](int id) {
            while (id == 0 && spawning) slot.DropAll();
            for (int round = 0; id > 0 && round < 200; ++round) std::thread(use).join();
            if (id > 0) --spawning;
        });
        use();
        slot.DropAll();
        EXPECT_EQ(living, 0);
    }
}

}  // namespace
