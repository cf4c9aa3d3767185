// Truth: what many rays say of each place, kept in a file between runs.
//
// Units      those of rays.h.
// Errors     Failure that names the file.
// Threads    makes its own threads.

#pragma once

#include <string>
#include <vector>

#include "bench/light/rays.h"

namespace accuracy {

/// The values of one quantity at all places, and how exact they are.
struct TrueValues {
    std::vector<Vec3d> values;
    /// Root of the mean square of the values' own errors, from the difference of two independent
    /// halves.
    double noise = 0;
};

struct Truth {
    TrueValues of[std::size(kQuantities)];
    RayWork light;  ///< that its indirect light was traced with

    const TrueValues& Of(Quantity quantity) const { return of[static_cast<int>(quantity)]; }
};

struct TruthWork {
    int rays = 32768;  ///< for occlusion
    RayWork light{65536, 2, 1};
    int threads = 2;
};

/// Reads the truth from `file` if that was made for the same `key`, otherwise traces it and writes
/// the file. `key`: one line that describes scene and places; empty `file`: keeps nothing.
Truth FindTruth(const Rays& rays, const std::vector<Place>& places, const TruthWork& work,
                const std::string& key, const std::string& file);

}  // namespace accuracy
