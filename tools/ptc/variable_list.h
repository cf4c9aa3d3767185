// The variables of a cloud one by one: all commands that name variables or their floats go through
// this list, so that they name them alike.
//
// Units      offsets in floats from the first float of a point's, or a node's, data.
// Errors     none.
// Ownership  a variable borrows its texts from the header.
// Threads    any.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ptc/format/cloud_header.h"

/// The letters of the suffixes for a color and for other types of three floats.
inline constexpr std::string_view kColourParts = "rgb";
inline constexpr std::string_view kVectorParts = "xyz";

struct Variable {
    std::string_view type;
    std::string_view name;
    std::int32_t size = 0;   ///< floats
    std::size_t offset = 0;  ///< of its first float

    /// What follows the variable's name in the name of its float `part`: "_r _g _b" for a color,
    /// "_x _y _z" for another type of three floats, "_0 _1 ..." for anything longer, also for an
    /// array of three floats; nothing for a single float.
    std::string Suffix(std::int32_t part) const;

    /// The name of float `part`.
    std::string FloatName(std::int32_t part) const { return std::string(name) + Suffix(part); }
};

/// All of them, in the header's order.
std::vector<Variable> ListVariables(const CloudVariables& variables);
