// ptc organize: clouds into one that is organised.

#include "ptc/organise.h"

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ptc/cloud/reader.h"
#include "ptc/format/light_nodes.h"
#include "tools/clouds/library_files.h"
#include "tools/clouds/space_check.h"
#include "tools/common/failure.h"
#include "tools/common/option_values.h"
#include "tools/common/report_option.h"
#include "tools/common/thread_option.h"
#include "tools/ptc/byte_size.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/organise/library_progress.h"
#include "tools/ptc/report.h"
#include "tools/ptc/run_reported.h"
#include "util/text/printable_text.h"

namespace {

using light_nodes::LightData;

struct OrganiseOptions {
    std::vector<std::string> inputs;
    std::string output;
    int leaf_points = 0;
    bool drop_repeats = false;
    std::int64_t memory = PtcOrganiseRequest{}.memory;
    int threads = 1;
    bool light = false;
    std::optional<std::string> light_color;
    std::optional<std::string> light_area;
    std::optional<HostPort> monitor;
};

/// Which channels the data for light are made of.
std::string LightText(const LightData& light) {
    return fmt::format("light has {}, and areas of {}",
                       light.has_power ? "the color " + Printable(light.power_channel)
                                       : "no color, so the nodes have no lightpower",
                       light.area_channel.empty() ? "the radii" : Printable(light.area_channel));
}

/// A line for each of the summary's facts, behind the name of the output.
std::string Report(const std::string& name, const PtcOrganiseSummary& summary,
                   const std::optional<LightData>& light, double seconds) {
    std::string lines;
    const auto say = [&](const std::string& what) {
        lines += fmt::format("{}: {}\n", Printable(name), what);
    };
    say(fmt::format("{} points, {} nodes, {} leaves, depth {}", summary.points, summary.nodes,
                    summary.leaves, summary.depth));
    if (summary.not_finite > 0)
        say(fmt::format("{} points are last and in no node, their positions are not finite",
                        summary.not_finite));
    if (summary.repeats > 0) say(fmt::format("{} repeats are left out", summary.repeats));
    if (light) say(LightText(*light));
    say(fmt::format("{:.2f} s, {} bytes in temporary files", seconds, summary.bytes_in_parts));
    return lines;
}

/// What the file that was written has for light.
std::optional<LightData> LightOf(const std::string& path) {
    std::string why;
    const auto cloud = OpenCloud(path.c_str(), &why, {.is_quiet = true});
    if (!cloud) throw Failure(path + ": " + why);
    return FindLightData(cloud->node_variables);
}

/// Without the nodes, which nobody knows before.
void CheckSpaceFor(const OrganiseOptions& options, const LibraryInputs& inputs,
                   const LibraryOutput& output) {
    const std::int64_t points = LeastBytes(inputs, 0, inputs.Count());
    // Of repeats nobody knows how many there are.
    if (!options.drop_repeats) CheckSpace(output.Path(), output.Name(), points);
    // A cloud that memory does not hold goes to a file first, all of it; unless leaves are so large
    // that memory has to take them.
    constexpr std::int64_t kLeastMemory = std::int64_t{16} << 20;
    if (options.leaf_points == 0 && points > std::max(options.memory, kLeastMemory))
        CheckTemporarySpace(points);
}

void Organise(const OrganiseOptions& options, Reporter& reporter) {
    reporter.Start();
    const LibraryInputs inputs(options.inputs);
    LibraryOutput output(options.output);
    CheckSpaceFor(options, inputs, output);
    PtcOrganiseRequest request;
    request.inputs = inputs.Paths();
    request.input_count = inputs.Count();
    request.output = output.Path().c_str();
    request.leaf_points = options.leaf_points;
    request.drop_repeats = options.drop_repeats;
    request.memory = options.memory;
    request.threads = options.threads;
    request.light = options.light;
    if (options.light_color) request.light_color = options.light_color->c_str();
    if (options.light_area) request.light_area = options.light_area->c_str();

    const auto begin = std::chrono::steady_clock::now();
    PtcOrganiseSummary summary{};
    {
        LibraryProgress progress;
        request.progress = LibraryProgress::Show;
        request.context = &progress;
        if (!PtcOrganise(request, &summary)) output.Fail(inputs);
    }
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    std::optional<LightData> light;
    if (options.light) light = LightOf(output.Path());
    output.Commit();
    reporter.Add("points", summary.points);
    reporter.Add("nodes", summary.nodes);
    TellReport(Report(output.Name(), summary, light, time.count()), output.IsStandardOutput());
}

}  // namespace

void AddOrganise(CLI::App& app, int* status) {
    const auto options = std::make_shared<OrganiseOptions>();
    CLI::App* const command =
        app.add_subcommand("organize", "make one organised file, with an octree, of point clouds");
    NamesFile(command->add_option("IN", options->inputs, "point cloud files, - for standard input"))
        ->required();
    command->add_option("-o,--output", options->output, "the file to make, - for standard output")
        ->type_name("FILE")
        ->check(FileName())
        ->required();
    command->add_option("--leaf", options->leaf_points, "the most points in a leaf of the octree")
        ->check(Count(1, std::numeric_limits<int>::max()))
        ->type_name("N");
    command->add_flag("--drop-repeats", options->drop_repeats,
                      "leave out points that repeat another one byte for byte");
    CLI::Option* const light = command->add_flag(
        "--light", options->light, "give the nodes the data that gathering light reads");
    command
        ->add_option("--color", options->light_color,
                     "the color that light has (_reflected, else the first color); '' for none")
        ->type_name("NAME")
        ->needs(light);
    command
        ->add_option("--area", options->light_area,
                     "the area of each point (_area or area, else pi r^2); '' for pi r^2")
        ->type_name("NAME")
        ->needs(light);
    command
        ->add_option_function<std::string>(
            "--memory",
            [options](const std::string& text) {
                if (!ParseByteSize(text, &options->memory))
                    throw CLI::ValidationError("--memory", "must be bytes, such as 256M or 1G");
            },
            "bytes to work with, with K, M or G (1G); the rest goes to temporary files")
        ->type_name("SIZE");
    AddThreadOption(*command, &options->threads);
    AddReportOption(*command, &options->monitor);
    command->callback([options, status] {
        *status = RunReportedCommand({"ptc", "ptc organize", options->output, options->monitor},
                                     [&](Reporter& reporter) { Organise(*options, reporter); });
    });
}
