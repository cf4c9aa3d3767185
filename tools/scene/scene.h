// Scene: the surfaces to bake, all their grids in one numbering, and the lamp that lights them.
//
// Units      world units; the room that holds every scene reaches from -1 to 1 on each axis.
// Errors     MakeMeshScene() throws Failure for a file that cannot be read or has no triangle.
// Ownership  a scene owns its surfaces.
// Threads    a scene does not change once made; any number of threads may read it.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/scene/surface.h"

namespace scene {

/// A parallelogram that shines to the side of Cross(edge_u, edge_v), equally bright from all sides.
struct AreaLight {
    Vec3f corner;
    Vec3f edge_u;
    Vec3f edge_v;
    Vec3f emission;

    /// The point at `u`, `v` from 0 to 1 along the edges.
    Vec3f At(float u, float v) const { return corner + edge_u * u + edge_v * v; }
};

class Scene {
public:
    explicit Scene(const AreaLight& light) : light_(light) {}

    /// Appends a surface: its grids get the next numbers.
    void Add(std::unique_ptr<Surface> surface);

    const AreaLight& Light() const { return light_; }
    const std::vector<std::unique_ptr<Surface>>& Surfaces() const { return surfaces_; }
    std::uint32_t GridCount() const { return first_grid_.back(); }

    /// Dices grid `grid` of the scene, and answers the surface that it belongs to.
    const Surface& Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const;

private:
    AreaLight light_;
    std::vector<std::unique_ptr<Surface>> surfaces_;
    std::vector<std::uint32_t> first_grid_{0};  ///< of each surface, and the number of all grids
};

/// A room with coloured walls and a lamp under its ceiling, open towards the eye, empty.
Scene MakeRoom(const Dicing& dicing);

/// How high things may be on the room's floor (y = -1) and how wide they may be, so that they
/// stay clear of walls, lamp and dust.
inline constexpr float kStageHeight = 1.3f;
inline constexpr float kStageWidth = 1.5f;

/// The room with a box, a sphere and a torus. Needs no file.
Scene MakeCornellBox(const Dicing& dicing);

/// Which side of a mesh is shaded.
enum class Sides {
    kOuter,    ///< where normals point: the file's; of a closed mesh without any, outwards; else by
               ///< the order of the corners
    kFlipped,  ///< the other one
    kSeen,     ///< the side of each facet that faces the camera
};

/// A mesh file, and the angle by which the mesh is turned about its vertical axis. Turning moves
/// its front, the +z side of the file, to the right.
struct MeshChoice {
    std::string file;
    double degrees;
    Sides sides = Sides::kOuter;
};

/// A mesh's figures for the user: its triangles, and the faces and triangles that were left out.
struct MeshReport {
    std::uint64_t triangles = 0;     ///< that are shaded
    std::uint64_t broken_faces = 0;  ///< with a vertex that does not exist or is not finite
    std::uint64_t without_area = 0;  ///< points, lines, and triangles that are no larger
    std::uint64_t complaints = 0;    ///< errors that the importer has repaired
    std::string first_complaint;
    bool is_closed = false;
};

/// The room with a mesh on its floor, scaled to fit. Formats: all that Assimp reads. Normals that
/// the file does not give are computed. Caller: the program has one thread.
Scene MakeMeshScene(const MeshChoice& choice, const Dicing& dicing, MeshReport* report);

}  // namespace scene
