// The arc tangent and the code of one normal, with branches and one number at a time: what the
// product's lanes must agree with to the bit.

#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "ptc/format/normal_code.h"

namespace plain {

inline constexpr float kPi = 3.1415927410f;
inline constexpr float kPiLow = -8.7422776573e-08f;
inline constexpr float kHalfPi = 1.5707963705f;

/// Reduces x to t = (a x + b) / (c x + d), with atan(x) = atan(t) + `high` + `low`. This is the
/// difference formula atan(x) - atan(q) = atan((x - q) / (1 + q x)), for q = 1/2 with numerator and
/// denominator doubled. `low` is the part of atan(q) that the float `high` does not hold.
struct Reduction {
    float a, b, c, d;
    float high, low;
};

inline constexpr Reduction kReductions[] = {
    {1, 0, 0, 1, 0, 0},                                         // x itself, below 7/16
    {2, -1, 1, 2, 4.6364760399e-01f, 5.0121582440e-09f},        // atan(1/2), below 11/16
    {1, -1, 1, 1, 7.8539812565e-01f, 3.7748947079e-08f},        // atan(1), below 19/16
    {1, -1.5f, 1.5f, 1, 9.8279368877e-01f, 3.4473217170e-08f},  // atan(3/2), below 39/16
    {0, -1, 1, 0, 1.5707962513e+00f, 7.5497894159e-08f},        // atan(infinity)
};

/// The arc tangent of a number above 0, infinity included.
inline float OfPositive(float x) {
    constexpr float kAllHalfPi = 33554432.0f;  // 2^25: from there on pi / 2, as in C libraries
    const int row = (x >= 0.4375f) + (x >= 0.6875f) + (x >= 1.1875f) + (x >= 2.4375f);
    const Reduction& r = kReductions[row];
    const float t = (r.a * x + r.b) / (r.c * x + r.d);
    // The polynomial in z = t², its odd and its even coefficients summed apart in w = z²: the two
    // sums do not wait for each other. The order of the operations is part of the result.
    const float z = t * t;
    const float w = z * z;
    const float odd =
        z * (3.3333334327e-01f +
             w * (1.4285714924e-01f +
                  w * (9.0908870101e-02f +
                       w * (6.6610731184e-02f + w * (4.9768779427e-02f + w * 1.6285819933e-02f)))));
    const float even =
        w * (-2.0000000298e-01f +
             w * (-1.1111110449e-01f +
                  w * (-7.6918758452e-02f + w * (-5.8335702866e-02f + w * -3.6531571299e-02f))));
    const float angle = r.high - ((t * (odd + even) - r.low) - t);
    return x >= kAllHalfPi ? kReductions[4].high + kReductions[4].low : angle;
}

/// The angle of a vector with a zero, an infinity or a NaN, by the rules of the C standard.
inline float OfSpecial(float y, float x) {
    if (std::isnan(x) || std::isnan(y)) return x + y;
    float angle = 0;
    if (y != 0 && std::isinf(x)) {
        angle = std::isinf(y) ? 0.25f * kPi : 0.0f;
    } else if (y != 0) {
        return std::copysign(kHalfPi, y);
    }
    return std::copysign(std::signbit(x) ? kPi - (angle - kPiLow) : angle, y);
}

/// The angle between the vector (x, y) and the x axis, from -pi to pi; NaN when x or y is NaN.
inline float Of(float y, float x) {
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const float width = std::fabs(x);
    const float height = std::fabs(y);
    const bool is_plain = width > 0 && height > 0 && width < kInfinity && height < kInfinity;
    if (!is_plain) return OfSpecial(y, x);
    // Computed in the first quadrant and mirrored. kPi - (angle - kPiLow), in this order, loses
    // less than (kPi + kPiLow) - angle: the sum in brackets would round back to kPi.
    const float angle = OfPositive(height / width);
    return std::copysign(x < 0 ? kPi - (angle - kPiLow) : angle, y);
}

/// The low 16 bits of a value truncated to 32; 0 for what 32 bits do not hold, NaN included.
inline std::uint16_t ToCode(float value) {
    if (!(value > -2147483904.0f && value < 2147483648.0f)) return 0;
    return static_cast<std::uint16_t>(static_cast<std::int32_t>(value));
}

inline NormalCode Encode(float x, float y, float z) {
    if (x * x + y * y + z * z <= 1e-12f) return {0xFFFF, 0xFFFF};
    const float turns = Of(y, x) * 0.15915494f;
    return {ToCode((turns + 0.5f) * 65534.0f + 0.5f), ToCode((z + 1.0f) * 32767.0f + 0.5f)};
}

}  // namespace plain
