// Finds, claims, fills, inserts and releases blocks.
//
// A miss takes these steps:
//
//   step          locks          state of the block after it
//   ClaimBlock    evict or list  CLAIMED, on no list, perhaps still in the chain of its old key
//   LeaveChain    bucket         CLAIMED, in no chain: no search finds it
//   Read          none           the same, filled
//   Insert        bucket         HELD(1), in the chain of its new key. If another thread has
//                                inserted that key: returned, and the miss answers the other block
//
// A miss that ends before Insert gives its block back.

#include "ptc/cache/shared_cache.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <new>
#include <utility>

#include "ptc/cache/release_clock.h"

namespace {

std::size_t BucketCount(std::int32_t capacity) {
    return std::bit_ceil(2 * static_cast<std::size_t>(capacity));
}

/// Null pointers. calloc() gives zeroed pages that the system provides only when they are used, so
/// a large capacity costs no memory before it is needed. Throws std::bad_alloc.
PtcBlockLinks NullLinks(std::size_t count) {
    using Link = PtcBlockLinks::element_type;
    static_assert(sizeof(Link) == sizeof(void*) && Link::is_always_lock_free);
    auto* const links = static_cast<Link*>(std::calloc(count, sizeof(Link)));
    if (!links) throw std::bad_alloc();
    return PtcBlockLinks(links);
}

std::size_t ChunkCount(std::int32_t capacity) {
    constexpr std::int32_t kChunk = PtcSharedCache::kChunkBlocks;
    return static_cast<std::size_t>((capacity + kChunk - 1) / kChunk);
}

}  // namespace

/// Holds one bucket's lock for reading: the chain stays as it is.
class PtcSharedCache::BucketRead {
public:
    [[nodiscard]] BucketRead(PtcSharedCache& cache, std::size_t bucket)
        : lock_(cache.bucket_lock_[bucket % kBucketLocks], false) {}

private:
    tbb::spin_rw_mutex::scoped_lock lock_;
};

/// The same for writing; gives access to the bucket's chain. Functions that need the lock take this
/// object, because clang's analysis cannot name "the lock of bucket b".
class PtcSharedCache::BucketWrite {
public:
    [[nodiscard]] BucketWrite(PtcSharedCache& cache, std::size_t bucket)
        : head_(cache.heads_[bucket]), lock_(cache.bucket_lock_[bucket % kBucketLocks], true) {}

    std::atomic<PtcCacheBlock*>& Head() const { return head_; }

private:
    std::atomic<PtcCacheBlock*>& head_;
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
        if (block_) cache_.GiveBack(*block_);
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
      heads_(NullLinks(BucketCount(capacity))),
      chunks_(std::make_unique<std::unique_ptr<PtcCacheBlock[]>[]>(ChunkCount(capacity))),
      oldest_(capacity),
      released_(PtcOldestBlocks(capacity).Most()) {
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
    const auto free_one = [&](PtcCacheBlock& block) {
        Charge(-BytesOf(block));
        FreeData(block);
    };
    ForEachBlock(free_one);
    TgMutexGuard grow(grow_lock_);
    for (const auto& block : own_blocks_) free_one(*block);
    own_blocks_.clear();
    allocated_ = 0;
    Charge(-FixedBytes());
}

// --- getting and releasing ---

PtcCacheBlock* PtcSharedCache::Find(const PtcBlockRequest& request, std::uint64_t hash,
                                    PtcCacheStats& stats) {
    // Without the lock, a search may come into other chains with blocks that move there.
    constexpr int kLongest = 64;
    const std::size_t bucket = hash & bucket_mask_;
    PtcCacheBlock* found = HoldInChain(request, bucket, kLongest);
    if (!found) {
        const BucketRead lock(*this, bucket);
        found = HoldInChain(request, bucket, capacity_);
    }
    if (found) (stats.*kind_.figures).hits.Add(1);
    return found;
}

PtcCacheBlock* PtcSharedCache::Load(const PtcBlockRequest& request, std::uint64_t hash,
                                    PtcCacheStats& stats, PtcNoBlock* why) {
    (stats.*kind_.figures).misses.Add(1);
    PtcNoBlock reason;  // `*why` may be a table's, which a handler's lookups change
    PtcCacheBlock* const block = ReadAndInsert(request, hash & bucket_mask_, stats, &reason);
    if (block) return block;
    Report(request, reason);
    if (why) *why = reason;
    return nullptr;
}

/// The steps of a miss. Null: `*why` has the reason.
PtcCacheBlock* PtcSharedCache::ReadAndInsert(const PtcBlockRequest& request, std::size_t bucket,
                                             PtcCacheStats& stats, PtcNoBlock* why) {
    for (;;) {
        *why = {PtcNoBlock::Reason::kAllHeld};
        PtcCacheBlock* const claimed = ClaimBlock();
        if (!claimed) return nullptr;
        LeaveChain(*claimed);
        Claim claim(*this, *claimed);
        if (!Read(*claim, request, stats, why)) return nullptr;
        if (PtcCacheBlock* const block = Insert(claim, request, bucket)) return block;
        // Another thread has inserted the block, and it was evicted since.
    }
}

void PtcSharedCache::Report(const PtcBlockRequest& request, const PtcNoBlock& why) const {
    if (why.reason == PtcNoBlock::Reason::kUnreadable) kind_.report_unreadable(request.file.Name());
}

void PtcSharedCache::Release(PtcCacheBlock& block) {
    block.SetReleasedAt(release_clock::Now());
    EndHold(block);
}

void PtcSharedCache::EndHold(PtcCacheBlock& block) {
    if (!block.state.Drop() || !queues_releases_.load()) return;
    TgSpinGuard hold(list_lock_);
    if (!queues_releases_.load()) return;
    ++arrivals_;
    if (!released_.Push(block)) queues_releases_.store(false);
}

/// One search, with or without the bucket's lock, of at most `most` blocks.
PtcCacheBlock* PtcSharedCache::HoldInChain(const PtcBlockRequest& request, std::size_t bucket,
                                           int most) {
    const std::uint32_t identity = request.file.Identity();
    // acquire: pairs with the release in Insert(), so that what is linked is visible
    PtcCacheBlock* block = heads_[bucket].load(std::memory_order_acquire);
    for (int i = 0; block && i < most; ++i) {
        if (block->Holds(identity, request.index) && block->state.TryHold()) {
            if (block->Holds(identity, request.index)) return block;
            EndHold(*block);  // it was refilled between the two looks at its key
        }
        block = block->chain_next.load(std::memory_order_acquire);
    }
    return nullptr;
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
    block.Clear();
    PtcNoBlock reason;  // `*why` is the table's, which a handler's lookups change
    if (!Read(block, request, stats, &reason)) {
        Report(request, reason);
        *why = reason;
        return false;
    }
    block.SetKey(request.file.Identity(), request.index);
    return true;
}

/// Inserts a filled block into its chain and answers it, or the block that another thread has
/// inserted with the same key meanwhile. Search and insertion are under one lock, so a chain never
/// contains a key twice. Null: the other block is being evicted.
///
/// The claimed block is given back before the other one is held: otherwise this thread would have
/// both for a moment, one more than it may, and another thread might find all blocks held.
PtcCacheBlock* PtcSharedCache::Insert(Claim& claim, const PtcBlockRequest& request,
                                      std::size_t bucket) {
    const std::uint32_t identity = request.file.Identity();
    const BucketWrite lock(*this, bucket);
    PtcCacheBlock* const head = lock.Head().load(std::memory_order_relaxed);
    for (PtcCacheBlock* block = head; block; block = block->chain_next.load()) {
        if (!block->Holds(identity, request.index)) continue;
        GiveBack(claim.HandOver());
        return block->state.TryHold() ? block : nullptr;
    }
    PtcCacheBlock& block = claim.HandOver();
    block.SetKey(identity, request.index);
    block.bucket = static_cast<std::int32_t>(bucket);
    block.chain_next.store(head, std::memory_order_relaxed);
    lock.Head().store(&block, std::memory_order_release);
    block.state.Publish();
    return &block;
}

// --- where blocks come from ---

/// A block in state CLAIMED, on no list, perhaps still in a chain; null: all are held. Blocks that
/// never held data come first. An idle block is evicted only when all blocks exist or memory for
/// new ones is lacking. Grow() takes a lock of lower rank, so the lists are unlocked before it and
/// looked at again after it.
PtcCacheBlock* PtcSharedCache::ClaimBlock() {
    bool can_grow = true;
    for (;;) {
        {
            TgSpinGuard hold(list_lock_);
            if (PtcCacheBlock* const block = PopFree()) return block;
            if (!can_grow || allocated_.load(std::memory_order_relaxed) == capacity_) break;
        }
        can_grow = Grow();
    }
    return ClaimIdle();
}

/// A block that was given back, or the idle block that was released longest ago. Null: all are
/// held. Blocks may arrive where this thread has already looked, so it looks again until none has.
PtcCacheBlock* PtcSharedCache::ClaimIdle() {
    TgMutexGuard evict(evict_lock_);
    for (;;) {
        std::uint64_t arrivals = 0;
        if (PtcCacheBlock* const block = PopReturned(&arrivals)) return block;
        if (PtcCacheBlock* const block = oldest_.ClaimNext()) return block;
        if (PtcCacheBlock* const block = ClaimReleased()) return block;
        if (!queues_releases_.load()) {
            ListIdle();
        } else if (!HasArrived(arrivals)) {
            return nullptr;
        }
    }
}

/// Lists the blocks that were released longest ago, and has later ones queued if that was all.
void PtcSharedCache::ListIdle() {
    const auto queue = [&](bool is_wanted) {
        TgSpinGuard hold(list_lock_);
        released_.Clear();
        queues_releases_.store(is_wanted);
    };
    queue(true);
    oldest_.Begin();
    ForEachBlock([&](PtcCacheBlock& block) UTIL_NO_THREAD_ANALYSIS { oldest_.Look(block); });
    if (!oldest_.End()) queue(false);  // blocks that are not listed are older than those queued
}

/// Fills the free list with a new chunk, unless another thread has, or all blocks exist.
/// False: no memory.
bool PtcSharedCache::Grow() {
    TgMutexGuard grow(grow_lock_);
    std::int32_t count;
    {
        TgSpinGuard hold(list_lock_);
        if (free_head_) return true;
        count = std::min(capacity_ - allocated_.load(std::memory_order_relaxed), kChunkBlocks);
    }
    if (count == 0) return true;
    std::unique_ptr<PtcCacheBlock[]> chunk(new (std::nothrow)
                                               PtcCacheBlock[static_cast<std::size_t>(count)]);
    if (!chunk) return false;
    PtcCacheBlock* const first = chunk.get();
    for (PtcCacheBlock* block = first; block != first + count - 1; ++block)
        block->list_next = block + 1;
    TgSpinGuard hold(list_lock_);
    const std::int32_t before = allocated_.load(std::memory_order_relaxed);
    chunks_[static_cast<std::size_t>(before / kChunkBlocks)] = std::move(chunk);
    first[count - 1].list_next = free_head_;
    free_head_ = first;
    allocated_.store(before + count, std::memory_order_release);
    return true;
}

/// Removes a claimed block from its chain and clears its key: no other thread can reach it then.
/// `bucket` is read before the lock is taken, because only the claimer writes it.
void PtcSharedCache::LeaveChain(PtcCacheBlock& block) {
    if (block.bucket == kNoBucket) return;
    const BucketWrite lock(*this, static_cast<std::size_t>(block.bucket));
    std::atomic<PtcCacheBlock*>* link = &lock.Head();
    while (link->load(std::memory_order_relaxed) != &block)
        link = &link->load(std::memory_order_relaxed)->chain_next;
    link->store(block.chain_next.load(std::memory_order_relaxed), std::memory_order_release);
    block.chain_next.store(nullptr, std::memory_order_relaxed);
    block.bucket = kNoBucket;
    block.Clear();
}

// --- the lists ---

/// Lists a claimed block, which contains nothing, as the next one to be used instead of an idle
/// block. So a file that fails again and again takes only one block away from the others. The block
/// stays claimed: no search holds it.
void PtcSharedCache::GiveBack(PtcCacheBlock& block) {
    TgSpinGuard hold(list_lock_);
    ++arrivals_;
    block.list_next = returned_head_;
    returned_head_ = &block;
}

PtcCacheBlock* PtcSharedCache::PopFree() {
    PtcCacheBlock* const block = free_head_;
    // No other thread can reach a free block, so TryClaim() never fails here.
    if (!block || !block->state.TryClaim()) return nullptr;
    free_head_ = std::exchange(block->list_next, nullptr);
    return block;
}

/// Null: `*arrivals` is the count at which the list was empty.
PtcCacheBlock* PtcSharedCache::PopReturned(std::uint64_t* arrivals) {
    TgSpinGuard hold(list_lock_);
    *arrivals = arrivals_;
    PtcCacheBlock* const block = returned_head_;
    if (block) returned_head_ = std::exchange(block->list_next, nullptr);
    return block;
}

PtcCacheBlock* PtcSharedCache::ClaimReleased() {
    TgSpinGuard hold(list_lock_);
    while (!released_.IsEmpty())
        if (PtcCacheBlock* const block = released_.Pop().Claim()) return block;
    return nullptr;
}

bool PtcSharedCache::HasArrived(std::uint64_t since) {
    TgSpinGuard hold(list_lock_);
    return arrivals_ != since;
}
