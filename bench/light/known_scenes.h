// Known scenes: clouds whose occlusion and light have formulas.
//
// Units      world units.
// Errors     Failure of the library's calls, or of the folder for the clouds.
// Threads    one caller at a time.

#pragma once

#include "bench/light/answers.h"

namespace accuracy {

/// A closed box, in which nothing is open, and a ball over a plane, which hides (r / d)^2 times the
/// cosine. All points are white, so light equals occlusion. Prints the largest errors.
void PrintKnownScenes(const Questions& questions);

}  // namespace accuracy
