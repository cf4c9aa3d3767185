// Grids that were delivered before: what is remembered of each and how one is recognised.
//
// Errors     a grid is not remembered when memory runs out.
// Ownership  copies what it keeps of a batch.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <vector>

#include "driver/batch.h"

/// One remembered grid: enough of it to know it again without looking at every sample.
struct GridSignature {
    struct Sample {
        float position[3];
        float normal[3];
    };

    std::uint64_t count;
    float key;          ///< (y + z) + x of the first sample
    Sample samples[3];  ///< the first, the one in the middle and the last
    std::uint32_t next;
};

/// Every grid delivered so far.
///
/// Two grids are the same when they have as many samples, share one of 4096 buckets of the key,
/// and agree in key and in three samples within tolerances that are fixed numbers. That test
/// decides. It is made only for candidates, which are looked up by the cell of the first sample's
/// position: keys alone coincide all over some scenes, such as a slanting plane, and every grid
/// would be compared with every other.
class DuplicateGrids {
public:
    /// Whether `grid` is a copy of an earlier one. If not, it is remembered.
    /// Caller: it has more than one sample.
    bool IsCopy(const Batch& grid);

private:
    bool Find(const GridSignature& grid) const;
    void Remember(const GridSignature& grid);
    void Rehash(std::size_t heads);

    std::vector<GridSignature> signatures_;
    std::vector<std::uint32_t> heads_;  ///< a power of two; first signature of each chain
};
