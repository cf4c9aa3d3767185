// The search in groups: choice of the code, and the code for every processor.

#include "driver/group_search.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "driver/group_search_wide.h"
#include "util/base/processor.h"

namespace group_search_plain {
namespace {

/// Two registers of four.
struct Eight {
    lanes::Floats first;
    lanes::Floats second;
};

inline Eight operator+(Eight a, Eight b) {
    return {a.first + b.first, a.second + b.second};
}
inline Eight operator-(Eight a, Eight b) {
    return {a.first - b.first, a.second - b.second};
}
inline Eight operator*(Eight a, Eight b) {
    return {a.first * b.first, a.second * b.second};
}
inline Eight All(float value) {
    return {lanes::All(value), lanes::All(value)};
}
inline Eight Load(const float* values) {
    return {lanes::Load(values), lanes::Load(values + 4)};
}
inline void Store(Eight from, float* to) {
    std::memcpy(to, &from, sizeof from);
}
inline Eight Smaller(Eight a, Eight b) {
    return {lanes::Smaller(a.first, b.first), lanes::Smaller(a.second, b.second)};
}
inline Eight Larger(Eight a, Eight b) {
    return {lanes::Larger(a.first, b.first), lanes::Larger(a.second, b.second)};
}
inline unsigned AtMost(Eight values, float limit) {
    const lanes::Floats all = lanes::All(limit);
    return lanes::Mask(values.first <= all) | lanes::Mask(values.second <= all) << 4;
}
inline unsigned Below(Eight values, float limit) {
    const lanes::Floats all = lanes::All(limit);
    return lanes::Mask(values.first < all) | lanes::Mask(values.second < all) << 4;
}
/// NaN in the first `count` lanes.
inline Eight HideFirst(Eight values, std::uint32_t count) {
    static constexpr std::int32_t kHidden[16] = {-1, -1, -1, -1, -1, -1, -1, -1};
    return {lanes::Hide(values.first, kHidden + 8 - count),
            lanes::Hide(values.second, kHidden + 12 - count)};
}
/// NaN in one lane.
inline Eight HideLane(Eight values, std::uint32_t lane) {
    static constexpr std::int32_t kHidden[15] = {0, 0, 0, 0, 0, 0, 0, -1};
    return {lanes::Hide(values.first, kHidden + 7 - lane),
            lanes::Hide(values.second, kHidden + 11 - lane)};
}
/// NaN where `other` is.
inline Eight HideWhereNaN(Eight values, Eight other) {
    return {lanes::Hide(values.first, other.first != other.first),
            lanes::Hide(values.second, other.second != other.second)};
}
inline float Lowest(Eight values) {
    return lanes::Lowest(values.first, values.second);
}
inline float Highest(Eight values) {
    return lanes::Highest(values.first, values.second);
}
/// Moves the lanes of a mask to the front. Writes all eight.
template <class Number>
void Pack(const Number* from, unsigned mask, Number* to) {
    for (std::size_t i = 0; i < 8; ++i) to[i] = from[lanes::kLanesOf[mask][i]];
}

#include "driver/group_search_code.h"
// Needs the class above.
#include "driver/group_neighbours_code.h"

}  // namespace
}  // namespace group_search_plain

bool GroupSearch::IsPossible(const PairRules& rules) {
    return !rules.IsRasterSpace() && rules.Limit() >= std::numeric_limits<float>::min() &&
           rules.Limit() <= std::numeric_limits<float>::max();
}

std::unique_ptr<GroupSearch> GroupSearch::Make(const Parts& parts,
                                               [[maybe_unused]] bool may_compute_wide) {
#if defined(__x86_64__)
    if (may_compute_wide && processor::HasAvx2()) return group_search_wide::Make(parts);
#endif
    return std::make_unique<group_search_plain::Search>(parts);
}
