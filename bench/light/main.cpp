// light_accuracy: how far light gathered from clouds is from light that rays find, and how fast.

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <optional>

#include "bench/light/errors.h"
#include "bench/light/exact_cloud.h"
#include "bench/light/growth.h"
#include "bench/light/known_scenes.h"
#include "bench/light/options.h"
#include "bench/light/seams.h"
#include "bench/light/speed.h"
#include "tools/common/failure.h"

namespace accuracy {

namespace {

constexpr std::int64_t kCacheKb = 1 << 20;

/// What decides the truth, besides its own options.
std::string KeyOf(const scene::SceneOptions& options) {
    return fmt::format("truth 2: mesh '{}' turned {}, sides {}, density {}, grid {}", options.mesh,
                       options.turn, static_cast<int>(options.sides), options.density,
                       options.grid);
}

void PrintTruth(const Truth& truth) {
    fmt::print("{:<22} {:>10} {:>12}\n", "truth", "mean", "own noise");
    for (const Quantity quantity : kQuantities) {
        const TrueValues& of = truth.Of(quantity);
        double sum = 0;
        for (const Vec3d& value : of.values) sum += (value.x + value.y + value.z) / 3;
        fmt::print("{:<22} {:>10.5f} {:>12.6f}\n", NameOf(quantity),
                   sum / static_cast<double>(of.values.size()), of.noise);
    }
    (void)std::fflush(stdout);
}

bool Wants(const Options& options, Part part) {
    return options.parts.empty() || std::ranges::count(options.parts, part) > 0;
}

void Run(const Options& options) {
    scene::MeshReport mesh;
    const scene::Scene scene = scene::MakeScene(options.scene, &mesh);
    const scene::RayTracer tracer(scene);
    if (!options.write_cloud.empty()) {
        WriteExactCloud(scene, tracer, options.truth.threads, options.write_cloud);
        return;
    }
    // Everything stays in memory, as in a host that gathers from one cloud for long.
    PtcConfigure(1, kCacheKb, kCacheKb, nullptr);
    const Questions questions{QualitiesOf(options.quality), options.bias, options.worst};
    const bool is_known_alone = options.parts == std::vector{Part::kKnown};
    if (is_known_alone || (!options.cloud.empty() && Wants(options, Part::kKnown)))
        PrintKnownScenes(questions);
    if (is_known_alone) return;

    // Before the truth, which takes longer: a file that cannot be used is known at once.
    std::optional<OpenedCloud> cloud;
    std::optional<OpenedCloud> larger;
    if (!options.cloud.empty()) cloud.emplace(options.cloud, options.colour);
    if (!options.larger_cloud.empty()) larger.emplace(options.larger_cloud, options.colour);
    const Rays rays(scene, tracer);
    const std::vector<Place> places = ChoosePlaces(scene, tracer, options.places);
    const Truth truth =
        FindTruth(rays, places, options.truth, KeyOf(options.scene), options.cached_truth);
    PrintTruth(truth);
    if (!cloud) return;

    if (Wants(options, Part::kErrors)) PrintErrors(scene, *cloud, questions, places, truth);
    if (Wants(options, Part::kSpeed)) PrintSpeed(rays, *cloud, questions, places, truth);
    if (Wants(options, Part::kSeams))
        PrintSeams(rays, *cloud, questions, options.truth.light.bounces);
    if (larger && Wants(options, Part::kGrowth)) PrintGrowth(*cloud, *larger, questions, places);
}

}  // namespace

}  // namespace accuracy

int main(int argc, char** argv) {
    try {
        accuracy::Options options;
        const std::optional<int> status = accuracy::ParseOptions(argc, argv, &options);
        if (!status) accuracy::Run(options);
        return status.value_or(0);
    } catch (const std::exception& failure) {
        (void)std::fprintf(stderr, "light_accuracy: %s\n", failure.what());
        return 1;
    }
}
