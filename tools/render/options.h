// Options: the command line of pcrender, checked.

#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/scene/scene_options.h"
#include "util/io/host_port.h"

namespace CLI {
class App;
}

namespace render {

/// Which light a picture shows.
enum class Light { kRadiosity, kDirect, kOcclusion, kIndirect, kSubsurface };

/// All options, with their defaults. Paths are as the user wrote them.
struct Options {
    std::string output;
    Light light = Light::kRadiosity;
    std::vector<std::string> clouds;
    bool truth = false;  ///< rays in place of clouds
    scene::SceneOptions scene;

    int samples = 16;                     ///< camera rays a pixel
    int shadow_rays = 16;                 ///< to the lamp, from each sample
    int rays = 256;                       ///< over the hemisphere of a sample, with `truth`
    std::string variable = "_radiosity";  ///< what is looked up
    std::optional<float> filter;          ///< radius of looking up
    std::optional<float> solid_angle;     ///< of groups of points, when gathering
    float reach = 1;                      ///< what is farther away does not occlude
    std::array<float, 3> ambient = {0.4f, 0.4f, 0.4f};
    std::array<float, 3> mean_free_path = {0.06f, 0.04f, 0.025f};  ///< below translucent surfaces

    std::string compare;     ///< another picture; empty: none
    std::string difference;  ///< the picture of the differences; empty: none
    int threads = 1;         ///< by default one for each processor
    bool quiet = false;
    std::optional<HostPort> monitor;  ///< that hears how the run goes
};

/// The command line, which parses into `*options`: for ParseOptions() and for describing it.
std::unique_ptr<CLI::App> MakeCommandLine(Options* options);

/// Fills `*options`; every value is within its range afterwards. Answers an exit status if the
/// program must end: 0 after printing the help or the version, 2 after reporting a wrong usage.
std::optional<int> ParseOptions(int argc, char** argv, Options* options);

}  // namespace render
