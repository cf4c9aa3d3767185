// The time at which a block was released: the order in which idle blocks are used again.
//
// The processor's counter is read instead of a count of releases, because all threads would change
// that count with each release and wait for each other.

#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace release_clock {

/// Later than every time that this thread has got before, and later than those that other threads
/// got before this moment, as far as the processors' counters agree. Never 0.
inline std::uint64_t Now() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    constinit static thread_local std::uint64_t last = 0;
    last = std::max<std::uint64_t>(__builtin_ia32_rdtsc(), last + 1);
    return last;
#else
    constinit static std::atomic<std::uint64_t> count{0};
    return count.fetch_add(1, std::memory_order_relaxed) + 1;
#endif
}

}  // namespace release_clock
