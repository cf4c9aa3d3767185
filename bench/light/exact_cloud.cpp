// The exact cloud: direct light by many rays to the lamp, grid by grid.

#include "bench/light/exact_cloud.h"

#include <vector>

#include "bench/light/cloud_writer.h"
#include "tools/common/parallel.h"
#include "tools/scene/hemisphere.h"

namespace accuracy {

namespace {

constexpr std::uint32_t kLampRays = 256;
constexpr std::size_t kGridsAtOnce = 256;

/// A grid as it is written.
struct LitGrid {
    std::vector<scene::Micropolygon> micropolygons;
    std::vector<Vec3f> colours;
};

LitGrid Light(const scene::Scene& scene, const scene::RayTracer& tracer, std::uint32_t grid) {
    LitGrid lit;
    const scene::Surface& surface = scene.Dice(grid, &lit.micropolygons);
    if (surface.Tessellate().triangles.empty()) return {};
    std::uint64_t seed = std::uint64_t{grid} << 32;
    for (const scene::Micropolygon& here : lit.micropolygons) {
        const scene::Receiver receiver = {here.centre + here.facing * scene::kLiftOff, here.normal};
        Vec3f sum;
        for (std::uint32_t k = 0; k < kLampRays; ++k) {
            const scene::Point2 point = scene::EvenPoint(seed, k);
            sum = sum + scene::FromLamp(scene.Light(), tracer, receiver,
                                        scene.Light().At(point.u, point.v));
        }
        ++seed;
        lit.colours.push_back(surface.GetMaterial().albedo * sum * (1.0f / kLampRays));
    }
    return lit;
}

}  // namespace

void WriteExactCloud(const scene::Scene& scene, const scene::RayTracer& tracer, int threads,
                     const std::string& file) {
    CloudWriter cloud(file);
    for (std::size_t first = 0; first < scene.GridCount(); first += kGridsAtOnce) {
        std::vector<LitGrid> grids(std::min(kGridsAtOnce, scene.GridCount() - first));
        ParallelFor(grids.size(), threads, [&](std::size_t i) {
            grids[i] = Light(scene, tracer, static_cast<std::uint32_t>(first + i));
        });
        for (const LitGrid& grid : grids)
            for (std::size_t i = 0; i < grid.colours.size(); ++i) {
                const scene::Micropolygon& here = grid.micropolygons[i];
                cloud.Write(here.centre, here.normal, here.radius, here.area, grid.colours[i]);
            }
    }
    cloud.Finish();
}

}  // namespace accuracy
