// Tally: counts the samples that a driver was given, and those that cannot be repeats.
//
// Units      samples; their areas are summed as the floats that the driver gets.
// Errors     none.
// Ownership  keeps one number for each grid's first position.
// Threads    one thread at a time.

#pragma once

#include <cstdint>
#include <map>
#include <unordered_set>
#include <vector>

namespace bake {

struct Amount {
    std::uint64_t samples = 0;
    double area = 0;
};

class Tally {
public:
    /// `size`: the longest edge that a micropolygon should have.
    explicit Tally(float size);

    /// Counts one grid, kSampleFloats floats a sample.
    void Add(const std::vector<float>& samples);

    const Amount& All() const { return all_; }

    /// The grids that clearly differ from all earlier ones: in their number of samples, or by at
    /// least a thirty-second of a micropolygon in their first position. A driver that drops repeats
    /// must compare more exactly than that, so it keeps all of these.
    const Amount& Distinct() const { return distinct_; }

private:
    /// Whether a grid of `count` samples began near `position` before; notes that one did.
    bool MayRepeat(std::uint64_t count, const float* position);

    const double edge_;  ///< of the cubes that places are sorted into
    Amount all_;
    Amount distinct_;
    std::map<std::uint64_t, std::unordered_set<std::uint64_t>> begun_;  ///< cubes, by sample count
};

}  // namespace bake
