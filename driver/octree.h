// The octree over buffered points, in which the simplifier searches for partners.

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

/// Nodes over a range of records, the root first, every child after its parent.
///
/// The result of a simplification depends on the nodes of the records, on the boxes and on the
/// order of the records; the same input builds the same tree.
///
/// Units      world space; counts in records.
/// Errors     std::bad_alloc when there is no memory for the nodes; then all records are still
///            there, in some order.
/// Ownership  owns the nodes; borrows the records for one call.
/// Threads    one caller at a time.
class Octree {
public:
    /// A node of at most this many records is a leaf.
    static constexpr std::int32_t kLeafRecords = 16;

    /// Build() throws std::bad_alloc instead of making more than `max_nodes` nodes.
    explicit Octree(std::size_t max_nodes = SIZE_MAX) : max_nodes_(max_nodes) {}

    /// Builds the tree and puts the records into its order. Boxes enclose the records' spheres.
    void Build(std::span<PointRecord> records);

    /// Shrinks every box to the positions of the records that are left, and marks nodes without
    /// any. Does not move records.
    void Refit(std::span<const PointRecord> records, std::span<const std::uint8_t> removed);

    std::vector<SimplifyNode>& Nodes() { return nodes_; }

private:
    void Split(std::size_t index, std::span<PointRecord> records);

    std::size_t max_nodes_;
    std::vector<SimplifyNode> nodes_;
    std::vector<std::uint8_t> octants_;  // scratch of Build(): each record's octant in its node
};
