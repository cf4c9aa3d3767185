// A node of an octree that a search has yet to visit.

#pragma once

#include <cstdint>

#include "ptc/records.h"

struct WaitingNode {
    /// A node with at most so many points is not opened: to compute distances takes less time than
    /// to find the nodes below it.
    static constexpr std::int32_t kScanned = 128;

    float bound;  ///< squared distance of its box, or less
    std::int32_t file;
    std::int32_t first;  ///< of its points
    std::int32_t count;
    unsigned children_there;  ///< bit i: child i, to be opened; 0: its points are to be visited
    std::int64_t reference;
    std::int64_t children[kNodeChildren];

    bool IsOpened() const { return children_there != 0; }

    void Set(float squared_distance, std::int32_t number, std::int64_t own, const PtcNode& node) {
        bound = squared_distance;
        file = number;
        first = node.first_point;
        count = node.point_count;
        children_there = 0;
        if (count <= kScanned) return;
        reference = own;
        for (unsigned i = 0; i < kNodeChildren; ++i) {
            children[i] = node.children[i];
            children_there |= children[i] != 0 ? 1U << i : 0;
        }
    }
};
