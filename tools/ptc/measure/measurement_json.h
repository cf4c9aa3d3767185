// Measurements for machines. docs/tools.md fixes the layout.

#pragma once

#include "tools/ptc/json_text.h"
#include "tools/ptc/measure/measurement.h"

namespace measure {

/// Adds "statistics" and "histograms" to an object, each if it was asked for. Where no value is
/// finite, what is of finite values is null.
void AddMeasurement(const Measurement& measured, JsonText* json);

}  // namespace measure
