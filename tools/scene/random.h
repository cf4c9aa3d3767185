// Repeatable sampling: hashes for seeds, an even sequence of points in the unit square.
//
// All arithmetic is on integers, except the last conversion. A sample's numbers depend on its grid,
// its place in the grid and the ray's number, never on the thread.

#pragma once

#include <cstdint>

namespace scene {

/// Mixes 64 bits so that neighbouring seeds give unrelated values.
constexpr std::uint64_t Hash(std::uint64_t value) {
    value += 0x9E3779B97F4A7C15u;
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9u;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBu;
    return value ^ (value >> 31);
}

/// A point of the unit square; both coordinates are in [0, 1).
struct Point2 {
    float u;
    float v;
};

/// The upper 24 bits as a fraction: every one of them is a float.
constexpr float Fraction(std::uint32_t bits) {
    return static_cast<float>(bits >> 8) * 0x1p-24f;
}

/// One unrelated point per seed.
constexpr Point2 RandomPoint(std::uint64_t seed) {
    const std::uint64_t bits = Hash(seed);
    return {Fraction(static_cast<std::uint32_t>(bits >> 32)),
            Fraction(static_cast<std::uint32_t>(bits))};
}

/// Point `index` of an additive sequence that fills the square evenly at any length: the steps are
/// the powers of the plastic number's inverse, in 32-bit fixed point. `seed` shifts all points, so
/// that neighbouring samples have different errors, which look like a fine grain.
constexpr Point2 EvenPoint(std::uint64_t seed, std::uint32_t index) {
    const std::uint64_t shift = Hash(seed);
    return {Fraction(static_cast<std::uint32_t>(shift >> 32) + index * 0xC13FA9A9u),
            Fraction(static_cast<std::uint32_t>(shift) + index * 0x91E10DA6u)};
}

}  // namespace scene
