// Options: their names, ranges and help, with CLI11.

#include "tools/bake/options.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <limits>
#include <thread>

#include "tools/common/help_format.h"
#include "tools/common/number.h"
#include "tools/common/option_values.h"
#include "tools/common/parse_error.h"

namespace bake {

namespace {

constexpr const char* kAbout =
    "Plays the renderer: shades a scene and hands it to a display driver as deep data.";

// Limits that keep every product of two options within its type.
constexpr int kMostPixels = 16384;
constexpr int kMostThreads = 256;
constexpr float kMostFloat = std::numeric_limits<float>::max();

/// Reads "WxH" as two numbers of pixels.
bool ParseSize(const std::string& text, int* width, int* height) {
    const auto fits = [](int pixels) { return pixels >= 1 && pixels <= kMostPixels; };
    return ParseTwoNumbers(text, 'x', width, height) && fits(*width) && fits(*height);
}

/// The options for the things in the room and for the picture.
void AddSceneOptions(CLI::App& app, Options* options) {
    CLI::Option* const mesh =
        app.add_option("--mesh", options->mesh, "put the mesh of FILE in the room (OBJ, PLY, ...)")
            ->type_name("FILE")
            ->check(FileName())
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
           "resolution of the camera (256x256)")
        ->type_name("WxH")
        ->group("Scene");
}

/// The options for the number and the quality of samples.
void AddShadingOptions(CLI::App& app, Options* options) {
    app.add_option("--density", options->density, "micropolygons along a wall of the room")
        ->capture_default_str()
        ->type_name("N")
        ->check(Count(2, 2048))
        ->group("Shading");
    app.add_option("--grid", options->grid, "micropolygons along a grid")
        ->capture_default_str()
        ->type_name("N")
        ->check(Count(2, 128))
        ->group("Shading");
    app.add_option("--rays", options->quality.rays, "rays over the hemisphere of a sample")
        ->capture_default_str()
        ->type_name("N")
        ->check(Count(1, 65536))
        ->group("Shading");
    app.add_flag("--bounce,!--no-bounce", options->quality.bounce, "light from other surfaces (on)")
        ->group("Shading");
    app.add_option("--threads", options->threads, "threads that shade (one for each processor)")
        ->type_name("N")
        ->check(Count(1, kMostThreads))
        ->group("Shading");
}

/// One option for each parameter of the driver; a parameter is sent only when its option is given.
void AddDriverOptions(CLI::App& app, DriverSettings* settings) {
    constexpr const char* kGroup = "Driver parameters (sent only when given)";
    // A flag that is not given stays absent; its opposite is sent as 0.
    const auto flag = [&](const char* names, std::optional<bool>* value, const char* help) {
        app.add_flag_function(
               names, [value](std::int64_t count) { *value = count > 0; }, help)
            ->group(kGroup);
    };
    flag("--eliminate-duplicates,!--keep-duplicates", &settings->eliminate_duplicates,
         "drop grids that come twice");
    flag("--simplify,!--no-simplify", &settings->simplify, "merge neighbouring points");
    flag("--raster-space,!--no-raster-space", &settings->raster_space,
         "measure distances in pixels");
    app.add_option("--max-dist", settings->max_dist, "largest distance of points that merge")
        ->type_name("NUMBER")
        ->check(Within(0.0f, kMostFloat, "0 or more"))
        ->group(kGroup);
    app.add_option("--min-dot", settings->min_dot, "least dot product of their normals")
        ->type_name("NUMBER")
        ->check(Within(-1.0f, 1.0f, "-1 to 1"))
        ->group(kGroup);
    app.add_option("--max-diff", settings->max_diff,
                   "largest difference of a channel; below 0: any")
        ->type_name("NUMBER")
        ->check(Within(-kMostFloat, kMostFloat, "a number"))
        ->group(kGroup);
    app.add_option("--buffer-size", settings->buffer_size, "points that are merged at a time")
        ->type_name("N")
        ->check(Within(1, std::numeric_limits<int>::max(), "1 or more"))
        ->group(kGroup);
}

}  // namespace

std::unique_ptr<CLI::App> MakeCommandLine(Options* options) {
    auto app = std::make_unique<CLI::App>(kAbout, "pcbake");
    app->formatter(std::make_shared<HelpFormat>());
    app->set_version_flag("--version", "pcbake " TOOLS_VERSION);
    app->footer("Exit status: 0 done, 1 failed, 2 wrong usage.");
    app->option_defaults()->take_last();  // the last of several wins
    app->add_option("--driver", options->driver, "the display driver, a shared object")
        ->type_name("FILE")
        ->check(FileName())
        ->required();
    app->add_option("--output", options->output, "the file that the driver makes")
        ->capture_default_str()
        ->type_name("FILE")
        ->check(FileName());
    app->add_flag("--ascii", options->ascii, "ask the driver for its text form");
    app->add_flag("--quiet", options->quiet, "no progress bar, no summary");
    AddSceneOptions(*app, options);
    AddShadingOptions(*app, options);
    AddDriverOptions(*app, &options->settings);
    return app;
}

std::optional<int> ParseOptions(int argc, char** argv, Options* options) {
    options->threads =
        std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMostThreads);
    const std::unique_ptr<CLI::App> app = MakeCommandLine(options);
    try {
        app->parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        return AnswerParseError("pcbake", *app, stop);
    }
    return std::nullopt;
}

}  // namespace bake
