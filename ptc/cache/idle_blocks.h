// Which idle block to use again: the one that was released longest ago.
//
// Usually nothing is linked when a block is released or held again: a release only stores its time
// in the block. When a block is needed, all blocks are looked at and those that were released
// longest ago become a list. A block of the list whose time is still the same is older than all
// blocks that are not listed, so the list serves until it is used up: some of it has been used
// meanwhile, which is skipped. So 8 blocks or a few more are looked at for each one used again.
//
// When so few blocks are idle that the list has all of them, each look would find only a few. Then
// blocks that are released later join a queue, in the order of their releases, until there are more
// than it has room for.
//
// Units      times of ptc/cache/release_clock.h.
// Errors     none, except the constructors' std::bad_alloc.
// Ownership  both borrow the blocks.
// Threads    one caller at a time; other threads may hold and release blocks meanwhile.

#pragma once

#include <cstdint>
#include <vector>

#include "ptc/cache/cache_block.h"
#include "util/base/uncopyable.h"

/// A block that was idle at some moment.
struct PtcIdleBlock {
    PtcCacheBlock* block;
    std::uint64_t released;

    /// Claims the block, unless it was used since. A block that is held and released at this very
    /// moment is claimed nevertheless.
    PtcCacheBlock* Claim() const noexcept {
        return block->ReleasedAt() == released && block->state.TryClaim() ? block : nullptr;
    }
};

/// The list of the blocks that were released longest ago.
class PtcOldestBlocks : public TgUncopyable {
public:
    /// For a cache of `capacity` blocks. Throws std::bad_alloc.
    explicit PtcOldestBlocks(std::int32_t capacity);

    /// How many blocks a list has at most.
    std::size_t Most() const { return entries_.size() / 2; }

    /// Claims the block of the list that was released longest ago. Null: the list is used up.
    PtcCacheBlock* ClaimNext() noexcept;

    /// Begin() and End() enclose calls of Look() for all blocks, which make a new list.
    void Begin() noexcept;
    /// Ignores a block that is not idle, and one that holds nothing.
    void Look(PtcCacheBlock& block) noexcept;
    /// True: the list has all that were idle.
    bool End() noexcept;

private:
    void KeepOldest() noexcept;

    /// Oldest first; between Begin() and End() in no order, up to twice as many as a list has.
    std::vector<PtcIdleBlock> entries_;
    std::size_t count_ = 0;
    std::size_t next_ = 0;
    std::uint64_t too_young_ =
        0;  ///< blocks released at this time or later are not among the oldest
};

/// The queue of blocks that were released one after another.
class PtcReleasedBlocks : public TgUncopyable {
public:
    /// With room for `most` blocks. Throws std::bad_alloc.
    explicit PtcReleasedBlocks(std::size_t most) : ring_(most) {}

    void Clear() { count_ = 0; }
    bool IsEmpty() const { return count_ == 0; }
    /// False: there is no room.
    bool Push(PtcCacheBlock& block) noexcept;
    /// The one released first. Caller: the queue is not empty.
    PtcIdleBlock Pop() noexcept;

private:
    std::vector<PtcIdleBlock> ring_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};
