// Progress: a bar on the last line of a terminal, nothing anywhere else.
//
// Units      the caller's: steps done of steps in all.
// Errors     none; a bar that cannot be drawn does not end a run.
// Ownership  borrows standard error.
// Threads    one thread at a time.

#pragma once

#include <chrono>
#include <cstdint>

class Progress {
public:
    /// Shows nothing when `wanted` is false or when standard error is not a terminal, and nothing
    /// within the first second: what is done by then needs no bar.
    Progress(std::uint64_t total, bool wanted);

    /// Removes the bar, so that the next line starts in its place.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Draws the bar over the last one when it has grown. `done`: at most the total.
    void Show(std::uint64_t done);

private:
    const std::uint64_t total_;
    const bool visible_;
    const std::chrono::steady_clock::time_point begin_;
    int shown_ = -1;  ///< percent on the screen; -1: no bar
};
