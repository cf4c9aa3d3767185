// Spacing: a radius for points that come without one.

#pragma once

#include "tools/ptc/convert/point_stream.h"

namespace convert {

/// Half the distance of neighbours, if all points of `source` lay evenly on the faces of their
/// bounding box: their discs about touch on a closed surface. 0 for points in one place. Reads
/// the source to its end.
float RadiusFromSpacing(PointSource& source);

}  // namespace convert
