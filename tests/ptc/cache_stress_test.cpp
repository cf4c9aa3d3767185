// Many threads in the smallest caches: right answers, exact counts, no broken promise.

#include <gtest/gtest.h>

#include <barrier>
#include <deque>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include "ptc/cache/cache_set.h"
#include "tests/ptc/fake_source.h"
#include "util/host/message.h"

namespace {

constexpr int kThreads = 8;
constexpr int kLives = 4;
constexpr int kReads = 2500;

std::atomic<std::int64_t> messages{0};

class CacheStress : public testing::Test {
protected:
    CacheStress() {
        messages = 0;
        MsgSetHandler([](int, int, const char*) { return static_cast<int>(++messages); }, 0);
        files_.emplace_back(1, FakeShape{9'000, 3, 1});
        files_.emplace_back(2, FakeShape{1'000, 0, 0});
        files_.emplace_back(3, FakeShape{60'001, 1, 5});
        files_.emplace_back(4, FakeShape{300, 11, 2});
        for (FakeSource& file : files_) file.is_slow = true;
        DestroyCaches();
        ConfigureCaches(kThreads, 1, 1);  // 24 blocks for 8 threads with 3 each
    }
    ~CacheStress() override {
        DestroyCaches();
        MsgSetHandler(nullptr, 0);
    }

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
    void Note(bool is_right) {
        if (!is_right) ++wrong_;
    }

    std::deque<FakeSource> files_;
    std::atomic<int> wrong_{0};
    std::atomic<unsigned long> point_lookups_{0};
    std::atomic<unsigned long> node_lookups_{0};
};

TEST_F(CacheStress, ThreadsThatComeAndGoGetWhatTheFilesHold) {
    std::barrier start(kThreads);
    std::vector<std::jthread> crew;
    for (unsigned id = 0; id < kThreads; ++id)
        crew.emplace_back([&, id] {
            start.arrive_and_wait();
            for (unsigned life = 0; life < kLives; ++life)
                std::thread([&] { Live(id * kLives + life); }).join();
        });
    crew.clear();  // joins

    EXPECT_EQ(wrong_, 0);
    EXPECT_STREQ(BrokenCachePromise(), nullptr);
    PtcCacheStats total;
    ASSERT_TRUE(MergeCacheStats(&total));
    for (const PtcCacheFigures* figures : {&total.points, &total.nodes}) {
        EXPECT_EQ(figures->lookups.Value(), figures->hits.Value() + figures->misses.Value());
        EXPECT_GT(figures->misses.Value(), 1000u);
    }
    EXPECT_EQ(total.points.lookups.Value(), point_lookups_);
    EXPECT_EQ(total.nodes.lookups.Value(), node_lookups_);
    std::int64_t failures = 0;
    for (const FakeSource& file : files_) failures += file.failures;
    EXPECT_EQ(messages, failures);
    EXPECT_GT(failures, 100);
}

// All want the same few blocks at the same time: most reads happen twice, and one of the two
// blocks goes back.
TEST_F(CacheStress, ThreadsThatReadTheSameBlockShareIt) {
    constexpr int kRounds = 300;
    FakeSource& file = files_[2];
    std::barrier together(kThreads);
    std::vector<std::jthread> crew;
    for (int id = 0; id < kThreads; ++id)
        crew.emplace_back([&] {
            PtcThreadCache& cache = *ThisThreadCache();
            for (std::int64_t round = 0; round < kRounds; ++round) {
                together.arrive_and_wait();
                const std::int64_t index = round * 256 % file.PointCount();
                const PtcPoint* const point = cache.GetPoint(file, index);
                Note(point && file.IsPoint(*point, index));
            }
        });
    crew.clear();  // joins
    EXPECT_EQ(wrong_, 0);
    EXPECT_STREQ(BrokenCachePromise(), nullptr);
}

TEST_F(CacheStress, ThreadsMayEndWhileTheCachesAreDestroyed) {
    for (int round = 0; round < 20; ++round) {
        std::barrier done(kThreads + 1);
        std::vector<std::jthread> crew;
        for (int id = 0; id < kThreads; ++id)
            crew.emplace_back([&, id] {
                const PtcPoint* const point = ThisThreadCache()->GetPoint(files_[0], id * 700);
                Note(point && files_[0].IsPoint(*point, id * 700));
                done.arrive_and_wait();
            });
        done.arrive_and_wait();
        DestroyCaches();
        const PtcPoint* const point = ThisThreadCache()->GetPoint(files_[0], round);
        Note(point && files_[0].IsPoint(*point, round));
        crew.clear();  // joins
        EXPECT_STREQ(BrokenCachePromise(), nullptr);
    }
    EXPECT_EQ(wrong_, 0);
}

}  // namespace
