// Shader: computes the light on a micropolygon, and its occlusion.
//
// Units      radiosity as the colour that an eye sees of a matt surface; occlusion from 0 to 1.
// Errors     none.
// Ownership  borrows scene and tracer, which must outlive it.
// Threads    any number of threads may shade at once; a result depends on the arguments alone.

#pragma once

#include <cstdint>

#include "tools/scene/ray_tracer.h"
#include "tools/scene/scene.h"

namespace scene {

/// How much work goes into one micropolygon.
struct Quality {
    int rays;     ///< over the hemisphere, at least 1; half as many go to the lamp
    bool bounce;  ///< whether the surfaces that those rays meet send light
};

struct Shade {
    Vec3f radiosity;  ///< lamp light, sent on once by other surfaces and once by this one
    float occlusion;  ///< 0 open, 1 closed in; near things count more than far ones
    Vec3f reflected;  ///< the radiosity without a lamp's own glow
};

class Shader {
public:
    Shader(const Scene& scene, const RayTracer& tracer, const Quality& quality)
        : light_(scene.Light()), tracer_(tracer), quality_(quality) {}

    /// `seed`: a number of this micropolygon alone; it determines all its rays.
    Shade Evaluate(const Micropolygon& micropolygon, const Material& material,
                   std::uint64_t seed) const;

private:
    const AreaLight& light_;
    const RayTracer& tracer_;
    const Quality quality_;
};

}  // namespace scene
