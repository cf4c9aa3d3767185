// Timers of the `UtStat` family: clock, user and system time of the process, or ticks alone.
//
// Units      seconds; ticks of the high-resolution clock, divided by its rate when written.
// Errors     none.
// Ownership  as in util/stats/stats.h.
// Threads    one at a time, each thread its own timers; they are merged by addition.
//
//   class             element   holds
//   UtTimerStat       timer     leaves "elapsed", "user" and "system"
//   UtHresTimerStat   timer     leaf "elapsed"

#pragma once

#include <cstdint>
#include <optional>

#include "util/base/uncopyable.h"
#include "util/stats/hres_clock.h"
#include "util/stats/process_figures.h"
#include "util/stats/stats.h"

/// Runs from start() to stop(), as often as these come: what passed on the clock, and what the
/// process spent meanwhile.
class UtTimerStat : public UtStat {
public:
    using UtStat::UtStat;

    /// Seconds that somebody else has measured.
    void Add(const ProcessTimes& spent);
    /// Without what runs at the moment; update() brings that in.
    const ProcessTimes& Total() const { return total_; }

    void reset() override;  ///< a timer that runs goes on, from 0
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;
    void start() override;
    void stop() override;
    void update() override;

private:
    ProcessTimes total_;
    std::optional<ProcessTimes> running_since_;
};

/// Many short stretches, each too cheap to ask the system for more than a clock. It has no start
/// of its own: several stretches of one timer may run in one another.
class UtHresTimerStat : public UtStat {
public:
    using UtStat::UtStat;

    /// `ticks`: a difference of two hres_clock::Ticks().
    void Add(std::int64_t ticks) { ticks_ += static_cast<double>(ticks); }
    double Ticks() const { return ticks_; }

    void reset() override;
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;

private:
    double ticks_ = 0;
};

/// Adds the time from its making to its end to a timer, which outlives it.
class UtHresTimerScope : public TgUncopyable {
public:
    [[nodiscard]] explicit UtHresTimerScope(UtHresTimerStat& timer)
        : timer_(timer), begin_(hres_clock::Ticks()) {}
    ~UtHresTimerScope() { timer_.Add(hres_clock::Ticks() - begin_); }

private:
    UtHresTimerStat& timer_;
    const std::int64_t begin_;
};
