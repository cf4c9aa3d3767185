// Random numbers by counter: the same number for the same index and seed, on every machine and in
// any order.

#pragma once

#include <cstdint>

namespace edit {

/// A bijection whose output bits all depend on all input bits.
constexpr std::uint64_t Mixed(std::uint64_t bits) {
    bits = (bits ^ bits >> 30U) * 0xBF58476D1CE4E5B9U;
    bits = (bits ^ bits >> 27U) * 0x94D049BB133111EBU;
    return bits ^ bits >> 31U;
}

/// From 0 up to 1, which it never is.
constexpr double RandomNumber(std::uint64_t seed, std::uint64_t index) {
    constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15U;
    const std::uint64_t bits = Mixed(Mixed(seed + kGoldenRatio) + index * kGoldenRatio);
    return static_cast<double>(bits >> 11U) * 0x1p-53;
}

}  // namespace edit
