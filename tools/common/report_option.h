// The option --report.

#pragma once

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <optional>
#include <string>

#include "util/io/host_port.h"

/// Adds the option; `*where` is the monitor's place once it is given.
inline void AddReportOption(CLI::App& command, std::optional<HostPort>* where) {
    command
        .add_option_function<std::string>(
            "--report",
            [where](const std::string& text) {
                *where = ParseHostPort(text);
                if (!*where)
                    throw CLI::ValidationError(
                        "--report", "must be HOST:PORT, with an IPv6 address in brackets");
            },
            "tell the monitor that listens there how the run goes")
        ->type_name("HOST:PORT");
}
