// Mesh import: reads a file, removes broken faces, makes triangles.

#include "tools/scene/mesh_import.h"

#include <assimp/DefaultIOSystem.h>
#include <assimp/config.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <sys/stat.h>

#include <algorithm>
#include <assimp/DefaultLogger.hpp>
#include <assimp/Importer.hpp>
#include <assimp/LogStream.hpp>
#include <cmath>
#include <set>
#include <string_view>
#include <utility>

#include "tools/common/failure.h"
#include "tools/scene/bounded_child.h"

namespace scene {

namespace {

/// The system's files. Each file that is opened raises the memory limit by its size: a format may
/// spread a mesh over several files, and a header may name more data than any file contains.
class AccountedFiles : public Assimp::DefaultIOSystem {
public:
    Assimp::IOStream* Open(const char* file, const char* mode) override {
        struct stat status {};
        if (stat(file, &status) == 0 && status.st_size > 0 && opened_.insert(file).second)
            BoundedChild::AllowMore(static_cast<std::uint64_t>(status.st_size) * kImportShare);
        return Assimp::DefaultIOSystem::Open(file, mode);
    }

private:
    std::set<std::string> opened_;
};

/// Counts the errors after which Assimp continues: it repairs such places in its own way.
class Complaints : public Assimp::LogStream {
public:
    explicit Complaints(MeshFile* mesh) : mesh_(*mesh) {}

    void write(const char* line) override {
        // The line begins with "Error, T0: " and ends with a newline.
        std::string_view text = line;
        const std::size_t colon = text.find(": ");
        if (colon != text.npos) text.remove_prefix(colon + 2);
        if (mesh_.complaints++ == 0) mesh_.first_complaint = text.substr(0, text.find('\n'));
    }

private:
    MeshFile& mesh_;
};

/// Assimp's reason, on one line. When memory runs out, Assimp's text is an exception's name.
[[noreturn]] void Fail(std::string why) {
    const auto has = [&](const char* name) { return why.find(name) != why.npos; };
    if (has("bad_alloc") || has("bad_array_new_length") || has("vector::"))
        throw Failure("takes more memory than the file accounts for");
    std::replace(why.begin(), why.end(), '\n', ' ');
    throw Failure(why);
}

bool IsPlace(const aiVector3D& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

bool IsWhole(const aiFace& face, const aiMesh& part) {
    return std::all_of(face.mIndices, face.mIndices + face.mNumIndices, [&](unsigned index) {
        return index < part.mNumVertices && IsPlace(part.mVertices[index]);
    });
}

/// Removes faces with a vertex that does not exist or is not finite, because later steps would use
/// it unchecked. Counts them, and points and lines.
void DropBrokenFaces(aiMesh* part, MeshFile* mesh) {
    unsigned kept = 0;
    for (unsigned i = 0; i < part->mNumFaces; ++i) {
        aiFace& face = part->mFaces[i];
        if (face.mNumIndices == 0 || !IsWhole(face, *part)) {
            ++mesh->broken_faces;
            continue;
        }
        if (face.mNumIndices < 3) ++mesh->flat_faces;
        if (kept != i) std::swap(part->mFaces[kept], face);
        ++kept;
    }
    part->mNumFaces = kept;
}

/// Appends one part.
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
        // A vertex may have become infinite when it was moved to its place.
        if (face.mNumIndices == 3 && IsWhole(face, part))
            mesh->triangles.push_back(
                {base + face.mIndices[0], base + face.mIndices[1], base + face.mIndices[2]});
        else
            ++mesh->broken_faces;
    }
}

/// The scene as the file has it, without broken faces. Caller: `importer` has read it.
void SortOutFaces(Assimp::Importer& importer, MeshFile* mesh) {
    // The importer returns its scene as constant, but its later steps use the changed scene.
    auto* const scene = const_cast<aiScene*>(importer.GetScene());
    std::uint64_t points = 0;
    std::uint64_t faces = 0;
    for (unsigned i = 0; i < scene->mNumMeshes; ++i) {
        DropBrokenFaces(scene->mMeshes[i], mesh);
        points += scene->mMeshes[i]->mNumVertices;
        faces += scene->mMeshes[i]->mNumFaces;
    }
    if (faces > mesh->flat_faces) return;
    if (mesh->broken_faces > 0) throw Failure("all faces are broken");
    if (points > 0) throw Failure("points only: it has no faces");
    throw Failure("no triangles");
}

}  // namespace

MeshFile ImportMesh(const std::string& file) {
    MeshFile mesh;
    // Assimp owns both from here on.
    Assimp::DefaultLogger::create(nullptr, Assimp::Logger::NORMAL, 0);
    Assimp::DefaultLogger::get()->attachStream(new Complaints(&mesh), Assimp::Logger::Err);

    // Makes triangles of the faces, removes points and lines, and moves every part to its place in
    // the file's hierarchy. Does not compute normals: Assimp would smooth over every edge of a part
    // whose faces share vertices.
    Assimp::Importer importer;
    importer.SetIOHandler(new AccountedFiles);
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE,
                                aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    if (!importer.ReadFile(file, 0)) Fail(importer.GetErrorString());
    SortOutFaces(importer, &mesh);
    const aiScene* const scene = importer.ApplyPostProcessing(
        aiProcess_Triangulate | aiProcess_SortByPType | aiProcess_PreTransformVertices);
    if (!scene) Fail(importer.GetErrorString());
    for (unsigned i = 0; i < scene->mNumMeshes; ++i) AppendTriangles(*scene->mMeshes[i], &mesh);
    if (mesh.triangles.empty()) Fail("no triangles");
    Assimp::DefaultLogger::kill();
    return mesh;
}

}  // namespace scene
