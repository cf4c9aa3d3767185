// Floats that are finite, and doubles that become such.
//
// Threads    any.

#pragma once

#include <limits>

/// Finite: what lies beyond the range of floats comes to its end.
inline float ClampToFinite(double value) {
    constexpr double kMost = std::numeric_limits<float>::max();
    return static_cast<float>(value > kMost ? kMost : value < -kMost ? -kMost : value);
}

inline bool IsFinite(float value) {
    return value - value == 0;
}
