// PtcLookup::State: the files of a lookup, the floats of its answers, each thread's scratch memory.
//
// Units      those of ptc/lookup.h.
// Errors     failures are stored as the thread's last one; throws std::bad_alloc.
// Ownership  a state borrows its files, and shares the octrees in memory with them.
// Threads    a state is immutable once it is made; a LookupThread belongs to its thread.

#pragma once

#include <cstdint>
#include <vector>

#include "ptc/cache/thread_cache.h"
#include "ptc/lookup.h"
#include "ptc/lookup/candidates.h"
#include "ptc/lookup/filter_search.h"
#include "ptc/lookup/looked_up_file.h"
#include "ptc/lookup/nearest_hint.h"
#include "ptc/lookup/place_order.h"
#include "ptc/lookup/tree_search.h"

/// What a thread keeps from one lookup to the next.
struct LookupScratch final : PtcThreadScratch {
    TreeSearch search;
    Candidates candidates;
    FilterSums sums;
    PlaceOrder order;
    NearestHint hint;
};

/// The calling thread's cache and scratch memory, for the duration of a call. A message's handler
/// may look up while the call that reports is not over; the inner call gets memory of its own.
class LookupThread : public TgUncopyable {
public:
    /// Throws std::bad_alloc.
    explicit LookupThread(PtcThreadCache& own) : cache(own) {
        if (own.scratch) {
            scratch_.reset(static_cast<LookupScratch*>(own.scratch.release()));
        } else {
            scratch_ = std::make_unique<LookupScratch>();
        }
    }
    ~LookupThread() { cache.scratch = std::move(scratch_); }

    LookupScratch& Scratch() { return *scratch_; }

    PtcThreadCache& cache;

private:
    std::unique_ptr<LookupScratch> scratch_;
};

/// What a lookup is made of. Immutable once it is made, so threads share it.
struct PtcLookup::State : LookedUpFiles {
    std::vector<WantedVariable> variables;
    std::int32_t floats = 0;  ///< of an answer
    bool is_whole = true;     ///< every file is used
    std::uint64_t life = 0;   ///< of the caches; after a shutdown the handles are of no use

    // These throw std::bad_alloc.

    void AddFiles(const PtcLookupClouds& clouds);
    /// False: an answer would have more floats than can be counted.
    bool FindVariables(const PtcLookupClouds& clouds);

    // One place. False: not everything could be read, and the failure is stored. Caller: the
    // arguments are sound.
    bool Nearest(LookupThread& thread, const PtcPlace& place, const PtcNearest& wanted,
                 const PtcNearestArrays& arrays, std::int32_t* found) const;
    bool Sample(LookupThread& thread, const PtcPlace& place, const PtcFilter& filter, float* values,
                float* weights) const;

private:
    std::span<Candidate> Search(LookupThread& thread, const PtcPlace& place,
                                const PtcNearest& wanted) const;
    std::span<Candidate> StoreRecords(LookupThread& thread, std::span<Candidate> nearest,
                                      const PtcNearestArrays& arrays) const;
    const PtcPoint* Record(PtcThreadCache* cache, const Candidate& candidate) const;
    void StoreData(const LookedUpFile& file, const PtcPoint& point, float* data) const;
};
