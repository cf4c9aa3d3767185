// Delivery: the order in which a render delivers its grids, and which ones it delivers twice.
//
// A picture is made in square buckets, row by row. A grid is delivered with the first bucket that
// it covers a part of; if it reaches into others, it is delivered again with the next one of them.
// So two neighbouring buckets both contain it, and a driver has to find the repeat by itself.
//
// Units      buckets are numbered row by row from the upper left corner of the picture.
// Errors     none.
// Ownership  a plan holds only numbers.
// Threads    planning uses threads of its own; a plan is the same for any number of them.

#pragma once

#include <cstdint>
#include <vector>

#include "tools/scene/camera.h"
#include "tools/scene/scene.h"

namespace bake {

inline constexpr int kBucketPixels = 64;

/// One grid on its way to the driver.
struct Delivery {
    std::uint32_t bucket;
    std::uint32_t grid;
    std::uint32_t samples;
    enum class Kind : std::uint32_t {
        kOnly,    ///< the grid lies within one bucket
        kFirst,   ///< it is delivered again later
        kRepeat,  ///< it was delivered before
    } kind;
};

/// All deliveries of a scene: bucket after bucket, within a bucket by the grids' numbers.
std::vector<Delivery> PlanDeliveries(const scene::Scene& scene, const scene::Camera& camera,
                                     int threads);

}  // namespace bake
