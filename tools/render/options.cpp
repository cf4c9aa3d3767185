// Options: their names, ranges and help, with CLI11.

#include "tools/render/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <system_error>

#include "tools/common/help_format.h"
#include "tools/common/option_text.h"
#include "tools/common/option_values.h"
#include "tools/common/parse_error.h"
#include "tools/common/report_option.h"
#include "tools/common/thread_option.h"
#include "tools/picture/picture_file.h"

namespace render {

namespace {

constexpr const char* kAbout =
    "Draws a scene with light that is looked up in point clouds or gathered from them.";

constexpr float kMostFloat = std::numeric_limits<float>::max();

const std::map<std::string, Light>& LightNames() {
    static const std::map<std::string, Light> names = {{"radiosity", Light::kRadiosity},
                                                       {"direct", Light::kDirect},
                                                       {"occlusion", Light::kOcclusion},
                                                       {"indirect", Light::kIndirect},
                                                       {"subsurface", Light::kSubsurface}};
    return names;
}

/// Marks an option whose value is a picture's file.
CLI::Validator PictureName() {
    return CLI::Validator(
        [](std::string& name) {
            return PictureFormOf(name) ? std::string() : "must end with .png or .exr";
        },
        "", kFileMark);
}

void AddOutputOptions(CLI::App& app, Options* options) {
    app.add_option("-o,--output", options->output, "the picture, .png or .exr")
        ->type_name("PICTURE")
        ->check(PictureName())
        ->required();
    CLI::Option* const compare =
        app.add_option("--compare", options->compare,
                       "print how far the picture is from another one, in linear values")
            ->type_name("PICTURE")
            ->check(PictureName());
    app.add_option("--difference", options->difference,
                   "a picture of the differences, without their signs")
        ->type_name("PICTURE")
        ->check(PictureName())
        ->needs(compare);
    app.add_flag("--quiet", options->quiet, "no progress bar, no summary");
    AddReportOption(app, &options->monitor);
}

void AddLightOptions(CLI::App& app, Options* options) {
    constexpr const char* kGroup = "Light";
    app.add_option_function<std::string>(
           "--light",
           [options](const std::string& name) {
               const auto found = LightNames().find(name);
               if (found == LightNames().end())
                   throw CLI::ValidationError(
                       "--light", "must be radiosity, direct, occlusion, indirect or subsurface");
               options->light = found->second;
           },
           "what lights the scene (radiosity)")
        ->type_name("radiosity|direct|occlusion|indirect|subsurface")
        ->group(kGroup);
    CLI::Option* const clouds =
        app.add_option("--cloud", options->clouds, "point clouds that the light comes from")
            ->type_name("FILE")
            ->check(FileName())
            ->take_all()
            ->group(kGroup);
    app.add_flag("--truth", options->truth, "trace rays in place of asking clouds")
        ->excludes(clouds)
        ->group(kGroup);
}

/// Options that work with one kind of light each, whose name begins their help.
void AddModeOptions(CLI::App& app, Options* options) {
    constexpr const char* kGroup = "Light";
    app.add_option("--variable", options->variable, "radiosity: the color that is looked up")
        ->capture_default_str()
        ->type_name("NAME")
        ->group(kGroup);
    app.add_option_function<std::string>(
           "--filter",
           [options](const std::string& text) {
               options->filter =
                   NumberWithin("--filter", text, 0, kMostFloat, "must be 0 or more, and finite");
           },
           "radiosity: radius of the filter (1.5 times the distance between neighbours)")
        ->type_name("RADIUS")
        ->group(kGroup);
    app.add_option_function<std::string>(
           "--ambient",
           [options](const std::string& text) {
               if (!ParseTriple(text, &options->ambient))
                   throw CLI::ValidationError("--ambient", "must be R,G,B, three finite numbers");
           },
           "occlusion: the light from all sides (0.4,0.4,0.4)")
        ->type_name("R,G,B")
        ->group(kGroup);
    app.add_option("--reach", options->reach, "occlusion: farther surfaces hide nothing")
        ->capture_default_str()
        ->type_name("NUMBER")
        ->check(Within(1e-6f, 1e6f, "1e-6 to 1e6"))
        ->group(kGroup);
    app.add_option_function<std::string>(
           "--mean-free-path",
           [options](const std::string& text) {
               if (!ParseTriple(text, &options->mean_free_path) ||
                   !std::all_of(options->mean_free_path.begin(), options->mean_free_path.end(),
                                [](float length) { return length >= 1e-4f && length <= 1e4f; }))
                   throw CLI::ValidationError("--mean-free-path",
                                              "must be R,G,B, each 1e-4 to 1e4");
           },
           "subsurface: how far light travels between two events (0.06,0.04,0.025)")
        ->type_name("R,G,B")
        ->group(kGroup);
}

void AddQualityOptions(CLI::App& app, Options* options) {
    constexpr const char* kGroup = "Quality";
    constexpr int kMostRays = 65536;
    const auto rays = [&](const char* name, int* value, const char* help) {
        app.add_option(name, *value, help)
            ->capture_default_str()
            ->type_name("N")
            ->check(Count(1, kMostRays))
            ->group(kGroup);
    };
    rays("--samples", &options->samples, "camera rays a pixel");
    rays("--shadow-rays", &options->shadow_rays, "rays to the lamp from each sample");
    rays("--rays", &options->rays, "rays over the hemisphere of each sample, with --truth");
    app.add_option("--solid-angle", options->solid_angle,
                   "gathering: points that are seen under at most so many steradians count as a "
                   "group (0.1; 0.05 below surfaces)")
        ->type_name("NUMBER")
        ->check(Within(0.001f, 2.0f, "0.001 to 2"))
        ->group(kGroup);
    AddThreadOption(app, &options->threads);
}

/// Whether two names are those of one file, which need not be there.
bool IsSameFile(const std::string& a, const std::string& b) {
    std::error_code unknown;
    // A relative name of what is not there stays relative.
    const auto whole = [&](const std::string& name) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(name, unknown), unknown);
    };
    return whole(a) == whole(b);
}

/// Wrong usage that single options do not show.
void CheckTogether(const Options& options) {
    if (options.light == Light::kSubsurface && options.truth)
        throw CLI::ValidationError("--truth", "traces no rays below surfaces, for subsurface");
    if (options.light != Light::kDirect && !options.truth && options.clouds.empty())
        throw CLI::ValidationError("--cloud or --truth", "must say where the light comes from");
    if (options.light == Light::kDirect && !options.clouds.empty())
        throw CLI::ValidationError("--cloud", "direct light comes from no cloud");
    if (!options.difference.empty() && IsSameFile(options.difference, options.output))
        throw CLI::ValidationError("--difference", "must be another file than --output");
}

}  // namespace

std::unique_ptr<CLI::App> MakeCommandLine(Options* options) {
    auto app = std::make_unique<CLI::App>(kAbout, "pcrender");
    app->formatter(std::make_shared<HelpFormat>());
    app->set_version_flag("--version", "pcrender " TOOLS_VERSION);
    app->footer("Exit status: 0 done, 1 failed, 2 wrong usage.");
    app->option_defaults()->take_last();  // the last of several wins
    AddOutputOptions(*app, options);
    AddLightOptions(*app, options);
    AddModeOptions(*app, options);
    scene::AddSceneOptions(*app, &options->scene);
    AddQualityOptions(*app, options);
    return app;
}

std::optional<int> ParseOptions(int argc, char** argv, Options* options) {
    const std::unique_ptr<CLI::App> app = MakeCommandLine(options);
    try {
        app->parse(argc, argv);
        CheckTogether(*options);
    } catch (const CLI::ParseError& stop) {
        return AnswerParseError("pcrender", *app, stop);
    }
    return std::nullopt;
}

}  // namespace render
