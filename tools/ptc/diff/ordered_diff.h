// Points compared in their order: the first with the first, and so on.

#pragma once

#include "tools/ptc/diff/diff_input.h"
#include "tools/ptc/diff/point_differences.h"

/// Compares as many points as both clouds have, a piece of each at a time. `stops_early`: at a
/// piece with a difference that counts; what follows is not read.
void CompareInOrder(DiffInput& a, DiffInput& b, bool stops_early, PointDifferences* differences);
