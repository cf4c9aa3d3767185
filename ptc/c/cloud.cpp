// Opens a cloud for the C interface, and makes its lookup when it is first needed.

#include "ptc/c/cloud.h"

#include <algorithm>

#include "ptc/access.h"

namespace {

ptc_header HeaderFrom(const PtcHeader& from, const PtcVariables& variables) {
    ptc_header to{};
    to.points = from.points;
    to.nodes = from.nodes;
    std::copy_n(from.box, 6, to.box);
    to.largest_radius = from.largest_radius;
    std::copy_n(from.world_to_eye, 16, to.world_to_eye);
    std::copy_n(from.world_to_ndc, 16, to.world_to_ndc);
    std::copy_n(from.format, 3, to.format);
    to.floats_per_point = from.floats_per_point;
    to.variables = static_cast<std::int32_t>(variables.names.size());
    return to;
}

}  // namespace

ptc_cloud::~ptc_cloud() {
    lookups_.clear();
    PtcRelease(file_);
}

bool ptc_cloud::Open(const char* name) {
    file_ = PtcOpenAlone(name);
    PtcHeader header{};
    if (!file_ || !PtcGetHeader(file_, &header) || !PtcGetVariables(file_, &variables_, nullptr))
        return false;
    name_ = name;
    header_ = HeaderFrom(header, variables_);
    std::int32_t next = 0;
    for (const std::int32_t size : variables_.sizes) {
        first_floats_.push_back(next);
        next += size;
    }
    return true;
}

bool ptc_cloud::GetVariable(std::int32_t index, ptc_variable* variable) const {
    if (index < 0 || index >= header_.variables) return false;
    const auto at = static_cast<std::size_t>(index);
    *variable = {variables_.types[at].c_str(), variables_.names[at].c_str(), first_floats_[at],
                 variables_.sizes[at]};
    return true;
}

/// Makes the lookup, or finds that another thread has. `ended`: the one that is of no use any more,
/// or null. Null: the failure is stored.
const PtcLookup* ptc_cloud::MakeLookup(const PtcLookup* ended) const {
    // An octree in memory belongs to the file, so threads that come here together share one.
    auto made =
        std::make_unique<const PtcLookup>(PtcLookupClouds{.files = &file_, .file_count = 1});
    if (!*made) return nullptr;
    const std::lock_guard hold(making_);
    const PtcLookup* const present = lookup_.load(std::memory_order_relaxed);
    if (present != ended) return present;
    lookups_.push_back(std::move(made));
    lookup_.store(lookups_.back().get(), std::memory_order_release);
    return lookups_.back().get();
}

bool ptc_cloud::Nearest(const PtcPlaces& places, const PtcNearest& wanted,
                        const PtcNearestArrays& arrays, std::int32_t* found) const {
    const PtcLookup* lookup = lookup_.load(std::memory_order_acquire);
    if (!lookup) lookup = MakeLookup(nullptr);
    if (!lookup) return false;
    if (lookup->NearestOfMany(places, wanted, arrays, found)) return true;
    if (PtcLastFailure().code != PtcFailureCode::kShutDown) return false;
    lookup = MakeLookup(lookup);
    return lookup && lookup->NearestOfMany(places, wanted, arrays, found);
}
