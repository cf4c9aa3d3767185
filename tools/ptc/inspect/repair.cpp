// ptc repair: a sound file of one whose writing stopped early or whose tail is cut.

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <memory>
#include <string>

#include "tools/common/option_values.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/inspect/cloud_repair.h"
#include "tools/ptc/report.h"
#include "tools/ptc/run_guarded.h"
#include "util/text/printable_text.h"

namespace {

struct RepairOptions {
    std::string input;
    std::string output;
};

int Repair(const RepairOptions& options) {
    const InputFile input(options.input, InputFile::Gzip::kInflated);
    OutputFile output(options.output);
    const RepairReport report = RepairCloud(input, output);

    std::string said;
    const auto say = [&](const std::string& what) {
        said += fmt::format("{}: {}\n", Printable(output.Name()), what);
    };
    if (input.BrokeOff()) say("the compressed input breaks off; what came out of it is used");
    say(fmt::format("kept {} points, the old header counts {}", report.kept, report.counted));
    if (report.unsound > 0)
        say(fmt::format("{} of these have values that are not finite, or a negative radius",
                        report.unsound));
    if (report.octree == RepairReport::Octree::kKept) say("kept the octree");
    if (report.octree == RepairReport::Octree::kDropped) say("dropped the octree, not intact");
    if (report.dropped_bytes > 0) say(fmt::format("dropped {} bytes", report.dropped_bytes));
    // The report is written first: when that fails, the target must be as it was.
    TellReport(said, output.IsStandardOutput());
    output.Commit();
    return 0;
}

}  // namespace

void AddRepair(CLI::App& app, int* status) {
    const auto options = std::make_shared<RepairOptions>();
    CLI::App* const command =
        app.add_subcommand("repair", "make a sound file of one that is cut off or unfinished");
    NamesFile(command->add_option("IN", options->input, "the damaged file, - for standard input"))
        ->required();
    NamesFile(
        command->add_option("OUT", options->output, "the file to make, - for standard output"))
        ->required();
    command->callback(
        [options, status] { *status = RunGuarded([&] { return Repair(*options); }); });
}
