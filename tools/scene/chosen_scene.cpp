// SceneOptions: the scene that they choose.

#include <fmt/format.h>

#include <cstdint>
#include <memory>

#include "tools/scene/particles.h"
#include "tools/scene/scene_options.h"
#include "util/text/printable_text.h"

namespace scene {

Dicing DicingOf(const SceneOptions& options) {
    return {2.0f / static_cast<float>(options.density), options.grid};
}

Scene MakeScene(const SceneOptions& options, MeshReport* mesh) {
    const Dicing dicing = DicingOf(options);
    Scene scene = options.mesh.empty()
                      ? MakeCornellBox(dicing)
                      : MakeMeshScene({options.mesh, options.turn, options.sides}, dicing, mesh);
    // The dust comes last, so that it does not change the numbers, and so the seeds, of the other
    // grids.
    if (options.particles > 0)
        scene.Add(std::make_unique<Particles>(static_cast<std::uint32_t>(options.particles),
                                              dicing.size, scene.Light().At(0.5f, 0.5f)));
    return scene;
}

void PrintMesh(const MeshReport& mesh) {
    fmt::print("mesh       {} triangles, {}\n", mesh.triangles, mesh.is_closed ? "closed" : "open");
    if (mesh.broken_faces + mesh.without_area > 0)
        fmt::print("left out   {} broken faces, {} without area\n", mesh.broken_faces,
                   mesh.without_area);
    if (mesh.complaints > 0)
        fmt::print("importer   {} mended, first: {}\n", mesh.complaints,
                   Printable(mesh.first_complaint));
}

}  // namespace scene
