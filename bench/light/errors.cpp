// Errors: sums over places, and where the worst ones are.

#include "bench/light/errors.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace accuracy {

namespace {

constexpr std::size_t kWorst = 10;

void PrintWorst(const scene::Scene& scene, const std::vector<Place>& places,
                const std::vector<Vec3d>& answers, const TrueValues& truth,
                const std::vector<std::size_t>& worst) {
    for (const std::size_t i : worst) {
        const Place& place = places[i];
        const Vec3d& is = answers[i];
        const Vec3d& should = truth.values[i];
        const Vec3f albedo = scene.Surfaces()[place.surface]->GetMaterial().albedo;
        fmt::print(
            "      at {:7.4f} {:7.4f} {:7.4f}  normal {:5.2f} {:5.2f} {:5.2f}  surface {:>2}"
            " of albedo {:.2f} {:.2f} {:.2f}: {:.4f} instead of {:.4f}\n",
            place.position.x, place.position.y, place.position.z, place.normal.x, place.normal.y,
            place.normal.z, place.surface, albedo.x, albedo.y, albedo.z, (is.x + is.y + is.z) / 3,
            (should.x + should.y + should.z) / 3);
    }
}

}  // namespace

Errors Compare(const std::vector<Vec3d>& values, const std::vector<Vec3d>& truth) {
    std::vector<double> squared(truth.size());
    Errors errors;
    for (std::size_t i = 0; i < truth.size(); ++i) {
        const Vec3d error = values[i] - truth[i];
        squared[i] = Dot(error, error) / 3;
        errors.bias += (error.x + error.y + error.z) / 3;
        errors.mean += (truth[i].x + truth[i].y + truth[i].z) / 3;
    }
    const auto count = static_cast<double>(truth.size());
    const double sum = std::accumulate(squared.begin(), squared.end(), 0.0);
    errors.rms = std::sqrt(sum / count);
    errors.bias /= count;
    errors.mean /= count;
    std::vector<std::size_t> order(truth.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const std::size_t worst = std::min(kWorst, order.size());
    std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(worst),
                      order.end(), [&](std::size_t a, std::size_t b) {
                          return squared[a] != squared[b] ? squared[a] > squared[b] : a < b;
                      });
    order.resize(worst);
    for (const std::size_t i : order) errors.worst_share += sum > 0 ? squared[i] / sum : 0;
    errors.worst = std::move(order);
    return errors;
}

void PrintErrors(const scene::Scene& scene, const OpenedCloud& cloud, const Questions& questions,
                 const std::vector<Place>& places, const Truth& truth) {
    fmt::print("\n{:<8} {:<22} {:>8} {:>9} {:>9} {:>9} {:>14}\n", "quality", "errors of", "mean",
               "rms", "bias", "noise", "ten worst hold");
    for (const NamedQuality& quality : questions.qualities)
        for (const Quantity quantity : kQuantities) {
            const PtcGathering settings = SettingsOf(quantity, quality.quality, questions.bias);
            std::vector<Vec3d> answers;
            answers.reserve(places.size());
            for (const Place& place : places)
                answers.push_back(GatherAt(cloud.Light(), quantity, place, settings));
            const TrueValues& of = truth.Of(quantity);
            Errors errors = Compare(answers, of.values);
            const bool relative = quantity == Quantity::kIndirect;
            const double unit = relative ? errors.mean / 100 : 1;
            const auto figure = [&](double value) {
                return relative ? fmt::format("{:.2f} %", value / unit)
                                : fmt::format("{:.4f}", value);
            };
            fmt::print("{:<8} {:<22} {:>8.4f} {:>9} {:>9} {:>9} {:>12.1f} %\n", quality.name,
                       NameOf(quantity), errors.mean, figure(errors.rms), figure(errors.bias),
                       figure(of.noise), 100 * errors.worst_share);
            errors.worst.resize(
                std::min(errors.worst.size(), static_cast<std::size_t>(questions.worst)));
            PrintWorst(scene, places, answers, of, errors.worst);
        }
}

}  // namespace accuracy
