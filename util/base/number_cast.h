// Floats to integers, defined for every value.

#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

/// Truncates towards zero; clamps to the range of 32 bits; 0 for a value that is no number.
inline std::int32_t ClampToInt32(float value) {
    if (std::isnan(value)) return 0;
    if (value >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
    if (value <= -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}
