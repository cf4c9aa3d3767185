// Mesh files: reading through Assimp.

#include "tools/bake/mesh_file.h"

#include <assimp/config.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <fmt/format.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <cmath>

#include "tools/bake/failure.h"

namespace bake {

namespace {

/// Ends the bake. Assimp's reasons may have several lines; a failure has one.
[[noreturn]] void Fail(const std::string& file, std::string why) {
    std::replace(why.begin(), why.end(), '\n', ' ');
    throw Failure(fmt::format("cannot read mesh {}: {}", file, why));
}

/// Puts one part behind what is there. Faces that name a vertex that does not exist or that is not
/// a place (infinite, no number) are left out.
void AppendTriangles(const aiMesh& part, MeshFile* mesh) {
    const auto base = static_cast<std::uint32_t>(mesh->vertices.size());
    for (unsigned i = 0; i < part.mNumVertices; ++i) {
        const aiVector3D& v = part.mVertices[i];
        const aiVector3D n = part.HasNormals() ? part.mNormals[i] : aiVector3D();
        mesh->vertices.push_back({v.x, v.y, v.z});
        mesh->normals.push_back({n.x, n.y, n.z});
    }
    for (unsigned i = 0; i < part.mNumFaces; ++i) {
        const aiFace& face = part.mFaces[i];
        const bool usable =
            face.mNumIndices == 3 &&
            std::all_of(face.mIndices, face.mIndices + 3, [&](unsigned index) {
                if (index >= part.mNumVertices) return false;
                const aiVector3D& v = part.mVertices[index];
                return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
            });
        if (usable)
            mesh->triangles.push_back(
                {base + face.mIndices[0], base + face.mIndices[1], base + face.mIndices[2]});
    }
}

}  // namespace

MeshFile ReadMeshFile(const std::string& file) {
    // Faces become triangles, points and lines go, and every part is moved to where the file's
    // hierarchy puts it. Normals are left as they are: Assimp would smooth over every edge of a
    // part whose faces share vertices.
    Assimp::Importer importer;
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE,
                                aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    const aiScene* scene = importer.ReadFile(
        file, aiProcess_Triangulate | aiProcess_SortByPType | aiProcess_PreTransformVertices);
    if (!scene) Fail(file, importer.GetErrorString());

    MeshFile mesh;
    for (unsigned i = 0; i < scene->mNumMeshes; ++i) AppendTriangles(*scene->mMeshes[i], &mesh);
    if (mesh.triangles.empty()) Fail(file, "no triangles");
    return mesh;
}

}  // namespace bake
