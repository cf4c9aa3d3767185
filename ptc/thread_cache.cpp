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
    : slots_(NullLinks(SlotCount(capacity))),
      mask_(SlotCount(capacity) - 1),
      capacity_(capacity),
      cache_(cache),
      stats_(stats),
      figures_(stats.*figures) {}

void PtcThreadTable::ReleaseAll() {
    for (std::size_t slot = 0; held_ > 0; ++slot)
        if (slots_[slot]) Empty(slot);
}

void PtcThreadTable::CountUp() {
    figures_.lookups.Add(found_);
    figures_.hits.Add(found_);
    found_ = 0;
}

/// Gets the block from the shared cache into `slot`. What the slot holds goes first, so that a
/// thread never holds more blocks than its capacity.
void* PtcThreadTable::Fetch(const PtcBlockRequest& request, std::size_t slot) {
    figures_.lookups.Add(1);  // the shared cache counts a hit or a miss
    if (slots_[slot]) Empty(slot);
    PtcCacheBlock* const block = cache_.Get(request, stats_);
    if (!block) return nullptr;
    slots_[slot] = block;
    if (++held_ == capacity_) {
        // Another slot is occupied, because a capacity is at least 2.
        do cursor_ = (cursor_ + 1) & mask_;
        while (!slots_[cursor_] || cursor_ == slot);
        Empty(cursor_);
    }
    latest_ = {request.index, request.file.Identity(), block->records};
    return block->records;
}

void PtcThreadTable::Empty(std::size_t slot) {
    latest_ = {};  // may be this one
    cache_.Release(*slots_[slot]);
    slots_[slot] = nullptr;
    --held_;
}

void PtcThreadCache::ReleaseAll() {
    if (points_) points_->ReleaseAll();
    if (nodes_) nodes_->ReleaseAll();
}

void PtcThreadCache::CountUp() {
    if (points_) points_->CountUp();
    if (nodes_) nodes_->CountUp();
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
