// The runtime's few process-wide settings, and bringing it up and down.
//
// Threads    every function may be called from any thread at any time, but for Shutdown().

#pragma once

#include <atomic>

namespace runtime {

namespace internal {
inline std::atomic<int> host_workers{1};
inline std::atomic<int> thread_count{0};  ///< 0: never set
}  // namespace internal

/// How many workers of the host deliver to one image. Above 1, a grid on the border between two
/// workers arrives once from each, so the driver drops such copies unless told otherwise.
inline int HostWorkers() {
    return internal::host_workers.load(std::memory_order_relaxed);
}
inline void SetHostWorkers(int count) {
    internal::host_workers.store(count, std::memory_order_relaxed);
}

/// How many threads share the tables and caches that are sized by that number: the number last
/// set, and what the machine runs at once as long as none was. At least 1.
int ThreadCount();

/// Below 1 counts as 1.
void SetThreadCount(int count);

/// Makes ahead of time what the runtime keeps per thread, so that the first report does not have
/// to. Reports work without it. False: the system has no room left, and reports do without.
/// Start and Shutdown count: the last Shutdown of as many as there were Starts takes effect.
bool Start();

/// Gives back what the runtime keeps for every thread; a thread that reports later starts anew.
/// Configuration and what was said so far stay. Does nothing when nobody has started.
/// Caller: no other thread reports meanwhile.
void Shutdown();

}  // namespace runtime
