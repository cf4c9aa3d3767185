// PointChoice: the points of a cloud that a page shows when it cannot show all, coarse first.
//
// The octree chooses (tools/ptc/page/tree_cell.h): of each cell of one level the point that is
// nearest to the middle, so the choice is even in space, however dense the cloud is. The level is
// the finest with no more cells than points are wanted; as many of its cells as there is room
// for are halved once more and give two. The order is the tree's as well: first the point of the
// whole, then the one that a halving adds, level by level, and within a level evenly along
// the curve of the codes. So the first points of the list are an even choice of fewer.
//
// All files are chosen from alike, point by point. An octree in a file is not used, because the
// page needs the ranges of all values anyway; but in an organised file points of a cell follow
// one another and are one candidate from the start. While points come, candidates are merged in
// the finest cells that can still matter, as often as room runs out.
//
// Units      radii as shares of the cloud's largest, areas as their squares, reaches likewise.
// Errors     throws std::bad_alloc when memory runs out.
// Ownership  owns its candidates: 40 bytes for each point that is wanted, or 16 for each that there
//            is if these are fewer; at the end 16 more.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "ptc/organise/point_order.h"
#include "tools/ptc/page/tree_cell.h"

namespace page {

struct ChosenPoint {
    std::uint32_t number;  ///< in the file
    std::uint32_t place;   ///< among those chosen, coarse first
    float area;            ///< the sum of the squared radii of all points that it represents
    float reach;           ///< how far these are at most

    /// Its radius, `own`, grown so that it covers what the points that it represents would. Never
    /// smaller than `own`; the same if it represents itself alone.
    float GrownRadius(float own) const;
};

class PointChoice {
public:
    struct Bounds {
        FiniteBox box;           ///< around all points; not empty
        float largest_radius;    ///< of all
        std::uint32_t count;     ///< of all, to ask for no more memory than needed
        std::uint32_t most = 1;  ///< to choose, at least 1
    };
    explicit PointChoice(const Bounds& bounds);

    /// Caller: `position` is finite and `number` above the one before.
    void Add(std::uint32_t number, const float* position, float radius);

    /// The chosen points in the order of the file: all, or as many as were wanted. Ends the choice.
    std::vector<ChosenPoint> Take();

private:
    void Sort();
    int FinestBits(std::size_t most_cells) const;
    void MergeCells(int bits);
    std::vector<bool> ReduceToMost();
    float ReachOf(const Candidate& candidate, int bits) const;

    OctreeCube cube_;
    double unit_;  ///< side of a smallest cell, as a share of the largest radius
    float largest_radius_;
    std::size_t most_;
    std::size_t room_;        ///< candidates that there may be
    int bits_ = kPathBits;    ///< candidates that share so many are one
    std::size_t sorted_ = 0;  ///< so many are in order
    std::vector<Candidate> candidates_;
};

}  // namespace page
