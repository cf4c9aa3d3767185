// Lists the section's members in the order in which they are written.

#include "ptc/cache/cache_stats.h"

void PtcChargedMemory::reset() {
    UtMemStat::reset();
    most_.store(charged_.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

void PtcChargedMemory::update() {
    Set(charged_.load(std::memory_order_relaxed));
    RaisePeak(most_.load(std::memory_order_relaxed));
}

PtcCacheStats::PtcCacheStats()
    : UtStatsList("section", "pointclouds", "Point-based calc. and cache stats") {
    AddAll({&cloud_memory, &octree_memory});
    for (PtcCacheFigures* cache : {&points, &nodes})
        AddAll({&cache->read, &cache->lookups, &cache->hits, &cache->misses, &cache->slots,
                &cache->memory});
    AddAll({&texture3d_time, &getpoints_time, &subsurface_time, &occlusion_time,
            &indirectdiffuse_time, &cache_read_time, &file_read_time, &build_octrees_time,
            &traverse_octrees_time, &rasterize_time});
}
