// Component suffixes: what tells the floats of one variable apart in the titles of columns.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

inline constexpr std::string_view kColourParts = "rgb";
inline constexpr std::string_view kVectorParts = "xyz";

/// What stands behind a variable's name in the name of its float `part`: "_r _g _b" for a color,
/// "_x _y _z" for another type of three floats, "_0 _1 ..." for anything longer, also an array of
/// three floats; nothing for a single float.
inline std::string ComponentSuffix(std::string_view type, std::int32_t size, std::int32_t part) {
    if (size == 1) return "";
    if (size != 3 || type.starts_with("float")) return '_' + std::to_string(part);
    const auto at = static_cast<std::size_t>(part);
    return {'_', (type.starts_with("color") ? kColourParts : kVectorParts)[at]};
}
