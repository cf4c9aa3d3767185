// NodeWalk: the octree of an open cloud, node by node, parents before their children.
//
// Units      offsets in bytes from the file's start.
// Errors     a reference that leads nowhere is told as a fault at its own place, and not followed.
//            A node that the system cannot read ends the walk: the cloud's input keeps the error.
// Ownership  borrows the cloud and the list of faults; owns one bit for every 33 bytes of nodes.
// Threads    one caller at a time.
//
// The references are the file's and may say anything. The walk ends whatever they say: it follows
// only those that lead to an earlier place among the nodes, each place once, and no deeper than
// kMaxDepth.

#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "ptc/cloud/reader.h"
#include "tools/ptc/fault_list.h"

/// One node as the walk meets it.
struct NodeVisit {
    std::int64_t offset = 0;
    std::int64_t end = 0;
    int depth = 0;                       ///< 0: the root
    const NodeRecord* node = nullptr;    ///< valid until the next step
    const NodeRecord* parent = nullptr;  ///< likewise; null for the root
    std::span<const float> data;         ///< likewise
};

class NodeWalk {
public:
    /// No cloud needs more: every level halves a box of floats.
    static constexpr int kMaxDepth = 512;

    /// The nodes stand from `begin` on, up to the file's end at `end`. `root_place`: where the
    /// header refers to the root.
    NodeWalk(CloudReader& cloud, std::int64_t begin, std::int64_t end, std::int64_t root_place,
             FaultList& faults);

    /// Moves to the next node. False: there is none.
    bool Next(NodeVisit* visit);

    /// The place of number `index` of the node's fields, which are 4 bytes each: the first point,
    /// the point count, the box, the data. In text form the record's start stands for it.
    std::int64_t Place(const NodeVisit& visit, std::size_t index) const;

private:
    struct Step {
        std::int64_t offset = 0;
        std::int64_t end = 0;
        NodeRecord node;
        unsigned next_child = 0;
        std::int64_t children_end = 0;  ///< of the child entered last; 0: none yet
    };

    bool Enter(std::int64_t offset, std::int64_t limit, std::int64_t place);
    bool EnterNextChild();
    std::int64_t ChildPlace(const Step& parent, unsigned child) const;
    bool Mark(std::int64_t offset);

    CloudReader& cloud_;
    const std::int64_t begin_;
    const std::int64_t end_;
    const std::int64_t root_place_;
    FaultList& faults_;
    bool has_begun_ = false;
    std::vector<Step> path_;  ///< from the root to the node
    std::vector<float> data_;
    std::vector<bool> seen_;  ///< one for each stretch that holds the start of one node at most
};
