// Merging two records: heads at once, rows when they have arrived.

#include "driver/merge.h"

#include <cmath>

void Merger::Merge(PointRecord& into, const PointRecord& from) {
    const float into_radius = into.head.radius;
    const float from_radius = from.head.radius;
    const float w = into_radius / (into_radius + from_radius);
    const float v = from_radius / (into_radius + from_radius);

    float* const normal = into.head.normal;
    for (int axis = 0; axis < 3; ++axis) {
        into.head.position[axis] = into.head.position[axis] * w + from.head.position[axis] * v;
        normal[axis] = normal[axis] * w + from.head.normal[axis] * v;
    }
    // Opposite normals may cancel. The normal is NaN then, and the record never merges again.
    const float length =
        std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
    for (int axis = 0; axis < 3; ++axis) normal[axis] /= length;
    into.head.radius = std::sqrt(into_radius * into_radius + from_radius * from_radius);

    if (area_flags_.empty()) return;
    if (count_ - done_ == kWaiting) MergeRows(waiting_[done_++ % kWaiting]);
    waiting_[count_++ % kWaiting] = {into.data, from.data, w, v};
    __builtin_prefetch(into.data, 1);
    __builtin_prefetch(from.data);
}

void Merger::Finish() {
    while (done_ < count_) MergeRows(waiting_[done_++ % kWaiting]);
}

void Merger::MergeRows(const Rows& rows) const {
    for (std::size_t k = 0; k < area_flags_.size(); ++k)
        rows.into[k] = area_flags_[k]
                           ? rows.into[k] + rows.from[k]
                           : rows.into[k] * rows.into_share + rows.from[k] * rows.from_share;
}
