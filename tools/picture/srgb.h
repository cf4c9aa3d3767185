// sRGB: between linear light and the bytes that a screen takes.
//
// Units      light from 0 to 1, where 1 is a screen's white.
// Errors     none; light outside 0 to 1 is cut off. Caller: it is not NaN.
// Threads    any.

#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

/// A colour as a screen shows it.
struct Rgb {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;

    bool operator==(const Rgb&) const = default;
};

/// Linear light.
struct LinearRgb {
    float r = 0;
    float g = 0;
    float b = 0;
};

/// The table both ways. Encoding looks bytes up instead of computing them, so that the same light
/// gives the same byte everywhere, and a byte decoded and encoded is the same byte.
///
/// A byte's range is found by the number's exponent and the first eight bits of its fraction: such
/// cells are narrower than any byte's range, so that one comparison is left. A binary search takes
/// eight that cannot be foretold, and six times as long.
class Srgb {
public:
    Srgb();

    float Decode(std::uint8_t byte) const { return light_[byte]; }
    std::uint8_t Encode(float light) const {
        if (!(light < 1)) return 255;
        if (light < kLeastLight) return 0;
        const std::size_t byte = cells_[CellOf(light)];
        return static_cast<std::uint8_t>(byte + (light >= steps_[byte]));
    }

    LinearRgb Decode(Rgb colour) const {
        return {Decode(colour.r), Decode(colour.g), Decode(colour.b)};
    }
    Rgb Encode(const LinearRgb& light) const {
        return {Encode(light.r), Encode(light.g), Encode(light.b)};
    }

private:
    static constexpr float kLeastLight = 0x1p-13f;  ///< below it there is only byte 0
    static constexpr std::uint32_t kCellShift = 15;
    static constexpr std::size_t kCells = 13 << (23 - kCellShift);

    /// Caller: `light` is from kLeastLight up to 1, which is not included.
    static std::size_t CellOf(float light) {
        return (std::bit_cast<std::uint32_t>(light) - std::bit_cast<std::uint32_t>(kLeastLight)) >>
               kCellShift;
    }

    std::array<float, 256> light_;
    /// The light from which on a byte gives way to the next; never, for the last.
    std::array<float, 256> steps_;
    std::array<std::uint8_t, kCells> cells_;  ///< the byte of the least light in each
};
