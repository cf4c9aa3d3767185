// Lighting: the light that a place of a surface sends to the eye, in one of several ways.
//
// Units      as the shader's radiosity: the colour that an eye sees.
// Errors     a Failure, from any thread.
// Ownership  borrows scene and shader, which must outlive it; owns the clouds that it asks.
// Threads    any number of threads may ask at once; an answer depends on the hit alone.

#pragma once

#include <cstdint>
#include <memory>

#include "tools/render/options.h"
#include "tools/scene/scene.h"
#include "tools/scene/shader.h"

namespace render {

/// Where a camera ray has hit.
struct Hit {
    scene::SurfacePoint place;
    const scene::Surface* surface;
    std::uint64_t seed;  ///< a number of this hit alone

    const scene::Material& Material() const { return surface->GetMaterial(); }
};

/// The colour of a hit is the sum of two parts.
class Lighting {
public:
    virtual ~Lighting() = default;

    /// What may change from each hit to the next, as at the edge of a shadow.
    virtual Vec3f Sharp(const Hit& hit) const = 0;

    /// What changes slowly along a surface, and is dear: one answer may serve for several hits.
    virtual Vec3f Smooth(const Hit&) const { return {}; }

    /// Hits so far near which the clouds have no points.
    virtual std::uint64_t Holes() const { return 0; }
};

/// Light by rays alone: the lamp's directly, or with Options::truth all.
std::unique_ptr<Lighting> MakeRayLighting(const Options& options, const scene::Shader& shader);

/// Light of the clouds that are chosen. Opens them, and keeps them open.
std::unique_ptr<Lighting> MakeCloudLighting(const Options& options, const scene::Scene& scene,
                                            const scene::Shader& shader);

/// The lamp, and its light on the surface. The same in all modes.
Vec3f DirectLight(const Hit& hit, const scene::Shader& shader, int rays);

}  // namespace render
