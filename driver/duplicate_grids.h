// `DuplicateGrids`: recognises grids that were delivered before.
//
// Errors     a grid is not remembered when memory runs out.
// Ownership  copies what it keeps of a batch.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstdint>
#include <memory>
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
};

/// Every grid delivered so far.
///
/// Two grids are the same when they have the same number of samples, their keys are in the same one
/// of 4096 buckets, and keys and three samples agree within fixed tolerances. Only this test
/// decides. The candidates for it are found by the cell of the first sample's position, not by the
/// key: in some scenes, such as a slanting plane, all keys are equal, and every grid would be
/// compared with every other one.
///
/// The memory of a remembered grid is cold when the next one arrives, because much was written in
/// between. So a lookup waits for one cache line as a rule: three of four heads are empty, and a
/// link tells most grids apart without a look at their signatures.
class DuplicateGrids {
public:
    /// Whether `grid` is a copy of an earlier one. If not, it is remembered.
    /// Caller: it has more than one sample.
    bool IsCopy(const Batch& grid);

private:
    /// Where an equal grid may be remembered: up to eight cells, as their hashes. The first one is
    /// that of the grid itself.
    struct Cells {
        std::array<std::uint64_t, 8> hashes;
        std::size_t count = 0;
    };

    /// One of a chain of grids whose hashes have the same head.
    struct Link {
        std::uint32_t tag;   // bits of the hash that do not choose the head
        std::uint32_t next;  // index of the next link; the grid's signature has the same index
    };

    /// Signatures never move: they are too many to be copied whenever their memory grows.
    static constexpr std::size_t kChunk = 256;

    static Cells CellsOf(const PointHead& first, std::uint64_t count);
    bool Find(const GridSignature& grid, const Cells& cells) const;
    void Remember(const GridSignature& grid, std::uint64_t hash);
    void Rehash(std::size_t heads);
    const GridSignature& Signature(std::size_t index) const {
        return chunks_[index / kChunk][index % kChunk];
    }

    std::vector<std::unique_ptr<GridSignature[]>> chunks_;
    std::vector<Link> links_;
    std::vector<std::uint32_t> heads_;  ///< a power of two; first link of each chain
};
