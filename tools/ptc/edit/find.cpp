// ptc find: the points for which an expression holds.

#include <unistd.h>

#include <fmt/format.h>
#include <CLI/App.hpp>

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "tools/common/failure.h"
#include "tools/common/option_values.h"
#include "tools/common/progress.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/expression/expression.h"
#include "tools/ptc/expression/expression_error.h"
#include "tools/ptc/open_input.h"
#include "tools/ptc/point_rows.h"
#include "tools/ptc/point_scan.h"
#include "tools/ptc/read_error.h"

namespace {

// Exit statuses, as those of a search in text.
constexpr int kFound = 0;
constexpr int kNoneFound = 1;
constexpr int kFindFailed = 2;

struct FindOptions {
    std::string file;
    std::string expression;
    std::string variables;
    std::int64_t limit = std::numeric_limits<std::int64_t>::max();
    bool is_count = false;
    bool is_csv = false;
};

int Find(const FindOptions& options) {
    const InputFile file(options.file);
    const OpenedCloud opened = OpenInput(file);
    CloudReader& cloud = *opened.cloud;
    expression::Condition condition(options.expression,
                                    expression::PointFields(cloud.point_variables));
    std::optional<PointRows> rows;
    if (!options.is_count)
        rows.emplace(options.is_csv ? PrintTable::Form::kCsv : PrintTable::Form::kAligned,
                     file.Name(), cloud.point_variables, options.variables);

    // On one terminal the bar would run through the rows.
    Progress progress(static_cast<std::uint64_t>(cloud.point_count), isatty(STDOUT_FILENO) == 0);
    PointScan scan(cloud, 0, cloud.point_count);
    std::int64_t found = 0;
    bool is_at_end = false;
    while (found < options.limit && !is_at_end) {
        is_at_end = !scan.Next();
        if (is_at_end) break;
        if (scan.Count() % 4096 == 0) progress.Show(static_cast<std::uint64_t>(scan.Count()));
        if (!condition.HoldsFor({std::as_bytes(scan.Values()).data()})) continue;
        ++found;
        if (rows) rows->Add(scan);
    }
    if (rows) {
        rows->Finish();
    } else {
        WriteOut(fmt::format("{}\n", found));
    }
    FlushOut();
    FailIfUnread(cloud, file.Name());
    if (is_at_end && scan.Count() < cloud.point_count)
        throw Failure(fmt::format("{}: point {} of {} is missing, cut off or damaged", file.Name(),
                                  scan.Count(), cloud.point_count));
    return found > 0 ? kFound : kNoneFound;
}

}  // namespace

void AddFind(CLI::App& app, int* status) {
    const auto options = std::make_shared<FindOptions>();
    CLI::App* const command =
        app.add_subcommand("find", "print the points for which an expression holds");
    command->footer("Exit status: 0 found, 1 none found, 2 failed or wrong usage.");
    NamesFile(
        command->add_option("FILE", options->file, "a point cloud file, - for standard input"))
        ->required();
    command
        ->add_option("EXPRESSION", options->expression,
                     "a condition, such as \"x > 1 and _radiosity.r < 0.5\"")
        ->type_name("")
        ->required();
    CLI::Option* const variables =
        command
            ->add_option("--variables", options->variables,
                         "only these: position, normal, radius or variables of the file, "
                         "separated by commas")
            ->type_name("A,B,...");
    command->add_option("--limit", options->limit, "stop after N points")
        ->type_name("N")
        ->check(Within<std::int64_t>(1, std::numeric_limits<std::int64_t>::max(), "1 or more"));
    CLI::Option* const csv = command->add_flag("--csv", options->is_csv,
                                               "as CSV, every float so that it reads back exactly");
    command->add_flag("--count", options->is_count, "print only how many points there are")
        ->excludes(variables)
        ->excludes(csv);
    command->callback([options, status] {
        *status = expression::RunWithExpressions(options->file, kFindFailed,
                                                 [&] { return Find(*options); });
    });
}
