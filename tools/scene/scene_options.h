// SceneOptions: which scene the hosts draw or bake, and the command-line options that say so.

#pragma once

#include <string>

#include "tools/scene/scene.h"

namespace CLI {
class App;
}

namespace scene {

struct SceneOptions {
    std::string mesh;             ///< empty: the bundled scene
    double turn = 0;              ///< of the mesh, in degrees
    Sides sides = Sides::kOuter;  ///< of the mesh
    int density = 180;            ///< micropolygons along a wall of the room
    int grid = 16;                ///< and along a grid
    int particles = 0;            ///< single samples
    int width = 256;              ///< of the picture, in pixels
    int height = 256;
};

/// The options for the things in the room and for the picture.
void AddSceneOptions(CLI::App& app, SceneOptions* options);

/// The options for the number of micropolygons.
void AddDicingOptions(CLI::App& app, SceneOptions* options);

/// How finely the options dice.
Dicing DicingOf(const SceneOptions& options);

/// The room, the things in it and the dust. Throws as MakeMeshScene(). `mesh` is filled if a mesh
/// is chosen.
Scene MakeScene(const SceneOptions& options, MeshReport* mesh);

/// Tells the user about the mesh, on standard output.
void PrintMesh(const MeshReport& mesh);

}  // namespace scene
