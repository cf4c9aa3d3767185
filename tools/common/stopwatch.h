// Stopwatch: seconds of wall time since it was made.

#pragma once

#include <chrono>

/// Uses the steady clock, so that setting the time of day has no effect.
class Stopwatch {
public:
    double Seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

private:
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start_ = Clock::now();
};
