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

/// Runs `live(seed)` in threads that come and go: `threads` at a time, each of them followed by
/// another when it ends, `lives` times. The seeds count up from `seed`.
template <class Live>
void RunLives(int threads, int lives, Live live, int seed = 0) {
    RunTogether(threads, [&](int id) {
        for (int life = 0; life < lives; ++life)
            std::thread(live, static_cast<unsigned>(seed + id * lives + life)).join();
    });
}
