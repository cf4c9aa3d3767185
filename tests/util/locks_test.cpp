// Locks and thread slots: exclusion, whose end frees what, and ends that race.

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "util/tg_lock.h"
#include "util/thread_slot.h"

static void PrintTo(ThreadSlotEnd end, std::ostream* out) {
    *out << (end == ThreadSlotEnd::kKeep ? "Keep" : "WithThread");
}

namespace {

static_assert(!std::is_copy_constructible_v<TgMutex> && !std::is_copy_assignable_v<TgMutex>);
static_assert(!std::is_copy_constructible_v<TgSpinByte>);

template <class Lock, class Guard>
void ExpectExclusion(Lock& lock) {
    constexpr int kRounds = 20'000;
    int counted = 0;
    const auto count = [&] {
        for (int i = 0; i < kRounds; ++i) {
            const Guard hold(lock);
            ++counted;
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(counted, 2 * kRounds);

    const Guard hold(lock);
    std::thread([&] { EXPECT_FALSE(lock.TryLock()); }).join();
}

TEST(UtilLocks, AdmitOneThreadAtATime) {
    for (const int tries : {-1, 0, 1, TgMutex::kDefaultTries}) {
        TgMutex mutex(tries);
        ExpectExclusion<TgMutex, TgMutexGuard>(mutex);
    }
    TgSpinByte spin;
    ExpectExclusion<TgSpinByte, TgSpinGuard>(spin);
}

/// A thing that counts how many of its kind live.
struct Counted {
    explicit Counted(std::atomic<int>& counter) : living(counter) { ++living; }
    ~Counted() { --living; }
    std::atomic<int>& living;
};

class UtilThreadSlot : public testing::TestWithParam<ThreadSlotEnd> {
protected:
    void Use() {
        Counted* const mine = Make();
        ASSERT_NE(mine, nullptr);
        EXPECT_EQ(Make(), mine);
        EXPECT_EQ(slot_->Find(), mine);
    }
    Counted* Make() {
        return slot_->FindOrMake([this] { return std::make_unique<Counted>(living_); });
    }

    std::atomic<int> living_{0};
    std::unique_ptr<ThreadSlot<Counted>> slot_ = std::make_unique<ThreadSlot<Counted>>(GetParam());
};

TEST_P(UtilThreadSlot, ThingsEndWithTheirThreadOrWithTheSlot) {
    const int kept = GetParam() == ThreadSlotEnd::kKeep ? 1 : 0;
    Use();
    for (int i = 1; i <= 3; ++i) {
        std::thread([this] { Use(); }).join();
        EXPECT_EQ(living_, 1 + kept * i);
    }
    slot_->Drop();
    EXPECT_EQ(slot_->Find(), nullptr);
    EXPECT_EQ(living_, kept * 3);
    Use();
    slot_->DropAll();
    EXPECT_EQ(living_, 0);
    Use();
    slot_.reset();
    EXPECT_EQ(living_, 0);
}

TEST_P(UtilThreadSlot, ThreadsMayEndWhileEverythingIsDropped) {
    std::atomic<bool> over{false};
    std::vector<std::thread> spawners;
    spawners.reserve(2);
    for (int i = 0; i < 2; ++i)
        spawners.emplace_back([&] {
            for (int round = 0; round < 200; ++round) std::thread([this] { Make(); }).join();
        });
    std::thread dropper([&] {
        while (!over) slot_->DropAll();
    });
    for (std::thread& spawner : spawners) spawner.join();
    over = true;
    dropper.join();
    slot_->DropAll();
    EXPECT_EQ(living_, 0);
}

INSTANTIATE_TEST_SUITE_P(Ends, UtilThreadSlot,
                         testing::Values(ThreadSlotEnd::kKeep, ThreadSlotEnd::kFreeWithThread),
                         [](const auto& tested) {
                             return tested.param == ThreadSlotEnd::kKeep ? "Keep" : "WithThread";
                         });

}  // namespace
