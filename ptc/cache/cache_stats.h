// `PtcCacheStats`: the "pointclouds" section of the statistics, its members as one table.
//
// Units      memory in bytes, times in ticks of the high-resolution clock.
// Errors     none.
// Ownership  a section owns its members.
// Threads    each thread counts in a section of its own, which others may merge meanwhile; all
//            threads charge memory to the one section that the cache set owns.

#pragma once

#include <atomic>
#include <cstdint>

#include "util/stats/stats.h"
#include "util/stats/stats_timers.h"

using PtcCounter = UtCounterStat<unsigned long>;

/// Memory that any thread may charge. Reports contain the values of the last update().
class PtcChargedMemory : public UtMemStat {
public:
    using UtMemStat::UtMemStat;

    /// `bytes`: negative for memory that is freed. Any thread. The loop raises the peak: it ends as
    /// soon as the peak, which only grows here, is at least the sum of this call.
    void Charge(std::int64_t bytes) noexcept {
        const std::int64_t now = charged_.fetch_add(bytes, std::memory_order_relaxed) + bytes;
        std::int64_t peak = most_.load(std::memory_order_relaxed);
        while (peak < now && !most_.compare_exchange_weak(peak, now, std::memory_order_relaxed)) {
        }
    }

    std::int64_t Charged() const { return charged_.load(std::memory_order_relaxed); }

    /// Sets the peak to the memory in use, which stays charged, because it will be freed later.
    void reset() override;
    void update() override;

private:
    std::atomic<std::int64_t> charged_{0};
    std::atomic<std::int64_t> most_{0};
};

/// What one of the two caches counts. A thread's section counts the first four, the shared one
/// the last two.
struct PtcCacheFigures {
    PtcCounter read;     ///< items read from files
    PtcCounter lookups;  ///< requests at a thread's table; hits + misses is the same number
    PtcCounter hits;     ///< in a thread's table or in the shared cache
    PtcCounter misses;
    PtcCounter slots;  ///< blocks that the cache may hold
    PtcChargedMemory memory;
    /// Misses that were read into a thread's own block, because all blocks were held. Has no name,
    /// because no section contains it.
    PtcCounter uncached{"", ""};
};

/// A section of the statistics. Its members are written in the order of these declarations, except
/// for the last two, which are written first.
class PtcCacheStats : public UtStatsList {
public:
    PtcCacheStats();

    PtcCacheFigures points{
        {"nReadPoints", "Points read"},
        {"nPointCacheLookups", "Point cache lookups"},
        {"nPointCacheHits", "Point cache hits"},
        {"nPointCacheMisses", "Point cache misses"},
        {"nPointCacheElems", "Point cache num slots"},
        {"pointCacheActualMem", "Point cache memory"},
    };
    PtcCacheFigures nodes{
        {"nReadNodes", "Octree nodes read"},
        {"nNodeCacheLookups", "Octree node cache lookups"},
        {"nNodeCacheHits", "Octree node cache hits"},
        {"nNodeCacheMisses", "Octree node cache misses"},
        {"nNodeCacheElems", "Octree node cache num slots"},
        {"nodeCacheActualMem", "Octree node cache memory"},
    };

    // The caches keep cache_read_time; the others, and both memories, belong to the computations
    // that use the caches.
    UtHresTimerStat texture3d_time{"texture3DPointcloudTime", "Total pointcloud texture3d()"};
    UtHresTimerStat getpoints_time{"getpointsTime", "Total getpoints()"};
    UtHresTimerStat subsurface_time{"subsurfaceTime", "Total subsurface()"};
    UtHresTimerStat occlusion_time{"occlusionTime", "Total point-based occlusion()"};
    UtHresTimerStat indirectdiffuse_time{"indirectdiffuseTime",
                                         "Total point-based indirectdiffuse()"};
    UtHresTimerStat cache_read_time{"cacheReadTime", "Point/node cache read time"};
    UtHresTimerStat file_read_time{"fileReadTime", "Pointcloud file read time"};
    UtHresTimerStat build_octrees_time{"buildOctreesTime", "Octrees building time"};
    UtHresTimerStat traverse_octrees_time{"traverseOctreesTime", "Octrees traversal time"};
    UtHresTimerStat rasterize_time{"rasterizeTime", "Point-based rasterization time"};
    PtcChargedMemory cloud_memory{"pointCloudMem", "Point cloud memory"};
    PtcChargedMemory octree_memory{"pointOctreeMem", "Point octree memory"};
};

/// Selects a cache's figures: `&PtcCacheStats::points` or `&PtcCacheStats::nodes`.
using PtcFiguresOf = PtcCacheFigures PtcCacheStats::*;
