// NodeWriter: encodes nodes behind each other as their groups are complete.
//
// Units      offsets in bytes; those in records count from the file's start.
// Errors     throws OrganiseError and std::bad_alloc.
// Ownership  borrows file and sums; owns the sums of the nodes that wait for their parents.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "ptc/organise/node_sums.h"
#include "ptc/organise/octree_nodes.h"
#include "ptc/organise/organised_file.h"

/// What a node keeps until its record is written.
struct UnwrittenNode {
    PositionBox box;
    double* sums = nullptr;
    std::int64_t children[8] = {};  ///< their offsets in the file; 0: none
};

class NodeWriter {
public:
    using Node = OctreeNode<UnwrittenNode>;

    NodeWriter(OrganisedFile& file, const NodeSums& sums)
        : file_(file), sums_(sums), data_(sums.Floats()) {}

    /// A leaf on its way to the stack, with a copy of `sums`.
    Node Leaf(std::int64_t first, std::int64_t count, const PositionBox& box, const double* sums);

    /// What the stack of nodes calls.
    void Group(std::span<Node> children, Node& parent);
    void Root(Node& root);

    /// Writes what is collected. Afterwards the totals hold.
    void Flush();

    std::int64_t Nodes() const { return nodes_; }
    std::int64_t Leaves() const { return leaves_; }
    std::int64_t Bytes() const { return written_ + static_cast<std::int64_t>(fill_); }
    int Depth() const { return depth_; }
    std::int64_t RootOffset() const { return root_; }
    const PositionBox& Box() const { return box_; }

private:
    double* TakeSums();
    std::int64_t Encode(Node& node);

    OrganisedFile& file_;
    const NodeSums& sums_;
    std::vector<std::unique_ptr<double[]>> owned_;
    std::vector<double*> free_;  ///< sums of nodes that were written
    std::vector<float> data_;    ///< of the node that is encoded
    std::vector<std::byte> buffer_;
    std::size_t fill_ = 0;
    std::int64_t written_ = 0;
    std::int64_t nodes_ = 0;
    std::int64_t leaves_ = 0;
    std::int64_t root_ = 0;
    int depth_ = 0;
    PositionBox box_;
};
