// The nodes of an octree over sorted codes: where each leaf ends, and which nodes stand above.
//
// Units      points count from 0 in the order of the tree.
// Errors     none. Throws what the caller's data and sink throw.
// Ownership  borrows codes and sink; owns the nodes that are not closed, at most 8 a level.
// Threads    one caller at a time.
//
// A leaf is the largest octant with at most `leaf_points` points, or one of the smallest octants,
// which holds points of one code. An octant in which all points are in one child has no node; the
// child takes its place.
//
//   DeriveNodes(order.points.data(), order.finite, 32, sink);
//
// tells the sink all nodes, children before their parents and the root last. Its functions:
//
//   void Group(std::span<Node> children, Node& parent)   // all children, in the order of octants
//   void Root(Node& root)                                // once, if there are points
//
// with OctreeNode<Data> as Node. What the sink stores in `parent.data` in Group() it finds there
// when the parent itself is among the children of a group, or the root.

#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "ptc/organise/point_order.h"

/// How many levels two codes share: kOctreeLevels if they are equal.
inline int SharedLevels(std::uint64_t a, std::uint64_t b) {
    return a == b ? kOctreeLevels : (std::countl_zero(a ^ b) - 1) / 3;
}

/// Cuts sorted codes into leaves.
struct LeafCutter {
    const CodedIndex* points;  ///< sorted, all with codes of places
    std::size_t count;
    std::size_t leaf_points;  ///< at least 1

    /// The code of the point before the first; it is less than the first. kCodeOfNowhere: none.
    std::uint64_t before = kCodeOfNowhere;

    /// Where the leaf ends that begins at `begin`.
    /// Caller: a leaf begins there; and more than `leaf_points` points follow it, or `points` end
    /// where the cloud ends.
    std::size_t EndOf(std::size_t begin) const {
        const std::uint64_t code = points[begin].code;
        int depth = LeastDepth(begin);
        const std::size_t limit = begin + std::min(leaf_points, count - begin);
        if (limit < count) {
            depth = std::max(depth, SharedLevels(points[limit].code, code) + 1);
            if (depth > kOctreeLevels) return EndOfCode(limit);
        }
        const int shift = 3 * (kOctreeLevels - std::min(depth, kOctreeLevels));
        std::size_t end = begin + 1;
        while (end < limit && points[end].code >> shift == code >> shift) ++end;
        return end;
    }

    /// Where the leaf ends that point `inside` belongs to; asks at most twice `leaf_points` others.
    /// Caller: more than `leaf_points` points follow it, or `points` end where the cloud ends.
    std::size_t EndAround(std::size_t inside) const {
        const std::uint64_t code = points[inside].code;
        const int least = before == kCodeOfNowhere ? 0 : SharedLevels(before, code) + 1;
        std::size_t begin = inside;
        std::size_t end = inside + 1;
        std::size_t leaf_end = 0;
        for (int depth = kOctreeLevels; depth >= least; --depth) {
            const int shift = 3 * (kOctreeLevels - depth);
            const auto is_in = [&](std::size_t i) {
                return points[i].code >> shift == code >> shift;
            };
            while (begin > 0 && end - begin <= leaf_points && is_in(begin - 1)) --begin;
            while (end < count && end - begin <= leaf_points && is_in(end)) ++end;
            if (end - begin > leaf_points) break;
            leaf_end = end;
        }
        return leaf_end > 0 ? leaf_end : EndOfCode(inside);
    }

private:
    int LeastDepth(std::size_t begin) const {
        const std::uint64_t previous = begin > 0 ? points[begin - 1].code : before;
        return previous == kCodeOfNowhere ? 0 : SharedLevels(previous, points[begin].code) + 1;
    }

    std::size_t EndOfCode(std::size_t at) const {
        const auto* const end = std::upper_bound(
            points + at, points + count, points[at].code,
            [](std::uint64_t code, const CodedIndex& point) { return code < point.code; });
        return static_cast<std::size_t>(end - points);
    }
};

/// One node while it waits for its parent to be closed.
template <class Data>
struct OctreeNode {
    std::uint32_t first = 0;  ///< the first of its points
    std::uint32_t count = 0;
    std::uint8_t octant = 0;  ///< which child of its parent it is; 0 for the root
    std::uint8_t height = 0;  ///< levels below it; 0: a leaf
    Data data{};
};

/// Takes leaves in their order and tells the sink every node that stands above them.
template <class Data, class Sink>
class OctreeStack {
public:
    using Node = OctreeNode<Data>;

    explicit OctreeStack(Sink& sink) : sink_(sink) {}

    /// The next leaf, and the codes of its first and of its last point.
    void Add(Node leaf, std::uint64_t first_code, std::uint64_t last_code) {
        if (has_last_) {
            const int depth = SharedLevels(last_code_, first_code);
            while (open_ > 0 && levels_[open_ - 1].depth > depth) CloseLevel();
            if (open_ == 0 || levels_[open_ - 1].depth < depth) {
                levels_[open_].depth = depth;
                levels_[open_].children = 0;
                ++open_;
            }
            Append();
        }
        last_ = std::move(leaf);
        last_code_ = last_code;
        has_last_ = true;
    }

    /// No leaf follows.
    void Finish() {
        if (!has_last_) return;
        while (open_ > 0) CloseLevel();
        last_.octant = 0;
        sink_.Root(last_);
        has_last_ = false;
    }

private:
    /// A node that has some of its children.
    struct Level {
        int depth = 0;  ///< levels that the codes of all its points share
        std::size_t children = 0;
        std::array<Node, 8> child;
    };

    /// Makes the last node a child of the deepest open one.
    void Append() {
        Level& level = levels_[open_ - 1];
        const int shift = 3 * (kOctreeLevels - 1 - level.depth);
        last_.octant = static_cast<std::uint8_t>(last_code_ >> shift & 7);
        level.child[level.children++] = std::move(last_);
    }

    /// Ends the deepest open node, which then is the last one.
    void CloseLevel() {
        Append();
        Level& level = levels_[--open_];
        const std::span<Node> children(level.child.data(), level.children);
        Node parent;
        parent.first = children.front().first;
        for (const Node& child : children) {
            parent.count += child.count;
            parent.height = std::max<std::uint8_t>(parent.height, child.height + 1);
        }
        sink_.Group(children, parent);
        last_ = std::move(parent);
    }

    Sink& sink_;
    std::array<Level, kOctreeLevels> levels_;
    std::size_t open_ = 0;  ///< the root is the first level
    Node last_;             ///< the whole subtree that was closed last
    std::uint64_t last_code_ = 0;
    bool has_last_ = false;
};

/// Tells `sink` all nodes over `count` sorted points, none with kCodeOfNowhere.
template <class Data, class Sink>
void DeriveNodes(const CodedIndex* points, std::size_t count, std::size_t leaf_points, Sink& sink) {
    OctreeStack<Data, Sink> stack(sink);
    const LeafCutter cutter{points, count, leaf_points};
    for (std::size_t begin = 0; begin < count;) {
        const std::size_t end = cutter.EndOf(begin);
        OctreeNode<Data> leaf;
        leaf.first = static_cast<std::uint32_t>(begin);
        leaf.count = static_cast<std::uint32_t>(end - begin);
        stack.Add(std::move(leaf), points[begin].code, points[end - 1].code);
        begin = end;
    }
    stack.Finish();
}
