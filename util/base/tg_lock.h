// Locks: `TgMutex`, which tries before it blocks, the one-byte spin lock, and their guards.
//
// Units      waiting is counted in tries and in processor pauses.
// Errors     none: Lock() waits until it holds the lock.
// Ownership  a lock is never copied; a guard borrows its lock.
// Threads    any; no lock is recursive, and none is fair.

#pragma once

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <cstdint>

#include "util/base/thread_annotations.h"
#include "util/base/uncopyable.h"

/// Tells the processor that this thread waits for another one's write.
inline void SpinPause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    asm volatile("yield" ::: "memory");
#endif
}

/// A mutex for sections that are usually short: a few pauses cost less than putting the thread to
/// sleep and waking it. A thread that waits longer than that sleeps.
class UTIL_CAPABILITY("mutex") TgMutex : public TgUncopyable {
public:
    static constexpr int kDefaultTries = 100;

    /// `tries`: how often Lock() tries before it sleeps; 0 or less sleeps at once.
    explicit TgMutex(int tries = kDefaultTries) noexcept : tries_(tries) {}
    virtual ~TgMutex() { pthread_mutex_destroy(&mutex_); }

    void Lock() noexcept UTIL_ACQUIRE() UTIL_NO_THREAD_ANALYSIS {
        for (int i = 0; i < tries_; ++i) {
            if (TryLock()) return;
            SpinPause();
        }
        pthread_mutex_lock(&mutex_);  // never fails for a default mutex that is initialised
    }

    [[nodiscard]] bool TryLock() noexcept UTIL_TRY_ACQUIRE(true) {
        return pthread_mutex_trylock(&mutex_) == 0;
    }

    void Unlock() noexcept UTIL_RELEASE() { pthread_mutex_unlock(&mutex_); }

private:
    const int tries_;
    pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
};

/// A spin lock of one byte, for critical sections of a few instructions without allocation, file
/// access or callback. It is small because arrays hold hundreds of them. 64 neighbours share a
/// cache line, so threads that take different locks of one array can slow each other down.
class UTIL_CAPABILITY("spin byte") TgSpinByte {
public:
    constexpr TgSpinByte() = default;
    // Not derived from TgUncopyable: a class that is, and begins with a lock, would grow, because
    // two bases of one type need two addresses.
    TgSpinByte(const TgSpinByte&) = delete;
    TgSpinByte& operator=(const TgSpinByte&) = delete;

    /// Waits 1, 2, 4, 8, 16 pauses between tries, so that waiting threads write to the cache line
    /// less and less often; then yields the processor, because the holder may be waiting for one.
    void Lock() noexcept UTIL_ACQUIRE() {
        for (int pauses = 1; !TryLock();) {
            if (pauses > kMaxPauses) {
                sched_yield();
                continue;
            }
            for (int i = 0; i < pauses; ++i) SpinPause();
            pauses *= 2;
        }
    }

    [[nodiscard]] bool TryLock() noexcept UTIL_TRY_ACQUIRE(true) {
        std::uint8_t open = 0;
        // acquire: pairs with the release in Unlock()
        return held_.compare_exchange_strong(open, 1, std::memory_order_acquire,
                                             std::memory_order_relaxed);
    }

    // release: pairs with the acquire in TryLock()
    void Unlock() noexcept UTIL_RELEASE() { held_.store(0, std::memory_order_release); }

private:
    static constexpr int kMaxPauses = 16;
    std::atomic<std::uint8_t> held_{0};
};
static_assert(sizeof(TgSpinByte) == 1);

/// Holds a lock for one scope. Not movable: a lock has one owner on one stack.
template <class Lock>
class UTIL_SCOPED TgGuard : public TgUncopyable {
public:
    [[nodiscard]] explicit TgGuard(Lock& lock) noexcept UTIL_ACQUIRE(lock) : lock_(lock) {
        lock_.Lock();
    }
    ~TgGuard() UTIL_RELEASE() { lock_.Unlock(); }

private:
    Lock& lock_;
};

using TgMutexGuard = TgGuard<TgMutex>;
using TgSpinGuard = TgGuard<TgSpinByte>;
