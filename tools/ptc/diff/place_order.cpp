// Points by place, and by their other values.

#include "tools/ptc/diff/place_order.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "ptc/format/layout.h"

static_assert(Find(ptc_layout::kPoint, "position").offset == 0);

namespace {

/// Equal for what IsSameNumber() calls the same, and in the order of the numbers.
std::uint32_t NumberKey(float value) {
    if (std::isnan(value)) return 0xFFFFFFFF;
    constexpr std::uint32_t kSign = 0x80000000;
    const auto bits = std::bit_cast<std::uint32_t>(value + 0.0f);  // -0 becomes 0
    return bits & kSign ? ~bits : bits | kSign;
}

}  // namespace

std::vector<PlacedPoint> SortByPlace(std::span<const std::byte> records, std::size_t bytes) {
    std::vector<PlacedPoint> points(records.size() / bytes);
    for (std::size_t i = 0; i < points.size(); ++i) {
        for (std::size_t axis = 0; axis < kPlaceChannels; ++axis)
            points[i].place.axes[axis] =
                NumberKey(FloatAt(&records[i * bytes], axis * sizeof(float)));
        points[i].index = static_cast<std::uint32_t>(i);
    }
    std::sort(points.begin(), points.end());
    return points;
}

std::weak_ordering CompareValues(std::span<const DiffChannel> channels, const ValueSide& left,
                                 std::uint32_t left_index, const ValueSide& right,
                                 std::uint32_t right_index) {
    const std::byte* const left_record = left.Record(left_index);
    const std::byte* const right_record = right.Record(right_index);
    for (const DiffChannel& channel : channels.subspan(kPlaceChannels)) {
        const std::size_t at_left = channel.*left.place;
        const std::size_t at_right = channel.*right.place;
        const auto order = channel.is_normal
                               ? BitsAt(left_record, at_left) <=> BitsAt(right_record, at_right)
                               : NumberKey(FloatAt(left_record, at_left)) <=>
                                     NumberKey(FloatAt(right_record, at_right));
        if (order != 0) return order;
    }
    return std::weak_ordering::equivalent;
}
