// Seams: gathers along the line, and asks rays about the largest step alone.

#include "bench/light/seams.h"

#include <fmt/format.h>

#include <cmath>

namespace accuracy {

namespace {

constexpr int kLinePlaces = 4001;
constexpr int kRays = 1 << 16;

double Mean(Vec3d value) {
    return (value.x + value.y + value.z) / 3;
}

/// The step between two places. The same directions leave both, so their errors cancel.
double TrueStep(const Rays& rays, Quantity quantity, const Place& from, const Place& to,
                int bounces) {
    const RayWork work{kRays, 1, bounces};
    return Mean(rays.Estimate(quantity, to, work, 0)) -
           Mean(rays.Estimate(quantity, from, work, 0));
}

}  // namespace

void PrintSeams(const Rays& rays, const OpenedCloud& cloud, const Questions& questions,
                int bounces) {
    const std::vector<Place> line = FloorLine(kLinePlaces);
    fmt::print("\nlargest step along {} places across the floor, in percent of the mean\n",
               kLinePlaces);
    fmt::print("{:<8} {:<20} {:>8} {:>8} {:>10}  {}\n", "quality", "of", "mean", "step", "by rays",
               "at");
    for (const NamedQuality& quality : questions.qualities)
        for (const Quantity quantity : kQuantities) {
            const PtcGathering settings = SettingsOf(quantity, quality.quality, questions.bias);
            std::vector<double> values;
            double mean = 0;
            for (const Place& place : line) {
                values.push_back(Mean(GatherAt(cloud.Light(), quantity, place, settings)));
                mean += values.back() / kLinePlaces;
            }
            std::size_t worst = 1;
            for (std::size_t i = 1; i < line.size(); ++i)
                if (std::abs(values[i] - values[i - 1]) >
                    std::abs(values[worst] - values[worst - 1]))
                    worst = i;
            const double step = values[worst] - values[worst - 1];
            const double traced = TrueStep(rays, quantity, line[worst - 1], line[worst], bounces);
            fmt::print("{:<8} {:<20} {:>8.4f} {:>6.2f} % {:>8.2f} %  {:.4f} {:.4f} {:.4f}\n",
                       quality.name, NameOf(quantity), mean, 100 * step / mean, 100 * traced / mean,
                       line[worst].position.x, line[worst].position.y, line[worst].position.z);
        }
}

}  // namespace accuracy
