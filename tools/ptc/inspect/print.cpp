// ptc print: points or octree nodes as a table.

#include <fmt/format.h>

#include <unistd.h>

#include <CLI/App.hpp>
#include <CLI/Error.hpp>
#include <algorithm>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tools/common/failure.h"
#include "tools/common/number.h"
#include "tools/common/option_values.h"
#include "tools/common/progress.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/inspect/node_faults.h"
#include "tools/ptc/open_input.h"
#include "tools/ptc/point_rows.h"
#include "tools/ptc/point_scan.h"
#include "tools/ptc/print_columns.h"
#include "tools/ptc/print_table.h"
#include "tools/ptc/read_error.h"
#include "tools/ptc/run_guarded.h"

namespace {

struct PrintOptions {
    std::string file;
    std::string variables;
    std::int64_t first = 0;
    std::int64_t count = std::numeric_limits<std::int64_t>::max();
    bool csv = false;
    bool nodes = false;
};

/// "FIRST:COUNT" into two numbers, neither negative.
bool ParseRange(const std::string& text, std::int64_t* first, std::int64_t* count) {
    return ParseTwoNumbers(text, ':', first, count) && *first >= 0 && *count >= 0;
}

PrintTable::Form FormOf(const PrintOptions& options) {
    return options.csv ? PrintTable::Form::kCsv : PrintTable::Form::kAligned;
}

void PrintPoints(const InputFile& file, const PrintOptions& options, CloudReader& cloud) {
    if (options.first > cloud.point_count)
        throw Failure(fmt::format("{}: the range begins at {}, behind its {} points", file.Name(),
                                  options.first, cloud.point_count));
    const std::int64_t end =
        options.first + std::min(options.count, cloud.point_count - options.first);

    // On one terminal the bar would run through the rows.
    PointRows rows(FormOf(options), file.Name(), cloud.point_variables, options.variables);
    Progress progress(static_cast<std::uint64_t>(end), isatty(STDOUT_FILENO) == 0);
    PointScan scan(cloud, options.first, end);
    while (scan.Next()) {
        rows.Add(scan);
        if (scan.Count() % 4096 == 0) progress.Show(static_cast<std::uint64_t>(scan.Count()));
    }
    rows.Finish();
    FailIfUnread(cloud, file.Name());
    if (scan.Count() < end)
        throw Failure(fmt::format("{}: point {} of {} is missing, cut off or damaged", file.Name(),
                                  scan.Count(), cloud.point_count));
}

/// The offsets of the node's children, in their order.
std::string Children(const NodeRecord& node) {
    std::string text;
    for (unsigned i = 0; i < 8; ++i)
        if (node.child_mask >> i & 1U)
            text += fmt::format("{}{}:{}", text.empty() ? "" : " ", i, node.children[i]);
    return text;
}

/// A row's floats are the node's box, then its data. The first fault of the octree is the reason
/// of the failure in the end: until then every node that can be reached is printed.
void PrintNodes(const InputFile& file, const PrintOptions& options, const OpenedCloud& opened) {
    CloudReader& cloud = *opened.cloud;
    constexpr std::size_t kBoxFloats = 6;
    std::vector<PrintGroup> groups = {
        {"box",
         {{"min_x", 0}, {"min_y", 1}, {"min_z", 2}, {"max_x", 3}, {"max_y", 4}, {"max_z", 5}}}};
    const std::vector<PrintGroup> variables = VariableGroups(cloud.node_variables, kBoxFloats);
    groups.insert(groups.end(), variables.begin(), variables.end());
    const std::vector<PrintColumn> columns = ChooseColumns(file.Name(), groups, options.variables);
    if (cloud.input.IsCompressed() && cloud.stored_node_count > 0)
        throw Failure(file.Name() + ": the octree of a compressed file cannot be read");

    PrintTable table(FormOf(options),
                     TitlesOf({"offset", "depth", "first_point", "points", "children"}, columns));
    std::string first_fault;
    FaultList faults(1, [&](std::int64_t offset, const std::string& what) {
        first_fault = fmt::format("{}: {}: {}", file.Name(), offset, what);
    });
    if (cloud.node_count == 0) {
        table.Finish();
        return;
    }
    NodeFaults listener(cloud.data_start, cloud.input.StoredBytes(), faults);
    NodeWalk walk(cloud, cloud.data_start, opened.places.root_position, listener);
    NodeVisit visit;
    std::vector<float> row(kBoxFloats + cloud.node_variables.DataFloats());
    while (walk.Next(&visit)) {
        std::copy_n(visit.node->box, kBoxFloats, row.begin());
        std::copy(visit.data.begin(), visit.data.end(), row.begin() + kBoxFloats);
        table.Whole(visit.offset);
        table.Whole(visit.depth);
        table.Whole(visit.node->first_point);
        table.Whole(visit.node->point_count);
        table.Text(Children(*visit.node));
        for (const PrintColumn& column : columns) table.Float(row[column.source]);
        table.EndRow();
    }
    table.Finish();
    FailIfUnread(cloud, file.Name());
    if (faults.Total() > 0) throw Failure(first_fault);
}

int Print(const PrintOptions& options) {
    const InputFile file(options.file);
    const OpenedCloud opened = OpenInput(file);
    if (options.nodes) {
        PrintNodes(file, options, opened);
    } else {
        PrintPoints(file, options, *opened.cloud);
    }
    return 0;
}

}  // namespace

void AddPrint(CLI::App& app, int* status) {
    const auto options = std::make_shared<PrintOptions>();
    CLI::App* const command = app.add_subcommand("print", "print points or octree nodes");
    NamesFile(
        command->add_option("FILE", options->file, "a point cloud file, - for standard input"))
        ->required();
    command->add_flag("--csv", options->csv, "as CSV, every float so that it reads back exactly");
    command
        ->add_option("--variables", options->variables,
                     "only these: position, normal, radius, box or variables of the file, "
                     "separated by commas")
        ->type_name("A,B,...");
    CLI::Option* const range =
        command
            ->add_option_function<std::string>(
                "--range",
                [options](const std::string& text) {
                    if (!ParseRange(text, &options->first, &options->count))
                        throw CLI::ValidationError("--range", "must be FIRST:COUNT");
                },
                "only COUNT points, from point FIRST on")
            ->type_name("FIRST:COUNT");
    command->add_flag("--nodes", options->nodes, "the octree's nodes, parents first")
        ->excludes(range);
    command->callback([options, status] { *status = RunGuarded([&] { return Print(*options); }); });
}
