// Shader: direct light from the lamp, one bounce and ambient occlusion by tracing rays.
//
// Two sets of rays leave a micropolygon. The rays of the first go to evenly spread points of the
// lamp and give the direct light. Those of the second spread over the hemisphere, denser towards
// the normal, because light from there counts more. Each of these gives two values: its length
// gives the occlusion, and the lamp's light at the place that it hits gives the bounce. Light with
// more than one bounce is left out. So is the lamp where a ray of the second set hits it, because
// the first set has counted it.

#include "tools/scene/shader.h"

#include <numbers>

#include "tools/scene/random.h"

namespace scene {

namespace {

constexpr float kPi = std::numbers::pi_v<float>;

/// The distance from a surface at which rays start, so that they do not hit it again because of
/// rounding or of the facets of a curved one.
constexpr float kLiftOff = 1e-3f;

/// Things farther away than half the room do not occlude.
constexpr float kOcclusionReach = 1.0f;

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

/// Seeds of one micropolygon's three kinds of random points.
enum class Purpose : std::uint64_t { kLamp = 1, kHemisphere = 2, kBounce = 3 };

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

Shade Shader::Evaluate(const Micropolygon& micropolygon, const Material& material,
                       std::uint64_t seed) const {
    const Receiver here = {micropolygon.centre + micropolygon.facing * kLiftOff,
                           micropolygon.normal};
    const auto lamp_point = [&](Point2 p) { return light_.At(p.u, p.v); };

    // Shadows have soft edges that need many rays, but the lamp is small beside the hemisphere.
    const auto lamp_rays = static_cast<std::uint32_t>((quality_.rays + 1) / 2);
    Vec3f direct;
    for (std::uint32_t k = 0; k < lamp_rays; ++k)
        direct = direct + FromLamp(here, lamp_point(EvenPoint(SeedFor(seed, Purpose::kLamp), k)));

    const auto rays = static_cast<std::uint32_t>(quality_.rays);
    const Tangents tangents = TangentsOf(here.normal);
    Vec3f indirect;
    float occlusion = 0;
    for (std::uint32_t k = 0; k < rays; ++k) {
        const Vec3f direction = CosineDirection(here.normal, tangents,
                                                EvenPoint(SeedFor(seed, Purpose::kHemisphere), k));
        const auto hit = tracer_.Nearest(here.origin, direction);
        if (!hit) continue;
        // Falls to 0 evenly, so that no edge is visible where the reach ends.
        occlusion += std::max(0.0f, 1 - hit->distance / kOcclusionReach);
        if (!quality_.bounce) continue;
        // One ray from there to the lamp: its error is one of many, which average out.
        const Receiver there = {here.origin + direction * hit->distance + hit->facing * kLiftOff,
                                hit->facing};
        const Point2 point = RandomPoint(SeedFor(seed, Purpose::kBounce) + k);
        indirect = indirect + hit->material->albedo * FromLamp(there, lamp_point(point));
    }

    const Vec3f arriving =
        direct * (1 / static_cast<float>(lamp_rays)) + indirect * (1 / static_cast<float>(rays));
    const Vec3f reflected = material.albedo * arriving;
    return {material.emission + reflected, occlusion / static_cast<float>(rays), reflected};
}

}  // namespace scene
