// Spacing: how far apart the points of clouds are, from a sample of them.

#pragma once

#include <span>

#include "ptc/lookup.h"

/// The radius of a filter that is not given, in spacings.
inline constexpr float kUsualFilterSpacings = 2;

/// Stores the distance between neighbours of a square grid that would be as dense as the clouds
/// typically are on their surface; 0 when there are no two points apart. `lookup` is made of
/// `files`.
///
/// For up to 1000 points, spread evenly over all files, the distance d to the 8th nearest that
/// faces the same half of the directions makes sqrt(pi / 7) d, because on average 7 points of a
/// surface lie nearer than that; the median of these is stored.
/// False: not all could be read, and PtcLastFailure() says why.
bool FindSpacing(const PtcLookup& lookup, std::span<PtcManagedFile* const> files, float* spacing);
