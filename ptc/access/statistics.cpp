// The library's figures: numbers, table, XML.

#include "ptc/statistics.h"

#include "ptc/access/last_failure.h"
#include "ptc/cache/cache_report.h"
#include "ptc/cache/cache_set.h"
#include "ptc/files/thread_files.h"
#include "util/stats/hres_clock.h"

namespace {

template <class Report>
std::string ReportOfCaches(Report report) {
    return CatchNoMemory(nullptr, std::string(), [&] {
        PtcCacheStats total;
        return MergeCacheStats(&total) ? report(total) : std::string();
    });
}

PtcCacheNumbers Numbers(const PtcCacheFigures& figures) {
    return {figures.lookups.Value(),  figures.hits.Value(), figures.misses.Value(),
            figures.uncached.Value(), figures.read.Value(), figures.slots.Value(),
            figures.memory.Current(), figures.memory.Peak()};
}

double Seconds(const UtHresTimerStat& time) {
    return time.Ticks() / hres_clock::TicksPerSecond();
}

bool AddCaches(PtcStatistics* statistics) {
    PtcCacheStats total;
    if (!MergeCacheStats(&total)) return false;
    statistics->points = Numbers(total.points);
    statistics->nodes = Numbers(total.nodes);
    statistics->read_seconds = Seconds(total.cache_read_time);
    statistics->nearest_seconds = Seconds(total.getpoints_time);
    statistics->sample_seconds = Seconds(total.texture3d_time);
    statistics->search_seconds = Seconds(total.traverse_octrees_time);
    statistics->load_seconds = Seconds(total.file_read_time);
    statistics->build_seconds = Seconds(total.build_octrees_time);
    statistics->cloud_memory = total.cloud_memory.Current();
    statistics->octree_memory = total.octree_memory.Current();
    return true;
}

bool AddFiles(PtcStatistics* statistics) {
    ThreadFiles* const table = UtFileManager::Get();
    if (!table) return false;
    const UtFileManager::Counts counts = table->Manager().GetCounts();
    statistics->files_opened = counts.opened;
    statistics->files_reopened = counts.reopened;
    statistics->files_closed = counts.reclaimed;
    statistics->open_errors = counts.open_errors;
    statistics->files_open = table->Manager().OpenFiles();
    return true;
}

}  // namespace

bool PtcGetStatistics(PtcStatistics* statistics) noexcept {
    if (!statistics) {
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "no place for the answer");
        return false;
    }
    *statistics = {};
    return CatchNoMemory(nullptr, false, [&] {
        const bool has_caches = AddCaches(statistics);
        const bool has_files = AddFiles(statistics);
        return has_caches || has_files;
    });
}

std::string PtcCacheTable() noexcept {
    return ReportOfCaches(CacheReportTable);
}

std::string PtcCacheXml() noexcept {
    return ReportOfCaches(CacheReportXml);
}
