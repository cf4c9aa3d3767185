// EarlierBounces: all bounces of light but the last. They are summed up in a file, and each leaves
// a cloud for the next.
//
// Units      values as PlaceLight gathers them; points count from 0, in the order of the file.
// Errors     a Failure.
// Ownership  borrows the job; owns its temporary files.
// Threads    one caller at a time; any thread may gather from Clouds().

#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/common/input_file.h"
#include "tools/ptc/light/bounce_cloud.h"
#include "tools/ptc/light/light_clouds.h"
#include "tools/ptc/light/light_options.h"
#include "tools/ptc/light/place_light.h"
#include "tools/ptc/light/value_file.h"

namespace lighting {

/// What is gathered, where, and what it comes out of.
struct Job {
    const Options& options;
    const Kinds& kinds;
    const InputFile& onto;
    const LightClouds& clouds;
};

class EarlierBounces {
public:
    explicit EarlierBounces(const Job& job);

    /// What the last bounce comes out of; the job's own clouds where that is the only one.
    const LightClouds& Clouds() const { return *clouds_; }

    /// Puts the sum of these bounces and `light`, the indirect light of another, into `*values`.
    /// Caller: has more than one bounce. `first`: the number of the first point.
    void Sum(std::int64_t first, std::span<const float> light, std::vector<float>* values) const;

    /// Points without light, where there are earlier bounces.
    std::int64_t Dark() const { return dark_; }

private:
    void Run(bool is_first);
    void TakeIndirect(const std::vector<float>& values, std::vector<float>* light) const;

    const Job job_;
    const ValueLayout layout_;
    const ValueFile sums_;
    const LightClouds* clouds_;
    std::unique_ptr<BounceCloud> last_;
    std::int64_t dark_ = 0;
};

}  // namespace lighting
