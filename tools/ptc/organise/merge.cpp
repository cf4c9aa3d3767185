// ptc merge: clouds one after the other in one file.

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ptc/organise.h"
#include "tools/clouds/library_files.h"
#include "tools/clouds/space_check.h"
#include "tools/common/option_values.h"
#include "tools/common/report_option.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/organise/library_progress.h"
#include "tools/ptc/report.h"
#include "tools/ptc/run_reported.h"
#include "util/text/printable_text.h"

namespace {

struct MergeOptions {
    std::vector<std::string> inputs;
    std::string output;
    std::optional<HostPort> monitor;
};

void Merge(const MergeOptions& options, Reporter& reporter) {
    reporter.Start();
    const LibraryInputs inputs(options.inputs);
    LibraryOutput output(options.output);
    CheckSpace(output.Path(), output.Name(), LeastBytes(inputs, 0, inputs.Count()));
    std::int64_t points = 0;
    {
        LibraryProgress progress;
        PtcMergeRequest request;
        request.inputs = inputs.Paths();
        request.input_count = inputs.Count();
        request.output = output.Path().c_str();
        request.progress = LibraryProgress::Show;
        request.context = &progress;
        if (!PtcMerge(request, &points)) output.Fail(inputs);
    }
    output.Commit();
    reporter.Add("points", points);
    TellReport(fmt::format("{}: {} points\n", Printable(output.Name()), points),
               output.IsStandardOutput());
}

}  // namespace

void AddMerge(CLI::App& app, int* status) {
    const auto options = std::make_shared<MergeOptions>();
    CLI::App* const command =
        app.add_subcommand("merge", "make one file of point clouds, one after the other");
    NamesFile(command->add_option("IN", options->inputs, "point cloud files, - for standard input"))
        ->required();
    command->add_option("-o,--output", options->output, "the file to make, - for standard output")
        ->type_name("FILE")
        ->check(FileName())
        ->required();
    AddReportOption(*command, &options->monitor);
    command->callback([options, status] {
        *status = RunReportedCommand({"ptc", "ptc merge", options->output, options->monitor},
                                     [&](Reporter& reporter) { Merge(*options, reporter); });
    });
}
