// WorkCrew: numbered pieces of work on several threads, each ended in the order of the numbers;
// and WorkProgress, which tells the caller how far they are.
//
// Units      work counts points, each as often as it is touched.
// Errors     what a piece throws ends the run, and Run() throws it in the caller's thread.
// Ownership  borrows everything.
// Threads    one caller at a time. The caller's thread works, too, and alone calls the progress
//            function. Fewer threads than wanted do the same work when the system has no more.
//
// Locks:
//
//   rank  lock  count      guards
//   30    lock  one a run  whose turn it is to end, and the first exception; no other lock is taken
//                          under it, and no piece runs or ends under it

#pragma once

#include <signal.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "ptc/organise.h"
#include "ptc/organise/organise_error.h"

class WorkProgress {
public:
    WorkProgress(PtcProgress tell, void* context) : tell_(tell), context_(context) {}

    void Expect(std::int64_t work) { expected_ = work; }

    /// From any thread.
    void Add(std::int64_t work) { done_.fetch_add(work, std::memory_order_relaxed); }

    /// From the caller's thread. Throws if the caller wants no more.
    void Tell() const {
        if (!tell_) return;
        const auto done = static_cast<double>(done_.load(std::memory_order_relaxed));
        Tell(expected_ > 0 ? std::min(done / static_cast<double>(expected_), 1.0) : 0);
    }
    void TellEnd() const {
        if (tell_) Tell(1);
    }

private:
    void Tell(double part) const {
        if (!tell_(context_, part))
            FailToOrganise(PtcFailureCode::kStopped, {}, "stopped", 0, "the caller wanted no more");
    }

    const PtcProgress tell_;
    void* const context_;
    std::int64_t expected_ = 0;
    std::atomic<std::int64_t> done_{0};
};

class WorkCrew {
public:
    WorkCrew(int threads, WorkProgress& progress)
        : threads_(static_cast<std::size_t>(std::max(threads, 1))), progress_(progress) {}

    std::size_t Threads() const { return threads_; }
    WorkProgress& Progress() { return progress_; }

    /// Calls work(piece, worker) for each piece below `count`, and behind each end(piece, worker);
    /// the ends in the order of the pieces, one at a time. `worker` is less than Threads().
    template <class Work, class End>
    void Run(std::size_t count, Work work, End end) {
        RunState run;
        run.count = count;
        std::vector<std::thread> others;
        const std::size_t wanted = std::min(threads_, count);
        // The others inherit the mask: the host's signal handlers run in none of them.
        sigset_t all;
        sigset_t before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before);
        try {
            others.reserve(wanted);
            for (std::size_t worker = 1; worker < wanted; ++worker)
                others.emplace_back(
                    [&run, &work, &end, worker] { Labour(run, work, end, worker, [] {}); });
        } catch (const std::exception&) {  // no memory or no thread: those that are there do it
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        Labour(run, work, end, 0, [this] { progress_.Tell(); });
        for (std::thread& other : others) other.join();
        if (run.thrown) std::rethrow_exception(run.thrown);
    }

    /// The same without ends.
    template <class Work>
    void Run(std::size_t count, Work work) {
        Run(count, work, [](std::size_t, std::size_t) {});
    }

private:
    struct RunState {
        std::size_t count = 0;
        std::atomic<std::size_t> next_piece{0};

        std::mutex lock;
        std::condition_variable changed;
        std::size_t turn = 0;  ///< the piece that ends next
        std::exception_ptr thrown;

        /// False: another piece has failed.
        bool AwaitTurn(std::size_t piece) {
            std::unique_lock hold(lock);
            changed.wait(hold, [&] { return turn == piece || thrown; });
            return !thrown;
        }
        void EndTurn() {
            const std::lock_guard hold(lock);
            ++turn;
            changed.notify_all();
        }
        void Fail(std::exception_ptr why) {
            const std::lock_guard hold(lock);
            if (!thrown) thrown = std::move(why);
            next_piece.store(count, std::memory_order_relaxed);
            changed.notify_all();
        }
    };

    /// Takes pieces until there are no more, or one throws. A worker waits only for pieces with
    /// smaller numbers, which other workers have taken before.
    template <class Work, class End, class Between>
    static void Labour(RunState& run, Work& work, End& end, std::size_t worker, Between between) {
        try {
            for (;;) {
                const std::size_t piece = run.next_piece.fetch_add(1, std::memory_order_relaxed);
                if (piece >= run.count) return;
                work(piece, worker);
                if (!run.AwaitTurn(piece)) return;
                end(piece, worker);
                run.EndTurn();
                between();
            }
        } catch (...) {
            run.Fail(std::current_exception());
        }
    }

    const std::size_t threads_;
    WorkProgress& progress_;
};
