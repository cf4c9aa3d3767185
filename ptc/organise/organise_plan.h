// OrganisePlan: how much of a cloud is in memory at a time.
//
// Units      bytes, points.
// Threads    any: plain numbers.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "ptc/organise/point_order.h"

struct OrganisePlan {
    static constexpr std::size_t kPieceBytes = std::size_t{1} << 18;  ///< read at a time

    std::size_t batch_points;  ///< sorted in memory at a time
    std::size_t slice_points;  ///< gathered by a thread at a time
    std::size_t chunk_points;  ///< written to the part file at a time
    int levels;                ///< by which the parts of a larger cloud are distributed
    std::size_t memory;

    /// Never less than a few times what a leaf takes.
    OrganisePlan(std::int64_t allowed, std::size_t record, std::size_t leaf_points,
                 bool drops_repeats)
        : memory(static_cast<std::size_t>(std::max<std::int64_t>(allowed, 1))) {
        // The record; its code, sorted from one place to another; a table with room to double.
        const std::size_t point =
            record + 2 * sizeof(CodedIndex) + (drops_repeats ? 4 * sizeof(std::uint32_t) : 0);
        batch_points = std::max(memory / 4 * 3 / point, 2 * leaf_points + 2);
        // Its leaves' sums take up to eight times as much.
        const std::size_t slice = std::clamp(memory / 128, kLeastSlice, kMostSlice);
        slice_points = std::max<std::size_t>(slice / record, 1);
        levels = 1;
        while (levels < kMostLevels && memory / 4 >> (3 * (levels + 1)) >= kLeastChunk) ++levels;
        chunk_points =
            std::max<std::size_t>(std::min(memory / 4 >> (3 * levels), kMostChunk) / record, 1);
    }

private:
    static constexpr std::size_t kLeastSlice = std::size_t{1} << 12;
    static constexpr std::size_t kMostSlice = std::size_t{1} << 19;
    static constexpr std::size_t kLeastChunk = std::size_t{1} << 16;
    static constexpr std::size_t kMostChunk = std::size_t{1} << 18;
    static constexpr int kMostLevels = 4;
};
