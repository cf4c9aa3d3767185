// Organising and merging, with progress and signals in between.

#include "ptc/organise.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "python/module/failure.h"
#include "python/module/families.h"
#include "python/module/long_call.h"
#include "python/module/values.h"

namespace py = pybind11;

namespace {

/// The library's progress function. No C++ exception passes through the library: one of Python's
/// stays pending until LongCall::End().
bool GoOn(void* call, double done) {
    return static_cast<LongCall*>(call)->GoOn(done);
}

/// Calls the library; raises what has failed or was raised meanwhile.
template <class Work>
void Do(const py::object& progress, Work work) {
    LongCall call(progress);
    const bool is_done = work(&call);
    Failure why;
    if (!is_done) why = LastFailure();
    call.End(is_done);
    if (!is_done) Raise(why);
}

/// A request with the texts that it points to.
struct Plan {
    PtcOrganiseRequest request;
    std::optional<std::string> light_color;
    std::optional<std::string> light_area;
};

py::tuple Organise(const std::vector<std::string>& inputs, const std::string& output,
                   const Plan& plan, const py::object& progress) {
    PtcOrganiseRequest request = plan.request;
    if (plan.light_color) request.light_color = plan.light_color->c_str();
    if (plan.light_area) request.light_area = plan.light_area->c_str();
    const std::vector<const char*> names = Pointers(inputs);
    request.inputs = names.data();
    request.input_count = static_cast<int>(names.size());
    request.output = output.c_str();
    request.progress = GoOn;
    PtcOrganiseSummary done{};
    Do(progress, [&](LongCall* call) {
        request.context = call;
        return PtcOrganise(request, &done);
    });
    return py::make_tuple(done.points, done.not_finite, done.repeats, done.nodes, done.leaves,
                          done.depth, done.bytes_in_parts);
}

std::int64_t Merge(const std::vector<std::string>& inputs, const std::string& output,
                   const py::object& progress) {
    const std::vector<const char*> names = Pointers(inputs);
    PtcMergeRequest request;
    request.inputs = names.data();
    request.input_count = static_cast<int>(names.size());
    request.output = output.c_str();
    request.progress = GoOn;
    std::int64_t points = 0;
    Do(progress, [&](LongCall* call) {
        request.context = call;
        return PtcMerge(request, &points);
    });
    return points;
}

}  // namespace

void BindOrganise(py::module_& module) {
    py::class_<Plan>(module, "Plan", py::module_local())
        .def(py::init([](int leaf_points, bool drop_repeats, std::int64_t memory, int threads) {
            Plan plan;
            plan.request.leaf_points = leaf_points;
            plan.request.drop_repeats = drop_repeats;
            plan.request.memory = memory;
            plan.request.threads = threads;
            return plan;
        }))
        .def("add_light",
             [](Plan& plan, std::optional<std::string> color, std::optional<std::string> area) {
                 plan.request.light = true;
                 plan.light_color = std::move(color);
                 plan.light_area = std::move(area);
             });
    module.def("organise", &Organise);
    module.def("merge", &Merge);
}
