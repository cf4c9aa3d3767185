// Merging two records into one.
//
// The numbers of the records are merged at once, those of their data rows a little later: rows of
// neighbours are far apart in memory, so they are fetched while the next partners are searched.
//
// Ownership  borrows records, rows and flags.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "driver/lanes.h"
#include "driver/point_buffer.h"

class Merger {
public:
    /// `area_flags`: one byte for each float of a row, 1 for an area.
    explicit Merger(std::span<const std::uint8_t> area_flags) : area_flags_(area_flags) {}
    Merger(const Merger&) = delete;

    /// Merges `from` into `into`: positions, normals and values are weighted by the radii, areas
    /// are added. The radius grows so that the merged disc has the area of both.
    void Merge(PointRecord& into, const PointRecord& from);

    /// Merges all rows that wait. Caller: calls this before rows are read.
    void Finish();

private:
    struct Rows {
        float* into;
        const float* from;
        float into_share;
        float from_share;
    };
    static constexpr std::size_t kWaiting = 16;

    void MergeRows(const Rows& rows) const;

    std::span<const std::uint8_t> area_flags_;
    std::array<Rows, kWaiting> waiting_{};  // a ring; in the order of the merges
    std::size_t count_ = 0;                 // of all merges so far
    std::size_t done_ = 0;
};
