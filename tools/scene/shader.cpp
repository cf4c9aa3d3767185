// Shader: direct light from the lamp, one bounce and ambient occlusion by tracing rays.
//
// Two sets of rays leave a place. The rays of the first go to evenly spread points of the
// lamp and give the direct light. Those of the second spread over the hemisphere, denser towards
// the normal, because light from there counts more. Each of these gives two values: its length
// gives the occlusion, and the lamp's light at the place that it hits gives the bounce. Light with
// more bounces than asked for is left out. So is the lamp where a ray of the second set hits it,
// because the first set has counted it.

#include "tools/scene/shader.h"

#include "tools/scene/hemisphere.h"
#include "tools/scene/random.h"

namespace scene {

namespace {

/// Seeds of one place's kinds of random points.
enum class Purpose : std::uint64_t { kLamp = 1, kHemisphere = 2, kBounce = 3, kPath = 4 };

std::uint64_t SeedFor(std::uint64_t seed, Purpose purpose) {
    return Hash(seed) ^ (static_cast<std::uint64_t>(purpose) << 56);
}

/// What a place receives. Rays leave just off the surface.
Receiver ReceiverAt(const SurfacePoint& place) {
    return {place.position + place.facing * kLiftOff, place.normal};
}

/// The same where a ray from `from` has hit.
Receiver ReceiverAt(Vec3f from, Vec3f direction, const RayTracer::Hit& hit) {
    return {from + direction * hit.distance + hit.facing * kLiftOff, hit.facing};
}

}  // namespace

Vec3f Shader::FromLamp(const SurfacePoint& place, int rays, std::uint64_t seed) const {
    const Receiver here = ReceiverAt(place);
    Vec3f direct;
    for (std::uint32_t k = 0; k < static_cast<std::uint32_t>(rays); ++k) {
        const Point2 point = EvenPoint(SeedFor(seed, Purpose::kLamp), k);
        direct = direct + scene::FromLamp(light_, tracer_, here, light_.At(point.u, point.v));
    }
    return direct * (1 / static_cast<float>(rays));
}

Vec3f Shader::SentFrom(const Receiver& there, const Material& material, int bounces,
                       std::uint64_t seed) const {
    const Point2 point = RandomPoint(seed);
    Vec3f arriving = scene::FromLamp(light_, tracer_, there, light_.At(point.u, point.v));
    if (bounces > 1) {
        const std::uint64_t next = SeedFor(seed, Purpose::kPath);
        const Vec3f direction =
            CosineDirection(there.normal, TangentsOf(there.normal), RandomPoint(next));
        const auto hit = tracer_.Nearest(there.origin, direction);
        if (hit)
            arriving = arriving + SentFrom(ReceiverAt(there.origin, direction, *hit),
                                           hit->surface->GetMaterial(), bounces - 1, next + 1);
    }
    return material.albedo * arriving;
}

Surroundings Shader::Around(const SurfacePoint& place, const Hemisphere& hemisphere,
                            std::uint64_t seed) const {
    const auto [rays, bounces, reach] = hemisphere;
    const Receiver here = ReceiverAt(place);
    const Tangents tangents = TangentsOf(here.normal);
    Vec3f indirect;
    float occlusion = 0;
    for (std::uint32_t k = 0; k < static_cast<std::uint32_t>(rays); ++k) {
        const Vec3f direction = CosineDirection(here.normal, tangents,
                                                EvenPoint(SeedFor(seed, Purpose::kHemisphere), k));
        const auto hit = tracer_.Nearest(here.origin, direction);
        if (!hit) continue;
        // Falls to 0 evenly, so that no edge is visible where the reach ends.
        occlusion += std::max(0.0f, 1 - hit->distance / reach);
        if (bounces < 1) continue;
        indirect = indirect + SentFrom(ReceiverAt(here.origin, direction, *hit),
                                       hit->surface->GetMaterial(), bounces,
                                       SeedFor(seed, Purpose::kBounce) + k);
    }
    const float share = 1 / static_cast<float>(rays);
    return {indirect * share, occlusion / static_cast<float>(rays)};
}

Shade Shader::Evaluate(const SurfacePoint& place, const Material& material,
                       std::uint64_t seed) const {
    // Shadows have soft edges that need many rays, but the lamp is small beside the hemisphere.
    const Vec3f direct = FromLamp(place, (quality_.rays + 1) / 2, seed);
    const auto [indirect, occlusion] =
        Around(place, {quality_.rays, quality_.bounce ? 1 : 0}, seed);
    const Vec3f reflected = material.albedo * (direct + indirect);
    return {material.emission + reflected, occlusion, reflected};
}

}  // namespace scene
