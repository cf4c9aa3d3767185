// ChannelSums: sums of blocks in plain doubles where these are exact, and one by one elsewhere.

#include "tools/ptc/measure/channel_sums.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace measure {

namespace {

constexpr std::int32_t kMagnitude = INT32_MAX;
constexpr std::int32_t kInfinity = 0x7f800000;

/// Two numbers in one register, with one operation on both.
using Pair __attribute__((vector_size(2 * sizeof(double)))) = double;

double Whole(const Pair (&pairs)[2]) {
    const Pair pair = pairs[0] + pairs[1];
    return pair[0] + pair[1];
}

std::int32_t BitsOf(float value) {
    return std::bit_cast<std::int32_t>(value);
}

/// An integer that compares as the float does, and back. The minus of a zero is below the plus, so
/// that the order of the values does not choose one of them.
std::int32_t Ordered(std::int32_t bits) {
    return bits ^ (bits >> 31 & kMagnitude);
}
float FromOrdered(std::int32_t ordered) {
    return std::bit_cast<float>(Ordered(ordered));
}

/// What the exponents of a block of values say. Subnormal numbers have the one of the least normal.
int ExponentOf(std::int32_t magnitude) {
    return std::max(magnitude >> 23, 1);
}

/// `count` times `squares` less the square of `sum`.
double SpreadOf(const ExactSum& squares, const ExactSum& sum, double count) {
    ExactSum spread;
    for (const double part : squares.Parts()) spread.AddProduct(count, part);
    const std::vector<double> parts = sum.Parts();
    for (const double a : parts)
        for (const double b : parts) spread.AddProduct(-a, b);
    return spread.Value();
}

}  // namespace

void ChannelSums::Add(std::span<const float> values) {
    for (; values.size() > kBlock; values = values.subspan(kBlock)) AddBlock(values.first(kBlock));
    AddBlock(values);
}

void ChannelSums::AddBlock(std::span<const float> values) {
    std::int32_t largest = 0;
    std::int32_t smallest = INT32_MAX;  // of those that are not 0
    std::int32_t zero = 0;
    std::int32_t least = least_, greatest = greatest_;
    for (const float value : values) {
        // Signed integers, which processors of every age compare several at a time.
        const std::int32_t bits = BitsOf(value);
        const std::int32_t magnitude = bits & kMagnitude;
        largest = std::max(largest, magnitude);
        smallest = std::min(smallest, magnitude == 0 ? INT32_MAX : magnitude);
        zero += magnitude == 0 ? 1 : 0;
        least = std::min(least, Ordered(bits));
        greatest = std::max(greatest, Ordered(bits));
    }
    // 21 exponents: see AddExactly().
    const int exponent = ExponentOf(largest);
    if (largest >= kInfinity || exponent > ExponentOf(smallest) + 21) {
        AddOneByOne(values);
        return;
    }
    least_ = least;
    greatest_ = greatest;
    zero_ += static_cast<std::uint64_t>(zero);
    finite_ += values.size();
    if (largest != 0) AddExactly(values, exponent);
}

/// The values are below 2^(exponent - 126) and multiples of 2^(exponent - 171). So 256 of them have
/// a sum of 53 bits, whatever the order. Their squares are exact in doubles, and their sum has 98
/// bits, for two sums: one of multiples of 2^split, of 53 bits, the other of what is left, of 52.
void ChannelSums::AddExactly(std::span<const float> values, int exponent) {
    const int split = 2 * exponent - 297;
    // A double of this size has no bits below 2^split: adding it rounds them off.
    const double rounder = std::ldexp(1.5, split + 52);
    Pair sums[2] = {}, coarse[2] = {}, fine[2] = {};
    const auto add = [&](std::size_t lane, float first, float second) {
        const Pair value = {first, second};
        const Pair square = value * value;
        const Pair rounded = (square + rounder) - rounder;
        sums[lane] += value;
        coarse[lane] += rounded;
        fine[lane] += square - rounded;
    };
    std::size_t i = 0;
    for (; i + 4 <= values.size(); i += 4) {
        add(0, values[i], values[i + 1]);
        add(1, values[i + 2], values[i + 3]);
    }
    for (; i < values.size(); ++i) add(0, values[i], 0);
    sum_.Add(Whole(sums));
    squares_.Add(Whole(coarse));
    squares_.Add(Whole(fine));
}

void ChannelSums::AddOneByOne(std::span<const float> values) {
    for (const float value : values) {
        if (std::isnan(value)) {
            ++nan_;
        } else if (std::isinf(value)) {
            ++infinite_;
        } else {
            ++finite_;
            zero_ += value == 0 ? 1 : 0;
            least_ = std::min(least_, Ordered(BitsOf(value)));
            greatest_ = std::max(greatest_, Ordered(BitsOf(value)));
            sum_.Add(value);
            squares_.Add(double{value} * value);
        }
    }
}

ChannelStatistics ChannelSums::Statistics() const {
    ChannelStatistics statistics;
    statistics.finite = finite_;
    statistics.nan = nan_;
    statistics.infinite = infinite_;
    statistics.zero = zero_;
    if (finite_ == 0) return statistics;
    // The sum with 0 makes a plus of the minus of a zero.
    statistics.least = FromOrdered(least_) + 0.0f;
    statistics.greatest = FromOrdered(greatest_) + 0.0f;
    const auto count = static_cast<double>(finite_);
    statistics.mean = sum_.Value() / count;
    statistics.deviation = std::sqrt(SpreadOf(squares_, sum_, count)) / count;
    return statistics;
}

}  // namespace measure
