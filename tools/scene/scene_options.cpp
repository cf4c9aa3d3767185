// SceneOptions: their names, ranges and help, with CLI11.

#include "tools/scene/scene_options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "tools/common/number.h"
#include "tools/common/option_values.h"

namespace scene {

namespace {

/// Keeps every product of two options within its type.
constexpr int kMostPixels = 16384;

/// Reads "WxH" as two numbers of pixels.
bool ParseSize(const std::string& text, int* width, int* height) {
    const auto fits = [](int pixels) { return pixels >= 1 && pixels <= kMostPixels; };
    return ParseTwoNumbers(text, 'x', width, height) && fits(*width) && fits(*height);
}

}  // namespace

void AddSceneOptions(CLI::App& app, SceneOptions* options) {
    CLI::Option* const mesh =
        app.add_option("--mesh", options->mesh, "put the mesh of FILE in the room (OBJ, PLY, ...)")
            ->type_name("FILE")
            ->transform(FileName())
            ->group("Scene");
    app.add_option("--turn", options->turn, "turn the mesh, in degrees; its front goes right")
        ->type_name("NUMBER")
        ->check(Within(-360.0, 360.0, "-360 to 360"))
        ->needs(mesh)
        ->group("Scene");
    CLI::Option* const flip = app.add_flag_callback(
                                     "--flip", [options] { options->sides = Sides::kFlipped; },
                                     "shade the other side of the mesh")
                                  ->needs(mesh)
                                  ->group("Scene");
    app.add_flag_callback(
           "--two-sided", [options] { options->sides = Sides::kSeen; },
           "shade the side of every facet of the mesh that faces the camera")
        ->needs(mesh)
        ->excludes(flip)
        ->group("Scene");
    app.add_option("--particles", options->particles, "add N specks of dust, single samples")
        ->type_name("N")
        ->check(Count(0, 10'000'000))
        ->group("Scene");
    app.add_option_function<std::string>(
           "--size",
           [options](const std::string& text) {
               if (!ParseSize(text, &options->width, &options->height))
                   throw CLI::ValidationError(
                       "--size", fmt::format("must be WxH, each 1 to {}", kMostPixels));
           },
           fmt::format("resolution of the camera ({}x{})", options->width, options->height))
        ->type_name("WxH")
        ->group("Scene");
}

void AddDicingOptions(CLI::App& app, SceneOptions* options) {
    app.add_option("--density", options->density, "micropolygons along a wall of the room")
        ->capture_default_str()
        ->type_name("N")
        ->check(Count(2, 8192))
        ->group("Shading");
    app.add_option("--grid", options->grid, "micropolygons along a grid")
        ->capture_default_str()
        ->type_name("N")
        ->check(Count(2, 128))
        ->group("Shading");
}

}  // namespace scene
