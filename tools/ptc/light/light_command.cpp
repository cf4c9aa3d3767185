// The sub-command `light`.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <numbers>

#include "tools/common/option_text.h"
#include "tools/common/option_values.h"
#include "tools/common/report_option.h"
#include "tools/common/thread_option.h"
#include "tools/ptc/cache_option.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/light/light.h"
#include "tools/ptc/run_reported.h"

namespace lighting {

namespace {

constexpr float kLeastAboveZero = std::numeric_limits<float>::denorm_min();
constexpr float kMostFinite = std::numeric_limits<float>::max();

/// How exact both kinds of light are.
struct Quality {
    PtcGatherQuality gathering;
    float solid_angle;  ///< for light from below the surface
};

/// The three as they are typed, before it is known which of them go together.
struct Typed {
    Options options;
    std::optional<std::array<float, 3>> scattering;
    std::optional<std::array<float, 3>> absorption;
    std::optional<std::array<float, 3>> albedo;
    std::optional<std::array<float, 3>> mean_free_path;
};

struct NumberOption {
    const char* name;
    const char* form;
    const char* what;
    float low, high;
    const char* must;
};

CLI::Option* AddNumber(CLI::App& command, const NumberOption& option, float* value) {
    return command
        .add_option_function<std::string>(
            option.name,
            [=](const std::string& text) {
                *value = NumberWithin(option.name, text, option.low, option.high, option.must);
            },
            option.what)
        ->type_name(option.form);
}

/// A value for each of red, green and blue.
CLI::Option* AddColour(CLI::App& command, const NumberOption& option,
                       std::optional<std::array<float, 3>>* value) {
    return command
        .add_option_function<std::string>(
            option.name,
            [=](const std::string& text) {
                std::array<float, 3> colour{};
                const auto is_within = [&](float one) {
                    return one >= option.low && one <= option.high;
                };
                if (!ParseTriple(text, &colour) ||
                    !std::all_of(colour.begin(), colour.end(), is_within))
                    throw CLI::ValidationError(option.name, option.must);
                *value = colour;
            },
            option.what)
        ->type_name("R,G,B");
}

/// One of a few words, each of which means a value.
template <class Value>
void AddWord(CLI::App& command, const char* name, const std::map<std::string, Value>& words,
             const char* what, std::function<void(const Value&)> set) {
    std::string all;
    for (const auto& [word, value] : words) all += (all.empty() ? "" : "|") + word;
    command
        .add_option_function<std::string>(
            name,
            [=](const std::string& text) {
                const auto found = words.find(text);
                if (found == words.end()) throw CLI::ValidationError(name, "must be " + all);
                set(found->second);
            },
            what)
        ->type_name(all);
}

void AddKinds(CLI::App& command, Kinds* kinds) {
    command.add_flag("--occlusion", kinds->occlusion,
                     "write _occlusion: how much of the view is closed, 0 to 1");
    command.add_flag("--indirect", kinds->indirect,
                     "write _indirect: the light that arrives from the points");
    command.add_flag("--subsurface", kinds->subsurface,
                     "write _subsurface: the light that leaves the material again");
}

void AddGathering(CLI::App& command, Options* options) {
    PtcGathering* const gathering = &options->gathering;
    CLI::Option* const within =
        AddNumber(command,
                  {"--within", "D", "nothing farther away counts", kLeastAboveZero,
                   std::numeric_limits<float>::infinity(), "must be above 0"},
                  &gathering->within);
    AddNumber(command,
              {"--falloff", "E", "what is at the distance d hides (1 - d / D)^E; (0)", 0,
               kMostFinite, "must be 0 or more, and finite"},
              &gathering->falloff)
        ->needs(within);
    command
        .add_option_function<std::string>(
            "--cone",
            [gathering](const std::string& text) {
                const float degrees = NumberWithin("--cone", text, kLeastAboveZero, 90,
                                                   "must be above 0, and at most 90");
                gathering->cone =
                    std::min(static_cast<float>(degrees * std::numbers::pi / 180), gathering->cone);
            },
            "directions up to so many degrees from the normal count (90)")
        ->type_name("DEG");
    AddNumber(command,
              {"--bias", "B", "places are moved along their normals by so much (0)", 0, kMostFinite,
               "must be 0 or more, and finite"},
              &gathering->bias);
    AddWord<Quality>(command, "--quality",
                     {{"coarse", {kPtcCoarseGather, 0.15f}},
                      {"default", {kPtcUsualGather, 0.05f}},
                      {"fine", {kPtcFineGather, 0.015f}}},
                     "how exact the values are", [options](const Quality& quality) {
                         options->gathering.quality = quality.gathering;
                         options->material.solid_angle = quality.solid_angle;
                     });
    AddWord<PtcHidingSides>(command, "--sides",
                            {{"both", PtcHidingSides::kBoth},
                             {"front", PtcHidingSides::kFront},
                             {"back", PtcHidingSides::kBack}},
                            "the sides of the points that hide (both)",
                            [gathering](const PtcHidingSides& sides) { gathering->sides = sides; });
}

void AddChannels(CLI::App& command, LightChannels* channels) {
    command
        .add_option("--color", channels->color,
                    "the color that light has (that IN is organised with, or its first)")
        ->type_name("NAME");
    command
        .add_option("--area", channels->area,
                    "the area of each point (likewise, or _area, area, pi r^2); '' for pi r^2")
        ->type_name("NAME");
}

void AddBounces(CLI::App& command, Options* options) {
    constexpr int kMostBounces = 1000;
    CLI::Option* const bounces = command.add_option(
        "--bounces", options->bounces, "so many gatherings one after the other, summed up (1)");
    bounces->check(Count(1, kMostBounces))->type_name("N");
    CLI::Option* const channel =
        command.add_option("--albedo-channel", options->albedo.channel,
                           "how much of the light a point passes on: a variable of 3 floats");
    channel->type_name("NAME")->needs(bounces);
    AddColour(command,
              {"--albedo-of-points", nullptr, "the same, for all points", 0, 1,
               "must be R,G,B, each 0 to 1"},
              &options->albedo.constant)
        ->needs(bounces)
        ->excludes(channel);
}

void AddMaterial(CLI::App& command, Typed* typed) {
    CLI::Option* const subsurface = command.get_option("--subsurface");
    CLI::Option* const scattering =
        AddColour(command,
                  {"--scattering", nullptr,
                   "how often light is scattered per unit of length (2.55,3.21,3.77)", 0,
                   kMostFinite, "must be R,G,B, each 0 or more"},
                  &typed->scattering);
    CLI::Option* const absorption =
        AddColour(command,
                  {"--absorption", nullptr, "how often it is absorbed (0.0011,0.0024,0.014)", 0,
                   kMostFinite, "must be R,G,B, each 0 or more"},
                  &typed->absorption);
    constexpr float kBelowOne = 0x1.fffffep-1f;
    CLI::Option* const albedo =
        AddColour(command,
                  {"--albedo", nullptr, "or the colour of a thick slab under even light", 0,
                   kBelowOne, "must be R,G,B, each 0 or more and below 1"},
                  &typed->albedo);
    CLI::Option* const path =
        AddColour(command,
                  {"--mean-free-path", nullptr, "and how far light gets in it", kLeastAboveZero,
                   kMostFinite, "must be R,G,B, each above 0"},
                  &typed->mean_free_path);
    CLI::Option* const refraction = AddNumber(
        command, {"--refraction", "E", "the index of refraction (1.3)", 1, 3, "must be 1 to 3"},
        &typed->options.material.refraction);
    albedo->needs(path)->excludes(scattering)->excludes(absorption);
    path->needs(albedo)->excludes(scattering)->excludes(absorption);
    for (CLI::Option* const option : {scattering, absorption, albedo, path, refraction})
        option->needs(subsurface);
}

void SetMaterial(const Typed& typed, PtcSubsurface* material) {
    if (typed.scattering)
        std::copy(typed.scattering->begin(), typed.scattering->end(), material->scattering);
    if (typed.absorption)
        std::copy(typed.absorption->begin(), typed.absorption->end(), material->absorption);
    for (int i = 0; i < 3; ++i)
        if (material->scattering[i] == 0 && material->absorption[i] == 0)
            throw CLI::ValidationError("--scattering, --absorption", "must not both be 0");
    if (typed.albedo && !PtcSubsurfaceOf(typed.albedo->data(), typed.mean_free_path->data(),
                                         material->refraction, material))
        throw CLI::ValidationError("--albedo, --mean-free-path", "there is no such material");
}

/// What options say together.
void RequireUsable(const Options& options) {
    if (options.inputs.size() > kPtcMostLookupFiles)
        throw CLI::ValidationError("IN", "at most 100 files");
    if (options.inputs.size() > 1 && options.onto.empty())
        throw CLI::ValidationError("--onto", "is required with more than one IN");
    if (options.bounces == 1) return;
    if (options.kinds.HasAny() && !options.kinds.indirect)
        throw CLI::ValidationError("--bounces", "are of --indirect, which is not asked for");
    if (!options.onto.empty())
        throw CLI::ValidationError(
            "--bounces", "light must come out of the points that it falls on, so not with --onto");
    if (!options.albedo.channel && !options.albedo.constant)
        throw CLI::ValidationError("--bounces", "requires --albedo-channel or --albedo-of-points");
}

}  // namespace

}  // namespace lighting

void AddLight(CLI::App& app, int* status) {
    const auto typed = std::make_shared<lighting::Typed>();
    lighting::Options* const options = &typed->options;
    CLI::App* const command = app.add_subcommand(
        "light", "gather occlusion and light out of clouds, for the points of one");
    NamesFile(command->add_option("IN", options->inputs,
                                  "up to 100 point cloud files that light comes out of"))
        ->required();
    command->add_option("-o,--output", options->output, "the file to make, - for standard output")
        ->type_name("FILE")
        ->check(FileName())
        ->required();
    command
        ->add_option("--onto", options->onto,
                     "the points: a point cloud file; without it those of the one IN")
        ->type_name("TO")
        ->check(FileName());
    lighting::AddKinds(*command, &options->kinds);
    lighting::AddGathering(*command, options);
    lighting::AddChannels(*command, &options->channels);
    lighting::AddBounces(*command, options);
    lighting::AddMaterial(*command, typed.get());
    AddThreadOption(*command, &options->threads);
    AddCacheOption(*command, &options->kilobytes);
    command->add_flag("--stats", options->stats, "print the library's statistics, too");
    AddReportOption(*command, &options->monitor);
    command->callback([typed, options, status] {
        lighting::SetMaterial(*typed, &options->material);
        lighting::RequireUsable(*options);
        *status =
            RunReportedCommand({"ptc", "ptc light", options->output, options->monitor},
                               [&](Reporter& reporter) { lighting::RunLight(*options, reporter); });
    });
}
