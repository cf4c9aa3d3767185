// ptc stats: how well the library's caches serve readers of a file.

#include <fmt/format.h>

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ptc/access.h"
#include "ptc/statistics.h"
#include "tools/clouds/open_through_caches.h"
#include "tools/common/failure.h"
#include "tools/common/option_values.h"
#include "tools/common/standard_streams.h"
#include "tools/common/thread_option.h"
#include "tools/ptc/cache_option.h"
#include "tools/ptc/commands.h"
#include "tools/ptc/run_guarded.h"
#include "tools/ptc/stats/cache_walks.h"
#include "util/text/printable_text.h"

namespace {

/// How long a walk may take when its number of lookups is not given.
constexpr std::chrono::seconds kUsualLimit{2};

const std::map<std::string, WalkKind>& Walks() {
    static const std::map<std::string, WalkKind> walks = {
        {"sequential", WalkKind::kSequential},
        {"random", WalkKind::kRandom},
        {"coherent", WalkKind::kCoherent},
        {"tree", WalkKind::kTree},
        {"nearest-random", WalkKind::kNearestRandom},
        {"nearest-coherent", WalkKind::kNearestCoherent},
        {"filtered-random", WalkKind::kFilteredRandom},
        {"filtered-coherent", WalkKind::kFilteredCoherent},
    };
    return walks;
}

struct StatsOptions {
    std::string file;
    std::vector<std::string> walks;  ///< none: all that the file has something for
    int threads = 1;
    std::int64_t kilobytes = 0;
    std::int64_t lookups = 0;
    bool xml = false;
};

std::string Line(const std::string& name, const WalkOutcome& outcome) {
    const auto lookups = static_cast<double>(outcome.lookups);
    const auto blocks = static_cast<double>(outcome.hits + outcome.misses);
    const double rate = blocks > 0 ? 100 * static_cast<double>(outcome.hits) / blocks : 0;
    const double speed = outcome.seconds > 0 ? lookups / outcome.seconds : 0;
    return fmt::format("{:<18}{:>14}{:>12.2f} %{:>14}{:>10.3f} s{:>16.0f}\n", name, outcome.lookups,
                       rate, outcome.items_read, outcome.seconds, speed);
}

/// The walks to make, in the order in which they are named.
std::vector<std::string> Chosen(const StatsOptions& options, const InputFile& file,
                                const PtcHeader& header) {
    const bool has_tree = header.nodes > 0;
    const bool has_variables = header.floats_per_point > 0;
    if (options.walks.empty()) {
        std::vector<std::string> walks = {"sequential", "random", "coherent"};
        // Without an octree in the file a lookup takes memory for all points.
        if (has_tree) walks.insert(walks.end(), {"tree", "nearest-random", "nearest-coherent"});
        if (has_tree && has_variables)
            walks.insert(walks.end(), {"filtered-random", "filtered-coherent"});
        return walks;
    }
    for (const std::string& walk : options.walks) {
        if (walk == "tree" && !has_tree)
            throw Failure(file.Name() + ": has no octree that could be walked");
        if (walk.starts_with("filtered") && !has_variables)
            throw Failure(file.Name() + ": has no variables that could be filtered");
    }
    return options.walks;
}

int Stats(const StatsOptions& options) {
    const InputFile file(options.file);
    WalkPlan plan;
    plan.threads = options.threads;
    if (options.lookups == 0) plan.limit = kUsualLimit;
    PtcConfigure(plan.threads, options.kilobytes, options.kilobytes, nullptr);
    const LibraryShutdown at_end;
    const PtcFile open = OpenThroughCaches(file);
    const PtcHeader header = HeaderOf(open);
    plan.lookups = options.lookups > 0 ? options.lookups : header.points;
    const std::vector<std::string> walks = Chosen(options, file, header);

    std::string table = fmt::format(
        "{}: {} points, {} nodes; threads: {}\n\n"
        "walk                     lookups      hit rate         items        time    lookups in 1 "
        "s\n",
        Printable(file.Name()), header.points, header.nodes, plan.threads);
    std::string cut;
    std::string missing;
    for (const std::string& name : walks) {
        const WalkOutcome outcome = Walk(file, Walks().at(name), plan);
        table += Line(name, outcome);
        if (outcome.is_cut) cut += (cut.empty() ? "" : ", ") + name;
        if (missing.empty()) missing = outcome.missing;
    }
    if (!cut.empty())
        table += fmt::format("ended after {} s, --lookups makes them go on: {}\n",
                             kUsualLimit.count(), cut);
    WriteOut(options.xml ? PtcCacheXml() : table + "\n" + PtcCacheTable());
    if (!missing.empty()) throw Failure(file.Name() + ": " + missing);
    return 0;
}

}  // namespace

void AddStats(CLI::App& app, int* status) {
    const auto options = std::make_shared<StatsOptions>();
    CLI::App* const command =
        app.add_subcommand("stats", "read through the caches and show how well they serve");
    NamesFile(
        command->add_option("FILE", options->file, "a point cloud file, - for standard input"))
        ->required();
    command
        ->add_option("--walk", options->walks,
                     "only these walks, in this order, separated by commas")
        ->delimiter(',')
        ->check(CLI::IsMember(Walks()))
        ->type_name("A,B,...");
    AddThreadOption(*command, &options->threads);
    AddCacheOption(*command, &options->kilobytes);
    command
        ->add_option("--lookups", options->lookups,
                     "lookups in a walk, by all threads together; default: as many as there are "
                     "points, for 2 seconds at most")
        ->check(Count(std::int64_t{1}, std::int64_t{1} << 40U))
        ->type_name("N");
    command->add_flag("--xml", options->xml, "the caches' statistics as XML, and nothing else");
    command->callback([options, status] { *status = RunGuarded([&] { return Stats(*options); }); });
}
