// The answer to a command line that cannot be used.

#pragma once

#include <CLI/CLI.hpp>
#include <cstdio>
#include <sstream>

#include "tools/common/standard_streams.h"

/// Prints the help or the version, or what is wrong with the command line, which may hold any
/// bytes. The answer: the program's status, 0 or 2. Failure: see WriteOut().
inline int AnswerParseError(const char* program, const CLI::App& app, const CLI::ParseError& stop) {
    std::ostringstream help;
    std::ostringstream complaint;
    if (app.exit(stop, help, complaint) == 0) {
        WriteOut(help.str());
        return 0;
    }
    // CLI11 has a number for each kind of mistake; here they are all wrong usage.
    Tell(program, stop.what());
    std::fputs("Run with --help for more information.\n", stderr);
    return 2;
}
