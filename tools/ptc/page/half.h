// Half floats: numbers of 16 bits with 11 bits of precision, as graphics cards read them.
//
// Units      none.
// Errors     none; what is too large becomes infinite, NaN stays NaN.
// Threads    any.

#pragma once

#include <bit>
#include <cstdint>

namespace page {

inline constexpr float kLargestHalf = 65504;

/// `value` rounded to the nearest half float, and to the even one of two that are equally near.
inline std::uint16_t HalfOf(float value) {
    constexpr std::uint32_t kInfinity = 0x7F800000;
    constexpr std::uint32_t kTooLarge = 0x47800000;     // 2^16
    constexpr std::uint32_t kLeastNormal = 0x38800000;  // 2^-14
    constexpr std::uint32_t kRebias = 0xC8000000;       // the exponent's excess of 127 to one of 15
    constexpr int kLostBits = 13;
    const auto bits = std::bit_cast<std::uint32_t>(value);
    const std::uint32_t sign = bits >> 16 & 0x8000;
    std::uint32_t magnitude = bits & 0x7FFFFFFF;
    if (magnitude > kInfinity) return static_cast<std::uint16_t>(sign | 0x7E00);
    if (magnitude >= kTooLarge) return static_cast<std::uint16_t>(sign | 0x7C00);
    if (magnitude < kLeastNormal) {
        // A half is as far from the next one here as a float is near 0.5, so the addition rounds.
        const float sum = std::bit_cast<float>(magnitude) + 0.5f;
        magnitude = std::bit_cast<std::uint32_t>(sum) - std::bit_cast<std::uint32_t>(0.5f);
        return static_cast<std::uint16_t>(sign | magnitude);
    }
    // A carry goes on into the exponent, as it should.
    magnitude += kRebias + 0xFFF + (magnitude >> kLostBits & 1);
    return static_cast<std::uint16_t>(sign | magnitude >> kLostBits);
}

}  // namespace page
