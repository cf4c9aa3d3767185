// Converting floats to integers, with a defined result for every value.
//
// Units      none.
// Errors     none.
// Ownership  none.
// Threads    any.

#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

/// Truncates towards zero and clamps to the range of 32 bits; NaN gives 0. The bounds are compared
/// as floats: 2^31 is one, the largest 32-bit integer is not.
inline std::int32_t ClampToInt32(float value) {
    if (std::isnan(value)) return 0;
    if (value >= 2147483648.0f) return std::numeric_limits<std::int32_t>::max();
    if (value <= -2147483648.0f) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}
