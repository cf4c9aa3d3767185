// The colour map: what colour stands for which part of a range.

#pragma once

#include "tools/picture/picture.h"

namespace view {

/// The colour at `share`, 0 to 1 of the range; what lies outside has the colour of the end.
///
/// From dark violet over blue and green to yellow. Lightness grows all the way, in even steps, so
/// that larger values look larger, in grey and to colour-blind eyes too.
/// Caller: `share` is not NaN.
Rgb MapColour(double share);

}  // namespace view
