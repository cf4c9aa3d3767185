// Many threads in the smallest caches: right answers, exact counts, no broken promise.

#include <gtest/gtest.h>

#include <deque>
#include <memory>
#include <random>

#include "tests/ptc/fake_source.h"
#include "tests/ptc/stress.h"

namespace {

constexpr int kLives = 4;
constexpr int kReads = 2500;

class CacheStress : public Stress {
protected:
    CacheStress() {
        files_.emplace_back(1, FakeShape{9'000, 3, 1});
        files_.emplace_back(2, FakeShape{1'000, 0, 0});
        files_.emplace_back(3, FakeShape{60'001, 1, 5});
        files_.emplace_back(4, FakeShape{300, 11, 2});
        for (FakeSource& file : files_) file.is_slow = true;
        DestroyCaches();
        ConfigureCaches(kThreads, 1, 1);  // 24 blocks for 8 threads with 3 each
    }
    ~CacheStress() override { DestroyCaches(); }

    /// What one thread does in its life. Files but the first fail now and then.
    void Live(unsigned seed) {
        std::mt19937 random(seed);
        PtcThreadCache& cache = *ThisThreadCache();
        std::int64_t walk = 0;
        for (int i = 0; i < kReads; ++i) {
            FakeSource& file = files_[random() % files_.size()];
            const bool may_fail = &file != &files_.front();
            if (may_fail && random() % 40 == 0) file.fails = !file.fails;
            walk = random() % 50 == 0 ? static_cast<std::int64_t>(random()) : walk + 37;
            if (random() % 3 != 0) {
                const std::int64_t index = walk % file.PointCount();
                const PtcPoint* const point = cache.GetPoint(file, index);
                Note(point ? file.IsPoint(*point, index) : may_fail);
                ++point_lookups_;
            } else {
                const std::int64_t reference = walk % 100;
                std::int64_t children[kNodeChildren];
                FakeSource::ChildrenOf(reference, children);
                const PtcNode* const nodes = cache.GetNodeChildren(file, reference, children);
                Note(nodes ? file.AreChildren(nodes, reference) : may_fail);
                ++node_lookups_;
            }
        }
    }

    std::deque<FakeSource> files_;
    std::atomic<unsigned long> point_lookups_{0};
    std::atomic<unsigned long> node_lookups_{0};
};

TEST_F(CacheStress, ThreadsThatComeAndGoGetWhatTheFilesHold) {
    RunLives(kThreads, kLives, [&](unsigned seed) { Live(seed); });
    PtcCacheStats total;
    ExpectSound(&total);
    EXPECT_GT(total.points.misses.Value(), 1000u);
    EXPECT_GT(total.nodes.misses.Value(), 1000u);
    EXPECT_EQ(total.points.lookups.Value(), point_lookups_);
    EXPECT_EQ(total.nodes.lookups.Value(), node_lookups_);
    std::int64_t failures = 0;
    for (const FakeSource& file : files_) failures += file.failures;
    EXPECT_EQ(told_, failures);
    EXPECT_GT(failures, 100);
}

// All want the same few blocks at the same time: most reads happen twice, and one of the two
// blocks goes back.
TEST_F(CacheStress, ThreadsThatReadTheSameBlockShareIt) {
    constexpr int kRounds = 300;
    FakeSource& file = files_[2];
    std::barrier together(kThreads);
    RunTogether(kThreads, [&](int) {
        PtcThreadCache& cache = *ThisThreadCache();
        for (std::int64_t round = 0; round < kRounds; ++round) {
            together.arrive_and_wait();
            const std::int64_t index = round * 256 % file.PointCount();
            const PtcPoint* const point = cache.GetPoint(file, index);
            Note(point && file.IsPoint(*point, index));
        }
    });
    PtcCacheStats total;
    ExpectSound(&total);
}

TEST_F(CacheStress, ThreadsMayEndWhileTheCachesAreDestroyed) {
    for (int round = 0; round < 20; ++round) {
        std::barrier done(kThreads + 1);
        RunTogether(kThreads + 1, [&](int id) {
            const auto look = [&] {
                const PtcPoint* const point = ThisThreadCache()->GetPoint(files_[0], id * 700);
                Note(point && files_[0].IsPoint(*point, id * 700));
            };
            look();
            done.arrive_and_wait();
            if (id < kThreads) return;
            DestroyCaches();
            look();
        });
        EXPECT_STREQ(BrokenCachePromise(), nullptr);
    }
    EXPECT_EQ(wrong_, 0);
}

}  // namespace
