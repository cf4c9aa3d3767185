// NodeWalk: the octree of an open cloud, node by node, parents before their children.
//
// Units      offsets in bytes from the file's start.
// Errors     faults go to the listener. A node that the system cannot read ends the walk: the
//            cloud's input keeps the error.
// Ownership  borrows the cloud and the listener; owns one bit for every 33 bytes of nodes.
// Threads    one caller at a time for one cloud.
//
// A reference is the offset by which the header names the root, and a node its children. The file
// may hold any number there, so the walk follows a reference only to an earlier place among the
// nodes, to each place once, and no deeper than kMaxDepth. It therefore ends on every file.

#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "ptc/cloud/reader.h"

enum class NodeFault {
    // The reference is not followed.
    kOutside,     ///< it leads outside the nodes' bytes
    kNotBefore,   ///< it leads to the node that it is in, or behind that
    kTwice,       ///< another reference leads to the same place, or to a node that overlaps
    kTooDeep,     ///< it leads more than kMaxDepth levels below the root
    kUnreadable,  ///< the node is cut off, or the bytes are no node; `place` is the node's own
    // The reference is followed.
    kApart,  ///< the child does not begin where the child before it ends
};

struct NodeFinding {
    NodeFault fault;
    std::int64_t place = 0;   ///< of the reference; in text form of the record that it is in
    std::int64_t offset = 0;  ///< the reference
    std::int64_t parent = 0;  ///< offset of the node with the reference; 0: the header has it
    unsigned child = 0;       ///< which of the parent's children
};

class NodeListener {
public:
    NodeListener() = default;
    NodeListener(const NodeListener&) = delete;
    NodeListener& operator=(const NodeListener&) = delete;

    virtual void Hear(const NodeFinding& finding) = 0;

protected:
    ~NodeListener() = default;
};

/// One node as the walk comes to it.
struct NodeVisit {
    std::int64_t offset = 0;
    std::int64_t end = 0;                ///< of its record
    int depth = 0;                       ///< 0: the root
    const NodeRecord* node = nullptr;    ///< valid until the next step
    const NodeRecord* parent = nullptr;  ///< likewise; null for the root
    std::span<const float> data;         ///< likewise
};

class NodeWalk {
public:
    /// No cloud needs more: every level halves a box of floats.
    static constexpr int kMaxDepth = 512;

    /// `begin`: where the nodes begin; they go on to the end of the file. `root_place`: where the
    /// header refers to the root.
    NodeWalk(CloudReader& cloud, std::int64_t begin, std::int64_t root_place,
             NodeListener& listener);

    /// Moves to the next node. False: there is none.
    bool Next(NodeVisit* visit);

    /// The place of number `index` of the node's fields, which are 4 bytes each: the first point,
    /// the point count, the box, the data. In text form, the start of the record.
    std::int64_t Place(const NodeVisit& visit, std::size_t index) const;

private:
    /// A node on the path from the root.
    struct Step {
        std::int64_t offset = 0;
        std::int64_t end = 0;
        NodeRecord node;
        unsigned next_child = 0;
        std::int64_t children_end = 0;  ///< of the child entered last; 0: none yet
    };

    bool Enter(const NodeFinding& reference, std::int64_t limit);
    bool EnterNextChild();
    void Tell(NodeFault fault, NodeFinding reference);
    bool Claim(std::int64_t offset);
    std::int64_t ChildPlace(const Step& parent, unsigned child) const;

    CloudReader& cloud_;
    const std::int64_t begin_;
    const std::int64_t end_;
    const std::int64_t root_place_;
    NodeListener& listener_;
    bool has_begun_ = false;
    std::vector<Step> path_;  ///< from the root to the node
    std::vector<float> data_;
    std::vector<bool> is_claimed_;  ///< for each stretch that can hold the start of one node only
};
