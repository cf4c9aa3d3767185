// MeshSurface: a triangle mesh diced into grids, with triangles of any size and shape.
//
// Triangles with more cells than a grid are halved at their longest edge. The pieces are sorted
// along a space-filling curve and filled into grids one after the other, so that a grid is a small
// neighbourhood of the mesh, for any order of the triangles in the file.
//
// Units      world units.
// Errors     none; the caller removes triangles without area and normals without length.
// Ownership  keeps the mesh.
// Threads    see Surface.

#pragma once

#include <optional>

#include "tools/scene/surface.h"
#include "tools/scene/triangle_cells.h"

namespace scene {

class MeshSurface : public Surface {
public:
    /// `normals`: of unit length, one for each vertex of `mesh`. `eye`: the point towards which all
    /// micropolygons turn their normals, if given.
    MeshSurface(const Material& material, const Dicing& dicing, TriangleMesh mesh,
                std::vector<Vec3f> normals, const std::optional<Vec3f>& eye);

    std::uint32_t GridCount() const override;
    void Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const override;
    TriangleMesh Tessellate() const override { return mesh_; }
    SurfacePoint At(const TrianglePlace& place) const override {
        return PointOf(place.triangle, {1 - place.u - place.v, place.u, place.v});
    }

private:
    /// A whole triangle, or a part of it after halving.
    struct Piece {
        std::uint32_t triangle;
        std::array<Barycentric, 3> corners;
    };

    /// The triangle's three vertices (or their normals) blended by the weights.
    Vec3f Blended(const std::vector<Vec3f>& values, std::uint32_t triangle,
                  const Barycentric& weights) const;
    SurfacePoint PointOf(std::uint32_t triangle, const Barycentric& weights) const;
    std::array<Vec3f, 3> CornersOf(const Piece& piece) const;

    /// The constructor's steps, in this order.
    void CutIntoPieces();
    void SortAlongCurve();
    void FillGrids();

    Micropolygon MicropolygonOf(const Piece& piece, const Cell& cell) const;

    const Dicing dicing_;
    const TriangleMesh mesh_;
    const std::vector<Vec3f> normals_;
    const std::optional<Vec3f> eye_;
    std::vector<Piece> pieces_;
    std::vector<std::uint32_t> first_piece_;  ///< of each grid, and one behind the last
};

}  // namespace scene
