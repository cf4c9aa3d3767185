// The front door's reading half: headers, records through the caches, reports.

#include <algorithm>
#include <new>
#include <span>

#include "ptc/access/access.h"
#include "ptc/cache/cache_report.h"
#include "ptc/cache/cache_set.h"
#include "ptc/files/managed_file.h"

namespace {

template <class Report>
std::string ReportOfCaches(Report report) {
    try {
        PtcCacheStats total;
        return MergeCacheStats(&total) ? report(total) : std::string();
    } catch (const std::bad_alloc&) {
        return {};
    }
}

}  // namespace

bool PtcGetHeader(const PtcManagedFile* file, PtcHeader* header) {
    const CloudHeader* const cloud = file ? file->Header() : nullptr;
    if (!cloud) return false;
    header->points = cloud->point_count;
    header->nodes = cloud->node_count;
    std::copy_n(cloud->box_min.begin(), 3, header->box);
    std::copy_n(cloud->box_max.begin(), 3, header->box + 3);
    header->largest_radius = cloud->largest_radius;
    std::copy_n(cloud->world_to_eye.begin(), 16, header->world_to_eye);
    std::copy_n(cloud->world_to_ndc.begin(), 16, header->world_to_ndc);
    header->format[0] = static_cast<float>(cloud->x_resolution);
    header->format[1] = static_cast<float>(cloud->y_resolution);
    header->format[2] = cloud->pixel_aspect;
    header->floats_per_point = cloud->point_variables.data_size;
    header->floats_per_node = cloud->node_variables.data_size;
    return true;
}

bool PtcFindVariables(const PtcManagedFile* file, int count, const char* const* names,
                      std::int32_t* offsets, std::int32_t* sizes) {
    if (!file || !file->IsReading() || count < 0) return false;
    file->FindVariables({names, static_cast<std::size_t>(count)}, offsets, sizes);
    return true;
}

const PtcPoint* PtcGetPoint(PtcManagedFile* file, std::int64_t index) {
    // The last block has records beyond the last point; these are no points.
    if (!file || index < 0 || index >= file->PointCount()) return nullptr;
    PtcThreadCache* const cache = ThisThreadCache();
    return cache ? cache->GetPoint(*file, index) : nullptr;
}

const PtcNode* PtcGetNodeChildren(PtcManagedFile* file, std::int64_t reference,
                                  const std::int64_t* children) {
    if (!file || !children) return nullptr;
    const bool has_child = std::any_of(children, children + kNodeChildren,
                                       [](std::int64_t child) { return child != 0; });
    PtcThreadCache* const cache = has_child ? ThisThreadCache() : nullptr;
    return cache ? cache->GetNodeChildren(*file, reference, children) : nullptr;
}

const PtcNode* PtcGetRoot(PtcManagedFile* file, std::int64_t* reference) {
    const CloudHeader* const cloud = file ? file->Header() : nullptr;
    if (!cloud || cloud->node_count == 0) return nullptr;
    if (reference) *reference = cloud->root_position;
    // Kept like the children of a node: the root is the one child of reference 0.
    const std::int64_t root[kNodeChildren] = {cloud->root_position};
    return PtcGetNodeChildren(file, 0, root);
}

std::string PtcCacheTable() {
    return ReportOfCaches(CacheReportTable);
}

std::string PtcCacheXml() {
    return ReportOfCaches(CacheReportXml);
}
