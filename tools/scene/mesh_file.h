// Mesh files: the triangles and vertex normals of any file that Assimp reads.

#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "util/math/vec3.h"

namespace scene {

/// A file's triangles in the file's coordinates, right-handed, with all parts in their places.
struct MeshFile {
    std::vector<Vec3d> vertices;
    std::vector<Vec3f> normals;  ///< one for each vertex, of any length, null where there is none
    std::vector<std::array<std::uint32_t, 3>> triangles;  ///< of finite vertices

    std::uint64_t broken_faces = 0;  ///< left out: a vertex does not exist or is not finite
    std::uint64_t flat_faces = 0;    ///< left out: points and lines
    std::uint64_t complaints = 0;    ///< errors that the importer has repaired
    std::string first_complaint;
};

/// Reads all triangles of `file`, in a process of its own whose memory is bounded by the size of
/// the file, because importers allocate whatever a header says. Caller: the program has one thread.
/// Throws Failure when the file cannot be read or has no triangle.
MeshFile ReadMeshFile(const std::string& file);

}  // namespace scene
