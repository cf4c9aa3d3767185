// Options: the command line of pcbake, checked.

#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/bake/image_request.h"
#include "tools/bake/scene.h"
#include "tools/bake/shader.h"

namespace CLI {
class App;
}

namespace bake {

/// All options, with their defaults. Paths are as the user wrote them.
struct Options {
    std::string driver;
    std::string output = "bake.ptc";
    std::string mesh;             ///< empty: the bundled scene
    double turn = 0;              ///< of the mesh, in degrees
    Sides sides = Sides::kOuter;  ///< of the mesh
    int density = 180;            ///< micropolygons along a wall of the room
    int grid = 16;                ///< and along a grid
    int particles = 0;            ///< single samples
    int width = 256;              ///< of the picture, in pixels
    int height = 256;
    Quality quality = {256, true};
    int threads = 1;  ///< for shading; by default one for each processor
    bool ascii = false;
    bool quiet = false;
    DriverSettings settings;
};

/// The command line, which parses into `*options`: for ParseOptions() and for describing it.
std::unique_ptr<CLI::App> MakeCommandLine(Options* options);

/// Fills `*options`; every value is within its range afterwards. Answers an exit status if the
/// program must end: 0 after printing the help or the version, 2 after reporting a wrong usage.
std::optional<int> ParseOptions(int argc, char** argv, Options* options);

}  // namespace bake
