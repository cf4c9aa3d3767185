// Places: one pass counts the area, a second one picks.

#include "bench/light/places.h"

#include <algorithm>

#include "tools/common/failure.h"
#include "tools/scene/hemisphere.h"

namespace accuracy {

namespace {

bool IsMeasured(const scene::Surface& surface) {
    return surface.GetMaterial().emission == Vec3f{} && !surface.Tessellate().triangles.empty();
}

/// Whether another surface lies in the gap that rays leave below them.
bool TouchesAnother(const scene::RayTracer& tracer, const scene::Surface& surface,
                    const scene::Micropolygon& here) {
    const auto hit = tracer.Nearest(here.centre, here.facing);
    return hit && hit->distance <= scene::kLiftOff && hit->material != &surface.GetMaterial();
}

/// Calls `take` with each micropolygon that can be measured, and the number of its surface.
template <class Take>
void ForEachMicropolygon(const scene::Scene& scene, const scene::RayTracer& tracer,
                         const Take& take) {
    std::vector<scene::Micropolygon> micropolygons;
    for (std::uint32_t number = 0; number < scene.Surfaces().size(); ++number) {
        const scene::Surface& surface = *scene.Surfaces()[number];
        if (!IsMeasured(surface)) continue;
        for (std::uint32_t grid = 0; grid < surface.GridCount(); ++grid) {
            surface.Dice(grid, &micropolygons);
            for (const scene::Micropolygon& micropolygon : micropolygons)
                if (!TouchesAnother(tracer, surface, micropolygon)) take(micropolygon, number);
        }
    }
}

}  // namespace

std::vector<Place> ChoosePlaces(const scene::Scene& scene, const scene::RayTracer& tracer,
                                int count) {
    double area = 0;
    ForEachMicropolygon(scene, tracer, [&](const scene::Micropolygon& micropolygon, std::uint32_t) {
        area += double{micropolygon.area};
    });
    if (!(area > 0)) throw Failure("the scene has no surface to measure on");

    // Where in the sum of the areas the next place lies.
    const double part = area / count;
    std::vector<Place> places;
    const auto next = [&] {
        const auto number = static_cast<std::uint64_t>(places.size());
        return part * (static_cast<double>(number) + double{scene::RandomPoint(number).u});
    };
    double passed = 0;
    ForEachMicropolygon(scene, tracer, [&](const scene::Micropolygon& here, std::uint32_t surface) {
        passed += double{here.area};
        while (places.size() < static_cast<std::size_t>(count) && next() < passed)
            places.push_back(
                {here.centre, here.normal, here.centre + here.facing * scene::kLiftOff, surface});
    });
    return places;
}

std::vector<Place> FloorLine(int count) {
    // Between the things of the bundled scene, which they touch the floor away from; not along the
    // rows of points.
    constexpr Vec3f kFrom = {-0.95f, -1, -0.80f};
    constexpr Vec3f kTo = {0.79f, -1, 0.95f};
    constexpr Vec3f kUp = {0, 1, 0};
    std::vector<Place> places;
    for (int i = 0; i < count; ++i) {
        const float share = static_cast<float>(i) / static_cast<float>(std::max(1, count - 1));
        const Vec3f position = kFrom + (kTo - kFrom) * share;
        places.push_back({position, kUp, position + kUp * scene::kLiftOff});
    }
    return places;
}

}  // namespace accuracy
