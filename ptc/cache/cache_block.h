// `PtcCacheBlock`: one entry of a shared cache, and the atomic word that contains its state.

#pragma once

#include <atomic>
#include <cassert>
#include <cstdint>

#include "ptc/cloud/block_source.h"

/// A block's state: which threads may read and write it. One atomic word.
///
///                Publish            TryHold (+1)
///    CLAIMED ----------> HELD(1) <------------> HELD(n)
///    0  ^ |                 2 |      Drop (-1)      1 + n
///       | |                   | Drop, by the last holder
///       | |      TryClaim     v
///       | |<--------------- IDLE   <- - TryHold: IDLE -> HELD(1), and the
///       +-----------------> 1          winner unlinks the block
///             Abandon
///
///   state    | data readable by | on a list               | in a bucket's chain
///   ---------+------------------+-------------------------+------------------------------
///   CLAIMED  | the claimer      | no                      | until the claimer unlinks it
///   IDLE     | nobody           | reuse list or free list | yes, if it holds data
///   HELD(n)  | the n holders    | no, but see (*)         | yes
///
/// (*) Between TryHold's IDLE -> HELD(1) and the winner's unlink the block is held and still on
///     the reuse list. A thread that looks there for a block to evict skips it, because its
///     TryClaim fails.
///
/// Only the thread whose compare-and-swap made a transition acts on it: the winner of TryHold
/// unlinks the block from the reuse list, the winner of TryClaim unlinks it from list and chain.
/// So the two, which race for an idle block, need no lock in common.
class PtcBlockState {
public:
    enum class Hold {
        kMiss,     ///< the block is being refilled: not a hit, continue the search
        kJoined,   ///< the block was held already
        kRevived,  ///< the block was idle: the caller unlinks it from the reuse list
    };

    /// Caller: holds the lock of the block's bucket, at least for reading.
    [[nodiscard]] Hold TryHold() noexcept {
        std::uint32_t seen = word_.load(std::memory_order_relaxed);
        while (seen != kClaimed) {
            // acquire: pairs with the release in Publish(), so that the block's data are visible
            if (word_.compare_exchange_weak(seen, seen + 1, std::memory_order_acquire,
                                            std::memory_order_relaxed))
                return seen == kIdle ? Hold::kRevived : Hold::kJoined;
        }
        return Hold::kMiss;
    }

    /// IDLE -> CLAIMED. False: another thread has held the block first; pick another one.
    /// Caller: found the block on the reuse list or on the free list, whose lock it holds.
    [[nodiscard]] bool TryClaim() noexcept {
        std::uint32_t idle = kIdle;
        // acquire: pairs with the release in Drop(), so that the refill comes after all reads by
        // earlier holders
        return word_.compare_exchange_strong(idle, kClaimed, std::memory_order_acquire,
                                             std::memory_order_relaxed);
    }

    /// CLAIMED -> HELD(1). Caller: claimed the block and filled it.
    void Publish() noexcept {
        assert(word_.load(std::memory_order_relaxed) == kClaimed);
        // release: pairs with the acquire in TryHold(). From kClaimed, which is 0, to HELD(1).
        word_.fetch_add(kIdle + 1, std::memory_order_release);
    }

    /// CLAIMED -> IDLE. Caller: claimed the block, which is in no chain, and puts it on a list.
    void Abandon() noexcept {
        assert(word_.load(std::memory_order_relaxed) == kClaimed);
        word_.store(kIdle, std::memory_order_release);  // pairs with TryClaim()
    }

    /// Ends one hold. True: it was the last one, and the caller puts the block on the reuse list.
    /// Caller: holds the lock of the block's bucket for writing, so that no thread finds and holds
    /// the block again, and unlinks it, before it is on the list.
    [[nodiscard]] bool Drop() noexcept {
        const std::uint32_t before =
            word_.fetch_sub(1, std::memory_order_release);  // pairs with TryClaim()
        assert(before > kIdle);
        return before == kIdle + 1;
    }

    /// For checks while no thread changes the block.
    bool IsClaimed() const noexcept { return word_.load(std::memory_order_relaxed) == kClaimed; }
    bool IsIdle() const noexcept { return word_.load(std::memory_order_relaxed) == kIdle; }
    std::uint32_t Holders() const noexcept {
        return IsClaimed() ? 0 : word_.load(std::memory_order_relaxed) - kIdle;
    }

private:
    static constexpr std::uint32_t kClaimed = 0;
    static constexpr std::uint32_t kIdle = 1;
    std::atomic<std::uint32_t> word_{kIdle};
};

constexpr std::int32_t kNoBucket = -1;
constexpr std::int64_t kNoIndex = -1;

/// One block: 256 points or the 8 children of a node. It fills exactly one cache line: a search
/// needs its key and its state together, and other threads change the states of its neighbours.
///
///   member                        written by            while
///   index, identity, bucket       the claimer           the block is in no chain
///   records, data, data_floats    the claimer           the state is CLAIMED
///   chain_next                    any thread            it holds the bucket's lock for writing
///   reuse_next, reuse_previous    any thread            it holds the lists' lock
///
/// A holder may read the members of the first two rows without a lock, because no thread claims a
/// block that is held.
struct alignas(64) PtcCacheBlock {
    std::int64_t index = kNoIndex;     ///< first point of the block, or the parent's reference
    std::uint32_t identity = kNoFile;  ///< of the file
    PtcBlockState state;
    void* records = nullptr;       ///< 256 PtcPoint or 8 PtcNode; null before the first use
    float* data = nullptr;         ///< floats of all points; each node has its own array instead
    std::int32_t data_floats = 0;  ///< how many floats there is room for, in each item
    std::int32_t bucket = kNoBucket;
    PtcCacheBlock* chain_next = nullptr;
    PtcCacheBlock* reuse_next = nullptr;  ///< also links the free list
    PtcCacheBlock* reuse_previous = nullptr;

    PtcPoint* Points() const { return static_cast<PtcPoint*>(records); }
    PtcNode* Nodes() const { return static_cast<PtcNode*>(records); }

    bool Holds(std::uint32_t wanted_identity, std::int64_t wanted_index) const {
        return identity == wanted_identity && index == wanted_index;
    }
};
static_assert(sizeof(PtcCacheBlock) == 64);
