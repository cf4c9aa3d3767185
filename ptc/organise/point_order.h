// The order of points in an octree: the cube around them, the code of each, sorting by codes.
//
// Units      positions in world space; codes have kOctreeLevels levels of 3 bits each.
// Errors     none. Functions that allocate throw std::bad_alloc.
// Ownership  borrows positions; keeps none.
// Threads    any; one caller at a time for what is passed in.
//
// The cube's lower corner is the least coordinate of each axis, and its side the largest of the
// three extents. Each level halves it along every axis. An octant's number has bit 0 for the upper
// half in x, bit 1 in y, bit 2 in z; a code has these numbers one behind the other, that of the
// whole cube's octant first. So codes in ascending order are the order of the tree, and the points
// of every octant are a run.

#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

inline constexpr int kOctreeLevels = 21;

/// Behind all codes of places: of a point whose position is not finite.
inline constexpr std::uint64_t kCodeOfNowhere = std::uint64_t{1} << (3 * kOctreeLevels);

/// The code of a point, and its number in the order of the input.
struct CodedIndex {
    std::uint64_t code;
    std::uint32_t index;
};

inline bool IsFinite(const float* position) {
    // Zero times anything finite is zero, and else it is not a number.
    return position[0] * 0 + position[1] * 0 + position[2] * 0 == 0;
}

/// The box around finite positions; empty while the minimum lies above the maximum.
struct FiniteBox {
    float min[3] = {std::numeric_limits<float>::max(), std::numeric_limits<float>::max(),
                    std::numeric_limits<float>::max()};
    float max[3] = {std::numeric_limits<float>::lowest(), std::numeric_limits<float>::lowest(),
                    std::numeric_limits<float>::lowest()};

    /// Caller: the position is finite.
    void Include(const float* position) {
        for (int axis = 0; axis < 3; ++axis) {
            min[axis] = position[axis] < min[axis] ? position[axis] : min[axis];
            max[axis] = position[axis] > max[axis] ? position[axis] : max[axis];
        }
    }
    void Include(const FiniteBox& box) {
        if (box.min[0] > box.max[0]) return;
        Include(box.min);
        Include(box.max);
    }
};

/// The cube, and the codes within it.
class OctreeCube {
public:
    OctreeCube() = default;
    explicit OctreeCube(const FiniteBox& box);

    /// Along each axis the cell is (position - corner) * (2^21 / side) without its fraction, and at
    /// most 2^21 - 1, in double precision. In a cube without extent all cells are 0.
    std::uint64_t CodeOf(const float* position) const {
        if (!IsFinite(position)) return kCodeOfNowhere;
        return Spread(Cell(position, 0)) | Spread(Cell(position, 1)) << 1 |
               Spread(Cell(position, 2)) << 2;
    }

private:
    static constexpr double kMostCell = (1 << kOctreeLevels) - 1;

    /// Within the cube whatever the position is: a cast that does not fit is undefined.
    std::uint32_t Cell(const float* position, int axis) const {
        double cell = (static_cast<double>(position[axis]) - corner_[axis]) * cells_per_unit_;
        cell = cell > 0 ? cell : 0;
        cell = cell < kMostCell ? cell : kMostCell;
        return static_cast<std::uint32_t>(static_cast<std::int32_t>(cell));
    }

    /// Moves bit i to bit 3 i.
    static std::uint64_t Spread(std::uint64_t bits) {
        bits = (bits | bits << 32) & 0x001F00000000FFFF;
        bits = (bits | bits << 16) & 0x001F0000FF0000FF;
        bits = (bits | bits << 8) & 0x100F00F00F00F00F;
        bits = (bits | bits << 4) & 0x10C30C30C30C30C3;
        return (bits | bits << 2) & 0x1249249249249249;
    }

    double corner_[3] = {0, 0, 0};
    double cells_per_unit_ = 0;
};

/// Sorts by code; equal codes keep their order. `scratch`: as many.
void SortByCode(std::span<CodedIndex> points, std::span<CodedIndex> scratch);

/// The same with the result in `to`; `from` is scratch then.
void SortByCodeInto(std::span<CodedIndex> from, std::span<CodedIndex> to);

/// Points in the order of their octree.
struct PointOrder {
    std::vector<CodedIndex> points;  ///< behind the finite ones those with kCodeOfNowhere
    std::size_t finite = 0;
};

/// Positions of three floats each, at any alignment.
struct PositionList {
    const std::byte* first;
    std::size_t count;   ///< at most 2^32 - 1
    std::size_t stride;  ///< in bytes
};

PointOrder OrderPoints(const PositionList& positions);
