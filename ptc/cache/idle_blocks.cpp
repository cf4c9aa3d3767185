// Collects the blocks that were released longest ago, and hands them out.

#include "ptc/cache/idle_blocks.h"

#include <algorithm>

namespace {

bool IsOlder(const PtcIdleBlock& a, const PtcIdleBlock& b) {
    return a.released < b.released;
}

}  // namespace

PtcOldestBlocks::PtcOldestBlocks(std::int32_t capacity)
    : entries_(static_cast<std::size_t>(std::max(capacity / 16, std::min(capacity, 64)))) {}

PtcCacheBlock* PtcOldestBlocks::ClaimNext() noexcept {
    while (next_ < count_)
        if (PtcCacheBlock* const block = entries_[next_++].Claim()) return block;
    return nullptr;
}

void PtcOldestBlocks::Begin() noexcept {
    count_ = 0;
    next_ = 0;
    has_all_ = true;
}

void PtcOldestBlocks::Look(PtcCacheBlock& block) noexcept {
    if (!block.state.IsIdle() || block.IsEmpty()) return;
    const PtcIdleBlock entry{&block, block.ReleasedAt()};
    const auto begin = entries_.begin();  // while it is a heap, the youngest
    if (count_ == entries_.size()) {
        has_all_ = false;
        if (!IsOlder(entry, *begin)) return;
        std::pop_heap(begin, entries_.end(), IsOlder);
        --count_;
    }
    entries_[count_++] = entry;
    std::push_heap(begin, begin + static_cast<std::ptrdiff_t>(count_), IsOlder);
}

bool PtcOldestBlocks::End() noexcept {
    const auto begin = entries_.begin();
    std::sort_heap(begin, begin + static_cast<std::ptrdiff_t>(count_), IsOlder);
    return has_all_;
}

bool PtcReleasedBlocks::Push(PtcCacheBlock& block) noexcept {
    if (count_ == ring_.size()) return false;
    ring_[(first_ + count_++) % ring_.size()] = {&block, block.ReleasedAt()};
    return true;
}

PtcIdleBlock PtcReleasedBlocks::Pop() noexcept {
    const PtcIdleBlock entry = ring_[first_];
    first_ = (first_ + 1) % ring_.size();
    --count_;
    return entry;
}
