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

#include "ptc/access/access.h"
#include "ptc/cache/cache_set.h"
#include "ptc/cloud/reader.h"
#include "tools/common/failure.h"
#include "tools/common/progress.h"

namespace {

/// A use of the file by this thread, for one scope.
class OpenFile {
public:
    explicit OpenFile(const InputFile& file) : handle_(PtcOpenForReading(file.Path().c_str())) {
        if (handle_) return;
        std::string why;
        // The library does not give the reason, but the reader does.
        if (OpenCloud(file.Path().c_str(), &why, {CountCheck::kStrict, true}))
            why = "cannot be opened";
        throw Failure(file.Name() + ": " + why);
    }
    ~OpenFile() { PtcRelease(handle_); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    PtcManagedFile* Handle() const { return handle_; }
    PtcHeader Header() const {
        PtcHeader header{};
        PtcGetHeader(handle_, &header);
        return header;
    }

private:
    PtcManagedFile* handle_;
};

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
        if (kind_ == WalkKind::kRandom || any % kStay == 0) return place_ = any % points_;
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
    for (std::int64_t i = 0; i < count && steps.MayGoOn(); ++i, steps.Count()) {
        const std::int64_t index = points.Next();
        if (!PtcGetPoint(file, index)) return fmt::format("point {} cannot be read", index);
    }
    return {};
}

/// Visits nodes, children before the next sibling, up to as many as the header counts.
std::string WalkNodes(PtcManagedFile* file, std::int64_t nodes, Steps steps) {
    struct Parent {
        std::int64_t reference;
        std::int64_t children[kNodeChildren];
    };
    std::vector<Parent> waiting;
    std::int64_t visits = 0;
    const auto visit = [&](std::int64_t reference, const PtcNode& node) {
        ++visits;
        steps.Count();
        const bool is_leaf =
            std::count(node.children, node.children + kNodeChildren, 0) == kNodeChildren;
        if (is_leaf) return;
        waiting.push_back({reference, {}});
        std::copy_n(node.children, kNodeChildren, waiting.back().children);
    };
    std::int64_t root = 0;
    const PtcNode* const node = PtcGetRoot(file, &root);
    if (!node) return "the root of the octree cannot be read";
    visit(root, *node);
    while (!waiting.empty() && visits < nodes && steps.MayGoOn()) {
        const Parent parent = waiting.back();
        waiting.pop_back();
        const PtcNode* const children = PtcGetNodeChildren(file, parent.reference, parent.children);
        if (!children)
            return fmt::format("the children of the node at {} cannot be read", parent.reference);
        for (std::size_t i = kNodeChildren; i-- > 0;)
            if (parent.children[i] != 0) visit(parent.children[i], children[i]);
    }
    return {};
}

/// The part of one thread.
std::string WalkPart(const InputFile& file, WalkKind kind, const WalkPlan& plan, int thread,
                     Shared& shared) {
    const OpenFile open(file);
    const PtcHeader header = open.Header();
    if (kind == WalkKind::kTree)
        return WalkNodes(open.Handle(), header.nodes, Steps(shared, thread));
    if (header.points == 0) return {};
    const std::int64_t begin = plan.lookups / plan.threads * thread;
    const std::int64_t end =
        thread + 1 == plan.threads ? plan.lookups : plan.lookups / plan.threads * (thread + 1);
    return WalkPoints(open.Handle(),
                      PointSteps(kind, header.points, begin, static_cast<unsigned>(thread)),
                      end - begin, Steps(shared, thread));
}

WalkOutcome Figures(PtcFiguresOf figures) {
    PtcCacheStats total;
    (void)MergeCacheStats(&total);  // nothing is counted as long as there are no caches
    const PtcCacheFigures& counted = total.*figures;
    WalkOutcome outcome;
    outcome.lookups = static_cast<std::int64_t>(counted.lookups.Value());
    outcome.hits = static_cast<std::int64_t>(counted.hits.Value());
    outcome.items_read = static_cast<std::int64_t>(counted.read.Value());
    return outcome;
}

std::uint64_t StepsInAll(const OpenFile& file, WalkKind kind, const WalkPlan& plan) {
    const std::int64_t nodes = file.Header().nodes * plan.threads;
    return static_cast<std::uint64_t>(kind == WalkKind::kTree ? nodes : plan.lookups);
}

}  // namespace

WalkOutcome Walk(const InputFile& file, WalkKind kind, const WalkPlan& plan) {
    const PtcFiguresOf figures =
        kind == WalkKind::kTree ? &PtcCacheStats::nodes : &PtcCacheStats::points;
    const OpenFile open(file);  // a file that cannot be opened fails here, in the main thread
    const WalkOutcome before = Figures(figures);
    const auto begin = std::chrono::steady_clock::now();

    std::vector<std::string> missing(static_cast<std::size_t>(plan.threads));
    std::vector<std::exception_ptr> failures(missing.size());
    bool is_cut = false;
    {
        Progress progress(StepsInAll(open, kind, plan), true);
        Shared shared{progress};
        const Limit limit(plan.limit, shared.is_over);
        const auto walk = [&](int thread) {
            const auto place = static_cast<std::size_t>(thread);
            try {
                missing[place] = WalkPart(file, kind, plan, thread, shared);
            } catch (...) {
                failures[place] = std::current_exception();
            }
        };
        std::vector<std::jthread> others;
        for (int thread = 1; thread < plan.threads; ++thread) others.emplace_back(walk, thread);
        walk(0);
        others.clear();  // joins
        is_cut = shared.is_cut;
    }
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;

    WalkOutcome outcome = Figures(figures);
    outcome.lookups -= before.lookups;
    outcome.hits -= before.hits;
    outcome.items_read -= before.items_read;
    outcome.seconds = time.count();
    outcome.is_cut = is_cut;
    for (const std::string& words : missing)
        if (outcome.missing.empty()) outcome.missing = words;
    return outcome;
}
