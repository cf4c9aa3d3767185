// Boxes around points, and the bounds of all points that a header has.
//
// Units      world space.
// Threads    one caller at a time.
//
// A value that is not a number never enters a box: every comparison with it is false.

#pragma once

#include <array>
#include <cstddef>

#include "ptc/format/cloud_header.h"

/// Empty while the minimum lies above the maximum.
struct PositionBox {
    std::array<float, 3> min{1e30f, 1e30f, 1e30f};
    std::array<float, 3> max{-1e30f, -1e30f, -1e30f};

    void Include(const float* position) { Include(position, position); }
    void Include(const PositionBox& box) { Include(box.min.data(), box.max.data()); }

    /// Includes a box. Assigns each bound whether it changes or not, which takes no branch.
    void Include(const float* low, const float* high) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            min[axis] = low[axis] < min[axis] ? low[axis] : min[axis];
            max[axis] = high[axis] > max[axis] ? high[axis] : max[axis];
        }
    }
};

/// The box around the spheres of points, and their largest radius.
class PointBounds {
public:
    /// Of no point: what a new file's header has.
    PointBounds() = default;

    /// Goes on from what `header` has.
    explicit PointBounds(const CloudHeader& header)
        : box_{header.box_min, header.box_max}, largest_radius_(header.largest_radius) {}

    PointBounds(const PositionBox& box, float largest_radius)
        : box_(box), largest_radius_(largest_radius) {}

    /// Encloses a sphere. A negative radius reaches as far as a positive one.
    void Include(const float* position, float radius) {
        std::array<float, 3> low;
        std::array<float, 3> high;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            low[axis] = position[axis] - radius;
            high[axis] = position[axis] + radius;
        }
        if (radius > 0) {
            // The low end is not above the high one, so each is compared with one bound only.
            box_.Include(low.data(), high.data());
        } else {
            // The ends may be swapped, or be zeros of different signs, of which the first stays.
            box_.Include(low.data());
            box_.Include(high.data());
        }
        largest_radius_ = radius > largest_radius_ ? radius : largest_radius_;
    }

    const PositionBox& Box() const { return box_; }
    float LargestRadius() const { return largest_radius_; }

    void StoreTo(CloudHeader* header) const {
        header->box_min = box_.min;
        header->box_max = box_.max;
        header->largest_radius = largest_radius_;
    }

private:
    PositionBox box_;
    float largest_radius_ = 0;
};
