// Collects the blocks that were released longest ago, and hands them out.

#include "ptc/cache/idle_blocks.h"

#include <algorithm>

namespace {

constexpr std::uint64_t kNever = UINT64_MAX;

bool IsOlder(const PtcIdleBlock& a, const PtcIdleBlock& b) {
    return a.released < b.released;
}

}  // namespace

PtcOldestBlocks::PtcOldestBlocks(std::int32_t capacity)
    : entries_(2 * static_cast<std::size_t>(std::max(capacity / 8, std::min(capacity, 64)))) {}

PtcCacheBlock* PtcOldestBlocks::ClaimNext() noexcept {
    while (next_ < count_)
        if (PtcCacheBlock* const block = entries_[next_++].Claim()) return block;
    return nullptr;
}

void PtcOldestBlocks::Begin() noexcept {
    count_ = 0;
    next_ = 0;
    too_young_ = kNever;
}

void PtcOldestBlocks::Look(PtcCacheBlock& block) noexcept {
    const std::uint64_t released = block.ReleasedAt();
    if (released >= too_young_ || !block.state.IsIdle() || block.IsEmpty()) return;
    entries_[count_++] = {&block, released};
    if (count_ == entries_.size()) KeepOldest();
}

/// Forgets those that cannot be in the list any more.
void PtcOldestBlocks::KeepOldest() noexcept {
    const auto begin = entries_.begin();
    const auto youngest = begin + static_cast<std::ptrdiff_t>(Most());
    std::nth_element(begin, youngest, begin + static_cast<std::ptrdiff_t>(count_), IsOlder);
    too_young_ = youngest->released;
    count_ = Most();
}

bool PtcOldestBlocks::End() noexcept {
    if (count_ > Most()) KeepOldest();
    std::sort(entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(count_), IsOlder);
    return too_young_ == kNever;
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
