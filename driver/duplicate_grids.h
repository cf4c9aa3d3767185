// `DuplicateGrids`: recognises grids that were delivered before.
//
// Errors     a grid is not remembered when memory runs out.
// Ownership  copies what it keeps of a batch.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <vector>

#include "driver/batch.h"

/// One remembered grid: enough of it to recognise it without comparing every sample.
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
/// Two grids are the same when they have the same number of samples, their keys are in the same one
/// of 4096 buckets, and keys and three samples agree within fixed tolerances. Only this test
/// decides. The candidates for it are found by the cell of the first sample's position, not by the
/// key: in some scenes, such as a slanting plane, all keys are equal, and every grid would be
/// compared with every other one.
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
