// OctreeCover: which points of an organised file may lie in no node.
//
// Units      indexes count points from 0.
// Errors     none: of a root that cannot be read every point counts as covered.
// Ownership  keeps nothing of the cloud.
// Threads    any.
//
// Organising keeps points whose positions are not finite: they follow those of the root's run, in
// no node and in no box. A radius that is not finite counts as 0, and a sphere that reaches beyond
// the range of floats ends there.

#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "ptc/cloud/reader.h"

class OctreeCover {
public:
    /// Reads the root of `cloud`, whose next point is not known afterwards. Nothing is read of a
    /// file without an octree; and none of a compressed one, in which any point may be apart.
    explicit OctreeCover(CloudReader& cloud)
        : is_organised_(cloud.stored_node_count > 0 || cloud.root_position != 0) {
        if (!is_organised_) return;
        const std::int64_t root = cloud.root_position;
        NodeRecord node;
        if (cloud.input.IsCompressed())
            end_ = 0;
        else if (root >= cloud.data_start && root < cloud.input.StoredBytes() &&
                 !Failed(ReadNode(cloud, root, &node, {})) && node.first_point >= 0 &&
                 node.point_count >= 0)
            end_ = std::int64_t{node.first_point} + node.point_count;
    }

    /// Whether octree nodes should follow the points.
    bool IsOrganised() const { return is_organised_; }

    /// Whether point `index` may be at `position` although it is not finite.
    bool IsApart(std::int64_t index, const float* position) const {
        return index >= end_ && !(std::isfinite(position[0]) && std::isfinite(position[1]) &&
                                  std::isfinite(position[2]));
    }

    /// Whether `radius` is one that counts as 0.
    bool CountsAsZero(float radius) const {
        return is_organised_ && !std::isfinite(radius) && !(radius < 0);
    }

    /// The end of a sphere as boxes have it.
    float InBox(float end) const {
        constexpr float kMost = std::numeric_limits<float>::max();
        return is_organised_ ? std::clamp(end, -kMost, kMost) : end;
    }

private:
    bool is_organised_;
    std::int64_t end_ = std::numeric_limits<std::int64_t>::max();  ///< of the root's run
};
