// light_accuracy: how far light gathered from clouds is from light that rays find, and how fast.

#include <fmt/format.h>

#include <cstdio>
#include <exception>

#include "bench/light/exact_cloud.h"
#include "bench/light/options.h"
#include "tools/common/failure.h"

namespace accuracy {

namespace {

/// What decides the truth, besides its own options.
std::string KeyOf(const scene::SceneOptions& options) {
    return fmt::format("truth 1: mesh '{}' turned {}, sides {}, density {}, grid {}", options.mesh,
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

void Run(const Options& options) {
    scene::MeshReport mesh;
    const scene::Scene scene = scene::MakeScene(options.scene, &mesh);
    const scene::RayTracer tracer(scene);
    if (!options.write_cloud.empty()) {
        WriteExactCloud(scene, tracer, options.truth.threads, options.write_cloud);
        return;
    }
    const Rays rays(scene, tracer);
    const std::vector<Place> places = ChoosePlaces(scene, options.places);
    const Truth truth =
        FindTruth(rays, places, options.truth, KeyOf(options.scene), options.cached_truth);
    PrintTruth(truth);
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
