// What a thread's table does when it does not hold the block.

#include "ptc/cache/thread_cache.h"

#include <bit>
#include <cstdlib>

namespace {

std::size_t SlotCount(std::int32_t capacity) {
    return 2 * std::bit_ceil(static_cast<std::size_t>(capacity));
}

}  // namespace

PtcThreadTable::PtcThreadTable(PtcSharedCache& cache, std::int32_t capacity, PtcCacheStats& stats,
                               PtcFiguresOf figures)
    : capacity_(capacity), cache_(cache), stats_(stats), figures_(stats.*figures) {}

void PtcThreadTable::ReleaseAll() {
    for (std::size_t place = 0; held_ > 0; ++place)
        if (slots_[place].block) Empty(place);
}

void PtcThreadTable::CountUp() {
    figures_.lookups.Add(found_);
    figures_.hits.Add(found_);
    found_ = 0;
}

/// Gets the block from the shared cache into its slot. What the slot holds goes first, so that a
/// thread never holds more blocks than its capacity.
void* PtcThreadTable::Fetch(const PtcBlockRequest& request, std::uint64_t hash) {
    if (!made_ && !MakeSlots()) return nullptr;
    const std::size_t place = hash & mask_;
    figures_.lookups.Add(1);  // the shared cache counts a hit or a miss
    if (slots_[place].block) Empty(place);
    PtcCacheBlock* const block = cache_.Get(request, stats_);
    if (!block) return nullptr;
    slots_[place] = {request.index, ~request.file.Identity(), block->records, block};
    if (++held_ == capacity_) {
        // Another slot is occupied, because a capacity is at least 2.
        do cursor_ = (cursor_ + 1) & mask_;
        while (!slots_[cursor_].block || cursor_ == place);
        Empty(cursor_);
    }
    return block->records;
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

void PtcThreadCache::CountUp() {
    points_.CountUp();
    nodes_.CountUp();
}
