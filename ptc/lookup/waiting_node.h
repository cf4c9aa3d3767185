// The nodes of octrees that a search has yet to visit, the next one on top.
//
// Units      bounds are squared distances in world space.
// Errors     MakeRoom() throws std::bad_alloc.
// Ownership  owns copies of the nodes; the memory stays for the next search.
// Threads    one caller at a time.

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ptc/records.h"

struct WaitingNode {
    /// A node with at most so many points is not opened: to compute distances takes less time than
    /// to find the nodes below it.
    static constexpr std::int32_t kScanned = 128;

    float bound;  ///< squared distance of its box, or less
    std::int32_t file;
    std::int32_t first;  ///< of its points
    std::int32_t count;
    std::int64_t reference;
    std::int64_t children[kNodeChildren];

    bool IsLarge() const { return count > kScanned; }

    /// Bit i: child i is there.
    unsigned Children() const {
        unsigned there = 0;
        for (unsigned i = 0; i < kNodeChildren; ++i) there |= children[i] != 0 ? 1U << i : 0;
        return there;
    }

    void Set(float squared_distance, std::int32_t number, std::int64_t own, const PtcNode& node) {
        bound = squared_distance;
        file = number;
        first = node.first_point;
        count = node.point_count;
        reference = own;
        std::copy_n(node.children, kNodeChildren, children);
    }
};

class WaitingNodes {
public:
    bool IsEmpty() const { return count_ == 0; }
    std::size_t Count() const { return count_; }
    void Clear() { count_ = 0; }

    /// For `more` nodes.
    void MakeRoom(std::size_t more) {
        if (nodes_.size() < count_ + more) nodes_.resize(2 * (count_ + more));
    }
    /// A node to be set, on top. Caller: there is room.
    WaitingNode& Push() { return nodes_[count_++]; }

    // Caller: there is one.
    WaitingNode& Top() { return nodes_[count_ - 1]; }
    void Pop() { --count_; }

    /// Puts the nearest on top; nodes at the same distance stay in their order.
    void SortByDistance() {
        std::stable_sort(
            nodes_.begin(), nodes_.begin() + static_cast<std::ptrdiff_t>(count_),
            [](const WaitingNode& a, const WaitingNode& b) { return a.bound > b.bound; });
    }

private:
    std::vector<WaitingNode> nodes_;  ///< the first `count_`
    std::size_t count_ = 0;
};
