// Mesh import: a file through Assimp, which is not to be trusted with broken ones.

#pragma once

#include <cstdint>
#include <string>

#include "tools/bake/mesh_file.h"

namespace bake {

/// Memory for each byte that is read, and for what does not grow with them.
inline constexpr std::uint64_t kImportShare = 100;
inline constexpr std::uint64_t kImportBase = std::uint64_t{256} << 20;

/// Reads all triangles of `file`. Throws Failure with the reason alone. Caller: a BoundedChild's
/// work with kImportBase, which gets kImportShare more for every byte of the files that are read.
MeshFile ImportMesh(const std::string& file);

}  // namespace bake
