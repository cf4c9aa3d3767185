// A thread's table: lookups of blocks that the table does not hold.

#include "ptc/cache/thread_cache.h"

#include <bit>
#include <cstdlib>
#include <utility>

namespace {

std::size_t SlotCount(std::int32_t capacity) {
    return 2 * std::bit_ceil(static_cast<std::size_t>(capacity));
}

/// Zeros, null when memory runs out. calloc() gives zeroed pages that the system provides only when
/// they are used.
template <class T>
std::unique_ptr<T[], PtcFree> ZeroedArray(std::size_t count) noexcept {
    void* const zeros =
        std::calloc(count, sizeof(T));  // NOLINT(bugprone-sizeof-expression): pointers
    return std::unique_ptr<T[], PtcFree>(static_cast<T*>(zeros));
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
        if (blocks_[place]) Empty(place);
}

/// Gets the block from the shared cache and stores it in its slot. The block that was in the slot
/// is released before another one is read, so that a thread that looks for a block to read into
/// never holds as many as its capacity, and that block can serve this very request.
PtcCacheBlock* PtcThreadTable::Fetch(const PtcBlockRequest& request, std::uint64_t hash) {
    if (!blocks_ && !MakePlaces()) {
        why_not_ = {PtcNoBlock::Reason::kNoMemory};
        return nullptr;
    }
    const std::size_t place = hash & mask_;
    PtcCacheBlock* const held = blocks_[place];
    if (held && held->Holds(request.file.Identity(), request.index)) {
        CountFound();
        return held;
    }
    figures_.lookups.Add(1);  // the shared cache counts a hit or a miss
    PtcCacheBlock* block = cache_.Find(request, hash, stats_);
    if (block) WillUse(*block, request);
    if (held) Empty(place);
    if (!block) block = cache_.Load(request, hash, stats_, &why_not_);
    if (!block) return ReadPastCache(request);
    blocks_[place] = block;
    Fill(place, block);
    if (++held_ == capacity_) EmptyNext(place);
    return block;
}

/// Releases the next block in the order of the slots, but not the one at `place`: lookups that hit
/// keep no record of their order. There is one: a capacity is at least 2.
void PtcThreadTable::EmptyNext(std::size_t place) {
    do cursor_ = (cursor_ + 1) & mask_;
    while (!blocks_[cursor_] || cursor_ == place);
    Empty(cursor_);
}

/// After a failed request: if all blocks were held, reads the same records into a block of the
/// thread's own. The block keeps the records that were read last, for the next such request.
PtcCacheBlock* PtcThreadTable::ReadPastCache(const PtcBlockRequest& request) {
    if (all_held_ == AllHeld::kNull || why_not_.reason != PtcNoBlock::Reason::kAllHeld)
        return nullptr;
    if (!own_) own_ = cache_.MakeOwnBlock();
    if (!own_) {
        why_not_ = {PtcNoBlock::Reason::kNoMemory};
        return nullptr;
    }
    if (!cache_.ReadInto(*own_, request, stats_, &why_not_)) return nullptr;
    figures_.uncached.Add(1);
    return own_;
}

bool PtcThreadTable::MakePlaces() noexcept {
    const std::size_t count = SlotCount(capacity_);
    blocks_ = ZeroedArray<PtcCacheBlock*>(count);
    if (!blocks_) return false;
    if (!MakeSlots(count)) {
        blocks_.reset();
        return false;
    }
    mask_ = count - 1;
    return true;
}

void PtcThreadTable::Empty(std::size_t place) {
    Fill(place, nullptr);
    cache_.Release(*std::exchange(blocks_[place], nullptr));
    --held_;
}

/// The record is read next and then, at the address that it contains, the data: asked for now, both
/// come at once and while the other block is released (random points: 0.20 to 0.31 of an array).
void PtcPointTable::WillUse(const PtcCacheBlock& block,
                            const PtcBlockRequest& request) const noexcept {
    __builtin_prefetch(block.Points() + request.item);
    __builtin_prefetch(block.data + request.file.FloatsOfPoint() * request.item);
}

bool PtcPointTable::MakeSlots(std::size_t count) noexcept {
    slots_ = ZeroedArray<ptc_held::Slot>(count);
    if (!slots_) return false;
    held_->slots = slots_.get();
    held_->mask = count - 1;
    return true;
}

unsigned long PtcPointTable::Found() const {
    const auto found = [](const ptc_held::Table& table) {
        return table.found.load(std::memory_order_relaxed);
    };
    return found(own_) + (held_ == &own_ ? 0 : found(*held_));
}

void PtcPointTable::Lend(ptc_held::Table& front) {
    front.slots = own_.slots;
    front.mask = own_.mask;
    held_ = &front;
}

void PtcPointTable::TakeBack() {
    if (held_ == &own_) return;
    own_.slots = held_->slots;
    own_.mask = held_->mask;
    own_.found.store(Found(), std::memory_order_relaxed);
    held_->slots = ptc_held::nothing.slots;
    held_->mask = 0;
    held_->found.store(0, std::memory_order_relaxed);
    held_ = &own_;
}

void PtcPointTable::Fill(std::size_t place, const PtcCacheBlock* block) noexcept {
    const std::int64_t number = block ? block->Index() / PtcPointCache::kPoints : INT64_MAX;
    const bool has_key = number <= std::int64_t{UINT32_MAX};
    slots_[place] =
        has_key
            ? ptc_held::Slot{ptc_held::KeyOf(block->Identity(), static_cast<std::uint32_t>(number)),
                             block->Points()}
            : ptc_held::Slot{};
}

bool PtcNodeTable::MakeSlots(std::size_t count) noexcept {
    made_ = ZeroedArray<Slot>(count);
    if (!made_) return false;
    slots_ = made_.get();
    mask_ = count - 1;
    return true;
}

void PtcNodeTable::Fill(std::size_t place, const PtcCacheBlock* block) noexcept {
    slots_[place] = block ? Slot{block->Index(), ~block->Identity(), block->Nodes()} : Slot{};
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
