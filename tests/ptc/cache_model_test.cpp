// The caches beside a model of them: one thread, random operations, the same states, lists and
// counts after each.

#include <gtest/gtest.h>

#include <deque>
#include <list>
#include <map>
#include <optional>
#include <random>
#include <vector>

#include "ptc/cache/thread_cache.h"
#include "tests/ptc/fake_source.h"
#include "util/host/message.h"

using BlockKey = std::pair<std::uint32_t, std::int64_t>;

/// What the tests see of the caches' insides.
struct PtcCacheView {
    static BlockKey KeyOf(const PtcCacheBlock& block) { return {block.Identity(), block.Index()}; }

    static std::vector<BlockKey> Idle(const PtcSharedCache& cache) UTIL_NO_THREAD_ANALYSIS {
        std::vector<const PtcCacheBlock*> idle;
        cache.ForEachBlock([&](const PtcCacheBlock& block) {
            if (block.state.IsIdle() && !block.IsEmpty()) idle.push_back(&block);
        });
        std::sort(idle.begin(), idle.end(),
                  [](const auto* a, const auto* b) { return a->ReleasedAt() > b->ReleasedAt(); });
        for (const auto* block = cache.returned_head_; block; block = block->list_next)
            idle.push_back(block);
        std::vector<BlockKey> keys;
        for (const auto* block : idle) keys.push_back(KeyOf(*block));
        return keys;
    }
    static std::map<BlockKey, std::uint32_t> Holders(const PtcSharedCache& cache) {
        std::map<BlockKey, std::uint32_t> holders;
        for (std::size_t bucket = 0; bucket <= cache.bucket_mask_; ++bucket)
            for (const PtcCacheBlock* block = cache.heads_[bucket]; block;
                 block = block->chain_next)
                holders[KeyOf(*block)] = block->state.Holders();
        return holders;
    }
    /// `count`: how many there are once the first lookup has made them.
    static std::vector<BlockKey> Slots(const PtcThreadTable& table, std::size_t count) {
        EXPECT_TRUE(table.mask_ + 1 == count || !table.blocks_);
        std::vector<BlockKey> keys(count, BlockKey{kNoFile, kNoIndex});
        for (std::size_t slot = 0; table.blocks_ && slot <= table.mask_; ++slot)
            if (table.blocks_[slot]) keys[slot] = KeyOf(*table.blocks_[slot]);
        return keys;
    }
    static std::int32_t Held(const PtcThreadTable& table) { return table.held_; }
    static std::size_t Cursor(const PtcThreadTable& table) { return table.cursor_; }
};

namespace {

constexpr BlockKey kNoKey{kNoFile, kNoIndex};

/// A shared point cache, written down plainly. What memory is charged, BrokenPromise() checks.
struct ModelCache {
    struct Entry {
        BlockKey key = kNoKey;
        std::uint32_t holders = 0;
    };

    explicit ModelCache(std::size_t blocks) : entries(blocks) {}

    Entry* Get(const FakeSource& file, std::int64_t first) {
        const BlockKey key{file.Identity(), first};
        if (const auto found = by_key.find(key); found != by_key.end()) {
            ++hits;
            if (found->second->holders++ == 0) idle.remove(found->second);
            return found->second;
        }
        ++misses;
        Entry* entry = nullptr;
        if (used < entries.size()) {
            entry = &entries[used++];
        } else if (!idle.empty()) {
            entry = idle.back();
            idle.pop_back();
        } else {
            return nullptr;
        }
        by_key.erase(std::exchange(entry->key, kNoKey));
        if (file.fails || file.has_no_memory || first < 0 || first >= file.PointCount()) {
            idle.push_back(entry);
            return nullptr;
        }
        *entry = {key, 1};
        by_key[key] = entry;
        return entry;
    }
    void Release(Entry* entry) {
        if (--entry->holders == 0) idle.push_front(entry);
    }

    std::vector<Entry> entries;
    std::size_t used = 0;  ///< entries that ever held data; the others are free
    std::map<BlockKey, Entry*> by_key;
    std::list<Entry*> idle;                           ///< released last at the front
    unsigned long lookups = 0, hits = 0, misses = 0;  ///< of the tables, too
};

/// A thread's table, likewise.
struct ModelTable {
    ModelTable(ModelCache& shared, int blocks) : cache(shared), capacity(blocks) {
        std::size_t slot_count = 1;
        while (slot_count < static_cast<std::size_t>(capacity)) slot_count *= 2;
        slots.resize(2 * slot_count);
    }

    bool Get(const FakeSource& file, std::int64_t point) {
        ++cache.lookups;
        const std::int64_t first = point - (((point % 256) + 256) % 256);
        const auto hash =
            file.Identity() * std::uint64_t{99} + static_cast<std::uint64_t>(first / 256) * 37;
        const std::size_t slot = hash % slots.size();
        if (slots[slot] && slots[slot]->key == BlockKey{file.Identity(), first}) {
            ++cache.hits;
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
        const unsigned kind = random_() % 8;
        if (kind == 2) return static_cast<std::int64_t>(random_() % 1000) - 500;
        place_ = kind == 0 ? static_cast<std::int64_t>(random_() % 100'000)
                           : place_ + (kind == 1 ? -300 : 90);
        return place_ % (file.PointCount() + 300);
    }

    void Look(FakeSource& file, std::size_t table) {
        const std::int64_t point = NextPoint(file);
        const PtcPoint* const found = tables_[table].Get(file, point);
        ASSERT_EQ(found != nullptr, models_[table].Get(file, point)) << "point " << point;
        ASSERT_TRUE(!found || file.IsPoint(*found, point)) << "point " << point;
    }

    void Operate() {
        if (random_() % 4 == 0) file_ = random_() % std::size(files_);
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
            default:
                Look(file, table);
        }
    }

    void Compare() {
        std::vector<BlockKey> idle;
        for (const auto* entry : model_.idle) idle.push_back(entry->key);
        ASSERT_EQ(PtcCacheView::Idle(cache_), idle);
        std::map<BlockKey, std::uint32_t> holders;
        for (const auto& [key, entry] : model_.by_key) holders[key] = entry->holders;
        ASSERT_EQ(PtcCacheView::Holders(cache_), holders);
        for (std::size_t i = 0; i < tables_.size(); ++i) {
            std::vector<BlockKey> slots;
            for (const auto* entry : models_[i].slots) slots.push_back(entry ? entry->key : kNoKey);
            ASSERT_EQ(PtcCacheView::Slots(tables_[i], slots.size()), slots);
            ASSERT_EQ(PtcCacheView::Held(tables_[i]), models_[i].Held());
            ASSERT_EQ(PtcCacheView::Cursor(tables_[i]), models_[i].cursor);
        }
        ASSERT_STREQ(cache_.BrokenPromise(), nullptr);
    }

    /// Lookups that ended in the tables.
    unsigned long Found() const {
        unsigned long found = 0;
        for (const PtcPointTable& table : tables_) found += table.Found();
        return found;
    }

    void CompareCounts() {
        ASSERT_EQ(counts_.points.lookups.Value() + Found(), model_.lookups);
        ASSERT_EQ(counts_.points.hits.Value() + Found(), model_.hits);
        ASSERT_EQ(counts_.points.misses.Value(), model_.misses);
    }

    FakeSource files_[4] = {
        {1, {30'000, 0, 0}}, {2, {1'000, 3, 0}}, {3, {90'001, 1, 0}}, {4, {256, 7, 0}}};
    std::mt19937 random_{7};
    std::size_t file_ = 0;
    std::int64_t place_ = 0;
    PtcCacheStats shared_;
    PtcCacheStats counts_;
    PtcPointCache cache_{GetParam().capacity, shared_};
    ModelCache model_{static_cast<std::size_t>(GetParam().capacity)};
    std::deque<PtcPointTable> tables_;
    std::deque<ModelTable> models_;
};

TEST_P(PtcCacheModel, AgreesAfterEveryOperation) {
    for (int i = 0; i < GetParam().operations; ++i) {
        SCOPED_TRACE(i);
        Operate();
        CompareCounts();
        if (i % 50 == 0) Compare();
        if (HasFatalFailure()) return;
    }
    for (PtcPointTable& table : tables_) table.ReleaseAll();
    EXPECT_STREQ(cache_.BrokenPromise(), nullptr);
    // The walk was worth it: every block was used, and each way through Get() was gone often.
    EXPECT_EQ(model_.used, model_.entries.size());
    EXPECT_GT(model_.misses, 1000u);
    EXPECT_GT(model_.hits, 100u);
    EXPECT_GT(Found() + counts_.points.hits.Value(), 1000u);
}

INSTANTIATE_TEST_SUITE_P(Sizes, PtcCacheModel,
                         testing::Values(ModelCase{"Smallest", 12, 3, 3, 100'000},      //
                                         ModelCase{"Roomy", 200, 60, 3, 100'000},       //
                                         ModelCase{"TooManyHolders", 6, 4, 3, 20'000},  //
                                         ModelCase{"TwoChunks", 1100, 1000, 1, 20'000}),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
