// Failure: what ends a bake with exit status 1, as the one line that the user reads.

#pragma once

#include <stdexcept>

namespace bake {

/// Thrown by any part of the host, caught in main() only. The text is complete: it names the file
/// or the function it is about, fits one line and has no newline.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace bake
