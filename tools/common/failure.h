// Failure: what ends a command with exit status 1, as the one line that the user reads.

#pragma once

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

/// Thrown by any part of a command and caught at the command's end only. The text is complete. It
/// is one line, except for names that it quotes; these are escaped when the text is printed.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A Failure of the system, such as a read error: the file itself may be sound.
class SystemFailure : public Failure {
public:
    using Failure::Failure;
};

/// A SystemFailure about the file `name`, with the reason for `error`.
[[noreturn]] inline void FailWithErrno(const std::string& name, int error = errno) {
    throw SystemFailure(name + ": " + std::generic_category().message(error));
}
