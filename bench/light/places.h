// Places on a scene's surfaces at which light is measured.
//
// Units      world units.
// Errors     Failure when the scene has no surface to choose from.
// Threads    any.

#pragma once

#include <cstdint>
#include <vector>

#include "tools/scene/ray_tracer.h"

namespace accuracy {

/// A place on a surface, as a point of a cloud would be there.
struct Place {
    Vec3f position;
    Vec3f normal;  ///< unit length, interpolated where the surface is smooth
    Vec3f origin;  ///< where rays leave: off the surface by as much as the shader's
    std::uint32_t surface = 0;
};

/// Micropolygon centres of all surfaces that are neither lamps nor dust: one at random in each of
/// `count` parts of equal area, always the same ones. Leaves out where surfaces touch: rays would
/// leave from beyond the other one.
std::vector<Place> ChoosePlaces(const scene::Scene& scene, const scene::RayTracer& tracer,
                                int count);

/// Places evenly along a line across the floor of the room, which passes where nothing touches the
/// floor: what is measured has no steps there.
std::vector<Place> FloorLine(int count);

}  // namespace accuracy
