// Points compared with those in the same place, or with the nearest ones, whatever their order.
//
// Units      distances in world space; sizes in bytes.
// Errors     a Failure that names a file, or says how much memory is wanted.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <optional>

#include "tools/ptc/diff/diff_input.h"
#include "tools/ptc/diff/point_differences.h"

struct UnorderedOptions {
    std::optional<float> within;  ///< nothing: half the median radius of the first cloud
    std::int64_t memory = std::int64_t{4} << 30;  ///< the most that points may take
};

struct UnorderedCounts {
    float within = 0;             ///< the greatest distance of a pair
    std::int64_t moved = 0;       ///< pairs whose points are not in the same place
    std::int64_t unpaired_a = 0;  ///< points with none within that distance
    std::int64_t unpaired_b = 0;  ///< points that are in no pair
};

/// Pairs each point of `a` with one of `b` and compares the pairs.
///
/// First those in exactly the same place, one to one. Where there are several, first those that
/// are the same in all channels, then the others in the order of their values, then of their
/// indexes. What is left over of `a` is paired with one in the same place, one that is the same in
/// all channels if there is one, and else with the nearest point of `b`, of equally near ones that
/// with the least index. So a point of `b` may be in several pairs.
UnorderedCounts CompareByPlace(DiffInput& a, DiffInput& b, const UnorderedOptions& options,
                               PointDifferences* differences);
