// Squared distances from a place to points and to boxes, four numbers at a time.
//
// Units      world space, squared.
// Threads    any.
//
// Every lane does the operations of the plain function in the same order, so the results are the
// same to the bit. A box's distance is never above that of a point in it: rounding is monotonic,
// and both sum their axes in one order.

#pragma once

#include <cstring>

#include "ptc/records.h"

namespace squared_distance {

/// Four floats that are computed with at once, in one register where the machine has such.
using Lanes = float __attribute__((vector_size(16)));

inline Lanes Load(const float* values) {
    Lanes lanes;
    std::memcpy(&lanes, values, sizeof lanes);
    return lanes;
}

/// The plain function: what all others compare with.
inline float Of(const float* place, const float* position) {
    const float x = position[0] - place[0];
    const float y = position[1] - place[1];
    const float z = position[2] - place[2];
    return (x * x + y * y) + z * z;
}

/// A place from which distances are taken.
class From {
public:
    explicit From(const float* place)
        : x_{place[0], place[0], place[0], place[0]},
          y_{place[1], place[1], place[1], place[1]},
          z_{place[2], place[2], place[2], place[2]},
          place_{place[0], place[1], place[2], 0} {}

    /// To four points, one behind the other.
    Lanes ToPoints(const PtcPoint* points) const {
        // Each load takes the position and one float behind it.
        const Lanes a = Load(points[0].position);
        const Lanes b = Load(points[1].position);
        const Lanes c = Load(points[2].position);
        const Lanes d = Load(points[3].position);
        const Lanes ab_xy = __builtin_shufflevector(a, b, 0, 4, 1, 5);
        const Lanes cd_xy = __builtin_shufflevector(c, d, 0, 4, 1, 5);
        const Lanes ab_z = __builtin_shufflevector(a, b, 2, 6, 3, 7);
        const Lanes cd_z = __builtin_shufflevector(c, d, 2, 6, 3, 7);
        const Lanes x = __builtin_shufflevector(ab_xy, cd_xy, 0, 1, 4, 5) - x_;
        const Lanes y = __builtin_shufflevector(ab_xy, cd_xy, 2, 3, 6, 7) - y_;
        const Lanes z = __builtin_shufflevector(ab_z, cd_z, 0, 1, 4, 5) - z_;
        return (x * x + y * y) + z * z;
    }

    float ToPoint(const PtcPoint& point) const {
        const float place[] = {place_[0], place_[1], place_[2]};
        return Of(place, point.position);
    }

    /// To a box, minimum x y z, maximum x y z; 0 within it. A bound that is not a number bounds
    /// nothing.
    float ToBox(const float* box) const {
        const Lanes high = Load(box + 2);  // z of the minimum, then the maximum
        const Lanes below = Load(box) - place_;
        const Lanes above = place_ - __builtin_shufflevector(high, high, 1, 2, 3, 3);
        const Lanes zero{};
        const Lanes outside = below > above ? below : above;
        const Lanes distance = outside > zero ? outside : zero;
        const Lanes squares = distance * distance;
        return (squares[0] + squares[1]) + squares[2];
    }

private:
    Lanes x_, y_, z_;
    Lanes place_;
};

/// Whether any of four values is at most `bound`.
inline bool AnyAtMost(Lanes values, float bound) {
    const auto is_at_most = values <= Lanes{bound, bound, bound, bound};
    long long halves[2];
    static_assert(sizeof halves == sizeof is_at_most);
    std::memcpy(halves, &is_at_most, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

}  // namespace squared_distance
