// The limits of a pair, and the bounds of a distance to many records at once.

#include "driver/pair_rules.h"

#include <algorithm>
#include <limits>

namespace {

/// A largest difference of channels from this value on means no limit.
constexpr float kNoDifferenceLimit = 1e15f;

bool IsNumber(const float* triple) {
    return !std::isnan(triple[0]) && !std::isnan(triple[1]) && !std::isnan(triple[2]);
}

}  // namespace

PairRules::PairRules(const SimplifySettings& settings, const Projection& projection)
    : projection_(projection),
      is_raster_space_(settings.is_raster_space),
      limit_(settings.max_distance * settings.max_distance * 1.002f),
      min_dot_(settings.min_dot),
      max_difference_(settings.max_difference) {
    const auto& m = projection.world_to_ndc;
    const bool is_measurable = !std::isnan(m[0]) && !std::isnan(m[11]) && !std::isnan(m[15]) &&
                               !std::isnan(projection.format[0]);
    if ((is_raster_space_ && !is_measurable) || std::isnan(min_dot_))
        limit_ = std::numeric_limits<float>::quiet_NaN();
    if (!(max_difference_ >= 0 && max_difference_ < kNoDifferenceLimit)) return;
    for (std::size_t k = 0; k < settings.area_flags.size(); ++k)
        if (!settings.area_flags[k]) compared_.push_back(k);
}

bool PairRules::CanMerge(const PointRecord& record) const {
    return IsNumber(record.head.position) && IsNumber(record.head.normal);
}

bool PairRules::KeepApart(const PointRecord& query, const float* low, const float* high,
                          float reach) const {
    if (AreTooFar(query.head.position, low, high, reach)) return true;

    const float* const n = query.head.normal;
    // The largest products that the bounds allow. If `a` is NaN, a record with that coordinate is
    // not alike, so `b` is the bound. If `b` is NaN, the sum is, too, and keeps nothing apart.
    float products[3];
    for (std::size_t i = 0; i < 3; ++i) {
        const float a = n[i] * low[3 + i];
        const float b = n[i] * high[3 + i];
        products[i] = a > b ? a : b;
    }
    if (products[0] + products[1] + products[2] < min_dot_) return true;

    for (std::size_t i = 0; i < compared_.size(); ++i) {
        const float value = query.data[compared_[i]];
        const float below = low[kHeadAxes + i] - value;
        const float above = value - high[kHeadAxes + i];
        if (below > max_difference_ || above > max_difference_) return true;
    }
    return false;
}

bool PairRules::AreTooFar(const float* p, const float* low, const float* high, float reach) const {
    const float squared = ToBox(p, low, high);
    if (!is_raster_space_) return squared > reach;
    // If all records are at one place, their distance is known; a NaN is never near.
    const float near_divisor = Divisor((p[2] + low[2]) * 0.5f);
    if (std::equal(low, low + 3, high)) return !(InPixels(squared, near_divisor) <= reach);
    // A larger divisor gives a smaller distance. The divisor is linear in the depth, so between two
    // depths its absolute value is at most the larger one of the two ends.
    const float a = std::fabs(near_divisor);
    const float b = std::fabs(Divisor((p[2] + high[2]) * 0.5f));
    if (std::isnan(a) || std::isnan(b)) return false;
    return InPixels(squared, std::max(a, b)) > reach;
}
