// Outcome: checks that the file of a driver contains what the driver was given.

#pragma once

#include <string>

#include "tools/bake/image_request.h"
#include "tools/bake/tally.h"

namespace bake {

/// Compares `file` with `tally`, which its driver was given. Answers the file's size in words for
/// the user and, for a point cloud, the number of its points. A file that is not regular, or of
/// another kind, is not compared.
///
/// Throws Failure when the file is missing, empty or incomplete, or when points are missing. The
/// expected points depend on the settings (a setting that was not sent counts as off):
///   neither     every sample is a point
///   repeats     all distinct grids are in the file, and no more points than samples
///   thinning    the points' areas add up to those of the distinct grids: merging adds areas
std::string RequireOutcome(const std::string& file, const Tally& tally,
                           const DriverSettings& settings);

}  // namespace bake
