// Measurements for people.

#pragma once

#include <string>

#include "tools/ptc/measure/measurement.h"

namespace measure {

/// A table of the statistics, a line for the spacing, and bars for the histograms; each line is
/// indented as those of `ptc info` are.
std::string MeasurementText(const Measurement& measured);

}  // namespace measure
