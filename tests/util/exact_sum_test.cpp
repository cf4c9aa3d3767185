// Exact sums agree with counting bits one by one, in any order and any shares.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "util/math/exact_sum.h"

namespace {

constexpr double kGreatest = std::numeric_limits<double>::max();
constexpr double kLeast = std::numeric_limits<double>::denorm_min();
using Numbers = std::vector<double>;

/// The sum with a count for each bit, which the C library's reading of hexadecimals rounds.
double PlainSum(const Numbers& numbers) {
    std::vector<std::int64_t> bits(2304);
    for (const double number : numbers) {
        int exponent = 0;
        auto whole = static_cast<std::int64_t>(std::ldexp(std::frexp(number, &exponent), 53));
        std::int64_t place = exponent - 53 + 1130;
        for (; whole != 0; whole /= 2, ++place) bits[static_cast<std::size_t>(place)] += whole % 2;
    }
    const auto carry = [&] {
        for (std::size_t i = 0; i + 1 < bits.size(); ++i) {
            bits[i + 1] += bits[i] >> 1;
            bits[i] &= 1;
        }
    };
    carry();
    const bool is_negative = bits.back() < 0;
    if (is_negative) {
        for (std::int64_t& bit : bits) bit = -bit;
        carry();
    }
    std::string text = is_negative ? "-0x" : "0x";
    for (std::size_t i = bits.size(); i > 0; i -= 4)
        text +=
            "0123456789abcdef"[bits[i - 1] * 8 + bits[i - 2] * 4 + bits[i - 3] * 2 + bits[i - 4]];
    return std::strtod((text + "p-1130").c_str(), nullptr);
}

double SumOf(const Numbers& numbers) {
    ExactSum sum;
    for (const double number : numbers) sum.Add(number);
    return sum.Value();
}

/// `count` numbers of both signs, whose exponents are from `low` to `high`.
Numbers Random(std::size_t count, int low, int high, std::mt19937_64& random) {
    Numbers numbers(count);
    for (double& number : numbers) {
        const auto whole = static_cast<double>(static_cast<std::int64_t>(random()) >> 11);
        const auto span = static_cast<std::uint64_t>(high - low + 1);
        number = std::ldexp(whole, low + static_cast<int>(random() % span) - 53);
    }
    return numbers;
}

/// Numbers whose sum is that of the last ones only.
Numbers Cancelled(std::mt19937_64& random) {
    Numbers numbers = Random(500, -1000, 1000, random);
    for (std::size_t i = 0; i < 500; ++i) numbers.push_back(-numbers[i]);
    numbers.insert(numbers.end(), {0x1p-1060, -0x1p-1074, 3 * kLeast});
    return numbers;
}

TEST(ExactSum, AgreesWithCountingBits) {
    std::mt19937_64 random(7);
    const struct {
        const char* what;
        Numbers numbers;
    } cases[] = {
        {"nothing", {}},
        {"zeros", {0.0, -0.0}},
        {"one number", {-0.1}},
        {"all exponents", Random(2000, -1022, 1023, random)},
        {"near numbers", Random(2000, -3, 3, random)},
        {"cancelled", Cancelled(random)},
        {"nothing left", {0x1p1000, 1, -0x1p1000, -1}},
        {"a tie to the even below", {1, 0x1p-53}},
        {"a tie to the even above", {1 + 0x1p-52, 0x1p-53}},
        {"just above a tie", {1, 0x1p-53, kLeast}},
        {"just below a tie", {1 + 0x1p-52, 0x1p-53, -kLeast}},
        {"subnormals", {kLeast, kLeast, -5 * kLeast, 0x1p-1023}},
        {"up to the least normal", {0x1p-1022 - kLeast, kLeast}},
        {"subnormals of all sizes", Random(500, -1074, -1022, random)},
        {"the greatest", {kGreatest}},
        {"over the greatest and back", {kGreatest, kGreatest, kGreatest, -kGreatest, -kGreatest}},
        {"infinite", {kGreatest, kGreatest}},
        {"infinite below", {-kGreatest, -0x1p970}},
        {"not quite infinite", {kGreatest, 0x1p970, -kLeast}},
    };
    for (const auto& [what, given] : cases) {
        SCOPED_TRACE(what);
        Numbers numbers = given;
        const double plain = PlainSum(numbers);
        for (int round = 0; round < 5; ++round) {
            EXPECT_EQ(SumOf(numbers), plain);
            ExactSum shares[3], merged;
            for (const double number : numbers) shares[random() % 3].Add(number);
            for (const ExactSum& share : shares) merged.Merge(share);
            EXPECT_EQ(merged.Value(), plain);
            if (std::isfinite(plain)) {
                EXPECT_EQ(PlainSum(merged.Parts()), plain);
                for (const double part : merged.Parts()) merged.Add(-part);
                EXPECT_EQ(merged.Value(), 0);
            }
            std::shuffle(numbers.begin(), numbers.end(), random);
        }
    }
}

TEST(ExactSum, TakesFloatsAndProductsAsTheyAre) {
    std::mt19937_64 random(8);
    ExactSum floats, squares, products;
    Numbers plain_floats, plain_squares, halves;
    for (int i = 0; i < 5000; ++i) {
        float value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
        if (i % 8 == 0)
            value = std::bit_cast<float>(static_cast<std::uint32_t>(random() % 0x7fffff));
        floats.Add(value);
        squares.Add(double{value} * value);
        if (!std::isfinite(value)) continue;
        plain_floats.push_back(value);
        plain_squares.push_back(double{value} * value);
        // Twelve bits by 53: each product is exact in two.
        const double a = std::ldexp(static_cast<double>(random() >> 11), -40);
        const double b = static_cast<double>(random() >> 52);
        products.AddProduct(a, b);
        const double low = std::fmod(a, 1);
        halves.insert(halves.end(), {low * b, (a - low) * b});
    }
    EXPECT_EQ(floats.Value(), PlainSum(plain_floats));
    EXPECT_EQ(squares.Value(), PlainSum(plain_squares));
    EXPECT_EQ(products.Value(), PlainSum(halves));
}

TEST(ExactSum, CarriesBeforeDigitsOverflow) {
    // Each bit of the number is set, and it begins at the highest place within a digit.
    const double full = std::ldexp(0x1.fffffffffffffp0, 15 - 1074 + 52);
    const float full_float = 0x1.fffffep+7F;
    ExactSum sum, negative, floats;
    for (int i = 0; i < 1 << 22; ++i) {
        sum.Add(full);
        negative.Add(-full);
        floats.Add(full_float);
    }
    EXPECT_EQ(sum.Value(), full * 0x1p22);
    EXPECT_EQ(negative.Value(), -full * 0x1p22);
    EXPECT_EQ(floats.Value(), full_float * 0x1p22);
    sum.Merge(negative);
    EXPECT_EQ(sum.Value(), 0);
}

}  // namespace
