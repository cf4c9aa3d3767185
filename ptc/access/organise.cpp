// Organising and merging: the public functions.

#include "ptc/organise.h"

#include <algorithm>

#include "ptc/access/last_failure.h"
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

}  // namespace

bool PtcOrganise(const PtcOrganiseRequest& request, PtcOrganiseSummary* summary) noexcept {
    return CatchNoMemory(request.output, false, [&] {
        PtcOrganiseRequest wanted = request;
        if (wanted.memory >= 0) wanted.memory = std::max(wanted.memory, kLeastMemory);
        if (wanted.threads < 1) wanted.threads = PtcGetThreadCount();
        OrganiseFailure failure;
        return Told(OrganiseClouds(wanted, summary, &failure), failure);
    });
}

bool PtcMerge(const PtcMergeRequest& request, std::int64_t* points) noexcept {
    return CatchNoMemory(request.output, false, [&] {
        OrganiseFailure failure;
        return Told(MergeClouds(request, points, &failure), failure);
    });
}
