// The octree over buffered points, in which the simplifier looks for partners.

#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "driver/point_buffer.h"

/// One node. Its records are the range [first, first + count) of the buffer.
struct SimplifyNode {
    std::int32_t count;
    std::int32_t first;
    float box_min[3];
    float box_max[3];
    std::uint32_t children;    ///< index of the first child; the others follow it
    std::uint8_t child_count;  ///< octants with records, in octant order; 0: a leaf
    bool is_empty;             ///< no record below this node is left
};

/// Nodes over a run of records, the root first, every child behind its parent.
///
/// Which node a record falls into, the boxes and the order of the records are part of the result
/// of a simplification; the same input builds the same tree.
///
/// Units      world space; counts in records.
/// Errors     std::bad_alloc when the nodes find no memory; the records are all there, in some
///            order.
/// Ownership  owns the nodes; borrows the records for one call.
/// Threads    one caller at a time.
class Octree {
public:
    /// Most records of a leaf that could still be split.
    static constexpr std::int32_t kLeafRecords = 16;

    /// At most `max_nodes` nodes are ever made.
    explicit Octree(std::size_t max_nodes = SIZE_MAX) : max_nodes_(max_nodes) {}

    /// Builds the tree and puts the records into its order. Boxes enclose the records' spheres.
    void Build(std::span<PointRecord> records);

    /// Shrinks every box to the positions of the records that are left, and marks nodes without
    /// any. The records stay where they are.
    void Refit(std::span<const PointRecord> records, std::span<const std::uint8_t> removed);

    std::vector<SimplifyNode>& Nodes() { return nodes_; }

private:
    void Split(std::size_t index, std::span<PointRecord> records);

    std::size_t max_nodes_;
    std::vector<SimplifyNode> nodes_;
    std::vector<std::uint8_t> octants_;  // scratch of Build(): each record's octant in its node
};
