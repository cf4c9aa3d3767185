// Vertex normals for meshes that come without: smooth over gentle edges, creased at sharp ones.

#pragma once

#include <vector>

#include "tools/bake/surface.h"

namespace bake {

/// The cross product of two of the triangle's edges: along its normal, as long as twice its area.
Vec3f Span(const TriangleMesh& mesh, std::size_t triangle);

/// Makes `*normals`, one for each vertex of the mirrored `*mesh`, all of unit length. Those that
/// are there are kept. A vertex without a usable one (null, or no number) gets the mean of the
/// triangles around its place; where a sharp edge runs through it, it becomes several vertices, one
/// for each side. Caller: every triangle has an area.
void CompleteNormals(TriangleMesh* mesh, std::vector<Vec3f>* normals);

}  // namespace bake
