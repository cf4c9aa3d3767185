// Points as a page holds them: numbers of 16 bits, one plane of all points behind the other.
//
//   position  3 shares of the box, 65535 its upper end
//   normal    azimuth and height, the file's own codes
//   radius    a half float, the share of the largest radius, grown for points left out
//   and for each float of the variables shown a half float, the value over its scale
//
// Units      bytes, the low one of a number first.
// Errors     a Failure that names the file, when a point cannot be read.
// Threads    one caller at a time.

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "tools/ptc/page/cloud_facts.h"
#include "tools/ptc/page/point_choice.h"

namespace page {

/// Which of the points were looked at: those whose numbers are multiples of `step`.
struct Chosen {
    std::span<const ChosenPoint> points;  ///< in the order of the file
    std::uint64_t step = 1;               ///< what their numbers count
};

/// Reads the cloud once more and packs the chosen points.
std::vector<std::byte> PackPoints(const CloudFacts& facts, const Chosen& chosen, PointPass& pass,
                                  Progress& progress, std::uint64_t done);

}  // namespace page
