// Shader: direct light from the lamp, one bounce and ambient occlusion by tracing rays.
//
// Two sets of rays leave a place. The rays of the first go to evenly spread points of the
// lamp and give the direct light. Those of the second spread over the hemisphere, denser towards
// the normal, because light from there counts more. Each of these gives two values: its length
// gives the occlusion, and the lamp's light at the place that it hits gives the bounce. Light with
// more bounces than asked for is left out. So is the lamp where a ray of the second set hits it,
// because the first set has counted it.

#include "tools/scene/shader.h"

#include <numbers>

#include "tools/scene/random.h"

namespace scene {

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

/// The distance from a surface at which rays start, so that they do not hit it again because of
/// rounding or of the facets of a curved one.
constexpr float kLiftOff = 1e-3f;

/// Two directions that are at right angles to the unit vector `n` and to each other.
struct Tangents {
    Vec3f s;
    Vec3f t;
};
Tangents TangentsOf(Vec3f n) {
    // The only branch is the sign, and for no direction is the divisor 0.
    const float sign = std::copysign(1.0f, n.z);
    const float a = -1 / (sign + n.z);
    const float b = n.x * n.y * a;
    return {{1 + sign * n.x * n.x * a, sign * b, -sign * n.x}, {b, sign + n.y * n.y * a, -n.y}};
}

/// A direction above `normal` for a point of the unit square. Evenly spread points give directions
/// that are denser towards the normal, so that their light needs no weights.
Vec3f CosineDirection(Vec3f normal, const Tangents& tangents, Point2 point) {
    const float around = 2 * kPi * point.u;
    const float along_surface = std::sqrt(point.v);
    const Vec3f direction = tangents.s * (std::cos(around) * along_surface) +
                            tangents.t * (std::sin(around) * along_surface) +
                            normal * std::sqrt(1 - point.v);
    return Normalized(direction);
}

/// Seeds of one place's kinds of random points.
enum class Purpose : std::uint64_t { kLamp = 1, kHemisphere = 2, kBounce = 3, kPath = 4 };

std::uint64_t SeedFor(std::uint64_t seed, Purpose purpose) {
    return Hash(seed) ^ (static_cast<std::uint64_t>(purpose) << 56);
}

}  // namespace

Vec3f Shader::FromLamp(const Receiver& receiver, Vec3f point) const {
    const Vec3f way = point - receiver.origin;
    const Vec3f area = Cross(light_.edge_u, light_.edge_v);  // its length is the lamp's area
    const float arriving = Dot(way, receiver.normal);
    const float leaving = -Dot(way, area);
    if (arriving <= 0 || leaving <= 0) return {};
    // The shadow ray ends just before the lamp, which is a surface of the scene itself.
    if (tracer_.Blocked(receiver.origin, receiver.origin + way * (1 - kLiftOff))) return {};
    const float squared = Dot(way, way);
    // Both cosines still contain the distance as a factor, hence its fourth power.
    return light_.emission * (arriving * leaving / (kPi * squared * squared));
}

Shader::Receiver Shader::ReceiverAt(const SurfacePoint& place) {
    return {place.position + place.facing * kLiftOff, place.normal};
}

Shader::Receiver Shader::ReceiverAt(Vec3f from, Vec3f direction, const RayTracer::Hit& hit) {
    return {from + direction * hit.distance + hit.facing * kLiftOff, hit.facing};
}

Vec3f Shader::FromLamp(const SurfacePoint& place, int rays, std::uint64_t seed) const {
    const Receiver here = ReceiverAt(place);
    Vec3f direct;
    for (std::uint32_t k = 0; k < static_cast<std::uint32_t>(rays); ++k) {
        const Point2 point = EvenPoint(SeedFor(seed, Purpose::kLamp), k);
        direct = direct + FromLamp(here, light_.At(point.u, point.v));
    }
    return direct * (1 / static_cast<float>(rays));
}

Vec3f Shader::SentFrom(const Receiver& there, const Material& material, int bounces,
                       std::uint64_t seed) const {
    const Point2 point = RandomPoint(seed);
    Vec3f arriving = FromLamp(there, light_.At(point.u, point.v));
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
