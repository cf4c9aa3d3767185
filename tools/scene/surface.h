// Surface: an object that can be diced into grids of micropolygons and hit by rays.
//
// Units      world units; areas in their square.
// Errors     none of its own; the code that makes a surface reports failures.
// Ownership  a scene owns its surfaces; the caller owns the results of their members.
// Threads    surfaces do not change after they are made; any number of threads may dice them at
//            once.

#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "util/math/vec3.h"

namespace scene {

/// How finely surfaces are diced.
struct Dicing {
    float size;  ///< the longest edge that a micropolygon should have
    int grid;    ///< micropolygons along the edge of a full grid, at least 2
};

/// The number of steps of at most `step` in a `length`, at least one. A length that exceeds a whole
/// number of steps only by rounding does not get another step.
inline int Steps(float length, float step) {
    return std::max(1, static_cast<int>(std::ceil(length / step - 1e-3f)));
}

/// How a surface reflects light: a part of each colour, evenly into all directions.
struct Material {
    Vec3f albedo;
    Vec3f emission;         ///< of a lamp; black elsewhere
    bool scatters = false;  ///< whether light may travel below the surface, as in things, not walls
};

/// A place on a surface.
struct SurfacePoint {
    Vec3f position;
    Vec3f normal;  ///< unit length, interpolated where the surface is smooth
    Vec3f facing;  ///< unit normal of the flat facet itself: rays leave to this side
};

/// One small facet, shaded as a whole at its centre.
struct Micropolygon {
    Vec3f centre;
    Vec3f normal;  ///< unit length, interpolated where the surface is smooth
    Vec3f facing;  ///< unit normal of the flat facet itself: rays leave to this side
    float radius;  ///< from the centre to the farthest corner: a disc of it hides the facet
    float area;

    SurfacePoint Centre() const { return {centre, normal, facing}; }
};

/// A surface as rays see it.
struct TriangleMesh {
    std::vector<Vec3f> vertices;
    std::vector<std::array<std::uint32_t, 3>> triangles;
};

/// A place on a triangle with the corners a, b and c: a + (b - a) * u + (c - a) * v.
struct TrianglePlace {
    std::uint32_t triangle;
    float u;
    float v;
};

/// A part of the scene, of one material.
class Surface {
public:
    explicit Surface(const Material& material) : material_(material) {}
    virtual ~Surface() = default;
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;

    const Material& GetMaterial() const { return material_; }

    /// How many grids cover the surface.
    virtual std::uint32_t GridCount() const = 0;

    /// Replaces `*micropolygons` with those of one grid, always in the same order. A grid has at
    /// least one, and at most those of a full grid.
    virtual void Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const = 0;

    /// The triangles that rays hit; none when rays pass.
    virtual TriangleMesh Tessellate() const = 0;

    /// The point of the smooth surface at a place on its triangles. It is shaded as a micropolygon
    /// there would be.
    virtual SurfacePoint At(const TrianglePlace& place) const = 0;

private:
    const Material material_;
};

}  // namespace scene
