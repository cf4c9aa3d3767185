// Timers and the clock behind them.

#include "util/stats/stats_timers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tests/support/recorded_stats.h"

namespace {

/// Spends `seconds` of the processor's time.
void Work(double seconds) {
    const double end = ReadProcessTimes().user + seconds;
    while (ReadProcessTimes().user < end) {
    }
}

TEST(UtilStatsTimers, TimerCountsBetweenStartAndStop) {
    UtTimerStat timer("t", "T");
    timer.stop();  // never started: nothing to add
    EXPECT_EQ(timer.Total().elapsed, 0);
    timer.start();
    Work(0.01);
    timer.start();  // runs already, and goes on
    timer.update();
    const double middle = timer.Total().user;
    EXPECT_GE(middle, 0.01 - 1e-9);
    Work(0.01);
    EXPECT_EQ(timer.Total().user, middle) << "a total grows by update() and stop() only";
    timer.stop();
    const double end = timer.Total().user;
    EXPECT_GE(end, middle + 0.01 - 1e-9);  // sums round
    EXPECT_LT(end, ReadProcessTimes().user + 1e-6) << "no stretch is counted twice";
    Work(0.01);
    timer.update();
    EXPECT_EQ(timer.Total().user, end) << "it has stopped";
    timer.start();
    Work(0.02);
    timer.reset();
    timer.stop();
    EXPECT_LT(timer.Total().user, 0.02) << "a reset starts it anew";
}

/// Whether a timer of `seconds` by the high-resolution clock is written as `text`.
bool IsWritten(double seconds, const std::string& text) {
    UtHresTimerStat timer("t", "T");
    timer.Add(std::llround(seconds * hres_clock::TicksPerSecond()));
    return Recorded(timer).find("<elapsed>" + text + "</elapsed>") != std::string::npos;
}

TEST(UtilHresClock, CounterRunsAsFastAsTheMonotonicClock) {
    UtHresTimerStat timer("t", "T");
    { const UtHresTimerScope scope(timer); }
    EXPECT_GT(timer.Ticks(), 0);
    ASSERT_EQ(hres_clock::TicksPerSecond(), 1e9);
    EXPECT_TRUE(IsWritten(0.0000004, "0.000000"));
    EXPECT_TRUE(IsWritten(0.0000006, "0.000001"));
    EXPECT_TRUE(IsWritten(1e9 + 0.5, "1000000000.500000"));
    if (!hres_clock::Use(hres_clock::Source::kTimeStampCounter)) GTEST_SKIP() << "no such clock";
    const std::int64_t begin = hres_clock::Ticks(), began = hres_clock::MonotonicNanoseconds();
    Work(0.05);
    const std::int64_t end = hres_clock::Ticks(), ended = hres_clock::MonotonicNanoseconds();
    const double counted = static_cast<double>(end - begin) / hres_clock::TicksPerSecond();
    // Far from any wrong rate, and out of reach of a thread that has to wait between two readings.
    EXPECT_NEAR(counted / (static_cast<double>(ended - began) * 1e-9), 1, 0.25);
    EXPECT_TRUE(IsWritten(2.5, "2.500000"));
    EXPECT_TRUE(hres_clock::Use(hres_clock::Source::kMonotonic));
    EXPECT_EQ(hres_clock::TicksPerSecond(), 1e9);
}

}  // namespace
