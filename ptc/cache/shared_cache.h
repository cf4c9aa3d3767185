// `PtcSharedCache`: blocks that any thread may share, up to a fixed count.
//
// Units      capacity in blocks; memory figures in bytes.
// Errors     Get() answers null when the file cannot be read (each try is reported once, as T43051
//            or T43052), when memory runs out, and when every block is held (both not reported).
// Ownership  the cache owns all blocks until it is destroyed; a caller owns one hold for each
//            block it got and gives it back with Release().
// Threads    any thread may call any member at any time, except the constructor, the destructor
//            and BrokenPromise().
//
// Locks, in the order in which they may be taken:
//
//   rank  lock          count  guards
//   50    grow_lock_      1    allocating chunks and threads' own blocks, the lists of them
//   51    bucket_lock_  128    changes of the chains of the buckets b with b % 128 == i
//   52    evict_lock_     1    the list of blocks that were released longest ago
//   53    list_lock_      1    free list, returned list, queue of released blocks, allocated count
//
//   - a thread holds at most one of these, except list_lock_, which may be taken inside any other;
//   - hits and releases take none: a search reads the chain without its lock, holds the block that
//     has the key, and looks at the key again, which cannot change any more then. Only a search
//     that finds nothing repeats itself under the bucket's lock, because the chain may have changed
//     under it. Blocks are never freed while the cache lives, so a search always reads a block;
//   - a chunk is allocated under grow_lock_ and without list_lock_. So a thread that finds the free
//     list empty meanwhile waits for the chunk instead of answering that all blocks are held;
//   - no lock is held while a file is read, so two threads that miss on one block at once may
//     both read it. The later one finds the other's block when it inserts, under the bucket's
//     lock, and gives its own back: a chain never contains a key twice.

#pragma once

#include <tbb/spin_rw_mutex.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "ptc/cache/cache_block.h"
#include "ptc/cache/cache_stats.h"
#include "ptc/cache/idle_blocks.h"
#include "util/base/tg_lock.h"

/// A block that a lookup needs, and how to read it.
struct PtcBlockRequest {
    PtcBlockSource& file;
    std::int64_t index;            ///< first point, or the parent's reference
    const std::int64_t* children;  ///< the parent's eight references; null for points
    std::size_t item = 0;          ///< of the block, which the caller uses first
};

/// Why there is no block.
struct PtcNoBlock {
    enum class Reason {
        kAllHeld,     ///< threads hold all blocks
        kNoMemory,    ///< no memory for the block's records
        kUnreadable,  ///< reading the file failed
    };
    Reason reason = Reason::kAllHeld;
    int error = 0;  ///< errno of an unreadable file; 0: its content is damaged
};

struct PtcFree {
    void operator()(void* memory) const { std::free(memory); }
};

using PtcBlockLinks = std::unique_ptr<std::atomic<PtcCacheBlock*>[], PtcFree>;

class PtcSharedCache : public TgUncopyable {
public:
    static constexpr std::int32_t kChunkBlocks = 1024;
    static constexpr std::size_t kBucketLocks = 128;

    /// The block that `request` names, held once more; null: `*why`, unless null, has the reason.
    /// Counts one hit or one miss, and what is read, in `stats`, which is the calling thread's.
    PtcCacheBlock* Get(const PtcBlockRequest& request, PtcCacheStats& stats,
                       PtcNoBlock* why = nullptr) {
        const std::uint64_t hash = HashOf(request.file.Identity(), request.index);
        PtcCacheBlock* const found = Find(request, hash, stats);
        return found ? found : Load(request, hash, stats, why);
    }

    /// The two steps of Get(): the block if the cache has it, which is a hit; the block after it
    /// was read, which is a miss. `hash`: the block's, as the derived class computes it.
    PtcCacheBlock* Find(const PtcBlockRequest& request, std::uint64_t hash, PtcCacheStats& stats);
    PtcCacheBlock* Load(const PtcBlockRequest& request, std::uint64_t hash, PtcCacheStats& stats,
                        PtcNoBlock* why);

    /// Gives one hold back. Caller: holds the block.
    void Release(PtcCacheBlock& block);

    /// A block outside the capacity, into which one thread reads while all blocks are held. The
    /// statistics' slots do not include it; its memory is charged like that of other blocks. It
    /// lives as long as the cache. Null: no memory.
    PtcCacheBlock* MakeOwnBlock();

    /// Reads what `request` names into `block`, unless it is already there, and counts what is
    /// read. False: `*why` has the reason, an unreadable file is reported, and the block is empty.
    /// Caller: made `block` with MakeOwnBlock() and is its only user.
    bool ReadInto(PtcCacheBlock& block, const PtcBlockRequest& request, PtcCacheStats& stats,
                  PtcNoBlock* why);

    std::int32_t Capacity() const { return capacity_; }

    /// The first invariant that is broken, in words, or null. Lists, chains, states and the memory
    /// charged must agree. Caller: no other thread is inside; blocks may be held.
    const char* BrokenPromise() const;

protected:
    /// The difference between the two caches, apart from the virtual functions.
    struct Kind {
        PtcFiguresOf figures;
        void (*report_unreadable)(const char* file_name);
    };

    /// `capacity`: at least 1. `stats` are charged with memory and outlive the cache.
    PtcSharedCache(const Kind& kind, std::int32_t capacity, PtcCacheStats& stats);

    /// Caller: has called FreeBlocks() in its own destructor, because FreeBlocks() calls the
    /// derived class's virtual functions.
    virtual ~PtcSharedCache() = default;

    /// Frees all blocks and subtracts their memory from the statistics.
    void FreeBlocks();

    void Charge(std::int64_t bytes) { (shared_stats_.*kind_.figures).memory.Charge(bytes); }

private:
    friend struct PtcCacheView;  // tests compare lists and states with a model's

    class BucketRead;
    class BucketWrite;
    class Claim;

    /// The bucket's number before it is masked.
    virtual std::uint64_t HashOf(std::uint32_t identity, std::int64_t index) const = 0;

    /// Makes records and data arrays large enough for the file's items. False: no memory; the
    /// memory that the block has then is charged nevertheless.
    virtual bool MakeRoom(PtcCacheBlock& block, const PtcBlockSource& file) = 0;

    /// Reads the block from the file, and clears the records that the file does not fill.
    virtual CloudStatus Fill(PtcCacheBlock& block, const PtcBlockRequest& request) = 0;

    /// The number of items that the statistics count when the block is read.
    virtual unsigned long ItemsIn(const PtcBlockRequest& request) const = 0;

    /// The bytes charged for the records and data that the block has now.
    virtual std::int64_t BytesOf(const PtcCacheBlock& block) const = 0;

    virtual void FreeData(PtcCacheBlock& block) = 0;

    std::size_t BucketOf(std::uint32_t identity, std::int64_t index) const {
        return HashOf(identity, index) & bucket_mask_;
    }
    std::int64_t FixedBytes() const;

    PtcCacheBlock* HoldInChain(const PtcBlockRequest& request, std::size_t bucket, int most);
    PtcCacheBlock* ReadAndInsert(const PtcBlockRequest& request, std::size_t bucket,
                                 PtcCacheStats& stats, PtcNoBlock* why);
    PtcCacheBlock* ClaimBlock();
    PtcCacheBlock* ClaimIdle();
    void ListIdle() UTIL_REQUIRES(evict_lock_);
    bool Grow();
    void LeaveChain(PtcCacheBlock& block);
    bool Read(PtcCacheBlock& block, const PtcBlockRequest& request, PtcCacheStats& stats,
              PtcNoBlock* why);
    void Report(const PtcBlockRequest& request, const PtcNoBlock& why) const;
    PtcCacheBlock* Insert(Claim& claim, const PtcBlockRequest& request, std::size_t bucket);
    void EndHold(PtcCacheBlock& block);

    void GiveBack(PtcCacheBlock& block);
    PtcCacheBlock* PopFree() UTIL_REQUIRES(list_lock_);
    PtcCacheBlock* PopReturned(std::uint64_t* arrivals);
    PtcCacheBlock* ClaimReleased();
    bool HasArrived(std::uint64_t since);

    /// Calls `visit` for all blocks that exist, in the order of their making.
    template <class Visit>
    void ForEachBlock(Visit visit) const {
        // acquire: pairs with the release in Grow(), so that the chunks are visible
        std::int32_t left = allocated_.load(std::memory_order_acquire);
        for (std::size_t chunk = 0; left > 0; ++chunk) {
            PtcCacheBlock* const first = chunks_[chunk].get();
            const std::int32_t count = std::min(left, kChunkBlocks);
            for (PtcCacheBlock* block = first; block != first + count; ++block) visit(*block);
            left -= count;
        }
    }

    const char* BrokenChain() const;
    const char* BrokenList() const;

    // Immutable after construction.
    const Kind kind_;
    const std::int32_t capacity_;
    const std::size_t bucket_mask_;
    PtcCacheStats& shared_stats_;

    // Each head is changed under its bucket's lock; a BucketWrite proves that it is held.
    const PtcBlockLinks heads_;
    mutable tbb::spin_rw_mutex bucket_lock_[kBucketLocks];

    // Guarded. A chunk is written once, before `allocated_` counts its blocks.
    TgMutex grow_lock_;
    const std::unique_ptr<std::unique_ptr<PtcCacheBlock[]>[]> chunks_;
    std::vector<std::unique_ptr<PtcCacheBlock>> own_blocks_ UTIL_GUARDED_BY(grow_lock_);

    TgMutex evict_lock_;
    PtcOldestBlocks oldest_ UTIL_GUARDED_BY(evict_lock_);

    // Starts a cache line: these members change with misses, and lookups of other threads read the
    // members above.
    alignas(64) TgSpinByte list_lock_;
    PtcCacheBlock* free_head_ UTIL_GUARDED_BY(list_lock_) = nullptr;      ///< never held data
    PtcCacheBlock* returned_head_ UTIL_GUARDED_BY(list_lock_) = nullptr;  ///< could not be filled
    PtcReleasedBlocks released_ UTIL_GUARDED_BY(list_lock_);
    std::uint64_t arrivals_ UTIL_GUARDED_BY(list_lock_) =
        0;  ///< at the returned list and the queue
    /// Atomic: written under the lock; read without it to visit all blocks.
    std::atomic<std::int32_t> allocated_{0};

    /// Blocks that become idle must join the queue, because list and queue have all that are. Set
    /// before all blocks are looked at: one that is released meanwhile is seen idle or joins.
    alignas(64) std::atomic<bool> queues_releases_{false};
};
