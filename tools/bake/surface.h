// Surface: something that can be diced into grids of micropolygons and met by rays.
//
// Units      world units; areas in their square.
// Errors     none of its own; a surface that cannot be made fails where it is made.
// Ownership  a scene owns its surfaces; what they hand out is the caller's.
// Threads    surfaces do not change once made, any number of threads may dice them at once.

#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

#include "tools/common/vec3.h"

namespace bake {

/// How finely surfaces are diced.
struct Dicing {
    float size;  ///< the longest edge that a micropolygon should have
    int grid;    ///< micropolygons along the edge of a full grid, at least 2
};

/// How many steps of at most `step` a `length` takes, at least one. A length that exceeds a whole
/// number of steps by rounding only does not get another step.
inline int Steps(float length, float step) {
    return std::max(1, static_cast<int>(std::ceil(length / step - 1e-3f)));
}

/// What light does at a surface: a part of each colour is reflected, evenly into all directions.
struct Material {
    Vec3f albedo;
    Vec3f emission;  ///< of a lamp; black elsewhere
};

/// One small facet, shaded as a whole at its centre.
struct Micropolygon {
    Vec3f centre;
    Vec3f normal;  ///< unit length, interpolated where the surface is smooth
    Vec3f facing;  ///< unit length, straight up from the facet itself: rays leave to this side
    float radius;  ///< from the centre to the farthest corner: a disc of it hides the facet
    float area;
};

/// A surface as rays see it.
struct TriangleMesh {
    std::vector<Vec3f> vertices;
    std::vector<std::array<std::uint32_t, 3>> triangles;
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

    /// Replaces `*micropolygons` by those of one grid, always in the same order. A grid has at
    /// least one and at most as many as a full grid.
    virtual void Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const = 0;

    /// The triangles that rays hit; none when rays pass.
    virtual TriangleMesh Tessellate() const = 0;

private:
    const Material material_;
};

}  // namespace bake
