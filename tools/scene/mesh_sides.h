// The sides of a mesh: whether it has an inside, and which way its normals point.

#pragma once

#include <vector>

#include "tools/scene/surface.h"

namespace scene {

/// Whether the mesh is closed: an even number of triangles meet at every edge. Vertices at the same
/// place count as one vertex.
bool IsClosed(const TriangleMesh& mesh);

/// Whether the normals of a closed mesh point inwards, as computed ones do when the corners are in
/// the wrong order: then the volume that it encloses is negative. An open mesh encloses no volume;
/// its answer depends on its place.
bool PointsInwards(const TriangleMesh& mesh, const std::vector<Vec3f>& normals);

}  // namespace scene
