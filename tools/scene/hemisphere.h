// Directions of the hemisphere, and the lamp's light: what shaders of one surface point share.
//
// Units      directions and normals have unit length.
// Errors     none.
// Threads    any.

#pragma once

#include <cmath>
#include <numbers>

#include "tools/scene/random.h"
#include "tools/scene/ray_tracer.h"

namespace scene {

/// The distance from a surface at which rays start, so that they do not hit it again because of
/// rounding or of the facets of a curved one.
inline constexpr float kLiftOff = 1e-3f;

/// Two directions that are at right angles to the unit vector `n` and to each other.
struct Tangents {
    Vec3f s;
    Vec3f t;
};
inline Tangents TangentsOf(Vec3f n) {
    // The only branch is the sign, and for no direction is the divisor 0.
    const float sign = std::copysign(1.0f, n.z);
    const float a = -1 / (sign + n.z);
    const float b = n.x * n.y * a;
    return {{1 + sign * n.x * n.x * a, sign * b, -sign * n.x}, {b, sign + n.y * n.y * a, -n.y}};
}

/// A direction above `normal` for a point of the unit square. Evenly spread points give directions
/// that are denser towards the normal, so that their light needs no weights.
inline Vec3f CosineDirection(Vec3f normal, const Tangents& tangents, Point2 point) {
    const float around = 2 * std::numbers::pi_v<float> * point.u;
    const float along_surface = std::sqrt(point.v);
    const Vec3f direction = tangents.s * (std::cos(around) * along_surface) +
                            tangents.t * (std::sin(around) * along_surface) +
                            normal * std::sqrt(1 - point.v);
    return Normalized(direction);
}

/// A place that light falls on. Rays leave from `origin`, just off the surface.
struct Receiver {
    Vec3f origin;
    Vec3f normal;
};

/// The light that falls on the receiver from the `point` of the lamp, scaled as if the whole lamp
/// were there: the mean over evenly spread points is the light of the lamp.
inline Vec3f FromLamp(const AreaLight& light, const RayTracer& tracer, const Receiver& receiver,
                      Vec3f point) {
    const Vec3f way = point - receiver.origin;
    const Vec3f area = Cross(light.edge_u, light.edge_v);  // its length is the lamp's area
    const float arriving = Dot(way, receiver.normal);
    const float leaving = -Dot(way, area);
    if (arriving <= 0 || leaving <= 0) return {};
    // The shadow ray ends just before the lamp, which is a surface of the scene itself.
    if (tracer.Blocked(receiver.origin, receiver.origin + way * (1 - kLiftOff))) return {};
    const float squared = Dot(way, way);
    // Both cosines still contain the distance as a factor, hence its fourth power.
    return light.emission * (arriving * leaving / (std::numbers::pi_v<float> * squared * squared));
}

}  // namespace scene
