// LightWalk: from the roots of all files down to the groups and points that are far enough away,
// or wanted, as groups.
//
// Units      those of ptc/light.h.
// Errors     a node or a block of points that cannot be read is left out, and so is the rest of a
//            tree that leads to more nodes or points than its file counts; Run() then answers
//            false, and the thread's last failure says why. Throws std::bad_alloc.
// Ownership  borrows files and the thread's cache; owns the list of nodes that wait.
// Threads    one caller at a time.
//
// Nodes and points come in the order of the files, and in each in the order of its octree.
// References in a file lead to earlier places, so no path is endless; two nodes of a damaged file
// may still share children, so nodes and points are counted.

#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "light/light_state.h"
#include "ptc/access/lookup.h"

/// What becomes of a node.
enum class LightNodeUse {
    kDone,  ///< it is left out, or was taken as a group
    kOpen,  ///< its children, or its points, are wanted
};

class LightWalk {
public:
    /// `Visitor` is what wants groups and points:
    ///   LightNodeUse Look(const LightFile&, const PtcNode&)   a node with its data
    ///   void Take(const LightFile&, const PtcPoint*, std::int32_t count)   points of an open leaf
    template <class Visitor>
    bool Run(const std::vector<LightFile>& files, PtcThreadCache* cache, Visitor& visitor) {
        bool all_read = true;
        for (const LightFile& file : files)
            if (file.file) all_read &= RunIn(file, cache, visitor);
        return all_read;
    }

private:
    struct Open {
        std::int32_t first;
        std::int32_t count;
        std::int64_t reference;
        std::int64_t children[kNodeChildren];
        bool is_leaf;
    };

    template <class Visitor>
    bool RunIn(const LightFile& file, PtcThreadCache* cache, Visitor& visitor);
    template <class Visitor>
    bool Descend(const LightFile& file, const PtcNode* records, const Open& node, Visitor& visitor);
    template <class Visitor>
    bool Scan(const LightFile& file, PtcThreadCache* cache, const Open& leaf, Visitor& visitor);

    void Push(const PtcNode& node, std::int64_t reference) {
        Open& open = open_.emplace_back();
        open.first = node.first_point;
        open.count = node.point_count;
        open.reference = reference;
        std::copy_n(node.children, kNodeChildren, open.children);
        open.is_leaf = node.IsLeaf();
    }

    /// Answers false.
    bool GiveUp(const LightFile& file, const char* why);

    std::vector<Open> open_;
    std::int64_t nodes_left_ = 0;
    std::int64_t points_left_ = 0;
};

template <class Visitor>
bool LightWalk::RunIn(const LightFile& file, PtcThreadCache* cache, Visitor& visitor) {
    open_.clear();
    // What is known of the file, down to the places of its floats, holds for that content.
    if (file.file->Identity() != file.identity)
        return GiveUp(file, "the file has changed since light was made of it");
    nodes_left_ = file.nodes - 1;
    points_left_ = file.points;
    PtcNode root = file.root;
    root.data = file.root_data.data();
    if (visitor.Look(file, root) == LightNodeUse::kOpen) Push(root, file.root_reference);
    bool all_read = true;
    while (!open_.empty()) {
        const Open node = open_.back();
        open_.pop_back();
        if (node.is_leaf) {
            all_read &= Scan(file, cache, node, visitor);
            continue;
        }
        const PtcNode* const records =
            ChildRecords(cache, *file.file, node.reference, node.children);
        all_read &= records && Descend(file, records, node, visitor);
    }
    return all_read;
}

/// Shows the children of `node` to the visitor; those to be opened wait, the first on top.
template <class Visitor>
bool LightWalk::Descend(const LightFile& file, const PtcNode* records, const Open& node,
                        Visitor& visitor) {
    const std::size_t waiting = open_.size();
    for (int i = 0; i < kNodeChildren; ++i) {
        if (node.children[i] == 0) continue;
        if (--nodes_left_ < 0) return GiveUp(file, "it has more nodes than the header counts");
        if (visitor.Look(file, records[i]) == LightNodeUse::kOpen)
            Push(records[i], node.children[i]);
    }
    std::reverse(open_.begin() + static_cast<std::ptrdiff_t>(waiting), open_.end());
    return true;
}

/// Shows the points of a leaf to the visitor, block by block.
template <class Visitor>
bool LightWalk::Scan(const LightFile& file, PtcThreadCache* cache, const Open& leaf,
                     Visitor& visitor) {
    const std::int64_t end = std::int64_t{leaf.first} + leaf.count;
    points_left_ -= leaf.count;
    if (points_left_ < 0 || leaf.count < 0 || leaf.first < 0 || end > file.points)
        return GiveUp(file, "its leaves have more points than the header counts");
    constexpr std::int64_t kBlock = PtcPointCache::kPoints;
    bool all_read = true;
    for (std::int64_t at = leaf.first; at < end;) {
        const std::int64_t run_end = std::min(at - at % kBlock + kBlock, end);
        const PtcPoint* const points = PointRecordOf(cache, *file.file, at);
        if (points) visitor.Take(file, points, static_cast<std::int32_t>(run_end - at));
        all_read &= points != nullptr;
        at = run_end;
    }
    return all_read;
}
