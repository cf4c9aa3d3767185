// The options --filter and --least-dot.

#pragma once

#include <CLI/App.hpp>
#include <limits>
#include <optional>
#include <string>

#include "tools/common/option_text.h"

inline CLI::Option* AddFilterOption(CLI::App& command, std::optional<float>* radius) {
    return command
        .add_option_function<std::string>(
            "--filter",
            [radius](const std::string& text) {
                constexpr float kMost = std::numeric_limits<float>::max();
                *radius = NumberWithin("--filter", text, 0, kMost, "must be 0 or more, and finite");
            },
            "filter values, from the points within this radius; best is 1.5 to 2 times the "
            "distance between neighbours")
        ->type_name("RADIUS");
}

inline CLI::Option* AddLeastDotOption(CLI::App& command, std::optional<float>* least_dot) {
    return command
        .add_option_function<std::string>(
            "--least-dot",
            [least_dot](const std::string& text) {
                constexpr float kBelowOne = 0x1.fffffep-1f;
                *least_dot = NumberWithin("--least-dot", text, -1, kBelowOne,
                                          "must be -1 or more, and below 1");
            },
            "the least dot product of a point's normal with the place's (0)")
        ->type_name("C");
}
