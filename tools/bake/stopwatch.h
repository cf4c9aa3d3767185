// Stopwatch: seconds of wall time since it was made.

#pragma once

#include <chrono>

namespace bake {

/// Runs on the steady clock: setting the time of day does not show.
class Stopwatch {
public:
    double Seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

private:
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start_ = Clock::now();
};

}  // namespace bake
