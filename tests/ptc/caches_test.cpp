// One thread and its caches: what is counted, charged, cleared and reported.

#include <gtest/gtest.h>

#include <optional>

#include "ptc/cache/cache_set.h"
#include "tests/ptc/fake_source.h"
#include "tests/support/scratch.h"
#include "tests/util/message_recorder.h"
#include "util/host/config.h"
#include "util/host/runtime.h"

namespace {

constexpr FakeShape kThousandPoints{1000, 3, 2};
constexpr FakeShape kManyFloats{100'000, 9, 7};

/// Two caches of a few blocks and the tables of one thread.
class PtcCaches : public MessageRecorder {
protected:
    static constexpr std::int32_t kBlocks = 5;

    const PtcPoint* Point(FakeSource& file, std::int64_t index) {
        return point_table_->Get(file, index);
    }
    const PtcNode* Children(FakeSource& file, std::int64_t reference) {
        std::int64_t children[kNodeChildren];
        FakeSource::ChildrenOf(reference, children);
        return node_table_->Get(file, reference, children);
    }
    void ExpectCounts(const PtcCacheFigures& figures, unsigned long lookups, unsigned long hits,
                      unsigned long misses) {
        const unsigned long found =
            &figures == &counts_.points ? point_table_->Found() : node_table_->Found();
        EXPECT_EQ(figures.lookups.Value() + found, lookups);
        EXPECT_EQ(figures.hits.Value() + found, hits);
        EXPECT_EQ(figures.misses.Value(), misses);
    }

    PtcCacheStats shared_;
    PtcCacheStats counts_;
    std::optional<PtcPointCache> points_{std::in_place, kBlocks, shared_};
    std::optional<PtcNodeCache> nodes_{std::in_place, kBlocks, shared_};
    std::optional<PtcPointTable> point_table_{std::in_place, *points_, 3, counts_};
    std::optional<PtcNodeTable> node_table_{std::in_place, *nodes_, 3, counts_};
};

TEST_F(PtcCaches, ABlockThatAReaderRevivesAtThisMomentIsPassedOver) {
    FakeSource file(1, kManyFloats);
    PtcCacheStats charged;
    PtcPointCache cache(2, charged);
    PtcCacheBlock* const oldest = cache.Get({file, 0, nullptr}, counts_);
    PtcCacheBlock* const next = cache.Get({file, 256, nullptr}, counts_);
    ASSERT_TRUE(oldest && next);
    cache.Release(*oldest);
    cache.Release(*next);
    // A reader has found the oldest at this moment.
    ASSERT_TRUE(oldest->state.TryHold());
    PtcCacheBlock* const other = cache.Get({file, 512, nullptr}, counts_);
    EXPECT_EQ(other, next);
    EXPECT_TRUE(oldest->state.Drop());
    if (other) cache.Release(*other);
    EXPECT_STREQ(cache.BrokenPromise(), nullptr);
}

TEST_F(PtcCaches, AColdBlockIsReadOnce) {
    FakeSource file(1, kThousandPoints);
    EXPECT_TRUE(file.IsPoint(*Point(file, 3), 3));
    EXPECT_TRUE(file.IsPoint(*Point(file, 255), 255));
    EXPECT_TRUE(file.AreChildren(Children(file, 8), 8));
    EXPECT_TRUE(file.AreChildren(Children(file, 8), 8));
    ExpectCounts(counts_.points, 2, 1, 1);
    ExpectCounts(counts_.nodes, 2, 1, 1);
    EXPECT_EQ(file.reads, 2);
    EXPECT_EQ(counts_.points.read.Value(), 256u);
    EXPECT_EQ(counts_.nodes.read.Value(), 5u);  // of 8, every third is absent
    EXPECT_GT(counts_.cache_read_time.Ticks(), 0);
}

// Two blocks whose numbers have the same low 32 bits.
TEST_F(PtcCaches, BlocksWithoutAKeyAreHeldLikeOthers) {
    constexpr std::int64_t kFar = (std::int64_t{256} << 32) + 1280;
    FakeSource file(1, {2 * kFar, 1, 0});
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(file.IsPoint(*Point(file, 1283), 1283));
        EXPECT_TRUE(file.IsPoint(*Point(file, kFar + 3), kFar + 3));
        EXPECT_TRUE(file.IsPoint(*Point(file, kFar + 4), kFar + 4));
    }
    ExpectCounts(counts_.points, 6, 4, 2);
    EXPECT_EQ(point_table_->Found() + counts_.points.hits.Value(), 4u);
}

TEST_F(PtcCaches, TheLastBlockIsShortAndCountsInFull) {
    FakeSource file(1, kThousandPoints);
    EXPECT_TRUE(file.IsPoint(*Point(file, 999), 999));
    EXPECT_EQ(file.last_count, 232);
    EXPECT_EQ(counts_.points.read.Value(), 256u);
}

TEST_F(PtcCaches, MemoryIsChargedAsItIsTakenAndGivenBackInTheEnd) {
    FakeSource file(1, kThousandPoints);
    const std::int64_t fixed = kBlocks * 64 + 16 * 8;  // 16 buckets
    EXPECT_EQ(shared_.points.memory.Charged(), fixed);
    EXPECT_EQ(shared_.points.slots.Value(), 5u);
    Point(file, 0);
    Children(file, 1);
    EXPECT_EQ(shared_.points.memory.Charged(), fixed + 10240 + 256 * 3 * 4);
    EXPECT_EQ(shared_.nodes.memory.Charged(), fixed + 832 + 8 * 2 * 4);

    FakeSource large(2, kManyFloats);
    for (int i = 1; i <= 4 * kBlocks; ++i) Point(large, i * 256);  // every block is used again
    const std::int64_t full = fixed + kBlocks * (10240 + 256 * 9 * 4);

    point_table_.reset();
    node_table_.reset();
    points_.reset();
    nodes_.reset();
    shared_.update();
    EXPECT_EQ(shared_.points.memory.Current(), 0);
    EXPECT_EQ(shared_.points.memory.Peak(), full);
    EXPECT_EQ(shared_.nodes.memory.Current(), 0);
}

TEST_F(PtcCaches, UnreadableFilesAreToldOnceATryAndCostOneBlock) {
    FakeSource good(1, kManyFloats);
    FakeSource bad(2, kThousandPoints, "bad.ptc");
    FakeSource nameless(3, kThousandPoints);
    bad.fails = true;
    nameless.fails = true;
    for (int i = 0; i < kBlocks; ++i) Point(good, i * 256);
    for (int i = 0; i < 2 * kBlocks; ++i) EXPECT_EQ(Point(bad, 256 * (i % 4)), nullptr);
    EXPECT_EQ(Taken(), Events(10, "4/2 T43051 bad.ptc"));

    EXPECT_EQ(Children(nameless, 4), nullptr);
    EXPECT_EQ(Taken(), Events{"4/2 T43052 <nofile>"});
    nameless.has_no_memory = true;
    for (int i = 0; i < 2 * kBlocks; ++i) EXPECT_EQ(Children(nameless, 4), nullptr);
    EXPECT_EQ(Taken(), Events()) << "that is not the file's fault";

    good.reads = 0;
    for (int i = 0; i < kBlocks; ++i) EXPECT_NE(Point(good, i * 256), nullptr);
    EXPECT_EQ(good.reads, 1);  // of the block that the first failure took

    bad.fails = false;
    EXPECT_TRUE(bad.IsPoint(*Point(bad, 0), 0));
    ExpectCounts(counts_.points, 21, 4, 17);
    EXPECT_STREQ(points_->BrokenPromise(), nullptr);
    EXPECT_STREQ(nodes_->BrokenPromise(), nullptr);
}

TEST_F(PtcCaches, PointsOutsideTheFileAreUnreadableWithoutAskingIt) {
    FakeSource file(1, kThousandPoints, "f");
    for (const std::int64_t index : {std::int64_t{-1}, std::int64_t{1024}, INT64_MIN, INT64_MAX})
        EXPECT_EQ(Point(file, index), nullptr) << index;
    EXPECT_EQ(file.reads, 0);
    EXPECT_EQ(Taken().size(), 4u);
}

// --- the set ---

TEST(PtcCacheBudget, FollowsTheOptions) {
    const ScratchFolder folder;
    const auto read = [&](const std::string& options) {
        ConfigReadFile(WriteTo(folder.File("options.ini"), options).c_str());
    };
    const auto expect = [](const PtcCacheSizes& sizes, std::array<int, 4> numbers) {
        EXPECT_EQ((std::array{sizes.points.per_thread, sizes.points.total, sizes.nodes.per_thread,
                              sizes.nodes.total}),
                  numbers);
    };
    expect(CacheSizes(7, 0, 0), {787, 6296, 8623, 68984});
    runtime::SetThreadCount(7);
    expect(CacheSizes(0, -5, 0), {787, 6296, 8623, 68984});
    expect(CacheSizes(7, 30, 10240), {3, 21, 8623, 68984});
    read("/lumrd/pointmemory 30\n/lumrd/octreememory -7\n");
    expect(CacheSizes(7, 0, 0), {3, 21, 8623, 68984});
    expect(CacheSizes(7, 10240, 0), {787, 6296, 8623, 68984});
    for (const char* const on : {"1", "-1", "9999999999999999999999"}) {
        read("/lumrd/constantmemorylimit " + std::string(on) + "\n/lumrd/pointmemory none\n");
        expect(CacheSizes(7, 0, 0), {98, 787, 1077, 8623});
    }
    read("/lumrd/constantmemorylimit off\n");
    expect(CacheSizes(7, 0, 0), {787, 6296, 8623, 68984});
}

TEST(PtcCacheSet, AThreadThatEndsLeavesItsRecordToTheNext) {
    PtcCacheSet set(CacheSizes(2, 1, 1));
    FakeSource file(1, kThousandPoints);
    ptc_held::Table fronts[2] = {};
    PtcThreadCache* const first = set.TakeRecord(fronts[0]);
    PtcThreadCache* const second = set.TakeRecord(fronts[1]);
    EXPECT_EQ(first->index, 0u);
    EXPECT_EQ(second->index, 1u);
    first->GetPoint(file, 0);
    EXPECT_NE(fronts[0].slots, ptc_held::nothing.slots);
    set.GiveBack(*first);
    EXPECT_EQ(fronts[0].slots, ptc_held::nothing.slots);
    EXPECT_EQ(set.TakeRecord(fronts[0]), first);
    first->GetPoint(file, 0);  // not held any more, but still in the shared cache
    second->GetPoint(file, 300);

    PtcCacheStats total;
    set.MergeStats(&total);
    EXPECT_EQ(total.points.lookups.Value(), 3u);
    EXPECT_EQ(total.points.hits.Value(), 1u);
    EXPECT_EQ(total.points.slots.Value(), 6u);
    EXPECT_EQ(set.BrokenPromise(), nullptr);
    set.TakeFronts();
    EXPECT_EQ(fronts[1].slots, ptc_held::nothing.slots);
}

TEST(PtcCacheSet, TheFirstSizesCountUntilItIsDestroyed) {
    const auto slots = [] {
        PtcCacheStats total;
        EXPECT_TRUE(MergeCacheStats(&total));
        return total.points.slots.Value();
    };
    PtcCacheStats none;
    DestroyCaches();
    EXPECT_FALSE(MergeCacheStats(&none));
    ConfigureCaches(2, 1, 1);
    EXPECT_TRUE(EnsureCaches());
    ConfigureCaches(4, 1, 1);
    EXPECT_EQ(slots(), 6u);

    FakeSource file(1, kThousandPoints);
    EXPECT_NE(ThisThreadCache()->GetPoint(file, 0), nullptr);
    DestroyCaches();
    ConfigureCaches(4, 1, 1);
    EXPECT_NE(ThisThreadCache()->GetPoint(file, 0), nullptr);
    EXPECT_EQ(file.reads, 2);
    EXPECT_EQ(slots(), 12u);
    DestroyCaches();

    runtime::SetThreadCount(7);
    EXPECT_TRUE(EnsureCaches());
    EXPECT_EQ(slots(), 6296u);
    DestroyCaches();
}

}  // namespace
