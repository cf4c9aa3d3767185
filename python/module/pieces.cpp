// Handing out pieces.

#include "python/module/pieces.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::int64_t kFirst = 64;  // items of the first pieces, which are timed
constexpr std::int64_t kMostOrdered = std::int64_t{1} << 18;  // that the library orders at a time
constexpr std::int64_t kGrowth = 4096;
constexpr std::int64_t kLast = 16384;  // the last pieces are not smaller, for the sake of order
constexpr double kSeconds = 0.5;       // that a piece should take

class Pieces {
public:
    Pieces(std::int64_t total, int threads, const Piece& work)
        : total_(total), threads_(threads), work_(work) {}

    /// Does pieces until there are none, or `goes_on(share done)` is false.
    template <class GoesOn>
    void Work(GoesOn goes_on) {
        std::int64_t wanted = kFirst;
        std::int64_t first = 0;
        std::int64_t count = 0;
        double share = 0;
        while (Take(wanted, &first, &count, &share) && goes_on(share)) {
            const auto begin = Clock::now();
            if (!Do(first, count)) return;
            const std::chrono::duration<double> took = Clock::now() - begin;
            const double fitting = static_cast<double>(count) * kSeconds / (took.count() + 1e-9);
            const auto most = static_cast<double>(std::min(kGrowth * count, kMostOrdered));
            wanted = static_cast<std::int64_t>(std::clamp(fitting, 1.0, most));
        }
    }

    void Stop() {
        const std::lock_guard hold(lock_);
        next_ = total_;
        is_whole_ = false;
    }
    double Share() {
        const std::lock_guard hold(lock_);
        return static_cast<double>(done_) / static_cast<double>(std::max<std::int64_t>(total_, 1));
    }
    /// Once all work has ended: whether every piece was done. If not, `*why` has the failure.
    bool IsWhole(Failure* why) {
        *why = why_;
        return is_whole_;
    }

private:
    bool Take(std::int64_t wanted, std::int64_t* first, std::int64_t* count, double* share) {
        *share = Share();
        const std::lock_guard hold(lock_);
        const std::int64_t left = total_ - next_;
        // The last pieces are smaller, so that all threads end together.
        const std::int64_t least = std::min(kLast, total_ / (4 * threads_) + 1);
        const std::int64_t fair = threads_ == 1 ? left : std::max(left / threads_, least);
        *first = next_;
        *count = std::min({wanted, fair, left});
        next_ += *count;
        return *count > 0;
    }

    bool Do(std::int64_t first, std::int64_t count) {
        bool is_done = false;
        Failure why;
        try {
            is_done = work_(first, count);
            if (!is_done) why = LastFailure();
        } catch (const std::bad_alloc&) {
            is_done = false;
            why.code = PtcFailureCode::kNoMemory;
        }
        const std::lock_guard hold(lock_);
        if (is_done) {
            done_ += count;
        } else if (std::exchange(is_whole_, false)) {
            next_ = total_;
            why_ = std::move(why);
        }
        return is_done;
    }

    const std::int64_t total_;
    const int threads_;
    const Piece& work_;

    std::mutex lock_;  // guards all below
    std::int64_t next_ = 0;
    std::int64_t done_ = 0;
    bool is_whole_ = true;
    Failure why_;
};

/// Threads that do pieces, and the wait for them.
class Crew {
public:
    Crew(Pieces& pieces, int threads) : pieces_(pieces) {
        try {
            for (int i = 0; i < threads; ++i) crew_.emplace_back([this] { Work(); });
        } catch (const std::system_error&) {
            // Fewer threads do the same work.
        }
    }
    ~Crew() {
        for (std::thread& thread : crew_) thread.join();
    }
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    bool IsEmpty() const { return crew_.empty(); }

    /// Waits until all threads have nothing to do, or for one pause of `LongCall`.
    bool AreDone() {
        std::unique_lock hold(lock_);
        return ended_.wait_for(hold, LongCall::kPause, [this] { return at_rest_ == crew_.size(); });
    }

private:
    void Work() {
        pieces_.Work([](double) { return true; });
        const std::lock_guard hold(lock_);
        ++at_rest_;
        ended_.notify_one();
    }

    Pieces& pieces_;
    std::vector<std::thread> crew_;
    std::mutex lock_;  // guards at_rest_
    std::condition_variable ended_;
    std::size_t at_rest_ = 0;
};

}  // namespace

bool DoInPieces(LongCall& call, std::int64_t total, int threads, const Piece& work, Failure* why) {
    if (threads < 1) threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    threads = static_cast<int>(std::min<std::int64_t>(threads, total / kFirst));
    Pieces pieces(total, std::max(threads, 1), work);
    const auto work_here = [&] {
        pieces.Work([&](double share) {
            if (call.GoOn(share)) return true;
            pieces.Stop();
            return false;
        });
    };
    if (threads <= 1) {
        work_here();
        return pieces.IsWhole(why);
    }
    {
        Crew crew(pieces, threads);
        if (crew.IsEmpty()) work_here();
        while (!crew.AreDone())
            if (!call.GoOn(pieces.Share())) pieces.Stop();
    }
    return pieces.IsWhole(why);
}
