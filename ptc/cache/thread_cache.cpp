// A thread's table: lookups of blocks that the table does not hold.

#include "ptc/cache/thread_cache.h"

#include <bit>
#include <cstdlib>

namespace {

std::size_t SlotCount(std::int32_t capacity) {
    return 2 * std::bit_ceil(static_cast<std::size_t>(capacity));
}

}  // namespace

PtcThreadTable::PtcThreadTable(PtcSharedCache& cache, std::int32_t capacity, PtcCacheStats& stats,
                               PtcFiguresOf figures, AllHeld all_held)
    : capacity_(capacity),
      all_held_(all_held),
      cache_(cache),
      stats_(stats),
      figures_(stats.*figures) {}

void PtcThreadTable::ReleaseAll() {
    for (std::size_t place = 0; held_ > 0; ++place)
        if (slots_[place].block) Empty(place);
}

/// Gets the block from the shared cache and stores it in its slot. The block that was in the slot
/// is released before, so that a thread never holds more blocks than its capacity, and that block
/// can serve this very request.
void* PtcThreadTable::Fetch(const PtcBlockRequest& request, std::uint64_t hash) {
    if (!made_ && !MakeSlots()) {
        why_not_ = {PtcNoBlock::Reason::kNoMemory};
        return nullptr;
    }
    const std::size_t place = hash & mask_;
    figures_.lookups.Add(1);  // the shared cache counts a hit or a miss
    if (slots_[place].block) Empty(place);
    PtcCacheBlock* const block = cache_.Get(request, stats_, &why_not_);
    if (!block) return ReadPastCache(request);
    slots_[place] = {request.index, ~request.file.Identity(), block->records, block};
    if (++held_ == capacity_) {
        // Lookups that hit keep no record of their order, so the victim is the next block in the
        // order of the slots. There is one: a capacity is at least 2, so another slot is occupied.
        do cursor_ = (cursor_ + 1) & mask_;
        while (!slots_[cursor_].block || cursor_ == place);
        Empty(cursor_);
    }
    return block->records;
}

/// After a failed request: if all blocks were held, reads the same records into a block of the
/// thread's own. The block keeps the records that were read last, for the next such request.
void* PtcThreadTable::ReadPastCache(const PtcBlockRequest& request) {
    if (all_held_ == AllHeld::kNull || why_not_.reason != PtcNoBlock::Reason::kAllHeld)
        return nullptr;
    if (!own_) own_ = cache_.MakeOwnBlock();
    if (!own_) {
        why_not_ = {PtcNoBlock::Reason::kNoMemory};
        return nullptr;
    }
    if (!cache_.ReadInto(*own_, request, stats_, &why_not_)) return nullptr;
    figures_.uncached.Add(1);
    return own_->records;
}

bool PtcThreadTable::MakeSlots() noexcept {
    const std::size_t count = SlotCount(capacity_);
    made_.reset(static_cast<Slot*>(std::calloc(count, sizeof(Slot))));
    if (!made_) return false;
    slots_ = made_.get();
    mask_ = count - 1;
    return true;
}

void PtcThreadTable::Empty(std::size_t place) {
    cache_.Release(*slots_[place].block);
    slots_[place] = {};
    --held_;
}

void PtcThreadCache::ReleaseAll() {
    points_.ReleaseAll();
    nodes_.ReleaseAll();
}

void PtcThreadCache::AddTo(PtcCacheStats* total) const {
    total->merge(stats);
    const auto add_found = [](unsigned long found, PtcCacheFigures& figures) {
        figures.lookups.Add(found);
        figures.hits.Add(found);
    };
    add_found(points_.Found(), total->points);
    add_found(nodes_.Found(), total->nodes);
    total->points.uncached.merge(stats.points.uncached);
    total->nodes.uncached.merge(stats.nodes.uncached);
}
