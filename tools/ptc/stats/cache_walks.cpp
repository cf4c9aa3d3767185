// The walks' steps, and the threads that make them.

#include "tools/ptc/stats/cache_walks.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <random>
#include <stop_token>
#include <thread>
#include <vector>

#include "ptc/access.h"
#include "ptc/statistics.h"
#include "ptc/tree.h"
#include "tools/clouds/open_through_caches.h"
#include "tools/common/failure.h"
#include "tools/common/progress.h"
#include "tools/ptc/stats/lookup_steps.h"

namespace {

bool IsRandom(WalkKind kind) {
    return kind == WalkKind::kRandom || kind == WalkKind::kNearestRandom ||
           kind == WalkKind::kFilteredRandom;
}

bool Filters(WalkKind kind) {
    return kind == WalkKind::kFilteredRandom || kind == WalkKind::kFilteredCoherent;
}

/// Whether each step is a lookup of the library over the whole cloud.
bool LooksUp(WalkKind kind) {
    return Filters(kind) || kind == WalkKind::kNearestRandom || kind == WalkKind::kNearestCoherent;
}

/// The indexes that one thread looks up, one after the other.
class PointSteps {
public:
    PointSteps(WalkKind kind, std::int64_t points, std::int64_t begin, unsigned seed)
        : kind_(kind), points_(points), place_(begin % points), random_(seed) {}

    std::int64_t Next() {
        if (kind_ == WalkKind::kSequential) {
            const std::int64_t index = place_;
            place_ = index + 1 == points_ ? 0 : index + 1;
            return index;
        }
        const auto any = static_cast<std::int64_t>(random_() >> 1U);
        if (IsRandom(kind_) || any % kStay == 0) return place_ = any % points_;
        place_ = (place_ + any % kReach - kBack) % points_;
        if (place_ < 0) place_ += points_;
        return place_;
    }

private:
    // A coherent walk steps up to 12 points back or 20 on, and jumps to another place every 4000
    // steps or so.
    static constexpr std::int64_t kStay = 4000;
    static constexpr std::int64_t kReach = 33;
    static constexpr std::int64_t kBack = 12;

    const WalkKind kind_;
    const std::int64_t points_;
    std::int64_t place_;
    std::mt19937_64 random_;
};

/// What the threads of a walk share.
struct Shared {
    Progress& progress;
    std::atomic<std::uint64_t> done{0};
    std::atomic<bool> is_over{false};  ///< the limit is reached: no more steps
    std::atomic<bool> is_cut{false};   ///< and someone had steps left
};

/// Ends a walk's steps when its time is up. A thread of its own looks at the clock, because that
/// takes longer than a lookup that hits.
class Limit {
public:
    Limit(std::chrono::milliseconds limit, std::atomic<bool>& is_over) {
        if (limit.count() == 0) return;
        thread_ = std::jthread([this, limit, &is_over](const std::stop_token& stop) {
            std::unique_lock lock(mutex_);
            wake_.wait_for(lock, stop, limit, [] { return false; });
            is_over = true;
        });
    }
    Limit(const Limit&) = delete;
    Limit& operator=(const Limit&) = delete;

private:
    std::mutex mutex_;
    std::condition_variable_any wake_;
    std::jthread thread_;  // last, so that it is stopped and joined first
};

/// Counts the steps of one thread, and shows all threads' from the first of them.
class Steps {
public:
    Steps(Shared& shared, int thread) : shared_(shared), is_first_(thread == 0) {}
    ~Steps() { Tell(); }
    Steps(const Steps&) = delete;
    Steps& operator=(const Steps&) = delete;
    void Count() {
        if (++steps_ == kBatch) Tell();
    }

    /// To be called before each step. False: no time is left for it.
    bool MayGoOn() {
        if (!shared_.is_over.load(std::memory_order_relaxed)) return true;
        shared_.is_cut = true;
        return false;
    }

private:
    static constexpr std::uint64_t kBatch = 4096;

    void Tell() {
        const std::uint64_t done = shared_.done.fetch_add(steps_) + steps_;
        steps_ = 0;
        if (is_first_) shared_.progress.Show(done);
    }

    Shared& shared_;
    const bool is_first_;
    std::uint64_t steps_ = 0;
};

/// Looks up `count` points. The answer: what is missing, in words.
std::string WalkPoints(PtcManagedFile* file, PointSteps points, std::int64_t count, Steps steps) {
    for (std::int64_t i = 0; i < count && steps.MayGoOn(); ++i, steps.Count())
        if (!PtcGetPoint(file, points.Next())) return PtcLastFailure().what;
    return {};
}

std::string WalkLookups(const LookupSteps& lookups, PointSteps points, std::int64_t count,
                        Steps steps) {
    for (std::int64_t i = 0; i < count && steps.MayGoOn(); ++i, steps.Count())
        if (!lookups.At(points.Next())) return PtcLastFailure().what;
    return {};
}

std::string WalkNodes(PtcManagedFile* file, Steps steps) {
    PtcTreeWalk walk(file);
    while (steps.MayGoOn() && walk.Next()) steps.Count();
    return walk.HasFailed() ? PtcLastFailure().what : "";
}

/// The part of one thread. `lookups`: null when the walk makes none.
std::string WalkPart(const InputFile& file, WalkKind kind, const WalkPlan& plan,
                     const LookupSteps* lookups, int thread, Shared& shared) {
    const PtcFile open = OpenThroughCaches(file);
    const PtcHeader header = HeaderOf(open);
    if (kind == WalkKind::kTree) return WalkNodes(open.Get(), Steps(shared, thread));
    if (header.points == 0) return {};
    const std::int64_t begin = plan.lookups / plan.threads * thread;
    const std::int64_t end =
        thread + 1 == plan.threads ? plan.lookups : plan.lookups / plan.threads * (thread + 1);
    const PointSteps points(kind, header.points, begin, static_cast<unsigned>(thread));
    return lookups ? WalkLookups(*lookups, points, end - begin, Steps(shared, thread))
                   : WalkPoints(open.Get(), points, end - begin, Steps(shared, thread));
}

/// Of the caches that the walk reads through.
PtcCacheNumbers Numbers(WalkKind kind) {
    PtcStatistics now;
    (void)PtcGetStatistics(&now);  // nothing is counted before the first opening
    if (!LooksUp(kind)) return kind == WalkKind::kTree ? now.nodes : now.points;
    now.points.lookups += now.nodes.lookups;
    now.points.hits += now.nodes.hits;
    now.points.misses += now.nodes.misses;
    now.points.items_read += now.nodes.items_read;
    return now.points;
}

std::uint64_t StepsInAll(const PtcFile& file, WalkKind kind, const WalkPlan& plan) {
    const std::int64_t nodes = HeaderOf(file).nodes * plan.threads;
    return static_cast<std::uint64_t>(kind == WalkKind::kTree ? nodes : plan.lookups);
}

}  // namespace

WalkOutcome Walk(const InputFile& file, WalkKind kind, const WalkPlan& plan) {
    const PtcFile open = OpenThroughCaches(file);
    std::optional<LookupSteps> lookups;
    if (LooksUp(kind) && !lookups.emplace(open.Get(), Filters(kind))) {
        WalkOutcome outcome;
        outcome.missing = PtcLastFailure().what;
        return outcome;
    }
    const PtcCacheNumbers before = Numbers(kind);
    const auto begin = std::chrono::steady_clock::now();

    std::vector<std::string> missing(static_cast<std::size_t>(plan.threads));
    std::vector<std::exception_ptr> failures(missing.size());
    bool is_cut = false;
    std::uint64_t steps = 0;
    {
        Progress progress(StepsInAll(open, kind, plan), true);
        Shared shared{progress};
        const Limit limit(plan.limit, shared.is_over);
        const auto walk = [&](int thread) {
            const auto place = static_cast<std::size_t>(thread);
            try {
                missing[place] =
                    WalkPart(file, kind, plan, lookups ? &*lookups : nullptr, thread, shared);
            } catch (...) {
                failures[place] = std::current_exception();
            }
        };
        std::vector<std::jthread> others;
        for (int thread = 1; thread < plan.threads; ++thread) others.emplace_back(walk, thread);
        walk(0);
        others.clear();  // joins
        is_cut = shared.is_cut;
        steps = shared.done;
    }
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;

    const PtcCacheNumbers after = Numbers(kind);
    WalkOutcome outcome;
    outcome.lookups = static_cast<std::int64_t>(lookups ? steps : after.lookups - before.lookups);
    outcome.hits = static_cast<std::int64_t>(after.hits - before.hits);
    outcome.misses = static_cast<std::int64_t>(after.misses - before.misses);
    outcome.items_read = static_cast<std::int64_t>(after.items_read - before.items_read);
    outcome.seconds = time.count();
    outcome.is_cut = is_cut;
    for (const std::string& words : missing)
        if (outcome.missing.empty()) outcome.missing = words;
    return outcome;
}
