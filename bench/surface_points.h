// Surface points like those of a bake: evenly spread over the surfaces of a room with a ball and a
// ring in it, with normals, radii of half the spacing and a color.
//
// Threads    any.

#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace surface_points {

struct Point {
    float position[3];
    float normal[3];
    float color[3];
};

/// About `count` points, grid by grid of 16 by 16, as a host delivers them.
std::vector<Point> Make(std::int64_t count);

/// How far neighbours of `count` points are apart.
float Spacing(std::int64_t count);

/// Positions near the surface, 3 floats each: at random places, at most a spacing off.
std::vector<float> RandomPlaces(const std::vector<Point>& points, std::size_t count, unsigned seed);

/// Positions of a walk over the surface, less than a spacing from one to the next.
std::vector<float> Walk(const std::vector<Point>& points, std::size_t count, unsigned seed);

}  // namespace surface_points
