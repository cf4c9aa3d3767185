// sRGB: the table.

#include "tools/ptc/srgb.h"

#include <algorithm>
#include <cmath>

namespace view {

namespace {

/// The transfer function of IEC 61966-2-1. Rounding to float hides the last bit of pow(), which
/// is all in which two C libraries differ.
float ToLight(double screen) {
    const double light =
        screen <= 0.04045 ? screen / 12.92 : std::pow((screen + 0.055) / 1.055, 2.4);
    return static_cast<float>(light);
}

}  // namespace

Srgb::Srgb() {
    for (std::size_t i = 0; i < light_.size(); ++i)
        light_[i] = ToLight(static_cast<double>(i) / 255);
    for (std::size_t i = 0; i < steps_.size(); ++i)
        steps_[i] = ToLight((static_cast<double>(i) + 0.5) / 255);
}

std::uint8_t Srgb::Encode(float light) const {
    const auto next = std::upper_bound(steps_.begin(), steps_.end(), light);
    return static_cast<std::uint8_t>(next - steps_.begin());
}

}  // namespace view
