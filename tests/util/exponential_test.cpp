// Exponential and logarithm: close to the true ones, and every bit pinned.

#include "util/math/exponential.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>

namespace {

using Limits = std::numeric_limits<double>;

double RelativeError(double value, long double exact) {
    return exact == 0 ? std::fabs(value) : static_cast<double>(std::fabs((value - exact) / exact));
}

// One checksum over the bits of many values: a compiler or machine that rounds one of them
// otherwise would answer other light.
TEST(UtilExponential, IsCloseAndEveryBitIsFixed) {
    std::mt19937_64 random(7);
    const auto between = [&](double low, double high) {
        return low + (high - low) * 0x1p-53 * static_cast<double>(random() >> 11);
    };
    std::uint64_t sum = 0;
    double worst_exp = 0, worst_log = 0;
    for (int i = 0; i < 1'000'000; ++i) {
        const double x = i % 2 ? between(-708.3, 709.7) : between(-2, 2);
        const double near_one = between(0.5, 2);
        const double y = i % 2 ? near_one : std::ldexp(near_one, i / 2 % 2044 - 1021);
        const double exp = exponential::Exp(x), log = exponential::Log(y);
        worst_exp = std::max(worst_exp, RelativeError(exp, std::exp(static_cast<long double>(x))));
        worst_log = std::max(worst_log, RelativeError(log, std::log(static_cast<long double>(y))));
        sum =
            (sum * 31 + std::bit_cast<std::uint64_t>(exp)) * 31 + std::bit_cast<std::uint64_t>(log);
    }
    EXPECT_LE(worst_exp, 2e-16);
    EXPECT_LE(worst_log, 2e-16);
    EXPECT_EQ(sum, 3876995418938493546U);
}

/// Within two units in the last place, and the same where there is no number.
bool IsAsTheStandard(double value, double standard) {
    if (std::isnan(standard)) return std::isnan(value);
    if (std::isinf(standard) || standard == 0) return value == standard;
    return std::fabs(value - standard) <=
           std::max(2 * Limits::epsilon() * std::fabs(standard), 2 * Limits::denorm_min());
}

TEST(UtilExponential, EndsOfTheRangesAreAsTheStandardHasThem) {
    const double ends[] = {0.0,
                           -0.0,
                           1,
                           -1,
                           0.7071067811865475,
                           0.7071067811865476,
                           Limits::min(),
                           Limits::max(),
                           Limits::lowest(),
                           Limits::denorm_min(),
                           1e-310,
                           Limits::infinity(),
                           -Limits::infinity(),
                           Limits::quiet_NaN(),
                           709.78271289338397,
                           709.78271289338409,
                           -708.4,
                           -740,
                           -745.13321910194110,
                           -745.13321910194122,
                           -746};
    for (const double x : ends) {
        EXPECT_PRED2(IsAsTheStandard, exponential::Exp(x), std::exp(x)) << x;
        EXPECT_PRED2(IsAsTheStandard, exponential::Log(x), std::log(x)) << x;
    }
}

}  // namespace
