// The caches beside a model of them: one thread, random operations, the same states, lists and
// counts after each.

#include <gtest/gtest.h>

#include <deque>
#include <list>
#include <map>
#include <optional>
#include <random>
#include <vector>

#include "ptc/thread_cache.h"
#include "tests/ptc/fake_source.h"
#include "util/message.h"

using BlockKey = std::pair<std::uint32_t, std::int64_t>;

/// What the tests see of the caches' insides.
struct PtcCacheView {
    static BlockKey KeyOf(const PtcCacheBlock& block) { return {block.identity, block.index}; }

    static std::vector<BlockKey> Idle(const PtcSharedCache& cache) UTIL_NO_THREAD_ANALYSIS {
        std::vector<BlockKey> keys;
        for (const auto* block = cache.idle_head_; block; block = block->reuse_next)
            keys.push_back(KeyOf(*block));
        return keys;
    }
    static std::map<BlockKey, std::uint32_t> Holders(const PtcSharedCache& cache) {
        std::map<BlockKey, std::uint32_t> holders;
        for (std::size_t bucket = 0; bucket <= cache.bucket_mask_; ++bucket)
            for (const auto* block = cache.heads_[bucket]; block; block = block->chain_next)
                holders[KeyOf(*block)] = block->state.Holders();
        return holders;
    }
    static std::int32_t Allocated(const PtcSharedCache& cache) UTIL_NO_THREAD_ANALYSIS {
        return cache.allocated_;
    }
    /// `count`: how many there are once the first lookup has made them.
    static std::vector<BlockKey> Slots(const PtcThreadTable& table, std::size_t count) {
        EXPECT_TRUE(table.mask_ + 1 == count || !table.made_);
        std::vector<BlockKey> keys(count, BlockKey{kNoFile, kNoIndex});
        for (std::size_t slot = 0; slot <= table.mask_; ++slot)
            if (table.slots_[slot].block) keys[slot] = KeyOf(*table.slots_[slot].block);
        return keys;
    }
    static std::int32_t Held(const PtcThreadTable& table) { return table.held_; }
    static std::size_t Cursor(const PtcThreadTable& table) { return table.cursor_; }
};

namespace {

constexpr BlockKey kNoKey{kNoFile, kNoIndex};

/// A shared point cache, written down plainly.
struct ModelCache {
    struct Entry {
        BlockKey key = kNoKey;
        int state = 1;
        int floats = 0;
        bool has_records = false;
    };

    explicit ModelCache(int blocks) : capacity(blocks), entries(static_cast<std::size_t>(blocks)) {
        std::size_t buckets = 1;
        while (buckets < 2 * entries.size()) buckets *= 2;
        memory = 64 * blocks + 8 * static_cast<std::int64_t>(buckets);
        allocated = std::min(capacity, 1024);
    }

    Entry* Get(const FakeSource& file, std::int64_t first) {
        const BlockKey key{file.Identity(), first};
        if (const auto found = by_key.find(key); found != by_key.end()) {
            ++hits;
            if (found->second->state++ == 1) idle.remove(found->second);
            return found->second;
        }
        ++misses;
        Entry* entry;
        if (used < capacity) {
            entry = &entries[static_cast<std::size_t>(used++)];
            if (used > allocated) allocated += std::min(capacity - allocated, 1024);
        } else if (!idle.empty()) {
            entry = idle.back();
            idle.pop_back();
        } else {
            return nullptr;
        }
        if (entry->key != kNoKey) by_key.erase(entry->key);
        entry->key = kNoKey;
        if (!entry->has_records) memory += 10240;
        entry->has_records = true;
        const int more = std::max(0, file.FloatsPerPoint() - entry->floats);
        entry->floats += more;
        memory += more * 256 * 4;
        read += 256;
        if (file.fails || file.has_no_memory || first < 0 || first >= file.PointCount()) {
            entry->state = 1;
            idle.push_back(entry);
            return nullptr;
        }
        entry->state = 2;
        entry->key = key;
        by_key[key] = entry;
        return entry;
    }
    void Release(Entry* entry) {
        if (--entry->state == 1) idle.push_front(entry);
    }

    int capacity;
    std::vector<Entry> entries;
    int used = 0;  ///< entries that ever held data; the others are free
    int allocated;
    std::map<BlockKey, Entry*> by_key;
    std::list<Entry*> idle;  ///< released last at the front
    std::int64_t memory;
    unsigned long hits = 0, misses = 0, read = 0;
};

/// A thread's table, likewise.
struct ModelTable {
    ModelTable(ModelCache& shared, int blocks) : cache(shared), capacity(blocks) {
        std::size_t slot_count = 1;
        while (slot_count < static_cast<std::size_t>(capacity)) slot_count *= 2;
        slots.resize(2 * slot_count);
    }

    bool Get(const FakeSource& file, std::int64_t point) {
        ++lookups;
        const std::int64_t first = point - (((point % 256) + 256) % 256);
        const auto hash =
            file.Identity() * std::uint64_t{99} + static_cast<std::uint64_t>(first / 256) * 37;
        const std::size_t slot = hash % slots.size();
        if (slots[slot] && slots[slot]->key == BlockKey{file.Identity(), first}) {
            ++hits;
            return true;
        }
        Let(slot);
        slots[slot] = cache.Get(file, first);
        if (!slots[slot]) return false;
        if (Held() == capacity) {
            do cursor = (cursor + 1) % slots.size();
            while (!slots[cursor] || cursor == slot);
            Let(cursor);
        }
        return true;
    }
    void Let(std::size_t slot) {
        if (slots[slot]) cache.Release(slots[slot]);
        slots[slot] = nullptr;
    }
    void ReleaseAll() {
        for (std::size_t slot = 0; slot < slots.size(); ++slot) Let(slot);
    }
    int Held() const {
        return static_cast<int>(slots.size() - static_cast<std::size_t>(std::count(
                                                   slots.begin(), slots.end(), nullptr)));
    }

    ModelCache& cache;
    int capacity;
    std::vector<ModelCache::Entry*> slots;
    std::size_t cursor = 0;
    unsigned long lookups = 0, hits = 0;
};

struct ModelCase {
    std::string name;
    int capacity;
    int per_thread;
    int tables;
    int operations;
};

class PtcCacheModel : public testing::TestWithParam<ModelCase> {
protected:
    PtcCacheModel() {
        MsgSetHandler([](int, int, const char*) { return 0; }, 0);
        for (int i = 0; i < GetParam().tables; ++i) {
            tables_.emplace_back(cache_, GetParam().per_thread, counts_);
            models_.emplace_back(model_, GetParam().per_thread);
        }
    }
    ~PtcCacheModel() override { MsgSetHandler(nullptr, 0); }

    /// Random walks in random files, with excursions behind and before the points.
    std::int64_t NextPoint(const FakeSource& file) {
        switch (random_() % 8) {
            case 0:
                place_ = static_cast<std::int64_t>(random_() % 100'000);
                break;
            case 1:
                place_ -= 300;
                break;
            case 2:
                return static_cast<std::int64_t>(random_() % 1000) - 500;
            default:
                place_ += 90;
                break;
        }
        return place_ % (file.PointCount() + 300);
    }

    void Look(FakeSource& file, std::size_t table) {
        const std::int64_t point = NextPoint(file);
        const PtcPoint* const found = tables_[table].Get(file, point);
        ASSERT_EQ(found != nullptr, models_[table].Get(file, point)) << "point " << point;
        ASSERT_TRUE(!found || file.IsPoint(*found, point)) << "point " << point;
    }

    void Operate() {
        if (random_() % 4 == 0) file_ = random_() % files_.size();
        FakeSource& file = files_[file_];
        const std::size_t table = random_() % tables_.size();
        switch (random_() % 100) {
            case 0:
                file.fails = !file.fails;
                break;
            case 1:
                file.has_no_memory = file.fails && !file.has_no_memory;
                break;
            case 2:
                file.Rewrite();
                break;
            case 3:  // the table's thread ends
                tables_[table].ReleaseAll();
                models_[table].ReleaseAll();
                break;
            case 4:
            case 5: {  // somebody holds a block directly, for a while
                const std::int64_t first = PtcPointCache::FirstOf(NextPoint(file));
                if (held_.size() < 5) {
                    PtcCacheBlock* const block = cache_.Get({file, first, nullptr}, counts_);
                    ModelCache::Entry* const entry = model_.Get(file, first);
                    ASSERT_EQ(block != nullptr, entry != nullptr);
                    if (block) held_.push_back({block, entry});
                } else {
                    cache_.Release(*held_.front().first);
                    model_.Release(held_.front().second);
                    held_.pop_front();
                }
                break;
            }
            default:
                Look(file, table);
        }
    }

    void Compare() {
        std::vector<BlockKey> idle;
        for (const auto* entry : model_.idle) idle.push_back(entry->key);
        ASSERT_EQ(PtcCacheView::Idle(cache_), idle);
        std::map<BlockKey, std::uint32_t> holders;
        for (const auto& [key, entry] : model_.by_key)
            holders[key] = static_cast<std::uint32_t>(entry->state - 1);
        ASSERT_EQ(PtcCacheView::Holders(cache_), holders);
        for (std::size_t i = 0; i < tables_.size(); ++i) {
            std::vector<BlockKey> slots;
            for (const auto* entry : models_[i].slots) slots.push_back(entry ? entry->key : kNoKey);
            ASSERT_EQ(PtcCacheView::Slots(tables_[i], slots.size()), slots);
            ASSERT_EQ(PtcCacheView::Held(tables_[i]), models_[i].Held());
            ASSERT_EQ(PtcCacheView::Cursor(tables_[i]), models_[i].cursor);
        }
        ASSERT_EQ(PtcCacheView::Allocated(cache_), model_.allocated);
        ASSERT_STREQ(cache_.BrokenPromise(), nullptr);
    }

    void CompareCounts() {
        for (PtcPointTable& table : tables_) table.CountUp();
        unsigned long lookups = 0;
        unsigned long hits = model_.hits;
        for (const ModelTable& table : models_) {
            lookups += table.lookups;
            hits += table.hits;
        }
        ASSERT_EQ(counts_.points.lookups.Value(), lookups);
        ASSERT_EQ(counts_.points.hits.Value(), hits);
        ASSERT_EQ(counts_.points.misses.Value(), model_.misses);
        ASSERT_EQ(counts_.points.read.Value(), model_.read);
        ASSERT_EQ(shared_.points.memory.Charged(), model_.memory);
    }

    std::deque<FakeSource> files_ = [] {
        std::deque<FakeSource> files;
        files.emplace_back(1, FakeShape{30'000, 0, 0});
        files.emplace_back(2, FakeShape{1'000, 3, 0});
        files.emplace_back(3, FakeShape{90'001, 1, 0});
        files.emplace_back(4, FakeShape{256, 7, 0});
        return files;
    }();
    std::mt19937 random_{7};
    std::size_t file_ = 0;
    std::int64_t place_ = 0;
    PtcCacheStats shared_;
    PtcCacheStats counts_;
    PtcPointCache cache_{GetParam().capacity, shared_};
    ModelCache model_{GetParam().capacity};
    std::deque<PtcPointTable> tables_;
    std::deque<ModelTable> models_;
    std::deque<std::pair<PtcCacheBlock*, ModelCache::Entry*>> held_;
};

TEST_P(PtcCacheModel, AgreesAfterEveryOperation) {
    for (int i = 0; i < GetParam().operations; ++i) {
        SCOPED_TRACE(i);
        Operate();
        CompareCounts();
        if (i % 50 == 0) Compare();
        if (HasFatalFailure()) return;
    }
    for (const auto& [block, entry] : held_) cache_.Release(*block);
    for (PtcPointTable& table : tables_) table.ReleaseAll();
    EXPECT_STREQ(cache_.BrokenPromise(), nullptr);
    // The walk was worth it: every block was used, and each way through Get() was gone often.
    EXPECT_EQ(model_.used, GetParam().capacity);
    EXPECT_GT(model_.misses, 1000u);
    EXPECT_GT(model_.hits, 100u);
    EXPECT_GT(counts_.points.hits.Value(), 1000u);
}

INSTANTIATE_TEST_SUITE_P(Sizes, PtcCacheModel,
                         testing::Values(ModelCase{"Smallest", 12, 3, 3, 100'000},      //
                                         ModelCase{"Roomy", 200, 60, 3, 100'000},       //
                                         ModelCase{"TooManyHolders", 6, 4, 3, 20'000},  //
                                         ModelCase{"TwoChunks", 1100, 1000, 1, 20'000}),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
