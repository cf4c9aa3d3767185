// ExactSum: the sum of any doubles, rounded once, when it is asked for.
//
// A superaccumulator: a fixed-point number with a bit for every bit of a double, from the least
// subnormal number up to sums of the largest ones. Its digits are of 16 bits and held in 64, so
// that a float is added to a single one, and carries wait for a million numbers. After "Fast Exact
// Summation Using Small and Large Superaccumulators", arXiv:1505.05571.
//
// Units      those of the numbers.
// Errors     none; numbers that are not finite are left out: the caller counts them.
// Ownership  1.1 KB of its own, no other memory.
// Threads    one caller at a time; sums of several threads are merged. Neither the order of the
//            numbers nor how they are shared out changes the sum.

#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

class ExactSum {
public:
    void Add(float value) {
        const auto bits = std::bit_cast<std::uint32_t>(value);
        const std::uint32_t exponent = bits >> 23 & 0xff;
        if (exponent == 0xff) return;
        const std::uint32_t whole = (bits & 0x7fffff) | (exponent != 0 ? 1U << 23 : 0);
        AddAt(std::max(exponent, 1U) + kFloatStart, whole, -std::int64_t{bits >> 31});
        CountOne();
    }

    void Add(double value) {
        const auto bits = std::bit_cast<std::uint64_t>(value);
        const auto exponent = static_cast<std::uint32_t>(bits >> 52 & 0x7ff);
        if (exponent == 0x7ff) return;
        const std::uint64_t whole =
            (bits & 0xfffffffffffff) | (exponent != 0 ? std::uint64_t{1} << 52 : 0);
        const std::int64_t sign = -static_cast<std::int64_t>(bits >> 63);
        const std::uint32_t place = std::max(exponent, 1U) - 1;
        AddAt(place, whole & ((1U << kPieceBits) - 1), sign);
        AddAt(place + kPieceBits, whole >> kPieceBits, sign);
        CountOne();
    }

    /// Adds `a` times `b`, not rounded.
    /// Caller: the product is below the greatest double, and a multiple of the least.
    void AddProduct(double a, double b);

    void Merge(const ExactSum& other);

    /// The double nearest to the sum, the even one of two; infinite above the greatest one. 0.0
    /// when the sum is 0.
    double Value() const;

    /// Doubles, from the greatest to the least, whose sum is this one exactly.
    /// Caller: Value() is finite.
    std::vector<double> Parts() const;

private:
    static constexpr std::uint32_t kDigitBits = 16;
    static constexpr std::uint32_t kPieceBits = 27;        ///< half of a double's 53
    static constexpr std::uint32_t kLeastExponent = 1074;  ///< bit 0 is 2^-1074
    static constexpr std::uint32_t kFloatStart = kLeastExponent - 150;
    /// A sum of 2^63 of the greatest doubles needs 2161 bits; the sign is in the last digit.
    static constexpr std::size_t kDigits = 137;
    /// A piece in its place has 42 bits: so many of them and a digit do not reach 63.
    static constexpr std::uint32_t kMostWaiting = 1U << 20;

    /// Adds `piece`, of up to kPieceBits, at bit `place`; `sign` is 0, or -1 to subtract it.
    void AddAt(std::uint32_t place, std::uint64_t piece, std::int64_t sign) {
        const auto shifted = static_cast<std::int64_t>(piece << place % kDigitBits);
        digits_[place / kDigitBits] += (shifted ^ sign) - sign;
    }
    void CountOne() {
        if (++waiting_ == kMostWaiting) Carry();
    }

    /// Leaves the digits from 0 to 2^16, which is not included, but for the last.
    void Carry();
    void Negate();
    std::uint64_t Digit(std::size_t index) const;

    std::array<std::int64_t, kDigits> digits_{};
    std::uint32_t waiting_ = 0;  ///< numbers since the last carrying
};
