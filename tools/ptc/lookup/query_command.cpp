// The sub-command `query`: its options, their ranges and help.

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <limits>
#include <memory>

#include "tools/common/option_text.h"
#include "tools/common/option_values.h"
#include "tools/common/thread_option.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/lookup/filter_options.h"
#include "tools/ptc/lookup/query.h"
#include "tools/ptc/run_guarded.h"

namespace {

constexpr std::int32_t kMostCount = 65536;

void SetPlace(const std::string& text, QueryOptions* options) {
    if (!ParseTriple(text, &options->at.emplace()))
        throw CLI::ValidationError("--at", "must be X,Y,Z, three finite numbers");
}

void SetNormal(const std::string& text, QueryOptions* options) {
    std::array<float, 3>& normal = options->normal.emplace();
    if (!ParseTriple(text, &normal) || (normal[0] == 0 && normal[1] == 0 && normal[2] == 0))
        throw CLI::ValidationError("--normal", "must be X,Y,Z, three finite numbers, not all 0");
}

/// Wrong usage that single options do not show.
void CheckTogether(const QueryOptions& options) {
    if (!options.at && options.at_points.empty())
        throw CLI::ValidationError("--at or --at-points", "must say where to look");
    if (options.least_dot && !options.normal && !options.use_normals)
        throw CLI::ValidationError("--least-dot", "works with --normal or --use-normals");
}

void AddPlaceOptions(CLI::App& command, QueryOptions* options) {
    CLI::Option* const at =
        command
            .add_option_function<std::string>(
                "--at", [=](const std::string& text) { SetPlace(text, options); }, "one place")
            ->type_name("X,Y,Z");
    command
        .add_option_function<std::string>(
            "--normal", [=](const std::string& text) { SetNormal(text, options); },
            "the normal there: only points that face the same half of the directions")
        ->type_name("X,Y,Z")
        ->needs(at);
    CLI::Option* const points =
        command
            .add_option("--at-points", options->at_points,
                        "many places: the points of a point cloud, PLY or CSV file")
            ->type_name("PLACES")
            ->transform(FileName())
            ->excludes(at);
    command.add_flag("--use-normals", options->use_normals, "look up with the normals of PLACES")
        ->needs(points);
}

void AddSearchOptions(CLI::App& command, QueryOptions* options) {
    constexpr float kNoLimit = std::numeric_limits<float>::infinity();
    CLI::Option* const count =
        command.add_option("--count", options->count, "the most points for a place (8)")
            ->check(Count(1, kMostCount))
            ->type_name("N");
    CLI::Option* const within = command
                                    .add_option_function<std::string>(
                                        "--within",
                                        [=](const std::string& text) {
                                            options->within = NumberWithin(
                                                "--within", text, 0, kNoLimit, "must be 0 or more");
                                        },
                                        "the greatest distance")
                                    ->type_name("D");
    AddFilterOption(command, &options->filter)->excludes(count)->excludes(within);
    AddLeastDotOption(command, &options->least_dot);
}

}  // namespace

void AddQuery(CLI::App& app, int* status) {
    const auto options = std::make_shared<QueryOptions>();
    CLI::App* const command =
        app.add_subcommand("query", "find the points nearest to a place, or filter values there");
    NamesFile(command->add_option("FILE", options->files,
                                  "up to 100 point cloud files, looked up as one"))
        ->required();
    AddPlaceOptions(*command, options.get());
    AddSearchOptions(*command, options.get());
    command
        ->add_option("--variables", options->variables,
                     "only these: position, normal, radius or variables of the files, separated by "
                     "commas")
        ->type_name("A,B,...");
    CLI::Option* const csv = command->add_flag("--csv", options->csv, "as CSV");
    command->add_flag("--json", options->json, "as a JSON array, an object for each place")
        ->excludes(csv);
    AddThreadOption(*command, &options->threads);
    command->callback([options, status] {
        CheckTogether(*options);
        *status = RunGuarded([&] { return RunQuery(*options); });
    });
}
