// Failure: what ends a command with exit status 1, as the one line that the user reads.

#pragma once

#include <stdexcept>

/// Thrown by any part of a command, caught where the command ends only. The text is complete, and
/// one line but for what it quotes, which is escaped where the text is told.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
