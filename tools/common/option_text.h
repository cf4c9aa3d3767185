// Values of options as a user writes them.

#pragma once

#include <CLI/Error.hpp>
#include <array>
#include <cmath>
#include <string>
#include <string_view>

#include "tools/common/number.h"
#include "tools/common/parts.h"

/// "X,Y,Z" into three finite numbers.
inline bool ParseTriple(std::string_view text, std::array<float, 3>* values) {
    Parts parts(text, ',');
    std::string_view part;
    for (float& value : *values)
        if (!parts.Next(&part) || !ParseNumber(part, &value) || !std::isfinite(value)) return false;
    return parts.IsDone();
}

/// The value of `option`: a number from `low` to `high`, which may be infinite. Wrong usage
/// otherwise, for which `must` says what it must be.
inline float NumberWithin(const char* option, const std::string& text, float low, float high,
                          const char* must) {
    float value = 0;
    if (ParseNumber(text, &value) && value >= low && value <= high) return value;
    throw CLI::ValidationError(option, must);
}
