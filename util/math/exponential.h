// Exponential and natural logarithm in double precision, with the same bits on every machine.
//
// C libraries differ in the last bit, as for the arc tangent. So both are computed here, in plain
// double arithmetic and by operations on bits.
//
// Source: the argument reductions by multiples of ln 2, the rational approximation of e^x and the
// polynomial for ln x that C libraries have shared since the 1990s.
//
// Units      none.
// Errors     within 2e-16 of the value, relative, where the answer is a normal number. NaN, zeros,
//            infinities and overflow as the C standard has them; nothing sets errno.
// Ownership  none.
// Threads    any.

#pragma once

#include <bit>
#include <cstdint>
#include <limits>

namespace exponential {

// ln 2 as a sum. The first has 20 zero bits at its end: times a whole number below 2^20 it is
// exact.
inline constexpr double kLn2 = 6.93147180369123816490e-01;
inline constexpr double kLn2Low = 1.90821492927058770002e-10;

/// Caller: `exponent` is from -1022 to 1023.
inline double PowerOfTwo(std::int64_t exponent) {
    return std::bit_cast<double>(static_cast<std::uint64_t>(exponent + 1023) << 52);
}

inline double Exp(double x) {
    constexpr double kOverflows = 709.7827128933841;
    constexpr double kVanishes = -745.1332191019412;
    if (!(x <= kOverflows)) return x > kOverflows ? std::numeric_limits<double>::infinity() : x;
    if (x < kVanishes) return 0;

    constexpr double kTwosPerE = 1.44269504088896338700;
    const double powers = x * kTwosPerE;
    const auto power = static_cast<std::int64_t>(powers < 0 ? powers - 0.5 : powers + 0.5);
    const auto count = static_cast<double>(power);
    const double high = x - count * kLn2;
    const double low = count * kLn2Low;

    // e^r = 1 + 2 r / (q - r) with q = r (e^r + 1) / (e^r - 1), which is even in r.
    const double r = high - low;
    const double z = r * r;
    const double c =
        r - z * (1.66666666666666019037e-01 +
                 z * (-2.77777777770155933842e-03 +
                      z * (6.61375632143793436117e-05 +
                           z * (-1.65339022054652515390e-06 + z * 4.13813679705723846039e-08))));
    const double near_one = 1 - ((low - r * c / (2 - c)) - high);

    // Two factors: the whole one may be beyond what a double holds where the answer is not. The
    // first product is exact, so that there is one rounding in a number that is not normal.
    const std::int64_t half = power / 2;
    return near_one * PowerOfTwo(half) * PowerOfTwo(power - half);
}

inline double Log(double x) {
    if (!(x > 0) || x == std::numeric_limits<double>::infinity()) {
        if (x == 0) return -std::numeric_limits<double>::infinity();
        return x < 0 ? std::numeric_limits<double>::quiet_NaN() : x;
    }
    std::int64_t power = 0;
    if (x < std::numeric_limits<double>::min()) {
        x *= 0x1p54;
        power = -54;
    }
    // x = 2^power (1 + f), with 1 + f from sqrt(1/2) to sqrt(2). What is added carries into the
    // exponent from sqrt(2) on.
    constexpr std::uint64_t kMantissa = 0x000FFFFFFFFFFFFF;
    constexpr std::uint64_t kOne = 0x3FF0000000000000;
    constexpr std::uint64_t kRootOfHalf = 0x3FE6A09E667F3BCD;
    const std::uint64_t shifted = std::bit_cast<std::uint64_t>(x) + (kOne - kRootOfHalf);
    power += static_cast<std::int64_t>(shifted >> 52) - 1023;
    const double f = std::bit_cast<double>((shifted & kMantissa) + kRootOfHalf) - 1;

    // With s = f / (2 + f), ln(1 + f) = 2 s + 2/3 s^3 + 2/5 s^5 ... = f - f^2/2 + s (f^2/2 + R).
    const double s = f / (2 + f);
    const double z = s * s;
    const double rest =
        z * (6.666666666666735130e-01 +
             z * (3.999999999940941908e-01 +
                  z * (2.857142874366239149e-01 +
                       z * (2.222219843214978396e-01 +
                            z * (1.818357216161805012e-01 +
                                 z * (1.531383769920937332e-01 + z * 1.479819860511658591e-01))))));
    const double half_square = 0.5 * f * f;
    const auto count = static_cast<double>(power);
    return count * kLn2 - ((half_square - (s * (half_square + rest) + count * kLn2Low)) - f);
}

}  // namespace exponential
