// Organising and merging: the public functions.

#include "ptc/organise.h"

#include <algorithm>
#include <vector>

#include "ptc/access/last_failure.h"
#include "ptc/access/named_place.h"
#include "ptc/organise/organise_clouds.h"
#include "ptc/runtime.h"

namespace {

constexpr std::int64_t kLeastMemory = std::int64_t{16} << 20;

/// Stores the failure unless `is_done`.
bool Told(bool is_done, const OrganiseFailure& failure) {
    if (!is_done)
        SetFailure(failure.code, failure.file.empty() ? nullptr : failure.file.c_str(),
                   failure.what.c_str(), failure.error,
                   failure.reason.empty() ? nullptr : failure.reason.c_str());
    return is_done;
}

/// Replaces the names of a request by places, as long as this lives. Null stays null.
template <class Request>
class PlacesOf {
public:
    explicit PlacesOf(Request* request) : output_(request->output) {
        request->output = output_.Get();
        if (!request->inputs) return;
        for (int i = 0; i < request->input_count; ++i) inputs_.emplace_back(request->inputs[i]);
        for (const NamedPlace& input : inputs_) names_.push_back(input.Get());
        request->inputs = names_.data();
    }

private:
    const NamedPlace output_;
    std::vector<NamedPlace> inputs_;
    std::vector<const char*> names_;
};

}  // namespace

bool PtcOrganise(const PtcOrganiseRequest& request, PtcOrganiseSummary* summary) noexcept {
    return CatchNoMemory(request.output, false, [&] {
        PtcOrganiseRequest wanted = request;
        if (wanted.memory >= 0) wanted.memory = std::max(wanted.memory, kLeastMemory);
        if (wanted.threads < 1) wanted.threads = PtcGetThreadCount();
        const PlacesOf places(&wanted);
        OrganiseFailure failure;
        return Told(OrganiseClouds(wanted, summary, &failure), failure);
    });
}

bool PtcMerge(const PtcMergeRequest& request, std::int64_t* points) noexcept {
    return CatchNoMemory(request.output, false, [&] {
        PtcMergeRequest wanted = request;
        const PlacesOf places(&wanted);
        OrganiseFailure failure;
        return Told(MergeClouds(wanted, points, &failure), failure);
    });
}
