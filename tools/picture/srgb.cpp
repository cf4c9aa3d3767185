// sRGB: the table.

#include "tools/picture/srgb.h"

#include <cmath>
#include <limits>

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
    for (std::size_t i = 0; i + 1 < steps_.size(); ++i)
        steps_[i] = ToLight((static_cast<double>(i) + 0.5) / 255);
    steps_.back() = std::numeric_limits<float>::infinity();

    const auto first = std::bit_cast<std::uint32_t>(kLeastLight);
    std::uint8_t byte = 0;
    for (std::size_t cell = 0; cell < kCells; ++cell) {
        const auto bits = first + (static_cast<std::uint32_t>(cell) << kCellShift);
        while (std::bit_cast<float>(bits) >= steps_[byte]) ++byte;
        cells_[cell] = byte;
    }
}
