// Channel names to variable declarations: the text behind the bar, sizes and area flags.
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

    /// The larger of the driver's count and the file's: a buffered point's row.
    std::int32_t row_size = 0;
};

/// Reads the declarations of all channels. One single channel "...|float _none" declares nothing.
/// kUndefined: a channel without a bar; nothing is printed. kBadParameters: a channel without a
/// type, or one with a size that no sample can have; `driver_name` prints why. A type that is not
/// known counts as one float; a warning goes to standard output.
DriverStatus ReadChannels(const char* driver_name, std::span<const DspyFormat> formats,
                          Channels* channels);

/// One byte for each data float, 1 where the variable of that index is an area.
///
/// KEPT: the flags are those of the variables but are read by the position of the float in the
/// data. The two agree while every variable is one float wide; floats at or above the variable
/// count are no areas. Test: DriverSimplify.AreaFlagsGoByFloatPosition
std::vector<std::uint8_t> AreaFlags(const Channels& channels);
