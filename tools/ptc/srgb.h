// sRGB: between linear light and the bytes that a screen takes.
//
// Units      light from 0 to 1, where 1 is a screen's white.
// Errors     none; light outside 0 to 1 is cut off. Caller: it is not NaN.
// Threads    any.

#pragma once

#include <array>
#include <cstdint>

namespace view {

/// A colour as a screen shows it.
struct Rgb {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;

    bool operator==(const Rgb&) const = default;
};

/// Linear light.
struct Light {
    float r = 0;
    float g = 0;
    float b = 0;
};

/// The table both ways. Encoding looks bytes up instead of computing them, so that the same light
/// gives the same byte everywhere, and a byte decoded and encoded is the same byte.
class Srgb {
public:
    Srgb();

    float Decode(std::uint8_t byte) const { return light_[byte]; }
    std::uint8_t Encode(float light) const;

    Light Decode(Rgb colour) const {
        return {Decode(colour.r), Decode(colour.g), Decode(colour.b)};
    }
    Rgb Encode(const Light& light) const {
        return {Encode(light.r), Encode(light.g), Encode(light.b)};
    }

private:
    std::array<float, 256> light_;
    std::array<float, 255> steps_;  ///< the light from which on a byte gives way to the next
};

}  // namespace view
