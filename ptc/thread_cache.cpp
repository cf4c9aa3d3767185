// What a thread's table does when it does not hold the block, and the making of tables.

#include "ptc/thread_cache.h"

#include <bit>
#include <new>

namespace {

std::size_t SlotCount(std::int32_t capacity) {
    return 2 * std::bit_ceil(static_cast<std::size_t>(capacity));
}

}  // namespace

PtcThreadTable::PtcThreadTable(PtcSharedCache& cache, std::int32_t capacity, PtcCacheStats& stats,
                               PtcFiguresOf figures)
    : slots_(ZeroedArray<PtcCacheBlock*>(SlotCount(capacity))),
      mask_(SlotCount(capacity) - 1),
      lookups_((stats.*figures).lookups),
      hits_((stats.*figures).hits),
      cache_(cache),
      stats_(stats),
      capacity_(capacity) {}

void PtcThreadTable::ReleaseAll() {
    for (std::size_t slot = 0; held_ > 0; ++slot)
        if (slots_[slot]) Empty(slot);
}

/// Gets the block from the shared cache into `slot`. What the slot holds goes first, so that a
/// thread never holds more blocks than its capacity.
PtcCacheBlock* PtcThreadTable::Fetch(const PtcBlockRequest& request, std::size_t slot) {
    if (slots_[slot]) Empty(slot);
    PtcCacheBlock* const block = cache_.Get(request, stats_);
    if (!block) return nullptr;
    slots_[slot] = block;
    if (++held_ < capacity_) return block;
    // Another slot is occupied, because a capacity is at least 2.
    do cursor_ = (cursor_ + 1) & mask_;
    while (!slots_[cursor_] || cursor_ == slot);
    Empty(cursor_);
    return block;
}

void PtcThreadTable::Empty(std::size_t slot) {
    cache_.Release(*slots_[slot]);
    slots_[slot] = nullptr;
    --held_;
}

void PtcThreadCache::ReleaseAll() {
    if (points_) points_->ReleaseAll();
    if (nodes_) nodes_->ReleaseAll();
}

bool PtcThreadCache::MakePoints() noexcept {
    try {
        points_ = std::make_unique<PtcPointTable>(front_.points, front_.point_blocks, stats);
    } catch (const std::bad_alloc&) {
    }
    return points_ != nullptr;
}

bool PtcThreadCache::MakeNodes() noexcept {
    try {
        nodes_ = std::make_unique<PtcNodeTable>(front_.nodes, front_.node_blocks, stats);
    } catch (const std::bad_alloc&) {
    }
    return nodes_ != nullptr;
}
