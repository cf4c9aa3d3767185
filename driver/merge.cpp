// Merging two records: heads at once, rows when they have arrived.

#include "driver/merge.h"

#include <cmath>
#include <cstddef>

namespace {

/// Four numbers of a head at once: the position, or the normal with the radius behind it.
struct HeadPart {
    std::size_t offset;

    lanes::Floats Load(const PointHead& head) const {
        lanes::Floats floats;
        std::memcpy(&floats, reinterpret_cast<const char*>(&head) + offset, sizeof floats);
        return floats;
    }
    void Store(lanes::Floats floats, PointHead* head) const {
        std::memcpy(reinterpret_cast<char*>(head) + offset, &floats, sizeof floats);
    }
    lanes::Floats Weigh(const PointHead& a, float w, const PointHead& b, float v) const {
        return Load(a) * lanes::All(w) + Load(b) * lanes::All(v);
    }
};
constexpr HeadPart kPlace = {offsetof(PointHead, position)};
constexpr HeadPart kNormal = {offsetof(PointHead, normal)};

}  // namespace

void Merger::Merge(PointRecord& into, const PointRecord& from) {
    const float into_radius = into.head.radius;
    const float from_radius = from.head.radius;
    const float w = into_radius / (into_radius + from_radius);
    const float v = from_radius / (into_radius + from_radius);
    const lanes::Floats place = kPlace.Weigh(into.head, w, from.head, v);
    lanes::Floats normal = kNormal.Weigh(into.head, w, from.head, v);
    // Opposite normals may cancel. The normal is NaN then, and the record never merges again.
    normal /= lanes::All(
        std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]));
    normal[3] = std::sqrt(into_radius * into_radius + from_radius * from_radius);
    kPlace.Store(place, &into.head);  // and one number of the normal, which is not final yet
    kNormal.Store(normal, &into.head);

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
