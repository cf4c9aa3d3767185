// Vertex normals for meshes without them: smooth over gentle edges, creased at sharp ones.

#pragma once

#include <vector>

#include "tools/scene/surface.h"

namespace scene {

/// The cross product of two of the triangle's edges: along its normal, its length twice its area.
Vec3f Span(const TriangleMesh& mesh, std::size_t triangle);

/// Makes `*normals` complete: one for each vertex of the mirrored `*mesh`, all of unit length.
/// Keeps those that exist. A vertex without a usable one (null or NaN) gets the mean of the
/// triangles around its place; a vertex on a sharp edge becomes several vertices, one for each
/// side. Caller: every triangle has an area.
void CompleteNormals(TriangleMesh* mesh, std::vector<Vec3f>* normals);

}  // namespace scene
