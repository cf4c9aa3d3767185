// `PtcThreadCache`: the blocks that one thread holds, in front of the shared caches.
//
// Units      capacities in blocks.
// Errors     a table's lookup answers null when the shared cache does. With kReadPastCache, as in a
//            PtcThreadCache, it never does so because all blocks are held. WhyNot() has the reason.
// Ownership  a table owns its holds, not the blocks. A record that a lookup answers is valid until
//            the thread's next lookup of the same kind, which may release the block.
// Threads    only the thread that owns it, except where a function says otherwise. Takes only the
//            locks of the shared caches.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "ptc/cache/block_caches.h"

/// The blocks of one kind that a thread holds, found by their key. A lookup that finds its block
/// here takes no lock and writes nothing that other threads write; only reports read the counter.
///
/// When a lookup is over, the table holds fewer blocks than its capacity. So if no more threads
/// look up than the budget counts, there is always a block for the next lookup. More threads may
/// hold all blocks; a table with kReadPastCache then reads into a block of the thread's own.
class PtcThreadTable : public TgUncopyable {
public:
    /// What a lookup answers when other threads hold all blocks.
    enum class AllHeld { kNull, kReadPastCache };

    /// Gives every hold back.
    void ReleaseAll();

    /// Why the last lookup answered null.
    const PtcNoBlock& WhyNot() const { return why_not_; }

protected:
    /// `capacity`: at least 2. `stats`: the thread's figures.
    PtcThreadTable(PtcSharedCache& cache, std::int32_t capacity, PtcCacheStats& stats,
                   PtcFiguresOf figures, AllHeld all_held);

    /// Caller: has called ReleaseAll() in its own destructor, because that calls Fill().
    virtual ~PtcThreadTable() = default;

    /// The requested block, which this table now holds, or null. Caller: has not found it in its
    /// slots. A block that has no key is held nevertheless.
    PtcCacheBlock* Fetch(const PtcBlockRequest& request, std::uint64_t hash);

private:
    friend struct PtcCacheView;  // tests compare places, cursor and count with a model's

    /// Makes `count` empty slots. False: no memory.
    virtual bool MakeSlots(std::size_t count) noexcept = 0;
    /// Sets the slot at `place`; null: empties it.
    virtual void Fill(std::size_t place, const PtcCacheBlock* block) noexcept = 0;
    /// A lookup has found its block after all.
    virtual void CountFound() noexcept = 0;

    /// A held block's records are about to be read.
    virtual void WillUse(const PtcCacheBlock&, const PtcBlockRequest&) const noexcept {}

    PtcCacheBlock* ReadPastCache(const PtcBlockRequest& request);
    bool MakePlaces() noexcept;
    void Empty(std::size_t place);
    void EmptyNext(std::size_t place);

    std::unique_ptr<PtcCacheBlock*[], PtcFree> blocks_;  ///< made by the first lookup
    std::size_t mask_ = 0;
    std::int32_t held_ = 0;  ///< occupied places
    const std::int32_t capacity_;
    std::size_t cursor_ = 0;  ///< the place of the last victim
    const AllHeld all_held_;
    PtcCacheBlock* own_ = nullptr;  ///< outside the cache's capacity; made when first needed
    PtcNoBlock why_not_;
    PtcSharedCache& cache_;
    PtcCacheStats& stats_;
    PtcCacheFigures& figures_;
};

class PtcPointTable final : public PtcThreadTable {
public:
    PtcPointTable(PtcPointCache& cache, std::int32_t capacity, PtcCacheStats& stats,
                  AllHeld all_held = AllHeld::kNull)
        : PtcThreadTable(cache, capacity, stats, &PtcCacheStats::points, all_held) {}
    ~PtcPointTable() override {
        TakeBack();
        ReleaseAll();
    }

    /// Point `index` of `file`, or null. A record after the file's last point, in the same block,
    /// is all zero.
    const PtcPoint* Get(PtcBlockSource& file, std::int64_t index) {
        const std::int64_t first = PtcPointCache::FirstOf(index);
        const auto number = static_cast<std::uint64_t>(first / PtcPointCache::kPoints);
        const std::uint64_t hash = file.Hash(number);
        const ptc_held::Slot& slot = held_->slots[hash & held_->mask];
        const std::size_t place = PtcPointCache::PlaceOf(index);
        if (file.HasKeyOf(index) && slot.key == file.Key(number)) [[likely]] {
            held_->CountFound();
            return slot.points + place;
        }
        const PtcCacheBlock* const block = Fetch({file, first, nullptr, place}, hash);
        return block ? block->Points() + place : nullptr;
    }

    /// The number of lookups that found their block in the table. The thread's statistics do not
    /// contain them. Any thread, but not during Lend() and TakeBack().
    unsigned long Found() const;

    /// Until TakeBack(), inlined lookups use the slots through `front`, which holds nothing now.
    /// Caller: so does this table.
    void Lend(ptc_held::Table& front);
    /// `front` holds nothing from here on. Does nothing when the slots are not lent.
    void TakeBack();

private:
    bool MakeSlots(std::size_t count) noexcept override;
    void Fill(std::size_t place, const PtcCacheBlock* block) noexcept override;
    void CountFound() noexcept override { held_->CountFound(); }
    void WillUse(const PtcCacheBlock& block,
                 const PtcBlockRequest& request) const noexcept override;

    ptc_held::Table own_{ptc_held::nothing.slots, 0, 0};
    ptc_held::Table* held_ = &own_;                     ///< or the one that the slots are lent to
    std::unique_ptr<ptc_held::Slot[], PtcFree> slots_;  ///< made by the first lookup
};

class PtcNodeTable final : public PtcThreadTable {
public:
    PtcNodeTable(PtcNodeCache& cache, std::int32_t capacity, PtcCacheStats& stats,
                 AllHeld all_held = AllHeld::kNull)
        : PtcThreadTable(cache, capacity, stats, &PtcCacheStats::nodes, all_held) {}
    ~PtcNodeTable() override { ReleaseAll(); }

    /// The eight children of the node at `reference`, or null. `children`: the eight references of
    /// the node's record, from which the block is read; 0 gives a zeroed record. The root is the
    /// one child of reference 0. Caller: `children` belongs to `reference`, because all threads
    /// find the block under `reference`.
    const PtcNode* Get(PtcBlockSource& file, std::int64_t reference, const std::int64_t* children) {
        const std::uint32_t identity = file.Identity();
        const std::uint64_t hash = PtcNodeCache::Hash(identity, reference);
        const Slot& slot = slots_[hash & mask_];
        // One branch instead of two, because every lookup executes it.
        if (((slot.reference ^ reference) | (~slot.not_identity ^ identity)) == 0) [[likely]] {
            CountFound();
            return slot.nodes;
        }
        const PtcCacheBlock* const block = Fetch({file, reference, children}, hash);
        return block ? block->Nodes() : nullptr;
    }

    /// See PtcPointTable::Found().
    unsigned long Found() const { return found_.load(std::memory_order_relaxed); }

private:
    /// The identity is stored complemented: that of an empty slot, which is all zero, is kNoFile.
    struct alignas(32) Slot {
        std::int64_t reference;
        std::uint32_t not_identity;
        const PtcNode* nodes;
    };
    static_assert(static_cast<std::uint32_t>(~kNoFile) == 0);

    bool MakeSlots(std::size_t count) noexcept override;
    void Fill(std::size_t place, const PtcCacheBlock* block) noexcept override;
    void CountFound() noexcept override {
        found_.store(Found() + 1, std::memory_order_relaxed);  // one writer: see ptc_held::Table
    }

    Slot no_slot_{};  ///< an empty table of one slot, until the first lookup makes one
    Slot* slots_ = &no_slot_;
    std::size_t mask_ = 0;
    std::atomic<unsigned long> found_{0};
    std::unique_ptr<Slot[], PtcFree> made_;
};

/// What a computation over the blocks keeps for a thread from one call to the next.
class PtcThreadScratch : public TgUncopyable {
public:
    virtual ~PtcThreadScratch() = default;
};

/// One rendering thread's own data: the blocks it holds and its counts.
///
/// Made for a thread's first lookup; freed with its PtcCacheSet, never when the thread ends,
/// because the counts outlive the thread. A thread that ends gives its holds back, and another
/// thread reuses the record: counts continue, and a host that starts and ends threads all the time
/// has no more records than threads that lived at once.
///
///   member         written by   read by
///   index          the set      any thread: never changes afterwards
///   points, nodes  the owner    the owner
///   stats          the owner    any thread: counters are atomic and have one writer
///   scratches      the owner    the owner
///
/// The owner changes under the set's registry lock.
class PtcThreadCache : public TgUncopyable {
public:
    /// The caches behind the tables, and how many blocks the tables may hold.
    struct Front {
        PtcPointCache& points;
        std::int32_t point_blocks;
        PtcNodeCache& nodes;
        std::int32_t node_blocks;
    };

    PtcThreadCache(std::uint32_t number, const Front& front)
        : index(number),
          points_(front.points, front.point_blocks, stats, kPastCache),
          nodes_(front.nodes, front.node_blocks, stats, kPastCache) {}

    /// See PtcPointTable::Get() and PtcNodeTable::Get(). When all blocks of the shared cache are
    /// held, the record comes from a block of the thread's own.
    const PtcPoint* GetPoint(PtcBlockSource& file, std::int64_t point) {
        return points_.Get(file, point);
    }
    const PtcNode* GetNodeChildren(PtcBlockSource& file, std::int64_t reference,
                                   const std::int64_t* children) {
        return nodes_.Get(file, reference, children);
    }

    /// See PtcPointTable. Caller: no lookup of the owner is running.
    void Lend(ptc_held::Table& front) { points_.Lend(front); }
    void TakeBack() { points_.TakeBack(); }

    /// Why the last lookup of points, or of nodes, answered null.
    const PtcNoBlock& WhyNoPoint() const { return points_.WhyNot(); }
    const PtcNoBlock& WhyNoNodes() const { return nodes_.WhyNot(); }

    /// Gives every hold back; the tables stay.
    void ReleaseAll();

    /// How many lookups of nodes the thread has begun. Caller: is the owner.
    unsigned long NodeLookups() const { return nodes_.Found() + stats.nodes.lookups.Value(); }

    /// Adds the thread's figures to `total`. Any thread; the owner may look up meanwhile.
    void AddTo(PtcCacheStats* total) const;

    const std::uint32_t index;  ///< in the set's registry
    PtcCacheStats stats;
    // Of lookups and of gathering light, each null while a computation uses it, and at first.
    std::unique_ptr<PtcThreadScratch> scratch;
    std::unique_ptr<PtcThreadScratch> light_scratch;

private:
    static constexpr auto kPastCache = PtcThreadTable::AllHeld::kReadPastCache;

    PtcPointTable points_;
    PtcNodeTable nodes_;
};
