// Shader: computes the light on a place of a surface, and its occlusion, with rays.
//
// Units      radiosity as the colour that an eye sees of a matt surface; occlusion from 0 to 1.
// Errors     none.
// Ownership  borrows scene and tracer, which must outlive it.
// Threads    any number of threads may shade at once; a result depends on the arguments alone.

#pragma once

#include <cstdint>

#include "tools/scene/hemisphere.h"
#include "tools/scene/ray_tracer.h"
#include "tools/scene/scene.h"

namespace scene {

/// How much work goes into one place.
struct Quality {
    int rays;     ///< over the hemisphere, at least 1; half as many go to the lamp
    bool bounce;  ///< whether the surfaces that those rays meet send light
};

struct Shade {
    Vec3f radiosity;  ///< lamp light, sent on once by other surfaces and once by this one
    float occlusion;  ///< 0 open, 1 closed in; near things count more than far ones
    Vec3f reflected;  ///< the radiosity without a lamp's own glow
};

/// Things farther away than half the room do not occlude what is baked.
inline constexpr float kBakedReach = 1.0f;

/// How the surroundings of a place are asked.
struct Hemisphere {
    int rays;                   ///< at least 1
    int bounces;                ///< reflections of the lamp's light at most; 0: occlusion alone
    float reach = kBakedReach;  ///< surfaces at this distance and farther away hide nothing
};

/// What the other surfaces do to a place.
struct Surroundings {
    Vec3f arriving;   ///< the light that they send
    float occlusion;  ///< as in Shade
};

/// `seed`: a number of the place alone; it determines all its rays.
class Shader {
public:
    Shader(const Scene& scene, const RayTracer& tracer, const Quality& quality)
        : light_(scene.Light()), tracer_(tracer), quality_(quality) {}

    Shade Evaluate(const SurfacePoint& place, const Material& material, std::uint64_t seed) const;

    /// The light that falls on the place from the lamp, by `rays` shadow rays.
    Vec3f FromLamp(const SurfacePoint& place, int rays, std::uint64_t seed) const;

    /// The same from the other surfaces, by rays over the hemisphere.
    Surroundings Around(const SurfacePoint& place, const Hemisphere& hemisphere,
                        std::uint64_t seed) const;

private:
    /// The light that the surface at a receiver sends after at most `bounces` reflections, at least
    /// one, by one ray for each: its error is one of many, which average out.
    Vec3f SentFrom(const Receiver& there, const Material& material, int bounces,
                   std::uint64_t seed) const;

    const AreaLight& light_;
    const RayTracer& tracer_;
    const Quality quality_;
};

}  // namespace scene
