// Small files: reading them whole, their last lines, and whether they have changed.
//
// Units      bytes.
// Errors     a Failure with the file's name and the system's reason, unless said otherwise.
// Threads    any.

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace farm {

/// All of a regular file of at most `most` bytes.
std::string ReadSmallFile(const std::string& file, std::size_t most);

/// The same; nothing if there is no such file, or if it cannot be read.
std::optional<std::string> TryReadSmallFile(const std::string& file, std::size_t most);

/// The last lines of a file that hold more than blanks, at most `count`.
std::vector<std::string> LastLines(const std::string& file, std::size_t count);

/// How large a file is, and when it was written in nanoseconds: it has changed when these have.
struct Stamp {
    std::int64_t bytes = -1;
    std::int64_t written = 0;

    bool operator==(const Stamp&) const = default;
};

/// Nothing if `file` is not a regular file.
std::optional<Stamp> StampOf(const std::string& file);

}  // namespace farm
