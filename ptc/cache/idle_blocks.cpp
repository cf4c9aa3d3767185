// Collects the blocks that were released longest ago, and hands them out.

#include "ptc/cache/idle_blocks.h"

#include <algorithm>

PtcIdleBlocks::PtcIdleBlocks(std::int32_t capacity)
    : entries_(
          static_cast<std::size_t>(std::clamp(capacity / 16, std::min(capacity, 64), capacity))) {}

PtcCacheBlock* PtcIdleBlocks::ClaimOldest() noexcept {
    while (next_ < count_) {
        const Entry& entry = entries_[next_++];
        // A block that is held and released at this moment is claimed nevertheless: nothing tells
        // that apart from a release that came before.
        if (entry.block->ReleasedAt() == entry.released && entry.block->state.TryClaim())
            return entry.block;
    }
    return nullptr;
}

void PtcIdleBlocks::Begin() noexcept {
    count_ = 0;
    next_ = 0;
}

void PtcIdleBlocks::Look(PtcCacheBlock& block) noexcept {
    if (!block.state.IsIdle() || block.IsEmpty()) return;
    const Entry entry{block.ReleasedAt(), &block};
    const auto begin = entries_.begin();
    const auto end = [&] { return begin + static_cast<std::ptrdiff_t>(count_); };
    if (count_ == entries_.size()) {
        if (!(entry < *begin)) return;
        std::pop_heap(begin, end());
        entries_[count_ - 1] = entry;
    } else {
        entries_[count_++] = entry;
    }
    std::push_heap(begin, end());
}

bool PtcIdleBlocks::Ready() noexcept {
    std::sort_heap(entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(count_));
    return count_ > 0;
}
