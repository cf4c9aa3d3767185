// The room with a mesh on its floor: fits the mesh to the stage, and prepares its normals.
//
// Camera, lamp and walls are the same for every mesh. The mesh is scaled, so that for any units all
// of it is seen, lit from above and coloured by the walls.

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <numbers>
#include <optional>
#include <utility>

#include "tools/common/failure.h"
#include "tools/scene/camera.h"
#include "tools/scene/mesh_file.h"
#include "tools/scene/mesh_normals.h"
#include "tools/scene/mesh_sides.h"
#include "tools/scene/mesh_surface.h"
#include "tools/scene/scene.h"

namespace scene {

namespace {

/// Bright and nearly grey, so that the walls give the mesh its colours.
constexpr Material kClay = {{0.72f, 0.66f, 0.58f}, {}, true};

/// Just above the room's floor, so that a flat mesh does not coincide with it.
constexpr double kStand = -0.998;

/// Turns vertices and normals about the y axis, from +z towards +x.
void Turn(double degrees, MeshFile* file) {
    const double angle = degrees * std::numbers::pi / 180;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    for (Vec3d& v : file->vertices) v = {c * v.x + s * v.z, v.y, c * v.z - s * v.x};
    const auto cf = static_cast<float>(c);
    const auto sf = static_cast<float>(s);
    for (Vec3f& n : file->normals) n = {cf * n.x + sf * n.z, n.y, cf * n.z - sf * n.x};
}

/// The mesh's vertices in the room, in the middle of the stage. Files are right-handed with their
/// front at +z. So z is mirrored: the front faces the eye, and left stays left.
std::vector<Vec3f> FitToStage(const MeshFile& file) {
    constexpr double kMost = std::numeric_limits<double>::max();
    Vec3d low = {kMost, kMost, kMost};
    Vec3d high = {-kMost, -kMost, -kMost};
    for (const auto& triangle : file.triangles) {
        for (const std::uint32_t index : triangle) {
            const Vec3d& v = file.vertices[index];
            low = Least(low, v);
            high = Most(high, v);
        }
    }
    // The largest extent decides. The last term keeps the division finite when all extents are 0.
    const double scale =
        1 / std::max({(high.y - low.y) / kStageHeight, (high.x - low.x) / kStageWidth,
                      (high.z - low.z) / kStageWidth, std::numeric_limits<double>::min()});
    std::vector<Vec3f> vertices;
    vertices.reserve(file.vertices.size());
    for (const Vec3d& v : file.vertices) {
        vertices.push_back({static_cast<float>((v.x - (low.x + high.x) / 2) * scale),
                            static_cast<float>((v.y - low.y) * scale + kStand),
                            static_cast<float>(((low.z + high.z) / 2 - v.z) * scale)});
    }
    return vertices;
}

/// Removes triangles without an area: they have no normal and no samples.
void DropFlat(TriangleMesh* mesh) {
    std::vector<std::array<std::uint32_t, 3>> with_area;
    for (std::size_t i = 0; i < mesh->triangles.size(); ++i)
        if (Length(Span(*mesh, i)) > 0) with_area.push_back(mesh->triangles[i]);
    mesh->triangles = std::move(with_area);
}

/// The normals of all vertices, of unit length, on the side that is to be shaded. Normals from the
/// file are on its outer side. Computed ones depend on the order of the corners, which may be
/// wrong; for a closed mesh, its volume shows whether it is.
std::vector<Vec3f> MakeNormals(std::vector<Vec3f> normals, bool is_closed, Sides sides,
                               TriangleMesh* mesh) {
    for (Vec3f& normal : normals) normal.z = -normal.z;  // mirrored like the vertices
    const bool computed = std::none_of(normals.begin(), normals.end(),
                                       [](Vec3f normal) { return Dot(normal, normal) > 0; });
    CompleteNormals(mesh, &normals);
    const bool turned = computed && is_closed && PointsInwards(*mesh, normals);
    if (turned != (sides == Sides::kFlipped))
        for (Vec3f& normal : normals) normal = -normal;
    return normals;
}

}  // namespace

Scene MakeMeshScene(const MeshChoice& choice, const Dicing& dicing, MeshReport* report) {
    MeshFile file = ReadMeshFile(choice.file);
    Turn(choice.degrees, &file);
    TriangleMesh mesh{FitToStage(file), file.triangles};
    // Computed before the flat triangles are removed, because they may close gaps between others.
    const bool is_closed = IsClosed(mesh);
    DropFlat(&mesh);
    if (mesh.triangles.empty())
        throw Failure(fmt::format("cannot read mesh {}: no triangle has an area", choice.file));
    *report = {mesh.triangles.size(),
               file.broken_faces,
               file.flat_faces + file.triangles.size() - mesh.triangles.size(),
               file.complaints,
               file.first_complaint,
               is_closed};

    std::vector<Vec3f> normals =
        MakeNormals(std::move(file.normals), is_closed, choice.sides, &mesh);
    std::optional<Vec3f> eye;
    if (choice.sides == Sides::kSeen) eye = Camera::Eye();
    Scene scene = MakeRoom(dicing);
    scene.Add(
        std::make_unique<MeshSurface>(kClay, dicing, std::move(mesh), std::move(normals), eye));
    return scene;
}

}  // namespace scene
