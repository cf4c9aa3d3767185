// ParallelLookup: the library's lookups of many places, on several threads.
//
// Units      those of ptc/lookup.h.
// Errors     the library's first failure, as a text; what could be answered is answered.
// Ownership  borrows the clouds and the lookup; answers own their arrays.
// Threads    one caller at a time. Answers do not depend on the number of threads.

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ptc/lookup.h"
#include "tools/clouds/lookup_clouds.h"
#include "tools/ptc/lookup/places.h"

/// Room for `most` points a place, of which the first `found` are there.
struct NearestAnswers {
    std::vector<std::int32_t> found;
    std::vector<std::int32_t> files;
    std::vector<std::int64_t> indexes;
    std::vector<float> squared_distances;
    std::vector<float> positions;
    std::vector<float> normals;
    std::vector<float> radii;
    std::vector<float> data;
};

struct SampleAnswers {
    std::vector<float> values;   ///< FloatsPerPoint() a place
    std::vector<float> weights;  ///< VariableCount() a place
};

class ParallelLookup {
public:
    ParallelLookup(const LookupClouds& clouds, const PtcLookup& lookup, int threads)
        : clouds_(clouds), lookup_(lookup), threads_(threads) {}

    // Each answers the first failure, or nothing. Places without a normal are looked up without.

    std::string Nearest(const PlaceBatch& places, const PtcNearest& wanted,
                        NearestAnswers* answers) const;
    std::string Sample(const PlaceBatch& places, const PtcFilter& filter,
                       SampleAnswers* answers) const;

    const PtcLookup& Library() const { return lookup_; }

private:
    /// Looks up the places of a run, which begins at place `first`.
    using LookUpRun = std::function<bool(std::int64_t first, const PtcPlaces& run)>;

    std::string ForEachRun(const PlaceBatch& places, const LookUpRun& look_up) const;

    const LookupClouds& clouds_;
    const PtcLookup& lookup_;
    const int threads_;
};
