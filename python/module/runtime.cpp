// The process's caches: their sizes, and what the library has counted; and the end of messages.

#include "ptc/runtime.h"

#include "ptc/statistics.h"
#include "python/module/families.h"
#include "python/module/messages.h"

namespace py = pybind11;

namespace {

py::dict DictOf(const PtcCacheNumbers& numbers) {
    py::dict dict;
    dict["lookups"] = numbers.lookups;
    dict["hits"] = numbers.hits;
    dict["misses"] = numbers.misses;
    dict["uncached"] = numbers.uncached;
    dict["items_read"] = numbers.items_read;
    dict["blocks"] = numbers.blocks;
    dict["memory"] = numbers.memory;
    dict["most_memory"] = numbers.most_memory;
    return dict;
}

py::dict Statistics() {
    PtcStatistics all{};
    (void)PtcGetStatistics(&all);  // nothing was counted yet: zeros
    py::dict dict;
    dict["points"] = DictOf(all.points);
    dict["nodes"] = DictOf(all.nodes);
    dict["read_seconds"] = all.read_seconds;
    dict["nearest_seconds"] = all.nearest_seconds;
    dict["sample_seconds"] = all.sample_seconds;
    dict["search_seconds"] = all.search_seconds;
    dict["load_seconds"] = all.load_seconds;
    dict["build_seconds"] = all.build_seconds;
    dict["cloud_memory"] = all.cloud_memory;
    dict["octree_memory"] = all.octree_memory;
    dict["files_opened"] = all.files_opened;
    dict["files_reopened"] = all.files_reopened;
    dict["files_closed"] = all.files_closed;
    dict["open_errors"] = all.open_errors;
    dict["files_open"] = all.files_open;
    return dict;
}

}  // namespace

void BindRuntime(py::module_& module) {
    module.def("statistics", &Statistics);
    module.def("configure", [](int threads, std::int64_t point_kb, std::int64_t node_kb) {
        if (threads > 0) PtcSetThreadCount(threads);
        PtcConfigure(threads, point_kb, node_kb, nullptr);
    });
    module.def("print_messages", &messages::Uninstall);
    module.def("begin_messages", &messages::BeginQueue);
}
