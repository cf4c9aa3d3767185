// A cloud of a scene's micropolygons whose colours are exact: the input without the noise of a
// bake.

#pragma once

#include <string>

#include "tools/scene/ray_tracer.h"
#include "tools/scene/scene.h"

namespace accuracy {

/// Writes a point for each micropolygon of what rays can hit, with the channels `_area` and
/// `_reflected`: the lamp's direct light times the albedo, and black for the lamp itself. Throws
/// Failure.
void WriteExactCloud(const scene::Scene& scene, const scene::RayTracer& tracer, int threads,
                     const std::string& file);

}  // namespace accuracy
