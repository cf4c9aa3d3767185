// Bake: shades a scene's grids and hands them to the driver, in the plan's order.

#pragma once

#include <cstdint>
#include <vector>

#include "tools/bake/delivery.h"
#include "tools/bake/driver_image.h"
#include "tools/bake/scene.h"
#include "tools/bake/shader.h"
#include "tools/common/progress.h"

namespace bake {

/// What was done. Repeats are counted in `grids` and `samples` as well. The seconds are wall time
/// of the shading alone; DriverImage has the driver's time.
struct BakeTotals {
    std::uint64_t grids = 0;
    std::uint64_t samples = 0;
    std::uint64_t repeated_grids = 0;
    std::uint64_t repeated_samples = 0;
    double shading_seconds = 0;
};

/// How many samples a plan delivers, repeats included.
std::uint64_t CountSamples(const std::vector<Delivery>& plan);

/// Carries out the plan. Throws Failure when the driver refuses a grid; what was delivered before
/// stays delivered.
///
/// `threads` threads shade, a window of grids at a time; only this
/// thread calls the driver. Memory holds one window and the grids that will be delivered
/// again, which in a plan by bucket rows is at most what two neighbouring rows share. The samples
/// are the same for any number of threads.
BakeTotals Bake(const Scene& scene, const Shader& shader, const std::vector<Delivery>& plan,
                int threads, DriverImage* image, Progress* progress);

}  // namespace bake
