// ptc check: every fault of point cloud files, each with its place.

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tools/common/failure.h"
#include "tools/common/option_values.h"
#include "tools/common/standard_streams.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/inspect/cloud_check.h"
#include "tools/ptc/run_guarded.h"
#include "util/text/printable_text.h"

namespace {

constexpr std::int64_t kShown = 20;
constexpr std::int64_t kShownOfKind = 5;

struct CheckOptions {
    std::vector<std::string> files;
    bool all = false;
};

int CheckFile(const std::string& name, bool all) {
    const InputFile file(name);
    const std::string shown_name = Printable(file.Name());
    // A few lines wait until the progress bar is gone; all of them could be too many for that.
    std::string waiting;
    const auto tell = [&](std::int64_t offset, const std::string& what) {
        waiting += fmt::format("{}: {}: {}\n", shown_name, offset, Printable(what));
        if (!all) return;
        WriteOut(waiting);
        waiting.clear();
    };
    constexpr std::int64_t kEvery = std::numeric_limits<std::int64_t>::max();
    FaultList faults(all ? kEvery : kShown, tell, all ? kEvery : kShownOfKind);
    CheckedCounts counts;
    try {
        counts = CheckCloud(file, faults, !all);
    } catch (const Failure&) {
        WriteOut(waiting);  // what was found before the file could not be read any further
        throw;
    }
    WriteOut(waiting);
    const std::int64_t total = faults.Total();
    if (total == 0) {
        std::string line =
            fmt::format("{}: sound, {} points, {} nodes", shown_name, counts.points, counts.nodes);
        if (counts.apart > 0)
            line += fmt::format("; {} in no node, positions not finite", counts.apart);
        if (counts.zero_radii > 0)
            line += fmt::format("; {} radii not finite, counted as 0", counts.zero_radii);
        WriteOut(line + '\n');
        return 0;
    }
    const std::string shown =
        faults.Told() == total
            ? std::string()
            : fmt::format(", {} of them shown; --all shows every one", faults.Told());
    WriteOut(
        fmt::format("{}: {} {}{}\n", shown_name, total, total == 1 ? "fault" : "faults", shown));
    return 1;
}

int Check(const CheckOptions& options) {
    int status = 0;
    for (const std::string& name : options.files)
        if (!OutHasFailed() && RunGuarded([&] { return CheckFile(name, options.all); }) != 0)
            status = 1;
    return status;
}

}  // namespace

void AddCheck(CLI::App& app, int* status) {
    const auto options = std::make_shared<CheckOptions>();
    CLI::App* const command =
        app.add_subcommand("check", "find every fault of files, and where it is");
    command->footer(
        "Exit status: 0 all files are sound, 1 one is faulty or cannot be read, 2 wrong usage.");
    NamesFile(
        command->add_option("FILE", options->files, "point cloud files, - for standard input"))
        ->required();
    command->add_flag("--all", options->all, "show every fault, not only the first 20");
    command->callback([options, status] { *status = Check(*options); });
}
