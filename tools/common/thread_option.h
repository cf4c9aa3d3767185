// The option --threads.

#pragma once

#include <CLI/App.hpp>
#include <algorithm>
#include <thread>

#include "tools/common/option_values.h"

constexpr int kMostThreads = 256;

/// As many as the machine runs at once.
inline int UsualThreads() {
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMostThreads);
}

/// Adds the option; `*threads` is the usual number until it is given.
inline void AddThreadOption(CLI::App& command, int* threads) {
    *threads = UsualThreads();
    command.add_option("--threads", *threads, "threads; default: one for each processor")
        ->check(Count(1, kMostThreads))
        ->type_name("N");
}
