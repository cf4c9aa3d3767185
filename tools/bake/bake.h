// Bake: shades a scene's grids and delivers them to the driver, in the plan's order.

#pragma once

#include <cstdint>
#include <vector>

#include "tools/bake/delivery.h"
#include "tools/bake/driver_image.h"
#include "tools/common/progress.h"
#include "tools/scene/scene.h"
#include "tools/scene/shader.h"

namespace bake {

/// The figures of a bake. `grids` and `samples` include repeats. The seconds are the wall time of
/// the shading alone; DriverImage has the driver's time.
struct BakeTotals {
    std::uint64_t grids = 0;
    std::uint64_t samples = 0;
    std::uint64_t repeated_grids = 0;
    std::uint64_t repeated_samples = 0;
    double shading_seconds = 0;
};

/// How many samples a plan delivers, repeats included.
std::uint64_t CountSamples(const std::vector<Delivery>& plan);

/// Executes the plan. Throws Failure when the driver refuses a grid; the grids delivered before it
/// stay delivered.
///
/// `threads` threads shade, a window of grids at a time; only this thread calls the driver. Memory
/// contains one window and the grids that will be delivered again; in a plan by bucket rows, these
/// are at most the grids that two neighbouring rows share. The samples are the same for any number
/// of threads.
BakeTotals Bake(const scene::Scene& scene, const scene::Shader& shader,
                const std::vector<Delivery>& plan, int threads, DriverImage* image,
                Progress* progress);

}  // namespace bake
