// Options: the command line of pcbake, checked.

#pragma once

#include <optional>
#include <string>

#include "tools/bake/image_request.h"
#include "tools/bake/shader.h"

namespace bake {

struct Options {
    std::string driver;
    std::string output = "bake.ptc";
    std::string mesh;  ///< empty: the bundled scene
    double turn = 0;   ///< of the mesh, in degrees
    int density = 180;
    int grid = 16;
    int particles = 0;
    int width = 256;
    int height = 256;
    Quality quality = {256, true};
    int threads = 1;
    bool ascii = false;
    bool quiet = false;
    DriverSettings settings;
};

/// Fills `*options`; every value is within its range afterwards. Answers the exit status when the
/// program has nothing left to do: 0 after printing the help, 2 after saying what is wrong.
std::optional<int> ParseOptions(int argc, char** argv, Options* options);

}  // namespace bake
