// Point filter: the conditions, the cheap ones first, and then the counting.

#include "tools/ptc/edit/point_filter.h"

#include <cstring>

#include "tools/ptc/edit/counter_hash.h"

namespace edit {

namespace {

std::array<double, 3> PositionOf(const std::byte* record) {
    float position[3];
    std::memcpy(position, record + expression::RecordOffset(expression::kPositionField),
                sizeof position);
    return {static_cast<double>(position[0]), static_cast<double>(position[1]),
            static_cast<double>(position[2])};
}

/// Not for NaN, which no comparison finds inside.
bool IsInBox(const std::array<double, 6>& box, const std::array<double, 3>& position) {
    for (std::size_t axis = 0; axis < 3; ++axis)
        if (!(position[axis] >= box[axis] && position[axis] <= box[axis + 3])) return false;
    return true;
}

bool IsInSphere(const std::array<double, 4>& sphere, const std::array<double, 3>& position) {
    double squared = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double distance = position[axis] - sphere[axis];
        squared += distance * distance;
    }
    return squared <= sphere[3] * sphere[3];
}

}  // namespace

PointFilter::PointFilter(const Options& options, const expression::PointFields& fields)
    : box_(options.box),
      sphere_(options.sphere),
      share_(options.share),
      seed_(options.seed),
      every_(options.every),
      limit_(options.limit) {
    if (options.where) where_.emplace(*options.where, fields);
}

bool PointFilter::Passes(const std::byte* record, std::int64_t number) {
    if (share_ < 1 && RandomNumber(seed_, static_cast<std::uint64_t>(number)) >= share_)
        return false;
    if (box_ && !IsInBox(*box_, PositionOf(record))) return false;
    if (sphere_ && !IsInSphere(*sphere_, PositionOf(record))) return false;
    return !where_ || where_->HoldsFor({record});
}

void PointFilter::Apply(std::int64_t first, RecordBatch* batch) {
    batch->numbers.resize(batch->count);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < batch->count && !IsDone(); ++i) {
        const std::int64_t number = first + static_cast<std::int64_t>(i);
        if (!Passes(batch->Record(i), number)) continue;
        if (until_next_ > 0) {
            --until_next_;
            continue;
        }
        until_next_ = every_ - 1;
        if (kept < i) std::memcpy(batch->Record(kept), batch->Record(i), batch->record);
        batch->numbers[kept++] = number;
        ++kept_;
    }
    batch->count = kept;
}

}  // namespace edit
