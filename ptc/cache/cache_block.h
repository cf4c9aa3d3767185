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
///    0    ^                 2 |      Drop (-1)      1 + n
///         |                   | Drop, by the last holder
///         |      TryClaim     v
///         |<--------------- IDLE
///                             1
///
///   state    | data readable by | on a list                       | in a bucket's chain
///   ---------+------------------+---------------------------------+------------------------------
///   CLAIMED  | the claimer      | when it was given back: returned | until the claimer unlinks it
///   IDLE     | nobody           | when it never held data: free   | yes, if it holds data
///   HELD(n)  | the n holders    | no                              | yes
///
/// Only the thread whose compare-and-swap made a transition acts on it. So two threads that race
/// for an idle block, one to hold it and one to claim it, need no lock in common.
class PtcBlockState {
public:
    /// One more hold. False: the block is being refilled.
    [[nodiscard]] bool TryHold() noexcept {
        std::uint32_t seen = word_.load(std::memory_order_relaxed);
        while (seen != kClaimed) {
            // acquire: pairs with the release in Publish(), so that the block's data are visible
            if (word_.compare_exchange_weak(seen, seen + 1, std::memory_order_acquire,
                                            std::memory_order_relaxed))
                return true;
        }
        return false;
    }

    /// IDLE -> CLAIMED. False: another thread has held or claimed the block first.
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

    /// Ends one hold. True: it was the last one. In one order, which all threads agree on, with
    /// IsIdle() and with the flag by which PtcSharedCache asks for blocks that become idle.
    bool Drop() noexcept {
        const std::uint32_t before = word_.fetch_sub(1, std::memory_order_seq_cst);
        assert(before > kIdle);
        return before == kIdle + 1;
    }

    bool IsIdle() const noexcept { return word_.load(std::memory_order_seq_cst) == kIdle; }

    /// For checks while no thread changes the block.
    bool IsClaimed() const noexcept { return word_.load(std::memory_order_relaxed) == kClaimed; }
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
///   member                  written by            while
///   key, bucket             the claimer           the block is in no chain
///   records, data,          the claimer           the state is CLAIMED
///     data_floats
///   chain_next              any thread            it holds the bucket's lock for writing
///   list_next               any thread            it holds the lists' lock
///   release time            any holder            it gives its hold back
///
/// A holder may read the members of the first two rows without a lock, because no thread claims a
/// block that is held. Key, chain and time are atomic, because searches without a lock read them
/// at any time.
struct alignas(64) PtcCacheBlock {
    PtcBlockState state;
    std::int32_t bucket = kNoBucket;
    void* records = nullptr;  ///< 256 PtcPoint or 8 PtcNode; null before the first use
    float* data = nullptr;    ///< floats of all points; each node has its own array instead
    std::atomic<PtcCacheBlock*> chain_next{nullptr};
    PtcCacheBlock* list_next = nullptr;  ///< in the free list, or in that of returned blocks
    std::int32_t data_floats = 0;        ///< how many floats there is room for, in each item

    PtcPoint* Points() const { return static_cast<PtcPoint*>(records); }
    PtcNode* Nodes() const { return static_cast<PtcNode*>(records); }

    /// The first point of the block, or the parent's reference.
    std::int64_t Index() const { return index_.load(std::memory_order_relaxed); }
    /// Of the file.
    std::uint32_t Identity() const { return identity_.load(std::memory_order_relaxed); }
    bool IsEmpty() const { return Identity() == kNoFile; }
    bool Holds(std::uint32_t identity, std::int64_t index) const {
        return Index() == index && Identity() == identity;
    }
    void SetKey(std::uint32_t identity, std::int64_t index) {
        identity_.store(identity, std::memory_order_relaxed);
        index_.store(index, std::memory_order_relaxed);
    }
    void Clear() { SetKey(kNoFile, kNoIndex); }

    /// Of ptc/cache/release_clock.h: when a hold on the block ended last.
    std::uint64_t ReleasedAt() const { return released_at_.load(std::memory_order_relaxed); }
    void SetReleasedAt(std::uint64_t time) { released_at_.store(time, std::memory_order_relaxed); }

private:
    std::atomic<std::uint32_t> identity_{kNoFile};
    std::atomic<std::int64_t> index_{kNoIndex};
    std::atomic<std::uint64_t> released_at_{0};
};
static_assert(sizeof(PtcCacheBlock) == 64);
