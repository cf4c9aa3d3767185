// Cosine and sine in single precision, with the same bits on every machine.
//
// C libraries differ in the last bit, as for the arc tangent. So both are computed here, in plain
// double arithmetic with one rounding to float at the end.
//
// Source: reduction to the nearest multiple of pi / 2, and the pair of polynomials of degree 7 and
// 8 that C libraries share for single precision.
//
// Units      radians.
// Errors     none.
// Ownership  none.
// Threads    any.

#pragma once

#include <cmath>
#include <cstdint>

namespace sine_cosine {

struct Pair {
    float cosine;
    float sine;
};

/// The sine of `x`, which is from -pi / 4 to pi / 4.
inline float NearSine(double x) {
    const double square = x * x;
    const double cube = x * square;
    const double high = 0x1.1107605230bc4p-7 + square * -0x1.994eb3774cf24p-13;
    return static_cast<float>(x + cube * -0x1.555545995a603p-3 + cube * square * high);
}

/// The cosine of such an `x`, times `sign`, which is 1 or -1.
inline float NearCosine(double x, double sign) {
    const double square = x * x;
    const double fourth = square * square;
    const double high = sign * -0x1.6c087e89a359dp-10 + square * (sign * 0x1.99343027bf8c3p-16);
    const double low = sign + square * (sign * -0x1.ffffffd0c621cp-2);
    return static_cast<float>(low + fourth * (sign * 0x1.55553e1068f19p-5) +
                              fourth * square * high);
}

/// Cosine and sine of `angle`. Caller: `angle` is at most one turn from 0, which the reduction is
/// made for.
inline Pair Of(float angle) {
    if (std::fabs(angle) < 0x1.921FB6p-1f) return {NearCosine(angle, 1), NearSine(angle)};

    // Counts quarter turns in units of 2^-24. Adding half of a quarter (0x800000) and shifting the
    // 24 bits out rounds to the nearest quarter, for negative angles too; no rounding mode matters.
    constexpr double kScaledQuartersPerRadian = 0x1.45F306DC9C883p+23;
    constexpr double kHalfPi = 0x1.921FB54442D18p0;
    const auto scaled = static_cast<std::int32_t>(angle * kScaledQuartersPerRadian);
    const int quarter = (scaled + 0x800000) >> 24;
    const double rest = angle - quarter * kHalfPi;

    // With c and s of the rest, (cos, sin) is (c, s), (-s, c), (-c, -s), (s, -c) for the quarters 0
    // to 3. The two lowest bits give the quarter, also of a negative count in two's complement.
    const bool is_odd = quarter & 1;
    const bool is_far = quarter & 2;
    if (!is_odd) return {NearCosine(rest, is_far ? -1 : 1), NearSine(is_far ? -rest : rest)};
    return {NearSine(is_far ? rest : -rest), NearCosine(rest, is_far ? -1 : 1)};
}

}  // namespace sine_cosine
