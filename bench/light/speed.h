// Speed: gathering beside rays that make the same error.
//
// Units      queries a second, of one thread.
// Errors     Failure of the library's calls.
// Threads    one caller at a time.

#pragma once

#include <vector>

#include "bench/light/answers.h"
#include "bench/light/truth.h"

namespace accuracy {

/// Measures the rays' error for some numbers of rays, finds with the law that they follow how many
/// make the error of gathering, and times both.
void PrintSpeed(const Rays& rays, const OpenedCloud& cloud, const Questions& questions,
                const std::vector<Place>& places, const Truth& truth);

}  // namespace accuracy
