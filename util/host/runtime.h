// The process-wide settings of the runtime, and its start and shutdown.
//
// Units      counts of threads and of workers.
// Errors     Start() returns false when the system has no key left.
// Ownership  none.
// Threads    any function from any thread at any time, except for Shutdown().

#pragma once

#include <atomic>

namespace runtime {

namespace internal {
inline std::atomic<int> host_workers{1};
inline std::atomic<int> thread_count{0};  ///< 0: never set
}  // namespace internal

/// How many workers of the host deliver to one image. Above 1, a grid on the border between two
/// workers arrives once from each, and the driver drops such copies unless a parameter forbids it.
inline int HostWorkers() {
    return internal::host_workers.load(std::memory_order_relaxed);
}
inline void SetHostWorkers(int count) {
    internal::host_workers.store(count, std::memory_order_relaxed);
}

/// The number of threads by which tables and caches are sized: the number set last, or, as long as
/// none is set, the number of threads that the machine runs at once. At least 1.
int ThreadCount();

/// Sets that number; one below 1 counts as 1.
void SetThreadCount(int count);

/// Makes the key for the threads' message tables, so that the first report need not. Reports work
/// without this call. False: the system has no key left; reports then work without tables.
/// Calls are counted: the Shutdown() that matches the first Start() takes effect.
bool Start();

/// Deletes the message tables of all threads; a thread that reports later gets a new one. The
/// configuration and the process's table of printed messages stay. Does nothing without Start().
/// Caller: no other thread reports meanwhile.
void Shutdown();

}  // namespace runtime
