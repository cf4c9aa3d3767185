// The few process-wide settings of the runtime.
//
// Threads    every function may be called from any thread at any time.

#pragma once

#include <atomic>

namespace runtime {

namespace internal {
inline std::atomic<int> host_workers{1};
}

/// How many workers of the host deliver to one image. Above 1, a grid on the border between two
/// workers arrives once from each, so the driver drops such copies unless told otherwise.
inline int HostWorkers() {
    return internal::host_workers.load(std::memory_order_relaxed);
}
inline void SetHostWorkers(int count) {
    internal::host_workers.store(count, std::memory_order_relaxed);
}

}  // namespace runtime
