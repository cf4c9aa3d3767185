// PointBounds: the box and the largest radius that a header says of its points.
//
// Units      world space.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstddef>

#include "ptc/format/cloud_header.h"

/// A value that is not a number never enters: every comparison with it is false.
class PointBounds {
public:
    /// Of no point: the box of a new file.
    PointBounds() = default;

    /// Goes on from what `header` has.
    explicit PointBounds(const CloudHeader& header)
        : min_(header.box_min), max_(header.box_max), largest_radius_(header.largest_radius) {}

    /// Encloses a sphere. Both of its ends are compared with both bounds, because a negative radius
    /// swaps them.
    void Include(const float* position, float radius) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const float low = position[axis] - radius;
            const float high = position[axis] + radius;
            min_[axis] = Smaller(high, Smaller(low, min_[axis]));
            max_[axis] = Larger(high, Larger(low, max_[axis]));
        }
        largest_radius_ = Larger(radius, largest_radius_);
    }

    void StoreTo(CloudHeader* header) const {
        header->box_min = min_;
        header->box_max = max_;
        header->largest_radius = largest_radius_;
    }

private:
    static float Smaller(float value, float so_far) { return value < so_far ? value : so_far; }
    static float Larger(float value, float so_far) { return value > so_far ? value : so_far; }

    std::array<float, 3> min_{1e30f, 1e30f, 1e30f};
    std::array<float, 3> max_{-1e30f, -1e30f, -1e30f};
    float largest_radius_ = 0;
};
