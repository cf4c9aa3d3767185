// The sides of a mesh: whether it has an inside, and which way its normals point.

#pragma once

#include <vector>

#include "tools/bake/surface.h"

namespace bake {

/// Whether the triangles enclose something: at every edge an even number of them meet. Vertices at
/// the same place are one vertex.
bool IsClosed(const TriangleMesh& mesh);

/// Whether the normals of a closed mesh point inwards on the whole, as computed ones do when its
/// corners are in the wrong order: the volume that it encloses is negative then. An open mesh
/// encloses none; for it the answer depends on its place.
bool PointsInwards(const TriangleMesh& mesh, const std::vector<Vec3f>& normals);

}  // namespace bake
