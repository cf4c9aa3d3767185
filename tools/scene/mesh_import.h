// Mesh import: reads a file through Assimp, whose importers may fail badly on broken files.

#pragma once

#include <cstdint>
#include <string>

#include "tools/scene/mesh_file.h"

namespace scene {

/// Memory allowed for each byte that is read, and the fixed amount in addition.
inline constexpr std::uint64_t kImportShare = 100;
inline constexpr std::uint64_t kImportBase = std::uint64_t{256} << 20;

/// Reads all triangles of `file`. Throws Failure with the reason alone. Caller: is the work of a
/// BoundedChild with kImportBase; the limit grows by kImportShare for each byte that is read.
MeshFile ImportMesh(const std::string& file);

}  // namespace scene
