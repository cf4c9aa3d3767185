// Options: the command line of pcbake, checked.

#pragma once

#include <optional>
#include <string>

#include "tools/bake/image_request.h"
#include "tools/bake/scene.h"
#include "tools/bake/shader.h"

namespace bake {

/// What the program is to do, with the defaults. Paths are as the user wrote them.
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
    int threads = 1;  ///< that shade; by default one for each processor
    bool ascii = false;
    bool quiet = false;
    DriverSettings settings;
};

/// Fills `*options`; every value is within its range afterwards. The answer: the exit status when
/// the program has nothing left to do: 0 after printing the help or the version, 2 after saying
/// what is wrong.
std::optional<int> ParseOptions(int argc, char** argv, Options* options);

}  // namespace bake
