// `PtcIdleBlocks`: which idle block to use again: the one that was released longest ago.
//
// Nothing is linked when a block is released or held again: a release only stores its time in the
// block. When a block is needed, all blocks are looked at and those that were released longest ago
// become a list. A block of the list whose time is still the same is older than all blocks that are
// not listed, so the list serves until it is used up: some of it has been used meanwhile, which is
// skipped. The blocks looked at are then 16 or fewer for each one that is used again.
//
// Units      times of ptc/cache/release_clock.h.
// Errors     none, except the constructor's std::bad_alloc.
// Ownership  borrows the blocks.
// Threads    one caller at a time; other threads may hold and release blocks meanwhile.

#pragma once

#include <cstdint>
#include <vector>

#include "ptc/cache/cache_block.h"
#include "util/base/uncopyable.h"

class PtcIdleBlocks : public TgUncopyable {
public:
    /// For a cache of `capacity` blocks. Throws std::bad_alloc.
    explicit PtcIdleBlocks(std::int32_t capacity);

    /// Claims the block of the list that was released longest ago. Null: the list is used up.
    PtcCacheBlock* ClaimOldest() noexcept;

    /// Makes a new list of the blocks that Look() is called for until Ready().
    void Begin() noexcept;
    /// Blocks that are not idle or hold nothing are ignored.
    void Look(PtcCacheBlock& block) noexcept;
    /// False: there was no idle block.
    bool Ready() noexcept;

private:
    struct Entry {
        std::uint64_t released;
        PtcCacheBlock* block;
        bool operator<(const Entry& other) const { return released < other.released; }
    };

    std::vector<Entry> entries_;  ///< oldest first; while they are collected, a heap of the oldest
    std::size_t count_ = 0;
    std::size_t next_ = 0;
};
