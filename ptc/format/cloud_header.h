// The header of a point cloud: what a writer stores in it and a reader takes from it.
//
// Units      offsets in bytes from the file's start; positions and radii in world space.
// Ownership  owns every text.
// Threads    one caller at a time.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ptc/format/layout.h"

/// Declared variables of points or of nodes: three parallel arrays and the floats of one item.
struct CloudVariables {
    std::vector<std::string> types;
    std::vector<std::string> names;
    std::vector<std::int32_t> sizes;  ///< floats each variable takes
    std::int32_t data_size = 0;       ///< floats of all variables together; never negative

    std::size_t DataFloats() const { return static_cast<std::size_t>(data_size); }
};

struct CloudHeader {
    std::uint32_t version = 2;
    std::int64_t point_count = 0;
    std::int64_t node_count = 0;

    /// Around the spheres of all points; empty while the minimum lies above the maximum.
    std::array<float, 3> box_min{1e38f, 1e38f, 1e38f};
    std::array<float, 3> box_max{-1e38f, -1e38f, -1e38f};
    float largest_radius = 0;

    std::array<float, 16> world_to_eye{};  ///< row-major, row vectors
    std::array<float, 16> world_to_ndc{};  ///< likewise
    std::int32_t x_resolution = 0;
    std::int32_t y_resolution = 0;
    float pixel_aspect = -1;

    CloudVariables point_variables;
    CloudVariables node_variables;

    std::int64_t data_start = 0;     ///< the first point record
    std::int64_t root_position = 0;  ///< the node written last; 0: none

    /// Of one point record in the binary form.
    std::size_t PointBytes() const { return ptc_layout::PointBytes(point_variables.DataFloats()); }
};

/// A header that was read from a file. Where the reader replaces a value by one that can be used,
/// CloudHeader has the usable one, and this the one in the file.
struct StoredHeader : CloudHeader {
    std::array<float, 3> stored_format{};  ///< x resolution, y resolution, pixel aspect ratio
    std::array<float, 16> stored_world_to_ndc{};
    std::int64_t stored_node_count = 0;
};
