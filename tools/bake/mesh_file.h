// Mesh files: the triangles and vertex normals of any file that Assimp reads.

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/bake/vec3.h"

namespace bake {

/// A file's triangles in its own coordinates, right-handed, every part where the file places it.
struct MeshFile {
    /// Coordinates may be large numbers with small differences, hence double.
    struct Vertex {
        double x, y, z;
    };
    std::vector<Vertex> vertices;
    std::vector<Vec3> normals;  ///< one for each vertex, of any length, null where there is none
    std::vector<std::array<std::uint32_t, 3>> triangles;  ///< of finite vertices
};

/// Reads all triangles of `file`. Throws Failure when it cannot be read or has no triangle.
MeshFile ReadMeshFile(const std::string& file);

}  // namespace bake
