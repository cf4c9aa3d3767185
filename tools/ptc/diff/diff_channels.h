// The channels of points that two clouds have in common, and where they are in the records of each.
//
// Units      places in bytes from a record's start.
// Errors     none.
// Threads    any.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tools/ptc/diff/variable_pairs.h"

struct DiffChannel {
    std::string name;  ///< as `ptc print` calls it; "normal" is the only one that is no float
    std::size_t in_a;
    std::size_t in_b;
    bool is_normal = false;

    bool IsInOnePlace() const { return in_a == in_b; }
};

/// x y z, the normal, the radius, then every float of the variables that have the same size in
/// both, in the order of the first cloud.
std::vector<DiffChannel> CommonChannels(const VariablePairs& variables);

/// How many of the channels, the first ones, say where a point is.
inline constexpr std::size_t kPlaceChannels = 3;

inline float FloatAt(const std::byte* record, std::size_t place) {
    float value;
    std::memcpy(&value, record + place, sizeof value);
    return value;
}

inline std::uint32_t BitsAt(const std::byte* record, std::size_t place) {
    std::uint32_t bits;
    std::memcpy(&bits, record + place, sizeof bits);
    return bits;
}
