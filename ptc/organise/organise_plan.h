// OrganisePlan: how much of a cloud is in memory at a time.
//
// Units      bytes, points.
// Threads    any: plain numbers.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "ptc/format/layout.h"
#include "ptc/organise/light_sums.h"
#include "ptc/organise/point_order.h"

struct OrganisePlan {
    static constexpr std::size_t kPieceBytes = std::size_t{1} << 18;  ///< read at a time

    std::size_t batch_points;  ///< sorted in memory at a time
    std::size_t slice_points;  ///< gathered by a thread at a time
    std::size_t chunk_points;  ///< written to the part file at a time
    int threads;
    int levels;  ///< by which the parts of a larger cloud are distributed
    std::size_t memory;

    struct Wish {
        std::int64_t memory;
        int threads;
        std::size_t leaf_points;
        bool drops_repeats;
        bool has_light = false;
    };

    /// `data_floats`: of a point. The memory is never less than a few times what a leaf takes, and
    /// there are no more threads than it has room for.
    OrganisePlan(const Wish& wish, std::size_t data_floats)
        : memory(static_cast<std::size_t>(std::max<std::int64_t>(wish.memory, 1))) {
        const std::size_t record = ptc_layout::PointBytes(data_floats);
        // The record; its code, sorted from one place to another; a table with room to double.
        const std::size_t point =
            record + 2 * sizeof(CodedIndex) + (wish.drops_repeats ? 4 * sizeof(std::uint32_t) : 0);
        batch_points = std::max(memory / 4 * 3 / point, 2 * wish.leaf_points + 2);

        const std::size_t slice = std::clamp(memory / 128, kLeastSlice, kMostSlice);
        slice_points = std::max<std::size_t>(slice / record, 1);
        // Nearly all leaves are at least a quarter full.
        const std::size_t leaves = 1 + 4 * slice_points / (3 + wish.leaf_points);
        const std::size_t sums =
            kSumBytes * data_floats + (wish.has_light ? kLightBytes : std::size_t{0});
        const std::size_t worker = slice + leaves * (kLeafBytes + sums);
        threads = static_cast<int>(std::clamp<std::size_t>(
            memory / 8 / worker, 1,
            static_cast<std::size_t>(std::clamp(wish.threads, 1, kMostThreads))));

        // A chunk is a whole record at least, and each octant has one.
        const std::size_t least_chunk = std::max(kLeastChunk, record);
        levels = 1;
        while (levels < kMostLevels && memory / 4 >> (3 * (levels + 1)) >= least_chunk) ++levels;
        const std::size_t chunk = std::min(memory / 4 >> (3 * levels), kMostChunk);
        chunk_points = std::max<std::size_t>(chunk / record, 1);
    }

private:
    static constexpr std::size_t kLeastSlice = std::size_t{1} << 12;
    static constexpr std::size_t kMostSlice = std::size_t{1} << 19;
    static constexpr std::size_t kLeastChunk = std::size_t{1} << 16;
    static constexpr std::size_t kMostChunk = std::size_t{1} << 18;
    static constexpr int kMostLevels = 4;
    static constexpr int kMostThreads = 256;  // each has a slice, whether or not it can be started
    static constexpr std::size_t kLeafBytes = 64;
    static constexpr std::size_t kSumBytes = 32;  // of each float
    static constexpr std::size_t kLightBytes = sizeof(double) * LightSums::kMostSize;
};
