// The numbers of two headers that are not the same.
//
// Version and form are left out: they say how a cloud is stored, not what is in it. So are counts,
// which are compared elsewhere, and places in the file.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ptc/format/cloud_header.h"
#include "tools/ptc/diff/diff_limits.h"

struct HeaderDifference {
    std::string name;  ///< such as "box_min_x" or "world_to_ndc[3][0]"
    float a;
    float b;
    bool is_within;  ///< the limits: counts as the same
};

// The versions from which on a file holds the largest radius, and an octree with its variables.
inline constexpr std::uint32_t kLargestRadiusVersion = 2;
inline constexpr std::uint32_t kOctreeVersion = 1;

/// Whether the versions of both hold what there is from version `since` on. What one cannot hold is
/// not compared.
inline bool BothHold(const CloudHeader& a, const CloudHeader& b, std::uint32_t since) {
    return a.version >= since && b.version >= since;
}

/// Every number that is not the same, as a reader uses it.
std::vector<HeaderDifference> CompareHeaders(const CloudHeader& a, const CloudHeader& b,
                                             const DiffLimits& limits);
