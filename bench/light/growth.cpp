// Growth: the library's own counts of lookups, and the processor's time.

#include "bench/light/growth.h"

#include <fmt/format.h>

#include <algorithm>

#include "bench/light/processor_time.h"
#include "ptc/statistics.h"
#include "tools/common/failure.h"

namespace accuracy {

namespace {

constexpr int kGrowthRounds = 3;

/// Of one query.
struct Cost {
    double microseconds = 0;
    double nodes = 0;   ///< lookups of a node's children
    double points = 0;  ///< lookups of a block of points
};

PtcStatistics Statistics() {
    PtcStatistics statistics{};
    if (!PtcGetStatistics(&statistics)) throw Failure("the library has counted nothing");
    return statistics;
}

Cost CostOf(const PtcLight& light, Quantity quantity, const std::vector<Place>& places,
            const PtcGathering& settings) {
    Cost cost;
    // The first round reads the file; what it takes is not counted.
    for (int round = 0; round <= kGrowthRounds; ++round) {
        const PtcStatistics before = Statistics();
        const double begin = ProcessorTime();
        for (const Place& place : places) (void)GatherAt(light, quantity, place, settings);
        const auto count = static_cast<double>(places.size());
        const double microseconds = 1e6 * (ProcessorTime() - begin) / count;
        const PtcStatistics after = Statistics();
        cost.nodes = static_cast<double>(after.nodes.lookups - before.nodes.lookups) / count;
        cost.points = static_cast<double>(after.points.lookups - before.points.lookups) / count;
        cost.microseconds = round <= 1 ? microseconds : std::min(cost.microseconds, microseconds);
    }
    return cost;
}

}  // namespace

void PrintGrowth(const OpenedCloud& cloud, const OpenedCloud& larger, const Questions& questions,
                 const std::vector<Place>& places) {
    fmt::print("\nof a query in {} and in {} points ({:.2f} times)\n", cloud.Points(),
               larger.Points(),
               static_cast<double>(larger.Points()) / static_cast<double>(cloud.Points()));
    fmt::print("{:<8} {:<20} {:>23} {:>23} {:>23}\n", "quality", "of", "microseconds",
               "children looked up", "blocks looked up");
    for (const NamedQuality& quality : questions.qualities)
        for (const Quantity quantity : kQuantities) {
            const PtcGathering settings = SettingsOf(quantity, quality.quality, questions.bias);
            const Cost small = CostOf(cloud.Light(), quantity, places, settings);
            const Cost large = CostOf(larger.Light(), quantity, places, settings);
            const auto column = [](double of_small, double of_large) {
                return fmt::format("{:.1f} {:.1f} = {:.2f}", of_small, of_large,
                                   of_large / of_small);
            };
            fmt::print("{:<8} {:<20} {:>23} {:>23} {:>23}\n", quality.name, NameOf(quantity),
                       column(small.microseconds, large.microseconds),
                       column(small.nodes, large.nodes), column(small.points, large.points));
        }
}

}  // namespace accuracy
