// Timers of the `UtStat` family: elapsed, user and system time of the process, or ticks only.
//
// Units      seconds; ticks of the high-resolution clock, divided by its rate when written.
// Errors     none.
// Ownership  as in util/stats/stats.h.
// Threads    one at a time: each thread has timers of its own, and a merge adds them.
//
//   class             element   holds
//   UtTimerStat       timer     leaves "elapsed", "user" and "system"
//   UtHresTimerStat   timer     leaf "elapsed"

#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "util/base/uncopyable.h"
#include "util/stats/hres_clock.h"
#include "util/stats/process_figures.h"
#include "util/stats/stats.h"

/// Adds up the time from each start() to its stop(): elapsed time, and the processor time that the
/// process used meanwhile.
class UtTimerStat : public UtStat {
public:
    using UtStat::UtStat;

    /// Adds times that other code has measured.
    void Add(const ProcessTimes& spent);
    /// The sum without a stretch that still runs; update() adds that.
    const ProcessTimes& Total() const { return total_; }

    void reset() override;  ///< a timer that runs continues from 0
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;
    void start() override;
    void stop() override;
    void update() override;

private:
    ProcessTimes total_;
    std::optional<ProcessTimes> running_since_;
};

/// Adds up many short stretches, for which reading more than a clock would take too long. It has no
/// start() and stop() of its own: several stretches of one timer may overlap.
class UtHresTimerStat : public UtStat {
public:
    using UtStat::UtStat;

    /// `ticks`: a difference of two hres_clock::Ticks().
    void Add(std::int64_t ticks) { Set(Ticks() + static_cast<double>(ticks)); }
    double Ticks() const { return ticks_.load(std::memory_order_relaxed); }

    void reset() override;
    void merge(const UtStat& other) override;
    void write(StatsWriter& writer) const override;

private:
    void Set(double ticks) { ticks_.store(ticks, std::memory_order_relaxed); }

    std::atomic<double> ticks_{0};  ///< one writer, as UtCounterStat
};

/// Adds the time from its constructor to its destructor to a timer, which must outlive it.
class UtHresTimerScope : public TgUncopyable {
public:
    [[nodiscard]] explicit UtHresTimerScope(UtHresTimerStat& timer)
        : timer_(timer), begin_(hres_clock::Ticks()) {}
    ~UtHresTimerScope() { timer_.Add(hres_clock::Ticks() - begin_); }

private:
    UtHresTimerStat& timer_;
    const std::int64_t begin_;
};
