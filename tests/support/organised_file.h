// Writing organised files: points in tree order, behind them an octree over them.
//
// Units      world space; at most 2^31 - 1 points.
// Errors     1 for success, 0 for failure, as the writer has it. Memory that cannot be had throws.
// Ownership  borrows the cloud and the points.
// Threads    one caller at a time for one cloud.
//
// What a tree is like:
//
//   - a node covers a run of points, and its children, in the order of their octants, cover the
//     same run one behind the other; a leaf has none;
//   - siblings stand together in the file, in the order of their octants;
//   - groups of siblings come bottom up: behind the groups of all their children. The root is last;
//   - a node's box encloses the spheres of its points;
//   - each node variable is the mean, over the node's points, of the point variable of the same
//     name and size, or 0 when there is none.

#pragma once

#include <cstdint>
#include <span>

#include "ptc/cloud/writer.h"

/// Points and, one behind the other, the floats of each.
struct PointsToOrganise {
    std::span<const PointHead> heads;
    std::span<const float> data;
};

struct OctreeShape {
    std::int32_t leaf_points = 32;  ///< a node of more is divided
    int most_depth = 24;            ///< but no deeper than this; points at one place never are
};

/// Writes points and nodes. Points with a negative radius are left out.
/// Caller: has just created the cloud, and finishes it.
CloudStatus WriteOrganised(CloudWriter& cloud, const PointsToOrganise& points,
                           const OctreeShape& shape = {});
