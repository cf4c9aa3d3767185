// What a command reports about a file that it made: where the lines go.

#pragma once

#include <cstdio>
#include <string>

#include "tools/common/standard_streams.h"

/// Prints whole lines: on standard error where the file itself goes to standard output. All of
/// them are written when this returns, or it fails.
inline void TellReport(const std::string& lines, bool file_is_standard_output) {
    if (file_is_standard_output) {
        std::fputs(lines.c_str(), stderr);
        return;
    }
    WriteOut(lines);
    FlushOut();
}
