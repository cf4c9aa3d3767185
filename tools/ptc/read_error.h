// Read errors, as opposed to the end of a file.
//
// A cloud's input keeps the first error of the system, so one question after the last reading
// covers everything that was read, also where an error looks like the file's end.

#pragma once

#include <cerrno>
#include <string>
#include <system_error>

#include "ptc/cloud/reader.h"
#include "tools/common/failure.h"

/// Why the input could not be read. Caller: its Error() is not 0.
inline std::string ReadErrorText(const TokenInput& input) {
    // The reader does not distinguish a broken compressed stream from one that cannot be read.
    if (input.IsCompressed() && input.Error() == EIO)
        return "the compressed data is cut off, damaged or cannot be read";
    return std::generic_category().message(input.Error());
}

/// Throws a Failure about the file `name` when anything of the cloud could not be read.
inline void FailIfUnread(const CloudReader& cloud, const std::string& name) {
    if (cloud.input.Error() != 0) throw Failure(name + ": " + ReadErrorText(cloud.input));
}
