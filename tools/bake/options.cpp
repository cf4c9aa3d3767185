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
#include "tools/common/report_option.h"

namespace bake {

namespace {

constexpr const char* kAbout =
    "Plays the renderer: shades a scene and hands it to a display driver as deep data.";

constexpr int kMostThreads = 256;
constexpr float kMostFloat = std::numeric_limits<float>::max();

/// The options for the number and the quality of samples.
void AddShadingOptions(CLI::App& app, Options* options) {
    scene::AddDicingOptions(app, &options->scene);
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

/// Reads "I/N", plain digits.
bool ParsePart(const std::string& text, Part* part) {
    return ParseTwoNumbers(text, '/', &part->number, &part->count) && part->number >= 1 &&
           part->number <= part->count && part->count <= kMostParts;
}

void AddPartOption(CLI::App& app, Part* part) {
    app.add_option_function<std::string>(
           "--part",
           [part](const std::string& text) {
               if (!ParsePart(text, part))
                   throw CLI::ValidationError(
                       "--part", fmt::format("must be I/N, N 1 to {}, I 1 to N", kMostParts));
           },
           "bake the I-th of N shares; ptc merge joins them")
        ->type_name("I/N");
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
    AddPartOption(*app, &options->part);
    AddReportOption(*app, &options->monitor);
    scene::AddSceneOptions(*app, &options->scene);
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
