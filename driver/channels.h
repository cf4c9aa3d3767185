// Reads variable declarations from channel names: the text after the bar, sizes, area flags.
//
// Units      sizes in floats of one sample.
// Ownership  everything is copied from the host's texts.
// Threads    any.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "ptc/dspy.h"
#include "util/base/results.h"

/// The variables that the channels declare, as parallel arrays in channel order.
struct Channels {
    std::vector<std::string> types;
    std::vector<std::string> names;
    std::vector<std::int32_t> sizes;  ///< floats of each, as the driver counts them

    /// Floats of a sample's data, as the driver counts them; what the simplifier works on.
    std::int32_t data_size = 0;

    /// Floats of a buffered point's row: the larger of the driver's count and the file's.
    std::int32_t row_size = 0;
};

/// Reads the declarations of all channels. A single channel "...|float _none" declares nothing.
/// kUndefined: a channel has no bar; nothing is printed. kBadParameters: a channel has no type, or
/// a size that is not possible for a sample; an error is printed under `driver_name`. An unknown
/// type counts as one float; a warning goes to standard output.
DriverStatus ReadChannels(const char* driver_name, std::span<const DspyFormat> formats,
                          Channels* channels);

/// One byte for each data float, 1 where the variable of that index is an area.
///
/// KEPT: flag i is that of variable i, but the simplifier uses it for float i of the data. The two
/// agree while every variable is one float wide; floats from the variable count on are not areas.
/// Test: DriverSimplify.AreaFlagsGoByFloatPosition
std::vector<std::uint8_t> AreaFlags(const Channels& channels);
