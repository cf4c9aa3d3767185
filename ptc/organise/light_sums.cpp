// Adding up what light needs of points.

#include "ptc/organise/light_sums.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>

#include "ptc/format/layout.h"
#include "ptc/organise/finite_float.h"

namespace {

constexpr double kFar = std::numeric_limits<double>::infinity();

std::optional<std::size_t> PlaceOf(const std::optional<LightChannel>& channel) {
    if (!channel) return std::nullopt;
    return ptc_layout::kPointHeadBytes + channel->offset;
}

template <std::size_t kFloats>
struct FloatsAt {
    explicit FloatsAt(const std::byte* at) { std::memcpy(value, at, sizeof value); }
    float value[kFloats];
};

/// The nearest finite float that is not above, if there is one; and so for not below.
float RoundDown(double value) {
    constexpr float kLeast = std::numeric_limits<float>::lowest();
    const float rounded = ClampToFinite(value);
    return static_cast<double>(rounded) > value ? std::nextafter(rounded, kLeast) : rounded;
}
float RoundUp(double value) {
    return -RoundDown(-value);
}

}  // namespace

LightSums::LightSums(const LightChoice& choice)
    : normals_(Normals()), area_at_(PlaceOf(choice.area)), color_at_(PlaceOf(choice.color)) {}

void LightSums::Begin(double* sums) const {
    std::fill_n(sums + kLow, 3, kFar);
    std::fill_n(sums + kHigh, 3, -kFar);
    std::fill(sums + kArea, sums + Size(), 0.0);
}

void LightSums::AddPoint(const std::byte* record, float radius, double* sums) const {
    using namespace light_nodes;
    const FloatsAt<3> position(record + Find(ptc_layout::kPoint, "position").offset);
    NormalCode code;
    std::memcpy(&code.azimuth, record + Find(ptc_layout::kPoint, "azimuth").offset, 2);
    std::memcpy(&code.height, record + Find(ptc_layout::kPoint, "height").offset, 2);
    float decoded[3];
    normals_.Decode(code, decoded);
    const double n[3] = {decoded[0], decoded[1], decoded[2]};
    const double r = radius;
    double area = std::numbers::pi * r * r;
    if (area_at_) {
        const float given = FloatsAt<1>(record + *area_at_).value[0];
        area = IsFinite(given) && given > 0 ? static_cast<double>(given) : 0.0;
    }

    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double p = position.value[axis];
        const double reach = r * std::sqrt(std::max(1.0 - n[axis] * n[axis], 0.0));
        sums[kLow + axis] = std::min(sums[kLow + axis], p - reach);
        sums[kHigh + axis] = std::max(sums[kHigh + axis], p + reach);
        sums[kWeighted + axis] += area * p;
        sums[kPlain + axis] += p;
    }
    sums[kArea] += area;
    sums[kCount] += 1.0;

    // Matrix and vector, as they are for each colour.
    double each[kColourFloats] = {area * n[0] * n[0], area * n[1] * n[1], area * n[2] * n[2],
                                  area * n[0] * n[1], area * n[0] * n[2], area * n[1] * n[2],
                                  area * n[0],        area * n[1],        area * n[2]};
    if (code == kNoNormal) std::fill_n(each, 3, area / 3.0);
    for (std::size_t i = 0; i < kMatrixFloats; ++i) sums[kMatrix + i] += each[i];
    for (std::size_t i = 0; i < kNormalFloats; ++i) sums[kNormal + i] += each[kMatrixFloats + i];
    if (!color_at_) return;
    const FloatsAt<kColours> color(record + *color_at_);
    double* power = sums + kPower;
    for (const float value : color.value) {
        const double counted = IsFinite(value) ? static_cast<double>(value) : 0.0;
        for (std::size_t i = 0; i < kColourFloats; ++i) power[i] += counted * each[i];
        power += kColourFloats;
    }
}

void LightSums::AddNode(const double* child, double* sums) const {
    for (std::size_t axis = 0; axis < 3; ++axis) {
        sums[kLow + axis] = std::min(sums[kLow + axis], child[kLow + axis]);
        sums[kHigh + axis] = std::max(sums[kHigh + axis], child[kHigh + axis]);
    }
    for (std::size_t i = kArea; i < Size(); ++i) sums[i] += child[i];
}

void LightSums::Store(const double* sums, float* out) const {
    using namespace light_nodes;
    for (std::size_t axis = 0; axis < 3; ++axis) *out++ = RoundDown(sums[kLow + axis]);
    for (std::size_t axis = 0; axis < 3; ++axis) *out++ = RoundUp(sums[kHigh + axis]);
    for (std::size_t axis = 0; axis < 3; ++axis)
        *out++ = ClampToFinite(sums[kArea] > 0 ? sums[kWeighted + axis] / sums[kArea]
                                               : sums[kPlain + axis] / sums[kCount]);
    // Normal, matrix and power are in the order of the file.
    for (std::size_t i = kNormal; i < Size(); ++i) *out++ = ClampToFinite(sums[i]);
}
