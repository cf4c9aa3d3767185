// Options of light_accuracy, with CLI11.

#include "bench/light/options.h"

#include <CLI/CLI.hpp>
#include <map>

#include "tools/common/help_format.h"
#include "tools/common/option_values.h"
#include "tools/common/parse_error.h"

namespace accuracy {

namespace {

constexpr const char* kAbout =
    "Compares light that is gathered from a cloud with light that rays find in the same scene.";

void AddTruthOptions(CLI::App& app, Options* options) {
    constexpr const char* kGroup = "Truth";
    const auto add = [&](const char* name, int* value, int most, const char* help) {
        app.add_option(name, *value, help)
            ->capture_default_str()
            ->type_name("N")
            ->check(Count(1, most))
            ->group(kGroup);
    };
    add("--places", &options->places, 1'000'000, "places that are compared");
    add("--rays", &options->truth.rays, 1 << 20, "rays a place, for occlusion");
    add("--rays-indirect", &options->truth.light.rays, 1 << 20, "rays a place, for light");
    add("--lamp-rays", &options->truth.light.lamp_rays, 64, "rays to the lamp from each hit");
    add("--bounces", &options->truth.light.bounces, 2,
        "reflections of the lamp's light; a cloud baked with bounces has 2");
    add("--threads", &options->truth.threads, 256, "threads that trace the truth");
    app.add_option("--cached-truth", options->cached_truth, "keep the truth in FILE")
        ->type_name("FILE")
        ->check(FileName())
        ->group(kGroup);
}

void AddCloudOptions(CLI::App& app, Options* options) {
    constexpr const char* kGroup = "Clouds";
    const auto add = [&](const char* name, std::string* value, const char* help) {
        app.add_option(name, *value, help)->type_name("FILE")->check(FileName())->group(kGroup);
    };
    add("--cloud", &options->cloud, "gather from FILE, organised with light");
    add("--cloud2", &options->larger_cloud, "the same scene with ten times the points");
    add("--write-cloud", &options->write_cloud,
        "write the scene's micropolygons with exact colours as FILE, and end");
    app.add_option("--color", options->colour, "color variable of the cloud")
        ->capture_default_str()
        ->type_name("NAME")
        ->group(kGroup);
    app.add_option("--quality", options->quality, "coarse, default, fine or all")
        ->capture_default_str()
        ->type_name("NAME")
        ->check(CLI::IsMember({"coarse", "default", "fine", "all"}))
        ->group(kGroup);
    app.add_option("--bias", options->bias, "moves places along their normals")
        ->capture_default_str()
        ->type_name("NUMBER")
        ->check(Within(0.0f, 1.0f, "0 to 1"))
        ->group(kGroup);
    app.add_option("--worst", options->worst, "places to print below each figure, the worst ones")
        ->capture_default_str()
        ->type_name("N")
        ->check(Count(0, 10))
        ->group(kGroup);
}

}  // namespace

std::optional<int> ParseOptions(int argc, char** argv, Options* options) {
    CLI::App app(kAbout, "light_accuracy");
    app.formatter(std::make_shared<HelpFormat>());
    app.option_defaults()->take_last();
    scene::AddSceneOptions(app, &options->scene);
    scene::AddDicingOptions(app, &options->scene);
    AddTruthOptions(app, options);
    AddCloudOptions(app, options);
    const std::map<std::string, Part> parts = {{"errors", Part::kErrors},
                                               {"speed", Part::kSpeed},
                                               {"seams", Part::kSeams},
                                               {"growth", Part::kGrowth},
                                               {"known", Part::kKnown}};
    app.add_option(
           "--only", options->parts,
           "only these parts: errors, speed, seams, growth, known (scenes with known light)")
        ->type_name("NAME")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->transform(CLI::Transformer(parts));
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        return AnswerParseError("light_accuracy", app, stop);
    }
    return std::nullopt;
}

}  // namespace accuracy
