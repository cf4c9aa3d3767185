// ParallelFor: does one piece of work for every index, on threads that end with the call.

#pragma once

#include <atomic>
#include <cstddef>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

/// Calls `work(index)` once for each index below `count`, on `threads` threads, and returns when
/// all are done. Any thread may take any index, so `work` must not depend on the thread.
/// The first exception of a call ends the rest and is thrown to the caller.
template <class Work>
void ParallelFor(std::size_t count, int threads, const Work& work) {
    std::atomic<std::size_t> next{0};
    std::mutex failure_lock;  // guards failure
    std::exception_ptr failure;
    const auto take = [&] {
        try {
            for (std::size_t index = next++; index < count; index = next++) work(index);
        } catch (...) {
            const std::lock_guard hold(failure_lock);
            if (!failure) failure = std::current_exception();
            next = count;
        }
    };
    {
        std::vector<std::jthread> helpers;  // join when this scope ends
        for (int i = 1; i < threads; ++i) helpers.emplace_back(take);
        take();
    }
    if (failure) std::rethrow_exception(failure);
}
