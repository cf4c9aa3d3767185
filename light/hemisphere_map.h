// HemisphereMap: the directions above a place, in cells of equal weight.
//
// The map is the unit disc: a direction of length 1 lies at its part along the surface, so equal
// areas of the disc have equal shares in a mean weighted by the cosine. Rings of equal width are
// cut into cells of nearly equal area. The map has no border except the horizon.
//
// Units      radii of the disc from 0 to 1; with a cone, 1 is its edge. Angles in turns.
// Errors     Set() throws std::bad_alloc.
// Ownership  owns its tables.
// Threads    immutable between two calls of Set().

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "util/math/vec3.h"

class HemisphereMap {
public:
    /// Rays of a cell: two by two.
    static constexpr std::size_t kRays = 4;

    struct Ring {
        float inner, outer;
        float cells_per_area;  ///< for an area of the ring given as a difference of squared radii
        float cells_per_turn;  ///< the same number as `cells`
        std::int32_t first;    ///< cell
        std::int32_t cells;
    };

    /// Makes the tables, unless they are those already.
    void Set(int pixels, float sine_of_cone);

    const std::vector<Ring>& Rings() const { return rings_; }
    int Cells() const { return cells_; }
    float RingWidth() const { return ring_width_; }
    float SineOfCone() const { return sine_of_cone_; }

    /// The share of a cell in the mean.
    float Weight(int cell) const { return weights_[static_cast<std::size_t>(cell)]; }
    /// The middle of a cell.
    Vec3f Direction(int cell) const { return directions_[static_cast<std::size_t>(cell)]; }

    // Components of the directions of all rays, those of a cell one behind the other.
    const float* RaysX() const { return x_.data(); }
    const float* RaysY() const { return y_.data(); }
    const float* RaysZ() const { return z_.data(); }

private:
    int pixels_ = 0;
    float sine_of_cone_ = 0;
    float ring_width_ = 0;
    int cells_ = 0;
    std::vector<Ring> rings_;
    std::vector<float> weights_;
    std::vector<Vec3f> directions_;
    std::vector<float> x_, y_, z_;
};
