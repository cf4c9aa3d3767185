// Four floats at a time: what vectors of three and columns of rows need beyond util/math/lanes.h.
//
// Units      none.
// Errors     none.
// Threads    any.

#pragma once

#include <cmath>
#include <cstring>
#include <limits>

#include "util/math/lanes.h"

namespace four_lanes {

using Floats = Lanes<4>::Floats;
using Ints = Lanes<4>::Ints;

[[gnu::always_inline]] inline Floats Load(const float* floats) {
    Floats values;
    std::memcpy(&values, floats, sizeof values);
    return values;
}
[[gnu::always_inline]] inline void Store(Floats values, float* floats) {
    std::memcpy(floats, &values, sizeof values);
}

/// The first three floats from memory that has four; the last lane is 0.
[[gnu::always_inline]] inline Floats LoadThree(const float* floats) {
    return Lanes<4>::Keep(Ints{-1, -1, -1, 0}, Load(floats));
}

/// The sums of the lanes of four vectors: (x + z) + (y + w) of each.
[[gnu::always_inline]] inline Floats SumsOf(Floats a, Floats b, Floats c, Floats d) {
    const Floats ab =
        __builtin_shufflevector(a, b, 0, 4, 1, 5) + __builtin_shufflevector(a, b, 2, 6, 3, 7);
    const Floats cd =
        __builtin_shufflevector(c, d, 0, 4, 1, 5) + __builtin_shufflevector(c, d, 2, 6, 3, 7);
    return __builtin_shufflevector(ab, cd, 0, 1, 4, 5) +
           __builtin_shufflevector(ab, cd, 2, 3, 6, 7);
}

[[gnu::always_inline]] inline Floats Most(Floats a, Floats b) {
    return Lanes<4>::Choose(a > b, a, b);
}
[[gnu::always_inline]] inline Floats Least(Floats a, Floats b) {
    return Lanes<4>::Choose(a < b, a, b);
}
/// 0 also for what is not finite.
[[gnu::always_inline]] inline Floats NotBelowZero(Floats a) {
    return Lanes<4>::Keep((a > 0) & (a <= std::numeric_limits<float>::max()), a);
}
[[gnu::always_inline]] inline Floats Root(Floats a) {
    Floats root;
    for (int i = 0; i < 4; ++i) root[i] = __builtin_sqrtf(a[i]);
    return root;
}

}  // namespace four_lanes
