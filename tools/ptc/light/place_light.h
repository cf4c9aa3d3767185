// PlaceLight: light at many places, gathered on several threads.
//
// Units      those of ptc/light.h. The values of a place stand one behind the other: occlusion,
// then
//            indirect light, then light from below the surface; only those that are asked for.
// Errors     a Failure with the library's reason.
// Ownership  borrows the clouds and the options.
// Threads    one caller at a time. Values do not depend on the number of threads.

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/ptc/light/light_clouds.h"
#include "tools/ptc/light/light_options.h"
#include "tools/ptc/lookup/places.h"

namespace lighting {

/// Where the values of a place have each kind, in floats.
struct ValueLayout {
    explicit ValueLayout(const Kinds& kinds)
        : indirect(kinds.occlusion ? 1 : 0),
          subsurface(indirect + (kinds.indirect ? 3 : 0)),
          floats(subsurface + (kinds.subsurface ? 3 : 0)) {}

    std::size_t indirect;
    std::size_t subsurface;
    std::size_t floats;
};

class PlaceLight {
public:
    /// Takes the settings, the material and the threads from `options`, and not the kinds.
    PlaceLight(const LightClouds& clouds, const Options& options, const Kinds& kinds)
        : clouds_(clouds), options_(options), kinds_(kinds), layout_(kinds) {}

    /// Makes `*values` those at `places`. Places without a normal or with a position that is not
    /// finite get zeros; the answer is how many.
    std::int64_t Gather(const PlaceBatch& places, std::vector<float>* values) const;

private:
    void GatherAt(const PtcPlace& place, float* values) const;

    const LightClouds& clouds_;
    const Options& options_;
    const Kinds kinds_;
    const ValueLayout layout_;
};

}  // namespace lighting
