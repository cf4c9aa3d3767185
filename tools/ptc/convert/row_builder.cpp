// RowBuilder: which code a row's normal gets, and the record.

#include "tools/ptc/convert/row_builder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <span>

#include "ptc/format/normal_decode.h"
#include "ptc/format/record_code.h"

namespace convert {

namespace {

constexpr std::int32_t kNormalSlot = 3;
constexpr std::int32_t kRadiusSlot = 6;
constexpr std::int32_t kAzimuthSlot = 7;
constexpr std::int32_t kHeightSlot = 8;

/// A normal and a code that differ by less than this on each axis are the same: the steps from one
/// code to the next are wider.
constexpr float kCodeTolerance = 2e-5f;

std::uint16_t WholeCode(float value) {
    if (value >= 0 && value <= 65535) {
        const auto code = static_cast<std::uint16_t>(value);
        if (static_cast<float>(code) == value) return code;
    }
    throw TableError(fmt::format("{} is no code of a normal, 0 to 65535", value));
}

}  // namespace

RowBuilder::RowBuilder(const ColumnMap& map, float radius)
    : map_(map), normals_(Normals()), slots_(kHeadColumnCount + map.variables.DataFloats()) {
    if (!map_.has_radius) *Slot(kRadiusSlot) = radius;
}

/// The codes are used while they mean the row's normal: encoding that again would move some of
/// them by one. A normal that was edited beside them is encoded.
NormalCode RowBuilder::Code(const float* slots) const {
    const float* const normal = slots + kNormalSlot;
    if (!map_.has_codes)
        return map_.has_normal ? EncodeNormal(normal[0], normal[1], normal[2]) : kNoNormal;

    const NormalCode code = {WholeCode(slots[kAzimuthSlot]), WholeCode(slots[kHeightSlot])};
    if (!map_.has_normal) return code;
    float decoded[3];
    normals_.Decode(code, decoded);
    for (int axis = 0; axis < 3; ++axis)
        if (!(std::abs(decoded[axis] - normal[axis]) <= kCodeTolerance))
            return EncodeNormal(normal[0], normal[1], normal[2]);
    return code;
}

void RowBuilder::Build(const float* slots, std::byte* record) const {
    PointHead head{};
    std::copy_n(slots, 3, head.position);
    head.radius = slots[kRadiusSlot];
    const auto data = std::as_bytes(std::span(slots, slots_.size()).subspan(kHeadColumnCount));
    EncodePoint(head, Code(slots), {data.data(), data.size(), data.size()}, record);
}

}  // namespace convert
