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
            if (block->IsEmpty() || BucketOf(block->Identity(), block->Index()) != bucket)
                return "a block is in the chain of its key";
            if (block->state.IsClaimed()) return "a claimed block is in no chain";
            if (!block->records) return "a block in a chain has records";
            for (const PtcCacheBlock* later = block->chain_next; later; later = later->chain_next)
                if (later->Holds(block->Identity(), block->Index()))
                    return "a chain holds a key once";
        }
    }
    return nullptr;
}

/// Lists: every block is free, returned, or in a chain, and the sum of their memory equals the
/// memory charged.
const char* PtcSharedCache::BrokenList() const UTIL_NO_THREAD_ANALYSIS {
    std::unordered_set<const PtcCacheBlock*> listed;
    for (const PtcCacheBlock* block = free_head_; block; block = block->list_next) {
        if (!listed.insert(block).second) return "the free list holds a block once";
        if (!block->state.IsIdle() || block->bucket != kNoBucket || block->records)
            return "a free block never held data";
    }
    for (const PtcCacheBlock* block = returned_head_; block; block = block->list_next) {
        if (!listed.insert(block).second) return "the lists hold a block once";
        if (!block->state.IsClaimed() || block->bucket != kNoBucket || !block->IsEmpty())
            return "a returned block is claimed and holds nothing";
    }

    std::int64_t bytes = FixedBytes();
    const char* broken = nullptr;
    ForEachBlock([&](const PtcCacheBlock& block) {
        bytes += BytesOf(block);
        if (listed.contains(&block) != (block.bucket == kNoBucket))
            broken = "a block is on a list exactly while it is in no chain";
        if (block.state.IsIdle() && !block.IsEmpty() && block.ReleasedAt() == 0)
            broken = "an idle block knows when it was released";
    });
    if (broken) return broken;
    for (const auto& block : own_blocks_) bytes += BytesOf(*block);
    if (allocated_ > capacity_) return "chunks hold what is allocated";
    if ((shared_stats_.*kind_.figures).memory.Charged() != bytes)
        return "the memory charged is what the blocks have";
    return nullptr;
}
