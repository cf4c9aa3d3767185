// Errors: answers for many places beside the truth, and the table of them.
//
// Units      those of the values.
// Errors     Failure of the library's calls.
// Threads    one caller at a time.

#pragma once

#include <vector>

#include "bench/light/answers.h"
#include "bench/light/truth.h"

namespace accuracy {

struct Errors {
    double mean = 0;                 ///< of the truth
    double rms = 0;                  ///< root of the mean square
    double bias = 0;                 ///< mean, with its sign
    double worst_share = 0;          ///< of the ten worst places in the sum of squares
    std::vector<std::size_t> worst;  ///< the ten worst places, the worst first
};

/// Means run over the places and the three components.
Errors Compare(const std::vector<Vec3d>& values, const std::vector<Vec3d>& truth);

/// The errors of a cloud's answers, for each quantity and quality. Occlusion in its own unit,
/// light in parts of its mean.
void PrintErrors(const scene::Scene& scene, const OpenedCloud& cloud, const Questions& questions,
                 const std::vector<Place>& places, const Truth& truth);

}  // namespace accuracy
