// The high-resolution clock: monotonic nanoseconds, or the processor's time-stamp counter.
//
// Units      ticks; a second has TicksPerSecond() of them.
// Errors     Use() returns false for a counter that is no clock, and the source stays.
// Ownership  none.
// Threads    any. Call Use() before anything is timed: ticks of one source are wrong at the rate of
//            the other.

#pragma once

#include <cstdint>

namespace hres_clock {

enum class Source { kMonotonic, kTimeStampCounter };

/// The system's monotonic clock, in nanoseconds.
std::int64_t MonotonicNanoseconds();

/// The current value of the source.
std::int64_t Ticks();

/// The rate of the source; a difference of ticks divided by it is a time in seconds.
double TicksPerSecond();

/// Chooses the source for the whole process. Choosing the counter takes about 20 ms, during which
/// its rate is measured with the monotonic clock. False: this processor's counter does not run at a
/// constant rate in all power states, and the source stays.
[[nodiscard]] bool Use(Source source);

}  // namespace hres_clock
