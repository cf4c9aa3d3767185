// Progress: a bar on the last line of a terminal, nothing anywhere else.
//
// Units      the caller's: steps done of steps in all.
// Errors     none; a terminal that takes nothing is not worth ending a bake for.
// Ownership  borrows standard error.
// Threads    one thread at a time.

#pragma once

#include <cstdint>

namespace bake {

class Progress {
public:
    /// Shows nothing when `wanted` is false or when standard error is no terminal.
    Progress(std::uint64_t total, bool wanted);

    /// Takes the bar off the screen, so that the next line starts where it stood.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Draws the bar anew, over the last one. `done`: at most the total.
    void Show(std::uint64_t done);

private:
    const std::uint64_t total_;
    const bool visible_;
};

}  // namespace bake
