// `PtcThreadCache`: the blocks that one thread holds, in front of the shared caches.
//
// Units      capacities in blocks.
// Errors     a lookup answers null when the shared cache does; nothing else is reported.
// Ownership  a table owns its holds, not the blocks. A record that a lookup answers is good until
//            the thread's next lookup of the same kind, and no longer: that one may let it go.
// Threads    one: the thread it belongs to. Locks are the shared caches'.

#pragma once

#include <cstdint>
#include <memory>

#include "ptc/cache/block_caches.h"

/// The blocks of one kind that a thread holds, found by their key. A lookup that finds its block
/// here takes no lock and changes nothing that another thread looks at.
///
/// The table never holds as many blocks as its capacity when a lookup is over, so as many threads
/// as the budget counts always leave a block for the one that looks.
class PtcThreadTable : public TgUncopyable {
public:
    /// `capacity`: at least 2. `stats` count the thread's lookups.
    PtcThreadTable(PtcSharedCache& cache, std::int32_t capacity, PtcCacheStats& stats,
                   PtcFiguresOf figures);
    ~PtcThreadTable() { ReleaseAll(); }

    /// Gives every hold back.
    void ReleaseAll();

    /// Brings the lookups that ended in the table into the thread's statistics.
    void CountUp();

protected:
    /// The records of the block that begins with `index`, which this table now holds; null when it
    /// cannot be had. `children`: as in PtcBlockRequest. `hash`: the block's, as its cache
    /// computes it.
    void* Find(PtcBlockSource& file, std::int64_t index, const std::int64_t* children,
               std::uint64_t hash) {
        const std::uint32_t identity = file.Identity();
        const Slot& slot = slots_[hash & mask_];
        if (IsSameBlock(~slot.not_identity, slot.index, identity, index)) [[likely]] {
            ++found_;
            return slot.records;
        }
        return Fetch({file, index, children}, hash);
    }

private:
    friend struct PtcCacheView;  // tests compare slots, cursor and count with a model's

    /// A block that is held, and what a lookup needs of it, so that it reads nothing else.
    /// All zero when empty: the identity, kNoFile then, is kept upside down, so that slots that
    /// are never used are never touched.
    struct Slot {
        std::int64_t index;
        std::uint32_t not_identity;
        void* records;
        PtcCacheBlock* block;
    };
    static_assert(sizeof(Slot) == 32 && static_cast<std::uint32_t>(~kNoFile) == 0);

    void* Fetch(const PtcBlockRequest& request, std::uint64_t hash);
    bool MakeSlots() noexcept;
    void Empty(std::size_t place);

    Slot* slots_ = &no_slot_;
    std::size_t mask_ = 0;
    unsigned long found_ = 0;  ///< lookups that ended here and are in no statistic yet
    std::int32_t held_ = 0;    ///< occupied slots
    const std::int32_t capacity_;
    std::size_t cursor_ = 0;                 ///< the slot of the last victim
    std::unique_ptr<Slot[], PtcFree> made_;  ///< by the first lookup
    Slot no_slot_{};                         ///< stands for them until then
    PtcSharedCache& cache_;
    PtcCacheStats& stats_;
    PtcCacheFigures& figures_;
};

class PtcPointTable final : public PtcThreadTable {
public:
    PtcPointTable(PtcPointCache& cache, std::int32_t capacity, PtcCacheStats& stats)
        : PtcThreadTable(cache, capacity, stats, &PtcCacheStats::points) {}

    /// Point `index` of `file`; null: it cannot be had. A record behind the file's last point, in
    /// the same block, is all zero.
    const PtcPoint* Get(PtcBlockSource& file, std::int64_t index) {
        const std::int64_t first = PtcPointCache::FirstOf(index);
        const void* const records =
            Find(file, first, nullptr, PtcPointCache::Hash(file.Identity(), first));
        return records ? static_cast<const PtcPoint*>(records) + PtcPointCache::PlaceOf(index)
                       : nullptr;
    }
};

class PtcNodeTable final : public PtcThreadTable {
public:
    PtcNodeTable(PtcNodeCache& cache, std::int32_t capacity, PtcCacheStats& stats)
        : PtcThreadTable(cache, capacity, stats, &PtcCacheStats::nodes) {}

    /// The eight children of the node at `reference`; null: they cannot be had. `children`: the
    /// node's eight references; those that are 0 answer zeroed records. The root is the one child
    /// of reference 0.
    const PtcNode* Get(PtcBlockSource& file, std::int64_t reference, const std::int64_t* children) {
        return static_cast<const PtcNode*>(
            Find(file, reference, children, PtcNodeCache::Hash(file.Identity(), reference)));
    }
};

/// What one rendering thread keeps to itself: the blocks it holds and its counts.
///
/// Made for a thread's first lookup; freed with its PtcCacheSet, never when the thread ends,
/// because the counts outlive the thread. A thread that ends gives its holds back, and the record
/// goes to the next thread that comes: counts go on, and a host that starts and ends threads all
/// the time has no more records than threads that lived at once.
///
///   member         written by   read by
///   index          the set      any thread: never changes afterwards
///   points, nodes  the owner    the owner
///   stats          the owner    the owner; others, after CountUp(), only while no thread looks
///                               anything up
///
/// Owners follow each other under the set's registry lock.
class PtcThreadCache : public TgUncopyable {
public:
    /// What the tables are in front of, and how many blocks they may hold.
    struct Front {
        PtcPointCache& points;
        std::int32_t point_blocks;
        PtcNodeCache& nodes;
        std::int32_t node_blocks;
    };

    PtcThreadCache(std::uint32_t number, const Front& front)
        : index(number),
          points_(front.points, front.point_blocks, stats),
          nodes_(front.nodes, front.node_blocks, stats) {}

    /// See PtcPointTable::Get() and PtcNodeTable::Get().
    const PtcPoint* GetPoint(PtcBlockSource& file, std::int64_t point) {
        return points_.Get(file, point);
    }
    const PtcNode* GetNodeChildren(PtcBlockSource& file, std::int64_t reference,
                                   const std::int64_t* children) {
        return nodes_.Get(file, reference, children);
    }

    /// Gives every hold back; the tables stay.
    void ReleaseAll();

    /// Brings `stats` up to date. Caller: the owner is not inside a lookup.
    void CountUp();

    const std::uint32_t index;  ///< in the set's registry
    PtcCacheStats stats;

private:
    PtcPointTable points_;
    PtcNodeTable nodes_;
};
