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

struct Options {
    std::string in;
    std::string out;
    std::string form;  ///< empty: not asked for

    // Which points stay.
    std::string where;
    std::optional<std::array<double, 6>> box;     ///< minimum x y z, maximum x y z
    std::optional<std::array<double, 4>> sphere;  ///< centre, radius
    double share = 1;
    std::uint64_t seed = 0;
    std::int64_t every = 1;
    std::int64_t limit = std::numeric_limits<std::int64_t>::max();

    // What becomes of them.
    std::vector<Change> changes;
    std::string keep;
    std::string drop;
    std::vector<std::string> renames;  ///< "old=new"
    std::optional<std::array<double, 16>> transform;

    bool HasFilter() const {
        constexpr std::int64_t kAll = std::numeric_limits<std::int64_t>::max();
        return !where.empty() || box || sphere || share < 1 || every > 1 || limit < kAll;
    }
};

}  // namespace edit
