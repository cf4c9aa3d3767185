// Cells of an octree halved along one axis at a time: how points are chosen, level by level.
//
// A point's path through the tree is its code (ptc/organise/point_order.h), and behind it its
// number in the file, so that points at one place, and all of them where a stray makes the cube
// huge, still part: along the file, which goes over a surface patch by patch. A cell is what
// begins with the same bits. One more bit halves it: along z, y, x and z again, so each level has
// at most twice the cells of the one above.
//
// Units      distances in the smallest cells' sides.
// Errors     none.
// Ownership  holds only numbers.
// Threads    any.

#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "ptc/organise/point_order.h"

namespace page {

inline constexpr int kCodeBits = 3 * kOctreeLevels;
inline constexpr int kPathBits = kCodeBits + 32;

/// A point, or several that are in one cell and that this one represents.
struct Candidate {
    std::uint64_t code;
    std::uint32_t number;
    float area = 0;  ///< of all of them
};
static_assert(sizeof(Candidate) == 16);

/// Whether `a` comes before `b` in the order of the tree.
inline bool IsBefore(const Candidate& a, const Candidate& b) {
    return a.code != b.code ? a.code < b.code : a.number < b.number;
}

/// How many bits the paths have in common, from the front.
inline int SharedBits(const Candidate& a, const Candidate& b) {
    if (a.code != b.code) return kCodeBits - static_cast<int>(std::bit_width(a.code ^ b.code));
    return kPathBits - static_cast<int>(std::bit_width(a.number ^ b.number));
}

/// Where a point lies within its cell of `bits`: for x, y and z the distances to the lower and to
/// the upper side. The point counts as the middle of its smallest cell.
struct PlaceInCell {
    PlaceInCell(const Candidate& path, int bits) {
        for (int axis = 0; axis < 3; ++axis) {
            // z is halved first.
            const int halvings = std::min((bits + axis) / 3, kOctreeLevels);
            const auto size = std::int64_t{1} << (kOctreeLevels - halvings);
            const auto place = static_cast<std::int64_t>(Gathered(path.code >> axis)) & (size - 1);
            below[static_cast<std::size_t>(axis)] = static_cast<double>(place) + 0.5;
            above[static_cast<std::size_t>(axis)] = static_cast<double>(size - place) - 0.5;
        }
    }

    /// The square of the distance to the cell's middle, times 4. Exact.
    double FromMiddle() const {
        double sum = 0;
        for (std::size_t axis = 0; axis < 3; ++axis)
            sum += (above[axis] - below[axis]) * (above[axis] - below[axis]);
        return sum;
    }

    /// The square of the distance to the corner that is farthest.
    double ToFarthestCorner() const {
        double sum = 0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double reach = std::max(above[axis], below[axis]);
            sum += reach * reach;
        }
        return sum;
    }

    std::array<double, 3> below;
    std::array<double, 3> above;

private:
    /// Moves bit 3 i to bit i and leaves the others out.
    static std::uint64_t Gathered(std::uint64_t bits) {
        bits &= 0x1249249249249249;
        bits = (bits | bits >> 2) & 0x10C30C30C30C30C3;
        bits = (bits | bits >> 4) & 0x100F00F00F00F00F;
        bits = (bits | bits >> 8) & 0x001F0000FF0000FF;
        bits = (bits | bits >> 16) & 0x001F00000000FFFF;
        return (bits | bits >> 32) & 0x1FFFFF;
    }
};

/// Whether `a` represents their common cell of `bits` better than `b`: it is nearer to the middle,
/// or comes first in the file.
inline bool IsBetter(const Candidate& a, const Candidate& b, int bits) {
    const double from_a = PlaceInCell(a, bits).FromMiddle();
    const double from_b = PlaceInCell(b, bits).FromMiddle();
    return from_a != from_b ? from_a < from_b : a.number < b.number;
}

}  // namespace page
