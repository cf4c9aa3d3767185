// A number of bytes as a user writes it: "268435456", "256M", "1G".

#pragma once

#include <cstdint>
#include <limits>
#include <string_view>

#include "tools/common/number.h"

/// Reads all of `text`: a whole number above 0 with K, M or G behind it for 2^10, 2^20 or 2^30
/// bytes. False: it is no such number, or does not fit.
inline bool ParseByteSize(std::string_view text, std::int64_t* bytes) {
    int shift = 0;
    constexpr std::string_view kUnits = "KMG";
    const std::size_t unit = text.empty() ? kUnits.npos : kUnits.find(text.back());
    if (unit != kUnits.npos) {
        shift = 10 * (static_cast<int>(unit) + 1);
        text.remove_suffix(1);
    }
    if (!ParseNumber(text, bytes) || *bytes < 1 ||
        *bytes > std::numeric_limits<std::int64_t>::max() >> shift)
        return false;
    *bytes <<= shift;
    return true;
}
