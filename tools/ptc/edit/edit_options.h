// What `ptc edit` is asked to do.

#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "tools/ptc/convert/forms.h"

namespace edit {

/// One "--set" or "--add".
struct Change {
    bool is_new = false;  ///< the text begins with the type of a new variable
    std::string text;
};

/// What "--thin" does; the values of the driver when they are not given.
struct Thinning {
    float max_distance = 1e15f;
    float min_dot = 0.5f;
    float max_difference = 1e15f;
    std::int64_t buffer_size = 10000;
};

struct Options {
    std::string in;
    std::string out;
    std::string form;  ///< empty: not asked for

    // Which points stay.
    std::optional<std::string> where;
    std::optional<std::array<double, 6>> box;     ///< minimum x y z, maximum x y z
    std::optional<std::array<double, 4>> sphere;  ///< centre, radius
    double share = 1;
    std::uint64_t seed = 0;
    std::int64_t every = 1;
    std::int64_t limit = std::numeric_limits<std::int64_t>::max();

    // What becomes of them.
    std::vector<Change> changes;
    std::optional<std::string> keep;  ///< empty: none
    std::string drop;
    std::vector<std::string> renames;  ///< "old=new"
    bool thins = false;
    Thinning thinning;
    std::optional<std::array<double, 16>> transform;

    bool HasFilter() const {
        constexpr std::int64_t kAll = std::numeric_limits<std::int64_t>::max();
        return where || box || sphere || share < 1 || every > 1 || limit < kAll;
    }
};

}  // namespace edit
