// A query: what is asked of which clouds.

#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

struct QueryOptions {
    std::vector<std::string> files;

    // The places: one, or the points of a file.
    std::optional<std::array<float, 3>> at;
    std::optional<std::array<float, 3>> normal;  ///< not zero
    std::string at_points;
    bool use_normals = false;

    // The nearest points, unless values are filtered.
    std::int32_t count = 8;
    float within = std::numeric_limits<float>::infinity();
    std::optional<float> filter;  ///< the radius

    std::optional<float> least_dot;
    std::string variables;
    bool csv = false;
    bool json = false;
    int threads = 1;
};

/// Prints the answers. The exit status: 1 when a file could not be used, which a line says; the
/// others are answered from. Throws a Failure.
int RunQuery(const QueryOptions& options);
