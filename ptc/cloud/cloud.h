// The open point cloud: what writer and reader keep of one file.

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "ptc/format/token_file.h"
#include "ptc/format/token_input.h"

/// Declared variables of points or of nodes: three parallel arrays and the floats of one item.
struct CloudVariables {
    std::vector<std::string> types;
    std::vector<std::string> names;
    std::vector<std::int32_t> sizes;  ///< floats each variable takes
    std::int32_t data_size = 0;       ///< floats of all variables together
};

/// One open file.
///
/// Units      offsets in bytes from the file's start; positions and radii in world space.
/// Ownership  owns the file and every text.
/// Threads    one caller at a time.
struct Cloud {
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

    std::int64_t header_position = -1;  ///< the block that is rewritten in place
    std::int64_t data_start = 0;        ///< the first point record
    std::int64_t root_position = 0;     ///< the node written last; 0: none
    TokenFile file;                     ///< open while writing

    // Only while reading; the stored values are the header's own where those above repair it.
    TokenInput input;
    std::string name;
    bool is_quiet = false;  ///< what cannot be read is not told by the reader
    std::array<float, 3> stored_format{};
    std::array<float, 16> stored_world_to_ndc{};
    std::int64_t stored_node_count = 0;
    std::vector<std::byte> scratch;  ///< raw records on their way to values
    std::int64_t next_point = 0;     ///< the point that the file stands at; -1: none

    // Only while writing.
    std::int64_t stored_points = 0;   ///< points handed to the operating system without an error
    std::int64_t counted_points = 0;  ///< those that the header in the file counts
    bool has_failed = false;          ///< a write failed: nothing more is written but the header
};
