// Options: the command line of pcbake, checked.

#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/bake/image_request.h"
#include "tools/bake/part.h"
#include "tools/scene/scene_options.h"
#include "tools/scene/shader.h"
#include "util/io/host_port.h"

namespace CLI {
class App;
}

namespace bake {

/// All options, with their defaults. Paths are as the user wrote them.
struct Options {
    std::string driver;
    std::string output = "bake.ptc";
    scene::SceneOptions scene;
    scene::Quality quality = {256, true};
    int threads = 1;  ///< for shading; by default one for each processor
    Part part;        ///< of the plan; by default all of it
    bool ascii = false;
    bool quiet = false;
    std::optional<HostPort> monitor;  ///< that hears how the run goes
    DriverSettings settings;
};

/// The command line, which parses into `*options`: for ParseOptions() and for describing it.
std::unique_ptr<CLI::App> MakeCommandLine(Options* options);

/// Fills `*options`; every value is within its range afterwards. Answers an exit status if the
/// program must end: 0 after printing the help or the version, 2 after reporting a wrong usage.
std::optional<int> ParseOptions(int argc, char** argv, Options* options);

}  // namespace bake
