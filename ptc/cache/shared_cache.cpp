// Finds, claims, fills, inserts and releases blocks.
//
// A miss takes these steps:
//
//   step          locks          state of the block after it
//   ClaimBlock    list           CLAIMED, on no list, perhaps still in the chain of its old key
//   LeaveChain    bucket         CLAIMED, in no chain: no other thread can reach it
//   Read          none           the same, filled
//   Insert        bucket, list   HELD(1), in the chain of its new key. If another thread has
//                                inserted that key: IDLE, and the miss answers the other block
//
// A miss that ends before Insert gives its block back.

#include "ptc/cache/shared_cache.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <new>
#include <utility>

namespace {

std::size_t BucketCount(std::int32_t capacity) {
    return std::bit_ceil(2 * static_cast<std::size_t>(capacity));
}

/// Null pointers. calloc() gives zeroed pages that the system provides only when they are used, so
/// a large capacity costs no memory before it is needed. Throws std::bad_alloc.
PtcBlockLinks NullLinks(std::size_t count) {
    auto* const links = static_cast<PtcCacheBlock**>(std::calloc(count, sizeof(void*)));
    if (!links) throw std::bad_alloc();
    return PtcBlockLinks(links);
}

}  // namespace

/// Holds one bucket's lock for reading. Functions that need the lock take this object as an
/// argument, because clang's analysis cannot name "the lock of bucket b".
class PtcSharedCache::BucketRead {
public:
    [[nodiscard]] BucketRead(PtcSharedCache& cache, std::size_t bucket)
        : lock_(cache.bucket_lock_[bucket % kBucketLocks], false) {}

private:
    tbb::spin_rw_mutex::scoped_lock lock_;
};

/// The same for writing; gives access to the bucket's chain.
class PtcSharedCache::BucketWrite {
public:
    [[nodiscard]] BucketWrite(PtcSharedCache& cache, std::size_t bucket)
        : head_(cache.heads_[bucket]), lock_(cache.bucket_lock_[bucket % kBucketLocks], true) {}

    PtcCacheBlock*& Head() const { return head_; }

private:
    PtcCacheBlock*& head_;
    tbb::spin_rw_mutex::scoped_lock lock_;
};

/// A block in state CLAIMED that is in no chain. The destructor gives it back unless it was handed
/// over, so that no block is lost when reading fails, memory runs out or a file throws.
class PtcSharedCache::Claim {
public:
    [[nodiscard]] Claim(PtcSharedCache& cache, PtcCacheBlock& block)
        : cache_(cache), block_(&block) {}
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;
    ~Claim() {
        if (!block_) return;
        TgSpinGuard hold(cache_.list_lock_);
        cache_.GiveBack(*block_);
    }

    PtcCacheBlock& operator*() const { return *block_; }

    /// Gives the block to the caller, who puts it to use: this object no longer gives it back.
    PtcCacheBlock& HandOver() { return *std::exchange(block_, nullptr); }

private:
    PtcSharedCache& cache_;
    PtcCacheBlock* block_;
};

PtcSharedCache::PtcSharedCache(const Kind& kind, std::int32_t capacity, PtcCacheStats& stats)
    : kind_(kind),
      capacity_(capacity),
      bucket_mask_(BucketCount(capacity) - 1),
      shared_stats_(stats),
      heads_(NullLinks(BucketCount(capacity))) {
    {
        TgMutexGuard grow(grow_lock_);
        const std::int32_t chunks = (capacity + kChunkBlocks - 1) / kChunkBlocks;
        chunks_.reserve(static_cast<std::size_t>(chunks));
    }
    if (!Grow()) throw std::bad_alloc();
    Charge(FixedBytes());
    (stats.*kind.figures).slots.Set(static_cast<unsigned long>(capacity));
}

/// The memory charged from the beginning: the entries of the whole capacity, and the buckets.
std::int64_t PtcSharedCache::FixedBytes() const {
    return std::int64_t{capacity_} * std::int64_t{sizeof(PtcCacheBlock)} +
           static_cast<std::int64_t>((bucket_mask_ + 1) * sizeof(void*));
}

void PtcSharedCache::FreeBlocks() {
    TgMutexGuard grow(grow_lock_);
    TgSpinGuard hold(list_lock_);
    std::int32_t left = allocated_;
    for (const auto& chunk : chunks_) {
        const std::int32_t blocks = std::min(left, kChunkBlocks);
        for (PtcCacheBlock* block = chunk.get(); block != chunk.get() + blocks; ++block) {
            Charge(-BytesOf(*block));
            FreeData(*block);
        }
        left -= blocks;
    }
    for (const auto& block : own_blocks_) {
        Charge(-BytesOf(*block));
        FreeData(*block);
    }
    own_blocks_.clear();
    chunks_.clear();
    allocated_ = 0;
    Charge(-FixedBytes());
}

// --- getting and releasing ---

PtcCacheBlock* PtcSharedCache::Get(const PtcBlockRequest& request, PtcCacheStats& stats,
                                   PtcNoBlock* why) {
    const std::size_t bucket = BucketOf(request.file.Identity(), request.index);
    PtcCacheFigures& figures = stats.*kind_.figures;
    if (PtcCacheBlock* const found = FindAndHold(request, bucket)) {
        figures.hits.Add(1);
        return found;
    }
    figures.misses.Add(1);
    PtcNoBlock reason;
    PtcCacheBlock* const block = Load(request, bucket, stats, &reason);
    if (block) return block;
    Report(request, reason);
    if (why) *why = reason;
    return nullptr;
}

/// The steps of a miss: reads the block and inserts it. Null: `*why` has the reason.
PtcCacheBlock* PtcSharedCache::Load(const PtcBlockRequest& request, std::size_t bucket,
                                    PtcCacheStats& stats, PtcNoBlock* why) {
    *why = {PtcNoBlock::Reason::kAllHeld};
    PtcCacheBlock* const claimed = ClaimBlock();
    if (!claimed) return nullptr;
    LeaveChain(*claimed);
    Claim claim(*this, *claimed);
    return Read(*claim, request, stats, why) ? Insert(claim, request, bucket) : nullptr;
}

void PtcSharedCache::Report(const PtcBlockRequest& request, const PtcNoBlock& why) const {
    if (why.reason == PtcNoBlock::Reason::kUnreadable) kind_.report_unreadable(request.file.Name());
}

void PtcSharedCache::Release(PtcCacheBlock& block) {
    const BucketWrite lock(*this, static_cast<std::size_t>(block.bucket));
    if (!block.state.Drop()) return;
    TgSpinGuard hold(list_lock_);
    PushIdleHead(block);
}

/// Finds the block in its chain and holds it. Null: a miss. The bucket's lock is released before
/// the block leaves the reuse list: once it is held, no thread claims it, so the list's lock is
/// taken only for a block that was idle, and not under the bucket's.
PtcCacheBlock* PtcSharedCache::FindAndHold(const PtcBlockRequest& request, std::size_t bucket) {
    using Hold = PtcBlockState::Hold;
    PtcCacheBlock* block;
    Hold hold = Hold::kMiss;
    {
        const BucketRead lock(*this, bucket);
        for (block = heads_[bucket]; block; block = block->chain_next) {
            if (!block->Holds(request.file.Identity(), request.index)) continue;
            hold = block->state.TryHold();
            if (hold != Hold::kMiss) break;
        }
    }
    if (hold == Hold::kRevived) {
        TgSpinGuard list(list_lock_);
        UnlinkIdle(*block);
    }
    return block;
}

/// Makes room in a block and fills it. Measures the time and counts the items of each reading, also
/// of one that fails.
bool PtcSharedCache::Read(PtcCacheBlock& block, const PtcBlockRequest& request,
                          PtcCacheStats& stats, PtcNoBlock* why) {
    *why = {PtcNoBlock::Reason::kNoMemory};
    try {
        if (!MakeRoom(block, request.file)) return false;
        (stats.*kind_.figures).read.Add(ItemsIn(request));
        const UtHresTimerScope timed(stats.cache_read_time);
        errno = 0;  // a failed system call sets it; damaged content leaves it 0
        if (!Failed(Fill(block, request))) return true;
        *why = {PtcNoBlock::Reason::kUnreadable, errno == EINTR ? 0 : errno};
    } catch (const std::bad_alloc&) {
        // `*why` already says kNoMemory.
    }
    return false;
}

PtcCacheBlock* PtcSharedCache::MakeOwnBlock() {
    TgMutexGuard grow(grow_lock_);
    try {
        own_blocks_.reserve(own_blocks_.size() + 1);
        return own_blocks_.emplace_back(std::make_unique<PtcCacheBlock>()).get();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

bool PtcSharedCache::ReadInto(PtcCacheBlock& block, const PtcBlockRequest& request,
                              PtcCacheStats& stats, PtcNoBlock* why) {
    if (block.Holds(request.file.Identity(), request.index)) return true;
    block.identity = kNoFile;
    block.index = kNoIndex;
    PtcNoBlock reason;  // `*why` is the table's, which a handler's lookups change
    if (!Read(block, request, stats, &reason)) {
        Report(request, reason);
        *why = reason;
        return false;
    }
    block.identity = request.file.Identity();
    block.index = request.index;
    return true;
}

/// Inserts a filled block into its chain, unless another thread has inserted the same key
/// meanwhile. Search and insertion are under one lock, so a chain never contains a key twice.
PtcCacheBlock* PtcSharedCache::Insert(Claim& claim, const PtcBlockRequest& request,
                                      std::size_t bucket) {
    const BucketWrite lock(*this, bucket);
    if (PtcCacheBlock* const other = HoldOther(claim, request, lock)) return other;
    PtcCacheBlock& block = claim.HandOver();
    block.identity = request.file.Identity();
    block.index = request.index;
    block.bucket = static_cast<std::int32_t>(bucket);
    block.chain_next = lock.Head();
    lock.Head() = &block;
    block.state.Publish();
    return &block;
}

/// Holds the other thread's block and gives the claimed one back; null: there is no other block.
/// Both happen under the lists' lock: a thread that looks for a block in between would find neither
/// of the two, and might answer that all are held.
PtcCacheBlock* PtcSharedCache::HoldOther(Claim& claim, const PtcBlockRequest& request,
                                         const BucketWrite& lock) {
    using Hold = PtcBlockState::Hold;
    for (PtcCacheBlock* block = lock.Head(); block; block = block->chain_next) {
        if (!block->Holds(request.file.Identity(), request.index)) continue;
        TgSpinGuard list(list_lock_);
        const Hold hold = block->state.TryHold();
        if (hold == Hold::kMiss) continue;  // being evicted: LeaveChain() waits for this bucket
        if (hold == Hold::kRevived) UnlinkIdle(*block);
        GiveBack(claim.HandOver());
        return block;
    }
    return nullptr;
}

// --- where blocks come from ---

/// A block in state CLAIMED, on no list, perhaps still in a chain; null: all are held. An idle
/// block is evicted only when all blocks exist or memory for new ones is lacking. Grow() takes a
/// lock of lower rank, so the lists are unlocked before it and looked at again after it.
PtcCacheBlock* PtcSharedCache::ClaimBlock() {
    bool can_grow = true;
    for (;;) {
        {
            TgSpinGuard hold(list_lock_);
            if (PtcCacheBlock* const block = PopFree()) return block;
            if (!can_grow || allocated_ == capacity_) return ClaimIdle();
        }
        can_grow = Grow();
    }
}

/// Fills the free list with a new chunk, unless another thread has, or all blocks exist.
/// False: no memory.
bool PtcSharedCache::Grow() {
    TgMutexGuard grow(grow_lock_);
    std::int32_t count;
    {
        TgSpinGuard hold(list_lock_);
        if (free_head_) return true;
        count = std::min(capacity_ - allocated_, kChunkBlocks);
    }
    if (count == 0) return true;
    std::unique_ptr<PtcCacheBlock[]> chunk(new (std::nothrow)
                                               PtcCacheBlock[static_cast<std::size_t>(count)]);
    if (!chunk) return false;
    PtcCacheBlock* const first = chunk.get();
    for (PtcCacheBlock* block = first; block != first + count - 1; ++block)
        block->reuse_next = block + 1;
    chunks_.push_back(std::move(chunk));  // room for all chunks is reserved
    TgSpinGuard hold(list_lock_);
    first[count - 1].reuse_next = free_head_;
    free_head_ = first;
    allocated_ += count;
    return true;
}

/// Removes a claimed block from its chain and clears its key: no other thread can reach it then.
/// `bucket` is read before the lock is taken, because only the claimer writes it.
void PtcSharedCache::LeaveChain(PtcCacheBlock& block) {
    if (block.bucket == kNoBucket) return;
    const BucketWrite lock(*this, static_cast<std::size_t>(block.bucket));
    PtcCacheBlock** link = &lock.Head();
    while (*link != &block) link = &(*link)->chain_next;
    *link = block.chain_next;
    block.chain_next = nullptr;
    block.bucket = kNoBucket;
    block.identity = kNoFile;
    block.index = kNoIndex;
}

// --- the lists ---

/// Puts a claimed block back at the tail, where the next search begins, because it contains
/// nothing. So a file that fails again and again takes only one block away from the others.
void PtcSharedCache::GiveBack(PtcCacheBlock& block) {
    block.state.Abandon();
    PushIdleTail(block);
}

PtcCacheBlock* PtcSharedCache::PopFree() {
    PtcCacheBlock* const block = free_head_;
    // No other thread can reach a free block, so TryClaim() never fails here.
    if (!block || !block->state.TryClaim()) return nullptr;
    free_head_ = block->reuse_next;
    block->reuse_next = nullptr;
    return block;
}

/// The idle block that was released longest ago. Skips blocks that another thread has just revived
/// and unlinks as soon as it gets the lock.
PtcCacheBlock* PtcSharedCache::ClaimIdle() {
    for (PtcCacheBlock* block = idle_tail_; block; block = block->reuse_previous) {
        if (!block->state.TryClaim()) continue;
        UnlinkIdle(*block);
        return block;
    }
    return nullptr;
}

void PtcSharedCache::PushIdleHead(PtcCacheBlock& block) {
    block.reuse_next = idle_head_;
    block.reuse_previous = nullptr;
    (idle_head_ ? idle_head_->reuse_previous : idle_tail_) = &block;
    idle_head_ = &block;
}

void PtcSharedCache::PushIdleTail(PtcCacheBlock& block) {
    block.reuse_next = nullptr;
    block.reuse_previous = idle_tail_;
    (idle_tail_ ? idle_tail_->reuse_next : idle_head_) = &block;
    idle_tail_ = &block;
}

void PtcSharedCache::UnlinkIdle(PtcCacheBlock& block) {
    (block.reuse_previous ? block.reuse_previous->reuse_next : idle_head_) = block.reuse_next;
    (block.reuse_next ? block.reuse_next->reuse_previous : idle_tail_) = block.reuse_previous;
    block.reuse_next = nullptr;
    block.reuse_previous = nullptr;
}
