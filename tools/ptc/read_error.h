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

/// Whether the error may be one of the compressed stream: the reader does not distinguish a broken
/// stream from one that cannot be read.
inline bool MayBeDamaged(const TokenInput& input) {
    return input.IsCompressed() && input.Error() == EIO;
}

/// Why the input could not be read. Caller: its Error() is not 0.
inline std::string ReadErrorText(const TokenInput& input) {
    if (MayBeDamaged(input)) return "the compressed data is cut off, damaged or cannot be read";
    return std::generic_category().message(input.Error());
}

/// Throws a Failure about the file `name` when anything of the cloud could not be read, and a
/// SystemFailure when the file is not to blame.
inline void FailIfUnread(const CloudReader& cloud, const std::string& name) {
    if (MayBeDamaged(cloud.input)) throw Failure(name + ": " + ReadErrorText(cloud.input));
    if (cloud.input.Error() != 0) FailWithErrno(name, cloud.input.Error());
}
