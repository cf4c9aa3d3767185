// The room with a mesh on its floor: fitting the mesh to the stage, taking care of its normals.
//
// Camera, lamp and walls stay where they are for every mesh: it is the mesh that is scaled, so that
// it is seen whole, lit from above and given colour by the walls, whatever its units.

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <utility>

#include <fmt/format.h>

#include "tools/bake/failure.h"
#include "tools/bake/mesh_file.h"
#include "tools/bake/mesh_normals.h"
#include "tools/bake/mesh_surface.h"
#include "tools/bake/scene.h"

namespace bake {

namespace {

/// Bright and nearly grey: the colours on it are those of the walls.
constexpr Material kClay = {{0.72f, 0.66f, 0.58f}, {}};

/// Just above the room's floor, so that a flat mesh does not coincide with it.
constexpr double kStand = -0.998;

/// Turns vertices and normals about the y axis: +z goes towards +x.
void Turn(double degrees, MeshFile* file) {
    const double angle = degrees * std::numbers::pi / 180;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    for (MeshFile::Vertex& v : file->vertices) v = {c * v.x + s * v.z, v.y, c * v.z - s * v.x};
    const auto cf = static_cast<float>(c);
    const auto sf = static_cast<float>(s);
    for (Vec3& n : file->normals) n = {cf * n.x + sf * n.z, n.y, cf * n.z - sf * n.x};
}

/// The mesh's vertices in the room, standing on the middle of the stage. Files are right-handed
/// with their front at +z: z is mirrored, so that the front faces the eye and left stays left.
std::vector<Vec3> FitToStage(const MeshFile& file) {
    constexpr double kMost = std::numeric_limits<double>::max();
    MeshFile::Vertex low = {kMost, kMost, kMost};
    MeshFile::Vertex high = {-kMost, -kMost, -kMost};
    for (const auto& triangle : file.triangles) {
        for (const std::uint32_t index : triangle) {
            const MeshFile::Vertex& v = file.vertices[index];
            low = {std::min(low.x, v.x), std::min(low.y, v.y), std::min(low.z, v.z)};
            high = {std::max(high.x, v.x), std::max(high.y, v.y), std::max(high.z, v.z)};
        }
    }
    // A flat mesh has an extent of zero, and then the others decide: no extent divides by zero.
    const double scale =
        1 / std::max({(high.y - low.y) / kStageHeight, (high.x - low.x) / kStageWidth,
                      (high.z - low.z) / kStageWidth, std::numeric_limits<double>::min()});
    std::vector<Vec3> vertices;
    vertices.reserve(file.vertices.size());
    for (const MeshFile::Vertex& v : file.vertices) {
        vertices.push_back({static_cast<float>((v.x - (low.x + high.x) / 2) * scale),
                            static_cast<float>((v.y - low.y) * scale + kStand),
                            static_cast<float>(((low.z + high.z) / 2 - v.z) * scale)});
    }
    return vertices;
}

/// Whether the normals of a mesh point inwards on the whole, as those of a closed mesh with its
/// corners in the wrong order do: the volume that it encloses is negative then.
bool PointsInwards(const TriangleMesh& mesh, const std::vector<Vec3>& normals) {
    constexpr Vec3 kMiddle = {0, -1 + kStageHeight / 2, 0};
    double volume = 0;
    for (std::size_t i = 0; i < mesh.triangles.size(); ++i) {
        const auto& [a, b, c] = mesh.triangles[i];
        const Vec3 span = Span(mesh, i);
        const bool along = Dot(span, normals[a] + normals[b] + normals[c]) > 0;
        volume += Dot(mesh.vertices[a] - kMiddle, along ? span : -span);
    }
    return volume < 0;
}

}  // namespace

Scene MakeMeshScene(const MeshChoice& choice, const Dicing& dicing) {
    MeshFile file = ReadMeshFile(choice.file);
    Turn(choice.degrees, &file);
    TriangleMesh mesh{FitToStage(file), file.triangles};
    // What has no area has no normal and no samples.
    std::vector<std::array<std::uint32_t, 3>> with_area;
    for (std::size_t i = 0; i < mesh.triangles.size(); ++i)
        if (Length(Span(mesh, i)) > 0) with_area.push_back(mesh.triangles[i]);
    mesh.triangles = std::move(with_area);
    if (mesh.triangles.empty())
        throw Failure(fmt::format("cannot read mesh {}: no triangle has an area", choice.file));

    // A file that gives normals knows its sides; computed ones follow the order of the corners.
    std::vector<Vec3> normals = std::move(file.normals);
    for (Vec3& normal : normals) normal.z = -normal.z;  // mirrored like the vertices
    const bool computed = std::none_of(normals.begin(), normals.end(),
                                       [](Vec3 normal) { return Dot(normal, normal) > 0; });
    CompleteNormals(&mesh, &normals);
    if (computed && PointsInwards(mesh, normals))
        for (Vec3& normal : normals) normal = -normal;

    Scene scene = MakeRoom(dicing);
    scene.Add(std::make_unique<MeshSurface>(kClay, dicing, std::move(mesh), std::move(normals)));
    return scene;
}

}  // namespace bake
