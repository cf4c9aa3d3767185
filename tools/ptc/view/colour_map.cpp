// The colour map: its table.

#include "tools/ptc/view/colour_map.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace view {

namespace {

/// The map known as viridis, at every eighth of the range.
constexpr Rgb kTable[] = {
    {0x44, 0x01, 0x54}, {0x47, 0x2D, 0x7B}, {0x3B, 0x52, 0x8B},
    {0x2C, 0x72, 0x8E}, {0x21, 0x91, 0x8C}, {0x28, 0xAE, 0x80},
    {0x5E, 0xC9, 0x62}, {0xAD, 0xDC, 0x30}, {0xFD, 0xE7, 0x25},
};
constexpr std::size_t kSteps = std::size(kTable) - 1;

/// In bytes of the screen, as the map is defined: even steps for the eye, not in light.
std::uint8_t Between(std::uint8_t from, std::uint8_t to, double share) {
    return static_cast<std::uint8_t>(std::lround(from * (1 - share) + to * share));
}

}  // namespace

Rgb MapColour(double share) {
    const double at = std::clamp(share, 0.0, 1.0) * static_cast<double>(kSteps);
    const std::size_t step = std::min(static_cast<std::size_t>(at), kSteps - 1);
    const double rest = at - static_cast<double>(step);
    const Rgb from = kTable[step];
    const Rgb to = kTable[step + 1];
    return {Between(from.r, to.r, rest), Between(from.g, to.g, rest), Between(from.b, to.b, rest)};
}

}  // namespace view
