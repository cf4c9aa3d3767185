// Progress: a bar on the last line of a terminal, and word to whoever listens.
//
// Units      the caller's: steps done of steps in all.
// Errors     none; a bar that cannot be drawn does not end a run.
// Ownership  borrows standard error and the listener.
// Threads    one thread at a time.

#pragma once

#include <chrono>
#include <cstdint>

/// Hears of all work that may have a bar, whether one is drawn or not.
class ProgressListener {
public:
    /// Another piece of work begins. A run may have several, one after the other.
    virtual void BeginPass() noexcept = 0;

    /// `share`: how much of it is done, 0 to 1. Called as often as the work likes.
    virtual void ShowShare(double share) noexcept = 0;

protected:
    ~ProgressListener() = default;
};

class Progress {
public:
    /// Who hears from now on; null: nobody. Caller: no Progress exists, and the listener outlives
    /// those that come.
    static void SetListener(ProgressListener* listener);

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
