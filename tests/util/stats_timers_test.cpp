// Timers and the clock behind them.

#include "util/stats_timers.h"

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
    timer.update();
    EXPECT_EQ(timer.Total().elapsed, 0);

    timer.start();
    Work(0.01);
    timer.start();  // runs already, and goes on
    timer.update();
    const ProcessTimes middle = timer.Total();
    EXPECT_GE(middle.user, 0.01);
    EXPECT_GT(middle.elapsed, 0);
    Work(0.01);
    EXPECT_EQ(timer.Total().user, middle.user) << "a total grows by update() and stop() only";
    timer.stop();
    const ProcessTimes end = timer.Total();
    EXPECT_GE(end.user, middle.user + 0.01);
    EXPECT_LT(end.user, ReadProcessTimes().user + 1e-6) << "no stretch is counted twice";

    Work(0.01);
    timer.update();
    timer.stop();
    EXPECT_EQ(timer.Total().user, end.user) << "it has stopped";

    timer.start();
    Work(0.02);
    timer.reset();
    timer.stop();
    EXPECT_LT(timer.Total().user, 0.02) << "a reset starts it anew";
}

TEST(UtilStatsTimers, SecondsArePrintedWithSixDigits) {
    const std::pair<double, const char*> cases[] = {
        {0.0000004, "0.000000"}, {0.0000006, "0.000001"}, {1e9 + 0.5, "1000000000.500000"}};
    for (const auto& [seconds, text] : cases) {
        UtTimerStat timer("t", "T");
        timer.Add({seconds, 0, 0});
        EXPECT_NE(Recorded(timer).find(std::string("elapsed : ") + text + "\n"), std::string::npos)
            << Recorded(timer);
    }
}

TEST(UtilHresClock, CounterRunsAsFastAsTheMonotonicClock) {
    ASSERT_EQ(hres_clock::TicksPerSecond(), 1e9);
    if (!hres_clock::Use(hres_clock::Source::kTimeStampCounter)) GTEST_SKIP() << "no such clock";
    const auto seconds = [](std::int64_t ticks) {
        return static_cast<double>(ticks) / hres_clock::TicksPerSecond();
    };
    // Each clock read around the other: whatever the scheduler does, the outer one saw more.
    const std::int64_t outer_begin = hres_clock::MonotonicNanoseconds();
    const std::int64_t begin = hres_clock::Ticks();
    const std::int64_t inner_begin = hres_clock::MonotonicNanoseconds();
    Work(0.05);
    const std::int64_t inner_end = hres_clock::MonotonicNanoseconds();
    const std::int64_t end = hres_clock::Ticks();
    const std::int64_t outer_end = hres_clock::MonotonicNanoseconds();
    EXPECT_GE(seconds(end - begin), static_cast<double>(inner_end - inner_begin) * 1e-9 * 0.99);
    EXPECT_LE(seconds(end - begin), static_cast<double>(outer_end - outer_begin) * 1e-9 * 1.01);

    UtHresTimerStat timer("t", "T");
    timer.Add(std::llround(2.5 * hres_clock::TicksPerSecond()));
    EXPECT_NE(Recorded(timer).find("elapsed : 2.500000\n"), std::string::npos);

    EXPECT_TRUE(hres_clock::Use(hres_clock::Source::kMonotonic));
    EXPECT_EQ(hres_clock::TicksPerSecond(), 1e9);
}

}  // namespace
