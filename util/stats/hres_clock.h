// The high-resolution clock: monotonic nanoseconds, or the processor's time-stamp counter.
//
// Units      ticks; TicksPerSecond() of them are a second.
// Errors     a processor whose counter is no clock keeps the monotonic one.
// Ownership  none.
// Threads    any, but choosing a source: before anything is timed, because ticks of one source
//            mean nothing at the rate of the other.

#pragma once

#include <cstdint>

namespace hres_clock {

enum class Source { kMonotonic, kTimeStampCounter };

/// The system's monotonic clock, in nanoseconds.
std::int64_t MonotonicNanoseconds();

/// What the source shows at the moment.
std::int64_t Ticks();

/// How fast the source runs; what a statistic divides its ticks by.
double TicksPerSecond();

/// Takes another source for the whole process. The counter's rate is measured against the
/// monotonic clock, for about 20 ms, each time that it is chosen. False: this processor's counter
/// does not run at a constant rate in all states; the source stays.
[[nodiscard]] bool Use(Source source);

}  // namespace hres_clock
