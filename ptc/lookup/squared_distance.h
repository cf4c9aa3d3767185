// Squared distances from a place to points and to boxes, four numbers at a time.
//
// Units      world space, squared.
// Threads    any.
//
// Every lane does the operations of the plain function in the same order, so the results are the
// same to the bit. A box's distance is never above that of a point in it: rounding is monotonic,
// and both sum their axes in one order.

#pragma once

#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

/// The distance from one place to another, not squared: in double precision, because the squares of
/// small steps are nothing in single precision, and many small steps are a long way.
inline double Way(const float* from, const float* to) {
    const double x = double{to[0]} - from[0];
    const double y = double{to[1]} - from[1];
    const double z = double{to[2]} - from[2];
    return std::sqrt((x * x + y * y) + z * z);
}

/// A place from which distances are taken.
class From {
public:
    explicit From(const float* place)
        : x_{place[0], place[0], place[0], place[0]},
          y_{place[1], place[1], place[1], place[1]},
          z_{place[2], place[2], place[2], place[2]} {}

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
        const float place[] = {x_[0], y_[0], z_[0]};
        return Of(place, point.position);
    }

    /// To the boxes of four nodes, one behind the other; 0 within a box. A bound that is not a
    /// number bounds nothing.
    Lanes ToBoxes(const PtcNode* nodes) const {
        Lanes low[4];   // minimum x y z, maximum x
        Lanes high[4];  // minimum z, maximum x y z
        for (int i = 0; i < 4; ++i) {
            low[i] = Load(nodes[i].box);
            high[i] = Load(nodes[i].box + 2);
        }
        const Lanes ab_xy = __builtin_shufflevector(low[0], low[1], 0, 4, 1, 5);
        const Lanes cd_xy = __builtin_shufflevector(low[2], low[3], 0, 4, 1, 5);
        const Lanes ab_zx = __builtin_shufflevector(low[0], low[1], 2, 6, 3, 7);
        const Lanes cd_zx = __builtin_shufflevector(low[2], low[3], 2, 6, 3, 7);
        const Lanes ab_yz = __builtin_shufflevector(high[0], high[1], 2, 6, 3, 7);
        const Lanes cd_yz = __builtin_shufflevector(high[2], high[3], 2, 6, 3, 7);
        return ToBounds(__builtin_shufflevector(ab_xy, cd_xy, 0, 1, 4, 5),
                        __builtin_shufflevector(ab_xy, cd_xy, 2, 3, 6, 7),
                        __builtin_shufflevector(ab_zx, cd_zx, 0, 1, 4, 5),
                        __builtin_shufflevector(ab_zx, cd_zx, 2, 3, 6, 7),
                        __builtin_shufflevector(ab_yz, cd_yz, 0, 1, 4, 5),
                        __builtin_shufflevector(ab_yz, cd_yz, 2, 3, 6, 7));
    }

private:
    static Lanes Outside(Lanes place, Lanes low, Lanes high) {
        const Lanes zero{};
        const Lanes below = low - place;
        const Lanes above = place - high;
        const Lanes outside = below > above ? below : above;
        return outside > zero ? outside : zero;
    }

    Lanes ToBounds(Lanes low_x, Lanes low_y, Lanes low_z, Lanes high_x, Lanes high_y,
                   Lanes high_z) const {
        const Lanes x = Outside(x_, low_x, high_x);
        const Lanes y = Outside(y_, low_y, high_y);
        const Lanes z = Outside(z_, low_z, high_z);
        return (x * x + y * y) + z * z;
    }

    Lanes x_, y_, z_;
};

/// Which of four values are at most `bound`: bit i for value i.
inline unsigned MaskAtMost(Lanes values, float bound) {
    const auto is_at_most = values <= Lanes{bound, bound, bound, bound};
#if defined(__SSE2__)
    return static_cast<unsigned>(_mm_movemask_ps(reinterpret_cast<__m128>(is_at_most)));
#else
    unsigned mask = 0;
    for (unsigned i = 0; i < 4; ++i) mask |= is_at_most[i] ? 1U << i : 0;
    return mask;
#endif
}

}  // namespace squared_distance
