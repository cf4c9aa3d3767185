// Outcome: whether the file that a driver leaves holds what the driver was given.

#pragma once

#include <string>

#include "tools/bake/image_request.h"
#include "tools/bake/tally.h"

namespace bake {

/// Compares `file` with `tally`, which its driver was given. The answer: the file's size in
/// words for the user, and the number of its points where it is a point cloud; what is not a
/// regular file, or of another kind, cannot be compared.
///
/// Throws Failure when the file is not there, empty or not whole, or when points are missing. What
/// is promised depends on the settings (a setting that was not sent counts as off):
///   neither     every sample is a point
///   repeats     distinct grids are there, and no more points than samples
///   thinning    the points' areas add up to those of the distinct grids: merging adds areas up
std::string RequireOutcome(const std::string& file, const Tally& tally,
                           const DriverSettings& settings);

}  // namespace bake
