// Threads that begin at the same moment, for tests of what they share.

#pragma once

#include <barrier>
#include <thread>
#include <vector>

/// Runs `work(id)` in `threads` threads, all at once; returns when all have ended.
template <class Work>
void RunTogether(int threads, Work work) {
    std::barrier start(threads);
    std::vector<std::jthread> running(static_cast<std::size_t>(threads));
    for (int id = 0; std::jthread & thread : running)
        thread = std::jthread([&, id = id++] {
            start.arrive_and_wait();
            work(id);
        });
    running.clear();  // joins, before the barrier ends
}
