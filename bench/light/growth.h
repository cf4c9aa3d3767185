// Growth: how the work of a query grows with the number of points.
//
// Errors     Failure of the library's calls.
// Threads    one caller at a time; no other thread looks up meanwhile.

#pragma once

#include "bench/light/answers.h"

namespace accuracy {

/// Prints times and blocks read for both clouds of one scene, and their ratios.
void PrintGrowth(const OpenedCloud& cloud, const OpenedCloud& larger, const Questions& questions,
                 const std::vector<Place>& places);

}  // namespace accuracy
