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

#include "ptc/block_caches.h"

/// The blocks of one kind that a thread holds, found by their key. A lookup that finds its block
/// here takes no lock and touches nothing that another thread writes.
///
/// The table never holds as many blocks as its capacity when a lookup is over, so as many threads
/// as the budget counts always leave a block for the one that looks.
class PtcThreadTable : public TgUncopyable {
public:
    /// `capacity`: at least 2. `stats` count the thread's lookups. Throws std::bad_alloc.
    PtcThreadTable(PtcSharedCache& cache, std::int32_t capacity, PtcCacheStats& stats,
                   PtcFiguresOf figures);
    ~PtcThreadTable() { ReleaseAll(); }

    /// Gives every hold back.
    void ReleaseAll();

protected:
    /// The block that `request` names, held by this table; null when it cannot be had.
    /// `hash`: the block's, as its cache computes it.
    PtcCacheBlock* Find(const PtcBlockRequest& request, std::uint64_t hash) {
        lookups_.Add(1);
        const std::size_t slot = hash & mask_;
        PtcCacheBlock* const block = slots_[slot];
        if (block && block->Holds(request.file.Identity(), request.index)) [[likely]] {
            hits_.Add(1);
            return block;
        }
        return Fetch(request, slot);
    }

private:
    friend struct PtcCacheView;  // tests compare slots, cursor and count with a model's

    PtcCacheBlock* Fetch(const PtcBlockRequest& request, std::size_t slot);
    void Empty(std::size_t slot);

    const std::unique_ptr<PtcCacheBlock*[], PtcFree> slots_;
    const std::size_t mask_;
    PtcCounter& lookups_;
    PtcCounter& hits_;
    PtcSharedCache& cache_;
    PtcCacheStats& stats_;
    const std::int32_t capacity_;
    std::int32_t held_ = 0;   ///< occupied slots
    std::size_t cursor_ = 0;  ///< the slot of the last victim
};

class PtcPointTable final : public PtcThreadTable {
public:
    PtcPointTable(PtcPointCache& cache, std::int32_t capacity, PtcCacheStats& stats)
        : PtcThreadTable(cache, capacity, stats, &PtcCacheStats::points) {}

    /// Point `index` of `file`; null: it cannot be had. A record behind the file's last point, in
    /// the same block, is all zero.
    const PtcPoint* Get(PtcBlockSource& file, std::int64_t index) {
        const std::int64_t first = PtcPointCache::FirstOf(index);
        const PtcCacheBlock* const block =
            Find({file, first, nullptr}, PtcPointCache::Hash(file.Identity(), first));
        return block ? block->Points() + PtcPointCache::PlaceOf(index) : nullptr;
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
        const PtcCacheBlock* const block =
            Find({file, reference, children}, PtcNodeCache::Hash(file.Identity(), reference));
        return block ? block->Nodes() : nullptr;
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
///   stats          the owner    the owner; others only while no thread looks anything up
///
/// Owners follow each other under the set's registry lock.
class PtcThreadCache : public TgUncopyable {
public:
    /// What the tables are made of, on the thread's first lookup of each kind.
    struct Front {
        PtcPointCache& points;
        std::int32_t point_blocks;
        PtcNodeCache& nodes;
        std::int32_t node_blocks;
    };

    PtcThreadCache(std::uint32_t number, const Front& front) : index(number), front_(front) {}

    /// See PtcPointTable::Get() and PtcNodeTable::Get(); null also when a table finds no memory.
    const PtcPoint* GetPoint(PtcBlockSource& file, std::int64_t point) {
        if (!points_ && !MakePoints()) [[unlikely]]
            return nullptr;
        return points_->Get(file, point);
    }
    const PtcNode* GetNodeChildren(PtcBlockSource& file, std::int64_t reference,
                                   const std::int64_t* children) {
        if (!nodes_ && !MakeNodes()) [[unlikely]]
            return nullptr;
        return nodes_->Get(file, reference, children);
    }

    /// Gives every hold back; the tables stay.
    void ReleaseAll();

    const std::uint32_t index;  ///< in the set's registry
    PtcCacheStats stats;

private:
    bool MakePoints() noexcept;
    bool MakeNodes() noexcept;

    const Front front_;
    std::unique_ptr<PtcPointTable> points_;
    std::unique_ptr<PtcNodeTable> nodes_;
};
