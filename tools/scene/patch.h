// Patch: a surface given by a function over the unit square, diced evenly in both directions.
//
// Units      parameters u and v run from 0 to 1; lengths in world units.
// Errors     none.
// Ownership  a patch keeps its own copy of the shape function.
// Threads    see Surface; the shape function must be callable from all threads at once.

#pragma once

#include <functional>

#include "tools/scene/surface.h"

namespace scene {

/// A point of a patch and the unit normal there.
struct PatchPoint {
    Vec3f position;
    Vec3f normal;
};

/// The shape of a patch: a point for each (u, v).
using Shape = std::function<PatchPoint(float u, float v)>;

/// A flat parallelogram; its normal is along the cross product of the two edges.
Shape Parallelogram(Vec3f corner, Vec3f edge_u, Vec3f edge_v);

/// One sixth of a sphere: a cube's face (`face` 0 to 5) blown up, in cells of nearly equal size.
Shape SphereSixth(Vec3f centre, float radius, int face);

/// A torus that lies flat: `ring` is the radius of its centre line, `tube` that of its tube.
Shape Torus(Vec3f centre, float ring, float tube);

/// Splits the square into equal parts of at most a grid each, then gives every part as many
/// micropolygons as its own size needs.
class Patch : public Surface {
public:
    /// `facets`: how many pairs of triangles rays see along each parameter.
    Patch(const Material& material, const Dicing& dicing, Shape shape, int facets);

    std::uint32_t GridCount() const override;
    void Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const override;
    TriangleMesh Tessellate() const override;
    SurfacePoint At(const TrianglePlace& place) const override;

private:
    /// A rectangle of parameters.
    struct Part {
        float u0, u1, v0, v1;
    };

    /// The longest line across the part, along u and along v.
    struct Extent {
        float along_u, along_v;
    };

    /// How long the part is, at its longest place, in either direction.
    Extent Measure(const Part& part) const;

    const Dicing dicing_;
    const Shape shape_;
    const int facets_;
    int parts_u_;
    int parts_v_;
};

}  // namespace scene
