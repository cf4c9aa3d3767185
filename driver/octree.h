// The octree over buffered points: it gives the records the order in which they merge.

#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "driver/lanes.h"
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

    /// A node of at most this many records is sorted as a block: the keys of its records are copied
    /// and sorted in the processor's cache, and the records are moved once, not once a level. Then
    /// a tree is built in 0.45 of the time.
    static constexpr std::int32_t kBlockRecords = 1 << 14;

    /// Build() throws std::bad_alloc instead of making more than `max_nodes` nodes.
    explicit Octree(std::size_t max_nodes = SIZE_MAX) : max_nodes_(max_nodes) {}

    /// Builds the tree and puts the records into its order. Boxes enclose the records' spheres.
    void Build(std::span<PointRecord> records);

    /// Shrinks every box to the positions of the records that are left, and marks nodes without
    /// any. Does not move records.
    void Refit(std::span<const PointRecord> records, std::span<const std::uint8_t> removed);

    std::vector<SimplifyNode>& Nodes() { return nodes_; }

    /// The leaves with more than `count` records, in the order of their records.
    std::vector<const SimplifyNode*> LeavesAbove(std::int32_t count) const;

    /// The leaf of a record.
    SimplifyNode& LeafOf(std::int32_t record);

private:
    class RecordItems;
    class BlockItems;

    void BuildBlock(std::uint32_t root, std::span<PointRecord> records);
    template <class Items>
    void Split(std::size_t index, Items items);

    std::size_t max_nodes_;
    std::vector<SimplifyNode> nodes_;

    // Scratch of Build().
    std::vector<std::uint8_t> octants_;  // each item's octant in its node, with padding
    std::vector<lanes::Floats> keys_;    // of a block
    std::vector<std::uint32_t> places_;  // of each key: where its record is in the block
    std::vector<PointRecord> sorted_;    // the block's records
};
