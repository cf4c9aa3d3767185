// `PtcCacheSet`: the two caches of the process and the records of its threads.
//
// Units      memory in KB, as in options and in the host's calls.
// Errors     functions that make something answer false or null when memory runs out.
// Ownership  the set owns both caches and every thread's record.
// Threads    stated at each function.
//
// Locks, in the order in which they may be taken; both before those of ptc/cache/shared_cache.h:
//
//   rank  lock            count        guards
//   40    life_lock       1 (process)  making and destroying the process's set; what an ending
//                                      thread does with its record
//   41    registry_lock_  1 a set      the registry, and whether a record has an owner
//
// No file is read and nothing is reported under either.

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "ptc/cache/cache_budget.h"
#include "ptc/cache/thread_cache.h"

// --- the process's caches ---

/// Makes the caches with the options' sizes, unless they exist. False: no memory. Any thread.
bool EnsureCaches();

/// Makes the caches with these sizes. Does nothing if they exist: the first call decides. Numbers
/// below 1 mean the runtime's thread count and the options' sizes. Any thread.
void ConfigureCaches(int threads, std::int64_t point_kb, std::int64_t node_kb);

/// Frees the caches and every thread's record; the next use makes new ones. Caller: no thread is
/// inside a lookup, or uses a record that a lookup has answered. Threads may end meanwhile.
void DestroyCaches();

/// The number of the caches' life: 1 at first, one more after each end of theirs. No record has
/// life 0, so a thread without a record never matches.
extern constinit std::atomic<std::uint64_t> life_of_caches;

/// The slow part of ThisThreadCache().
PtcThreadCache* MakeThreadCache();

/// The calling thread's record; makes it, and the caches, when they are missing. Valid until
/// DestroyCaches() or the thread's end. Null: no memory. Any thread.
///
/// Inline, because every lookup calls it: a copy in thread-local memory and one comparison replace
/// the search for the thread's seat.
inline PtcThreadCache* ThisThreadCache() {
    const ptc_held::ThisThread& thread = ptc_held::this_thread;
    if (thread.life == life_of_caches.load(std::memory_order_relaxed)) [[likely]]
        return thread.record;
    return MakeThreadCache();
}

/// Charges "pointCloudMem" and "pointOctreeMem" with points and octrees that a computation keeps in
/// memory, unless the sum would be above `limit`. `*life`: the set's that is charged. Makes the
/// caches when they are missing. False: above the limit, or no memory. Any thread.
bool ChargeClouds(std::int64_t points, std::int64_t octrees, std::int64_t limit,
                  std::uint64_t* life);

/// Ends a charge. Does nothing when the set that was charged is gone. Any thread.
void DischargeClouds(std::int64_t points, std::int64_t octrees, std::uint64_t life);

/// Adds the figures of all threads together to `total`. False: there are no caches.
/// Any thread, while others look up.
bool MergeCacheStats(PtcCacheStats* total);

/// See PtcSharedCache::BrokenPromise(); null also when there are no caches.
const char* BrokenCachePromise();

// --- the set ---

/// Blocks of both caches.
struct PtcCacheSizes {
    PtcCacheBudget points;
    PtcCacheBudget nodes;
};

/// Computes the sizes from the arguments of ConfigureCaches() and the options
/// "/lumrd/pointmemory", "/lumrd/octreememory" and "/lumrd/constantmemorylimit".
PtcCacheSizes CacheSizes(int threads, std::int64_t point_kb, std::int64_t node_kb);

class PtcCacheSet : public TgUncopyable {
public:
    /// Throws std::bad_alloc.
    explicit PtcCacheSet(const PtcCacheSizes& sizes);

    /// A record for a thread that has none: that of a thread that has ended, or a new one. `front`
    /// is the thread's, for its inlined lookups. Any thread. Throws std::bad_alloc.
    PtcThreadCache* TakeRecord(ptc_held::Table& front) UTIL_EXCLUDES(registry_lock_);

    /// Gives the record's holds back, and makes the record free for another thread. Any thread.
    /// Caller: the owner no longer uses the record.
    void GiveBack(PtcThreadCache& record) UTIL_EXCLUDES(registry_lock_);

    /// Empties the fronts of all threads. Caller: no thread is inside a lookup.
    void TakeFronts() UTIL_EXCLUDES(registry_lock_);

    /// See MergeCacheStats().
    void MergeStats(PtcCacheStats* total) UTIL_EXCLUDES(registry_lock_);

    /// See ChargeClouds(). `limit`: none for what is freed. Caller: one thread at a time.
    bool Charge(std::int64_t points, std::int64_t octrees, std::int64_t limit);

    /// See PtcSharedCache::BrokenPromise().
    const char* BrokenPromise() const;

private:
    struct Entry {
        std::unique_ptr<PtcThreadCache> record;
        bool is_owned;  ///< by a living thread
    };

    // Destroyed in reverse order. The statistics come last, because a cache that is destroyed
    // subtracts its memory from them. The records come before the caches, whose blocks they hold.
    const PtcCacheSizes sizes_;
    PtcCacheStats stats_;
    PtcPointCache points_;
    PtcNodeCache nodes_;

    TgMutex registry_lock_;
    std::vector<Entry> registry_ UTIL_GUARDED_BY(registry_lock_);  ///< [i]: the record with index i
};
