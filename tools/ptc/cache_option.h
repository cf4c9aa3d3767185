// The option --memory of commands that read through the caches.

#pragma once

#include <CLI/App.hpp>
#include <cstdint>

#include "tools/common/option_values.h"

/// Adds the option; `*kilobytes` stays 0, which means the usual number, until it is given.
inline void AddCacheOption(CLI::App& command, std::int64_t* kilobytes) {
    constexpr std::int64_t kMost = 1 << 30;
    command
        .add_option("--memory", *kilobytes,
                    "KB that each thread may hold of points, and of nodes; default: 10240")
        ->check(Count(std::int64_t{1}, kMost))
        ->type_name("N");
}
