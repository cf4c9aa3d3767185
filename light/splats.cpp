// Splats: the computation of several rows at a time, and their sorting.

#include "light/splats.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "light/four_lanes.h"

namespace {

/// Keeps divisors off 0.
constexpr float kTiny = 1e-30f;

/// Above what is light, and sums of it in a map are finite.
constexpr float kBrightest = 1e30f;

constexpr float kTurnsPerRadian = 0.15915494f;

/// The radius of a disc over half the side of a square of the same area.
constexpr float kDiscPerSquare = 1.1283792f;

using namespace four_lanes;
using L = Lanes<4>;

/// The angles of (x, y) in turns, -0.5 to 0.5, to 2e-6 turns.
/// Source: M. Abramowitz, I. Stegun, "Handbook of Mathematical Functions", 1964, 4.4.49.
Floats TurnsOf(Floats x, Floats y) {
    const Floats width = L::Magnitude(x);
    const Floats height = L::Magnitude(y);
    const Floats a = Least(width, height) / Most(Most(width, height), L::Of(kTiny));
    const Floats s = a * a;
    const Floats near =
        a *
        (0.9998660f + s * (-0.3302995f + s * (0.1801410f + s * (-0.0851330f + s * 0.0208351f)))) *
        kTurnsPerRadian;
    const Floats quarter = L::Choose(width > height, near, 0.25f - near);
    const Floats half = L::Choose(x < 0, 0.5f - quarter, quarter);
    return L::WithSignOf(y, half);
}

/// A square is drawn wider and thinner by so much, so that squares side by side fill more evenly.
constexpr float kWider = 1.2f;

/// Eight steps between a distance and its double, from 2^-32 to 2^31.
constexpr int kStepShift = 20;
constexpr std::uint32_t kSteps = 512;
constexpr std::uint32_t kFirstStep = (127 - 32) << (23 - kStepShift);

std::uint32_t StepOf(float distance) {
    const std::uint32_t step = std::bit_cast<std::uint32_t>(distance) >> kStepShift;
    return std::clamp(step, kFirstStep, kFirstStep + kSteps - 1) - kFirstStep;
}

}  // namespace

void Splats::Grow() {
    const std::size_t capacity = std::max<std::size_t>(1024, 2 * capacity_);
    for (std::vector<float>& column : columns_) column.resize(capacity);
    order_.resize(capacity);
    capacity_ = capacity;
}

void Splats::Place(const LightFrame& frame, float scale) {
    for (std::size_t row = 0; row < count_; row += 4) PlaceFour(frame, scale, row);
}

/// The columns have room for whole fours; what is in rows that do not exist does no harm.
void Splats::PlaceFour(const LightFrame& frame, float scale, std::size_t row) {
    const auto in = [&](Column column) { return Load(&columns_[column][row]); };
    const auto out = [&](Column column, Floats values) { Store(values, &columns_[column][row]); };
    const Floats distance = Root(in(kSquared));
    const Floats inverse = 1 / distance;
    const Floats x = in(kX);
    const Floats y = in(kY);
    const Floats z = in(kZ);
    const auto along_axis = [&](const Vec3f& axis) {
        return (x * axis.x + y * axis.y + z * axis.z) * inverse;
    };
    const Floats wx = along_axis(frame.tangent);
    const Floats wy = along_axis(frame.bitangent);
    const Floats wz = along_axis(frame.normal);
    const Floats along = Root(wx * wx + wy * wy);
    const Floats front = in(kFront);
    const Floats back = in(kBack);
    const Floats area = Most(front, back);
    const Floats half = 0.5f * kWider * Root(area) * inverse;
    // Around the normal: a disc of the same area. Elsewhere the radii are sines of angles.
    const Ints is_upright = along <= half;
    const Floats bent = along * (1 - 0.5f * half * half);
    const Floats from = bent - half * wz;
    const Floats to = L::Choose(wz > half, bent + half * wz, L::Of(1));
    const Floats inner = L::Drop(is_upright | (from < 0), from) * scale;
    out(kInner, L::Choose(wz > 0, inner, L::Of(2)));
    out(kOuter, L::Choose(is_upright, kDiscPerSquare * half, to) * scale);
    const Floats turns = TurnsOf(wx, wy);
    const Floats around = Least(half / Most(along, L::Of(kTiny)) * kTurnsPerRadian, L::Of(0.5f));
    out(kBegin, L::Drop(is_upright, turns - around));
    const Floats filled = in(kShare) / (kWider * kWider * area);
    out(kEnd, L::Choose(is_upright, L::Of(1), turns + around));
    out(kDistance, distance);
    const Floats shining = 1 / Most(front, L::Of(kTiny));
    // The sums of a damaged group may be colours without area.
    const auto colour = [&](Column sum) { return Least(in(sum)*shining, L::Of(kBrightest)); };
    out(kRed, colour(kRed));
    out(kGreen, colour(kGreen));
    out(kBlue, colour(kBlue));
    out(kFront, front * filled);
    out(kBack, back * filled);
}

std::span<const std::uint32_t> Splats::Sorted() {
    std::uint32_t starts[kSteps + 1] = {};
    const float* const distance = columns_[kDistance].data();
    for (std::size_t i = 0; i < count_; ++i) ++starts[StepOf(distance[i]) + 1];
    for (std::size_t i = 1; i <= kSteps; ++i) starts[i] += starts[i - 1];
    for (std::size_t i = 0; i < count_; ++i)
        order_[starts[StepOf(distance[i])]++] = static_cast<std::uint32_t>(i);
    return {order_.data(), count_};
}
