// The agreement of normals, and the sums.

#include "ptc/lookup/filter_search.h"

#include <algorithm>

double FilterSearch::Agreement(const PtcPoint& point) const {
    const float* const a = place_.normal;
    const float* const b = point.normal;
    if (!a || (b[0] == 0 && b[1] == 0 && b[2] == 0)) return 1;
    const float dot = (a[0] * b[0] + a[1] * b[1]) + a[2] * b[2];
    if (!(dot > least_dot_)) return 0;
    return (double{dot} - least_dot_) / (1 - double{least_dot_});
}

void FilterSearch::Add(const LookedUpFile& file, const float* data, double weight) {
    for (std::size_t i = 0; i < variables_.size(); ++i) {
        if (file.offsets[i] < 0) continue;
        const float* const from = data + file.offsets[i];
        const auto size = static_cast<std::size_t>(variables_[i].size);
        if (!std::all_of(from, from + size, [](float value) { return std::isfinite(value); }))
            continue;
        double* const to = &sums_.values[static_cast<std::size_t>(variables_[i].offset)];
        for (std::size_t k = 0; k < size; ++k) to[k] += weight * from[k];
        sums_.weights[i] += weight;
    }
}
