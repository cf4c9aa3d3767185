// Makes the caches from the options, gives records to threads, and destroys everything.

#include "ptc/cache/cache_set.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

#include "util/base/process_wide.h"
#include "util/base/thread_slot.h"
#include "util/host/config.h"
#include "util/host/runtime.h"

using ptc_held::this_thread;
using ptc_held::ThisThread;

// Changed under life_lock; read without it.
constinit std::atomic<std::uint64_t> life_of_caches{1};

namespace {

constexpr ptc_held::Slot kEmptySlot{};

}  // namespace

constinit ptc_held::Table ptc_held::nothing{&kEmptySlot, 0, 0};
constinit thread_local ThisThread ptc_held::this_thread;

namespace {

struct CacheHome;

/// A thread's object under the thread key: its record in the process's set. It exists beside the
/// copy in thread-local memory, because only its destructor runs when the thread ends.
///
///   member        written by                   read by
///   home          the constructor              the owner: never changes
///   record, life  the owner                    the owner
///   front         the owner; the caches' end   the owner's lookups; reports: its count
struct ThreadSeat {
    explicit ThreadSeat(CacheHome& process) : home(process) {}
    ~ThreadSeat();

    CacheHome& home;
    ptc_held::Table front{ptc_held::nothing.slots, 0, 0};
    PtcThreadCache* record = nullptr;  ///< valid while `life` is the set's
    std::uint64_t life = 0;
};

/// The process's set, while there is one. It outlives every set and every seat, so that a thread
/// may end while the set is being destroyed.
struct CacheHome {
    ~CacheHome() { Destroy(); }

    void Destroy() {
        std::unique_ptr<PtcCacheSet> gone;
        TgMutexGuard hold(life_lock);
        if (set) set->TakeFronts();  // while no thread can end: the fronts lie in the seats
        gone = std::move(set);
        is_there.store(false, std::memory_order_relaxed);
        life_of_caches.fetch_add(1, std::memory_order_relaxed);
    }

    /// Throws std::bad_alloc.
    void Make(int threads, std::int64_t point_kb, std::int64_t node_kb) UTIL_REQUIRES(life_lock) {
        if (set) return;
        set = std::make_unique<PtcCacheSet>(CacheSizes(threads, point_kb, node_kb));
        is_there.store(true, std::memory_order_relaxed);
    }

    // Atomic: changed under life_lock; read without it to skip the lock when the set exists.
    std::atomic<bool> is_there{false};

    // Guarded.
    TgMutex life_lock;
    std::unique_ptr<PtcCacheSet> set UTIL_GUARDED_BY(life_lock);

    ThreadSlot<ThreadSeat> seats{ThreadSlotEnd::kFreeWithThread};
};

ThreadSeat::~ThreadSeat() {
    TgMutexGuard hold(home.life_lock);
    this_thread = {};  // destructors that run later in this thread must not use the record
    if (life == life_of_caches.load(std::memory_order_relaxed)) home.set->GiveBack(*record);
}

CacheHome& Home() {
    return process_wide::The<CacheHome>();
}

}  // namespace

// --- the process's caches ---

bool EnsureCaches() {
    CacheHome& home = Home();
    if (home.is_there.load(std::memory_order_relaxed)) return true;
    try {
        TgMutexGuard hold(home.life_lock);
        home.Make(0, 0, 0);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

void ConfigureCaches(int threads, std::int64_t point_kb, std::int64_t node_kb) {
    CacheHome& home = Home();
    try {
        TgMutexGuard hold(home.life_lock);
        home.Make(threads, point_kb, node_kb);
    } catch (const std::bad_alloc&) {
        return;  // the next lookup tries again, with the options' sizes
    }
}

void DestroyCaches() {
    Home().Destroy();
}

PtcThreadCache* MakeThreadCache() {
    CacheHome& home = Home();
    try {
        ThreadSeat* const seat =
            home.seats.FindOrMake([&] { return std::make_unique<ThreadSeat>(home); });
        if (!seat) return nullptr;
        TgMutexGuard hold(home.life_lock);
        home.Make(0, 0, 0);
        seat->record = home.set->TakeRecord(seat->front);
        seat->life = life_of_caches.load(std::memory_order_relaxed);
        this_thread = {&seat->front, seat->record, seat->life};
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return this_thread.record;
}

bool ChargeClouds(std::int64_t points, std::int64_t octrees, std::int64_t limit,
                  std::uint64_t* life) {
    CacheHome& home = Home();
    try {
        TgMutexGuard hold(home.life_lock);
        home.Make(0, 0, 0);
        *life = life_of_caches.load(std::memory_order_relaxed);
        return home.set->Charge(points, octrees, limit);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void DischargeClouds(std::int64_t points, std::int64_t octrees, std::uint64_t life) {
    // During an unload the home may be gone already, and with it the life.
    if (life != life_of_caches.load(std::memory_order_relaxed)) return;
    CacheHome& home = Home();
    TgMutexGuard hold(home.life_lock);
    if (home.set && life == life_of_caches.load(std::memory_order_relaxed))
        home.set->Charge(-points, -octrees, std::numeric_limits<std::int64_t>::max());
}

bool MergeCacheStats(PtcCacheStats* total) {
    CacheHome& home = Home();
    TgMutexGuard hold(home.life_lock);
    if (!home.set) return false;
    home.set->MergeStats(total);
    return true;
}

const char* BrokenCachePromise() {
    CacheHome& home = Home();
    TgMutexGuard hold(home.life_lock);
    return home.set ? home.set->BrokenPromise() : nullptr;
}

// --- sizes ---

PtcCacheSizes CacheSizes(int threads, std::int64_t point_kb, std::int64_t node_kb) {
    using namespace cache_budget;
    const auto bytes = [](std::int64_t given, const char* key) {
        return BytesOf(given > 0 ? given : ConfigGetCount(key, kDefaultKilobytes));
    };
    const int n = threads > 0 ? threads : runtime::ThreadCount();
    const char* const limit = ConfigGet("/lumrd/constantmemorylimit");
    // Not ConfigGetCount(), because numbers below 0 switch the limit on, too.
    const bool constant = limit && std::strtol(limit, nullptr, 10) != 0;
    return {BudgetFor(bytes(point_kb, "/lumrd/pointmemory"), kPointBlockBytes, n, constant),
            BudgetFor(bytes(node_kb, "/lumrd/octreememory"), kNodeBlockBytes, n, constant)};
}

// --- the set ---

PtcCacheSet::PtcCacheSet(const PtcCacheSizes& sizes)
    : sizes_(sizes), points_(sizes.points.total, stats_), nodes_(sizes.nodes.total, stats_) {}

PtcThreadCache* PtcCacheSet::TakeRecord(ptc_held::Table& front) {
    TgMutexGuard hold(registry_lock_);
    auto free_one = std::find_if(registry_.begin(), registry_.end(),
                                 [](const Entry& entry) { return !entry.is_owned; });
    if (free_one == registry_.end()) {
        const PtcThreadCache::Front sizes{points_, sizes_.points.per_thread, nodes_,
                                          sizes_.nodes.per_thread};
        const auto index = static_cast<std::uint32_t>(registry_.size());
        registry_.push_back({std::make_unique<PtcThreadCache>(index, sizes), false});
        free_one = registry_.end() - 1;
    }
    free_one->is_owned = true;
    free_one->record->Lend(front);
    return free_one->record.get();
}

void PtcCacheSet::GiveBack(PtcThreadCache& record) {
    record.ReleaseAll();
    TgMutexGuard hold(registry_lock_);
    record.TakeBack();
    registry_[record.index].is_owned = false;
}

void PtcCacheSet::TakeFronts() {
    TgMutexGuard hold(registry_lock_);
    for (const Entry& entry : registry_) entry.record->TakeBack();
}

void PtcCacheSet::MergeStats(PtcCacheStats* total) {
    TgMutexGuard hold(registry_lock_);
    stats_.update();
    total->merge(stats_);
    for (const Entry& entry : registry_) entry.record->AddTo(total);
}

bool PtcCacheSet::Charge(std::int64_t points, std::int64_t octrees, std::int64_t limit) {
    const std::int64_t before = stats_.cloud_memory.Charged() + stats_.octree_memory.Charged();
    if (points + octrees > limit - before) return false;
    stats_.cloud_memory.Charge(points);
    stats_.octree_memory.Charge(octrees);
    return true;
}

const char* PtcCacheSet::BrokenPromise() const {
    const char* const broken = points_.BrokenPromise();
    return broken ? broken : nodes_.BrokenPromise();
}
