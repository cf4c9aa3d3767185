// Columns: a cloud as a table, and which column of a foreign table means what.
//
// Units      a column is one value a point.
// Errors     a TableError without the file's name, which the reader or writer of the file adds.
// Ownership  takes and gives copies.
// Threads    any.

#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "ptc/format/cloud_header.h"

namespace convert {

/// Why a table, or one of its rows, cannot become a cloud.
class TableError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The most that a table may hold, which is more than clouds for other programs have.
inline constexpr std::size_t kMaxColumns = 16384;
inline constexpr std::size_t kMaxColumnName = 256;

/// The columns that every table has, in this order, before the variables.
inline constexpr std::string_view kHeadColumns[] = {
    "x", "y", "z", "nx", "ny", "nz", "radius", "azimuth_code", "height_code",
};
inline constexpr std::size_t kHeadColumnCount = std::size(kHeadColumns);

/// Some programs, such as CloudCompare, keep a PLY property only when its name begins so.
inline constexpr std::string_view kScalarPrefix = "scalar_";
/// Whether the head's column `index` is such a number; position and normal have names of their own.
constexpr bool IsScalarColumn(std::size_t index) {
    return index >= 6;
}

/// What viewers colour a point with; a table may have them besides the columns of a color.
inline constexpr std::string_view kRgbColumns[] = {"red", "green", "blue"};

/// One name for each float of the variables: "_area", "Cs_r", "velocity_x", "weights_0". Names
/// are made of letters, digits and "_.-", and are unique within the table.
/// Fails when they are too many.
std::vector<std::string> ColumnNames(const CloudVariables& variables);

/// Where the first colour's floats begin among the data; nothing without a colour.
std::optional<std::size_t> ColourOffset(const CloudVariables& variables);

/// Where the columns of a table that is being read go. A row of values has a slot for each of
/// kHeadColumns, then one for each float of the variables.
struct ColumnMap {
    CloudVariables variables;
    std::vector<std::int32_t> slots;  ///< one a column; -1: not wanted
    bool has_normal = false;
    bool has_codes = false;
    bool has_radius = false;
};

/// Finds the meaning of the columns called `names`. `declared`: the variables that the table says
/// it has, or null. They count when all their columns are there; the other columns become
/// variables of their own; columns that are named like the floats of one variable become one, in
/// any order. `prefix`: what the names of radius, codes and variables may begin with, or nothing;
/// it is part of the name where another column has the name without it. Fails without x, y and z.
ColumnMap MapColumns(const std::vector<std::string>& names, const CloudVariables* declared,
                     std::string_view prefix);

}  // namespace convert
