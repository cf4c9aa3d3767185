// Reads the two clocks and measures the rate of the counter.

#include "util/stats/hres_clock.h"

#include <cpuid.h>
#include <time.h>
#include <x86intrin.h>

#include <atomic>
#include <limits>

namespace hres_clock {
namespace {

constexpr double kNanosecondsPerSecond = 1e9;
constexpr std::int64_t kMeasuredNanoseconds = 20'000'000;
constexpr int kReadings = 16;

constinit std::atomic<Source> source_in_use{Source::kMonotonic};
constinit std::atomic<double> counter_rate{kNanosecondsPerSecond};

std::int64_t Counter() {
    return static_cast<std::int64_t>(__rdtsc());
}

/// Whether the counter keeps its rate when the processor changes its own to save power.
bool IsCounterAClock() {
    constexpr unsigned kPowerLeaf = 0x80000007;
    constexpr unsigned kInvariantCounter = 1u << 8;
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    return __get_cpuid(kPowerLeaf, &a, &b, &c, &d) && (d & kInvariantCounter);
}

struct Reading {
    std::int64_t ticks;
    std::int64_t nanoseconds;
};

/// Reads both clocks at nearly the same moment: of several readings the one that took the least
/// time, because a thread may be interrupted between the two clocks.
Reading ReadBoth() {
    Reading best{};
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    for (int i = 0; i < kReadings; ++i) {
        const std::int64_t before = Counter();
        const std::int64_t nanoseconds = MonotonicNanoseconds();
        const std::int64_t took = Counter() - before;
        if (took >= least) continue;
        least = took;
        best = {before + took / 2, nanoseconds};
    }
    return best;
}

double MeasureCounterRate() {
    const Reading begin = ReadBoth();
    while (MonotonicNanoseconds() - begin.nanoseconds < kMeasuredNanoseconds) {
        const timespec pause{0, kMeasuredNanoseconds / 4};
        nanosleep(&pause, nullptr);  // a signal may cut it short; the loop checks the time
    }
    const Reading end = ReadBoth();
    return static_cast<double>(end.ticks - begin.ticks) * kNanosecondsPerSecond /
           static_cast<double>(end.nanoseconds - begin.nanoseconds);
}

}  // namespace

std::int64_t MonotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::int64_t Ticks() {
    return source_in_use.load(std::memory_order_relaxed) == Source::kTimeStampCounter
               ? Counter()
               : MonotonicNanoseconds();
}

double TicksPerSecond() {
    return source_in_use.load(std::memory_order_relaxed) == Source::kTimeStampCounter
               ? counter_rate.load(std::memory_order_relaxed)
               : kNanosecondsPerSecond;
}

bool Use(Source source) {
    if (source == Source::kTimeStampCounter) {
        if (!IsCounterAClock()) return false;
        counter_rate.store(MeasureCounterRate(), std::memory_order_relaxed);
    }
    source_in_use.store(source, std::memory_order_relaxed);
    return true;
}

}  // namespace hres_clock
