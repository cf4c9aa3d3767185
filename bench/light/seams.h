// Seams: the largest steps of what is gathered along a line across the floor.
//
// Errors     Failure of the library's calls.
// Threads    one caller at a time.

#pragma once

#include "bench/light/answers.h"

namespace accuracy {

/// Prints the largest step from one place to the next, in parts of the mean, where it is, and the
/// step that rays find there.
void PrintSeams(const Rays& rays, const OpenedCloud& cloud, const Questions& questions,
                int bounces);

}  // namespace accuracy
