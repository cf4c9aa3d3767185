// SearchPath: the nodes that the last search opened on its way down, so that the next one, for a
// place nearby, begins far below the root.
//
// Units      distances in world space.
// Errors     throws std::bad_alloc.
// Ownership  owns copies of the nodes.
// Threads    one caller at a time.
//
// Each node of the path knows how far from the place every point is that the node does not cover.
// When the place moves by e, that distance shrinks by e at most. A search that wants no point that
// far away needs the node and nothing else of its file.

#pragma once

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <vector>

#include "ptc/lookup/squared_distance.h"
#include "ptc/lookup/waiting_node.h"

class SearchPath {
public:
    /// Goes on to a place for which nothing farther away than `reach` is wanted. `lookup`: the
    /// number of the lookup, whose files the path leads through.
    void Move(std::uint64_t lookup, const float* place, double reach) {
        if (lookup != lookup_) nodes_.clear();
        lookup_ = lookup;
        travelled_ += squared_distance::Way(place_, place) * (1 + kSlack);
        std::copy_n(place, 3, place_);
        const double needed = reach * (1 + kSlack) + travelled_ * kDrift + kLeast;
        // This way round a value that is not a number ends the path, too.
        while (nodes_.size() > 1 && !(nodes_.back().reached - travelled_ > needed))
            nodes_.pop_back();
        if (nodes_.size() <= 1) travelled_ = 0;
    }

    /// Where a search in `file` begins; null: at the root.
    const WaitingNode* NodeFor(std::int32_t file) const {
        return nodes_.empty() || nodes_.back().node.file != file ? nullptr : &nodes_.back().node;
    }

    /// Begins a path at a root, for the place moved to last.
    void Begin(const WaitingNode& root) {
        nodes_.clear();
        travelled_ = 0;
        nodes_.push_back({root, HUGE_VAL});
    }

    /// Goes on to a child of the path's last node. `others`: the squared distance of the nearest
    /// one of its other children; an infinite one is a number that overflowed.
    void Add(const WaitingNode& child, float others) {
        const double clear = std::sqrt(double{std::min(others, FLT_MAX)}) * (1 - kSlack);
        nodes_.push_back({child, std::min(nodes_.back().reached, clear + travelled_)});
    }
    /// The same for an only child.
    void Add(const WaitingNode& child) { nodes_.push_back({child, nodes_.back().reached}); }

private:
    struct Step {
        WaitingNode node;
        double reached;  ///< what `travelled_` is when another node's point may be at the place
    };

    /// Far above the rounding of distances in single precision.
    static constexpr double kSlack = 1e-5;
    /// Above all distances whose squares are so small that they lose their digits.
    static constexpr double kLeast = 1e-18;
    /// Far above that of the way travelled, of which each step is rounded.
    static constexpr double kDrift = 1e-9;

    std::uint64_t lookup_ = 0;  ///< no lookup's number
    float place_[3] = {};
    double travelled_ = 0;  ///< since the path was begun
    std::vector<Step> nodes_;
};
