// Rays: occlusion and indirect light of one place by tracing rays over the hemisphere.
//
// Units      world units; light as the colour that an eye sees of a matt white surface.
// Errors     none.
// Ownership  borrows scene, tracer and lookup.
// Threads    any number of threads trace at once; an answer depends on the arguments alone.
//
// The hemisphere is filled by the shader's even sequence of directions, cosine-weighted. A surface
// sends the lamp's direct light, times its albedo, to the side that a ray comes from: as the shader
// has it. A lamp's own glow does not count.

#pragma once

#include <cstdint>

#include "bench/light/places.h"
#include "ptc/lookup.h"
#include "tools/scene/ray_tracer.h"

namespace accuracy {

/// What is measured.
enum class Quantity { kNearOcclusion, kOcclusion, kIndirect };
inline constexpr Quantity kQuantities[] = {Quantity::kNearOcclusion, Quantity::kOcclusion,
                                           Quantity::kIndirect};

constexpr const char* NameOf(Quantity quantity) {
    constexpr const char* kNames[] = {"occlusion within 0.5", "occlusion", "indirect light"};
    return kNames[static_cast<int>(quantity)];
}

/// Surfaces farther away do not count for kNearOcclusion.
inline constexpr float kNear = 0.5f;

/// How much work goes into one place.
struct RayWork {
    int rays = 256;     ///< over the hemisphere
    int lamp_rays = 1;  ///< from each surface that is hit, for light
    /// How often light is reflected before it reaches the place: 1 is direct light of the lamp,
    /// 2 adds one more reflection, as the points of a bake with bounces have.
    int bounces = 1;
};

class Rays {
public:
    Rays(const scene::Scene& scene, const scene::RayTracer& tracer)
        : scene_(scene), tracer_(tracer) {}

    /// Occlusion answers the same number three times.
    Vec3d Estimate(Quantity quantity, const Place& place, const RayWork& work,
                   std::uint64_t seed) const;

    /// Points to take colours from, one color variable each, no farther away than `within`.
    struct BakedPoints {
        const PtcLookup& lookup;
        float within;
    };

    /// Indirect light where each ray takes the colour of the baked point that is nearest to its hit
    /// and turned the same way; black if there is none. Throws Failure.
    Vec3d Baked(const BakedPoints& points, const Place& place, int rays, std::uint64_t seed) const;

private:
    double Occlusion(const Place& place, float within, int rays, std::uint64_t seed) const;
    Vec3d Indirect(const Place& place, const RayWork& work, std::uint64_t seed) const;

    /// The colour that a surface sends along a ray. `sample`: a number of this ray alone.
    Vec3f Reflected(const scene::RayTracer::Hit& hit, Vec3f position, const RayWork& work,
                    std::uint64_t seed, std::uint32_t sample) const;

    const scene::Scene& scene_;
    const scene::RayTracer& tracer_;
};

}  // namespace accuracy
