// Checks the invariants of a shared cache, which hold whenever no thread is inside.

#include <cstddef>
#include <unordered_set>

#include "ptc/cache/shared_cache.h"

const char* PtcSharedCache::BrokenPromise() const {
    if (const char* const broken = BrokenChain()) return broken;
    return BrokenList();
}

/// Chains: each block is in one chain, that of its key, and no key occurs twice.
const char* PtcSharedCache::BrokenChain() const {
    for (std::size_t bucket = 0; bucket <= bucket_mask_; ++bucket) {
        const tbb::spin_rw_mutex::scoped_lock lock(bucket_lock_[bucket % kBucketLocks], false);
        std::int32_t length = 0;
        for (const PtcCacheBlock* block = heads_[bucket]; block; block = block->chain_next) {
            if (++length > capacity_) return "a chain ends";
            if (block->bucket != static_cast<std::int32_t>(bucket))
                return "a block knows the chain it is in";
            if (block->identity == kNoFile || BucketOf(block->identity, block->index) != bucket)
                return "a block is in the chain of its key";
            if (block->state.IsClaimed()) return "no block stays claimed";
            if (!block->records) return "a block in a chain has records";
            for (const PtcCacheBlock* later = block->chain_next; later; later = later->chain_next)
                if (later->Holds(block->identity, block->index)) return "a chain holds a key once";
        }
    }
    return nullptr;
}

/// Lists: every block is free, idle or held, and the sum of their memory equals the memory charged.
const char* PtcSharedCache::BrokenList() const UTIL_NO_THREAD_ANALYSIS {
    std::unordered_set<const PtcCacheBlock*> listed;
    for (const PtcCacheBlock* block = free_head_; block; block = block->reuse_next) {
        if (!listed.insert(block).second) return "the free list holds a block once";
        if (!block->state.IsIdle() || block->bucket != kNoBucket || block->records)
            return "a free block never held data";
    }
    const PtcCacheBlock* previous = nullptr;
    for (const PtcCacheBlock* block = idle_head_; block; block = block->reuse_next) {
        if (!listed.insert(block).second) return "the lists hold a block once";
        if (!block->state.IsIdle()) return "a block on the reuse list is idle";
        if (block->reuse_previous != previous) return "the reuse list runs both ways";
        if ((block->bucket == kNoBucket) != (block->identity == kNoFile))
            return "a block without a key is in no chain";
        previous = block;
    }
    if (idle_tail_ != previous) return "the reuse list ends with its tail";

    std::int64_t bytes = FixedBytes();
    std::int32_t left = allocated_;
    for (const auto& chunk : chunks_) {
        for (std::int32_t i = 0; i < kChunkBlocks && left > 0; ++i, --left) {
            const PtcCacheBlock& block = chunk[static_cast<std::size_t>(i)];
            bytes += BytesOf(block);
            if (block.state.IsClaimed()) return "no block stays claimed";
            if (block.state.IsIdle() != listed.contains(&block))
                return "a block is on a list exactly while it is idle";
            if (block.state.Holders() > 0 && block.bucket == kNoBucket)
                return "a held block is in a chain";
        }
    }
    for (const auto& block : own_blocks_) bytes += BytesOf(*block);
    if (left != 0 || allocated_ > capacity_) return "chunks hold what is allocated";
    if ((shared_stats_.*kind_.figures).memory.Charged() != bytes)
        return "the memory charged is what the blocks have";
    return nullptr;
}
