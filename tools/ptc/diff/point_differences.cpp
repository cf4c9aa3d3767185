// PointDifferences: one channel after the other of the pairs at hand.

#include "tools/ptc/diff/point_differences.h"

#include <algorithm>
#include <cmath>

#include "ptc/format/normal_decode.h"
#include "util/math/arc_tangent.h"

namespace {

using Normal = std::array<float, 3>;

Normal DecodedNormal(const std::byte* record, std::size_t place) {
    NormalCode code;
    std::memcpy(&code, record + place, sizeof code);
    Normal normal;
    Normals().Decode(code, normal.data());
    return normal;
}

bool IsNone(const Normal& normal) {
    return normal == Normal{};
}

float LengthOf(float x, float y, float z) {
    return std::sqrt(x * x + y * y + z * z);
}

/// In degrees. Of the halves of the sum and of the difference, because the arc cosine of a product
/// near 1 has few digits.
double AngleBetween(const Normal& a, const Normal& b) {
    const float across = LengthOf(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
    const float along = LengthOf(a[0] + b[0], a[1] + b[1], a[2] + b[2]);
    constexpr double kDegreesPerHalfRadian = 114.59155902616465;  // 360 / pi
    return double{arc_tangent::Of<1>(across, along)} * kDegreesPerHalfRadian;
}

}  // namespace

PointDifferences::PointDifferences(std::vector<DiffChannel> channels, const DiffLimits& limits,
                                   std::size_t bytes_a, std::size_t bytes_b)
    : channels_(std::move(channels)),
      limits_(limits),
      bytes_a_(bytes_a),
      bytes_b_(bytes_b),
      same_bytes_are_same_(bytes_a == bytes_b && std::all_of(channels_.begin(), channels_.end(),
                                                             [](const DiffChannel& channel) {
                                                                 return channel.IsInOnePlace();
                                                             })),
      differences_(channels_.size()) {}

void PointDifferences::Add(const PairedRecords& pairs) {
    differs_.assign(pairs.indexes.size(), 0);
    for (std::size_t channel = 0; channel < channels_.size(); ++channel) {
        if (channels_[channel].is_normal)
            AddNormals(channel, pairs);
        else
            AddFloats(channel, pairs);
    }
    pairs_ += static_cast<std::int64_t>(pairs.indexes.size());
    different_pairs_ += std::count(differs_.begin(), differs_.end(), 1);
}

void PointDifferences::AddFloats(std::size_t channel, const PairedRecords& pairs) {
    const auto& [name, in_a, in_b, is_normal] = channels_[channel];
    ChannelDifferences& to = differences_[channel];
    const std::byte* a = pairs.a + in_a;
    const std::byte* b = pairs.b + in_b;
    for (std::size_t i = 0; i < pairs.indexes.size(); ++i, a += bytes_a_, b += bytes_b_) {
        const float value_a = FloatAt(a, 0);
        const float value_b = FloatAt(b, 0);
        if (IsSameNumber(value_a, value_b)) continue;
        const double difference = DistanceOf(value_a, value_b);
        if (AddDifference(difference, {pairs.indexes[i], {value_a}, {value_b}}, &to) &&
            limits_.Allow(difference, value_a, value_b))
            continue;
        ++to.differ;
        differs_[i] = 1;
    }
}

void PointDifferences::AddNormals(std::size_t channel, const PairedRecords& pairs) {
    const auto& [name, in_a, in_b, is_normal] = channels_[channel];
    ChannelDifferences& to = differences_[channel];
    for (std::size_t i = 0; i < pairs.indexes.size(); ++i) {
        const std::byte* const a = pairs.a + i * bytes_a_;
        const std::byte* const b = pairs.b + i * bytes_b_;
        if (BitsAt(a, in_a) == BitsAt(b, in_b)) continue;
        const Normal normal_a = DecodedNormal(a, in_a);
        const Normal normal_b = DecodedNormal(b, in_b);
        if (normal_a == normal_b) continue;  // near the poles several codes mean one normal
        const bool is_comparable = !IsNone(normal_a) && !IsNone(normal_b);
        const double angle = is_comparable ? AngleBetween(normal_a, normal_b) : NAN;
        if (AddDifference(angle, {pairs.indexes[i], normal_a, normal_b}, &to) &&
            angle <= limits_.angle)
            continue;
        ++to.differ;
        differs_[i] = 1;
    }
}

/// False: the difference is not a number, and was counted as such.
bool PointDifferences::AddDifference(double difference, const PairValues& values,
                                     ChannelDifferences* to) {
    if (!std::isfinite(difference)) {
        if (to->incomparable++ == 0 || values.indexes < to->first_incomparable.indexes)
            to->first_incomparable = values;
        return false;
    }
    if (difference > to->largest ||
        (difference == to->largest && values.indexes < to->worst.indexes)) {
        to->largest = difference;
        to->worst = values;
    }
    if (!to->squares) to->squares = std::make_unique<ExactSum>();
    to->squares->Add(difference * difference);
    return true;
}

std::optional<double> PointDifferences::RootMeanSquare(std::size_t channel) const {
    const ChannelDifferences& of = differences_[channel];
    const std::int64_t count = pairs_ - of.incomparable;
    if (count == 0) return {};
    if (!of.squares) return 0.0;
    return std::sqrt(of.squares->Value() / static_cast<double>(count));
}
