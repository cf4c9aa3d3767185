// Delivery: finds the buckets of each grid, and sorts the deliveries.
//
// A renderer bounds a grid on the raster and puts it into the first bucket that the bounds reach.
// When that bucket is done, grids that reach further are passed to the next. The plan contains the
// result: one entry for each delivery of a grid, sorted by bucket.

#include "tools/bake/delivery.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "tools/common/parallel.h"

namespace bake {

namespace {

/// The raster box of all discs together, with which a renderer would bound a grid.
scene::RasterBox CoverAll(const scene::Camera& camera,
                          const std::vector<scene::Micropolygon>& micropolygons) {
    constexpr float kFar = std::numeric_limits<float>::max();
    scene::RasterBox all = {kFar, kFar, -kFar, -kFar};
    for (const scene::Micropolygon& micropolygon : micropolygons) {
        const scene::RasterBox one = camera.Cover(micropolygon.centre, micropolygon.radius);
        all = {std::min(all.x0, one.x0), std::min(all.y0, one.y0), std::max(all.x1, one.x1),
               std::max(all.y1, one.y1)};
    }
    return all;
}

/// The column or row of buckets that contains a raster coordinate. Coordinates outside the picture
/// belong to the bucket at its edge.
std::uint32_t BucketAlong(float coordinate, int pixels) {
    const float inside = std::clamp(coordinate, 0.0f, static_cast<float>(pixels - 1));
    return static_cast<std::uint32_t>(inside) / kBucketPixels;
}

std::uint32_t BucketsPerRow(const scene::Camera& camera) {
    return BucketAlong(static_cast<float>(camera.Width()), camera.Width()) + 1;
}

std::uint32_t BucketRows(const scene::Camera& camera) {
    return BucketAlong(static_cast<float>(camera.Height()), camera.Height()) + 1;
}

/// The first and the second bucket with which a grid is delivered; they may be the same.
struct Buckets {
    std::uint32_t first;
    std::uint32_t second;
    std::uint32_t samples;
};

/// A grid over several columns is delivered again one bucket to the right of its first one; a grid
/// in one column, one row further down.
Buckets BucketsOf(const scene::Camera& camera,
                  const std::vector<scene::Micropolygon>& micropolygons) {
    const scene::RasterBox box = CoverAll(camera, micropolygons);
    const std::uint32_t per_row = BucketsPerRow(camera);
    const std::uint32_t left = BucketAlong(box.x0, camera.Width());
    const std::uint32_t right = BucketAlong(box.x1, camera.Width());
    const std::uint32_t top = BucketAlong(box.y0, camera.Height());
    const std::uint32_t bottom = BucketAlong(box.y1, camera.Height());
    const std::uint32_t first = top * per_row + left;
    const std::uint32_t second = right > left ? first + 1 : bottom > top ? first + per_row : first;
    return {first, second, static_cast<std::uint32_t>(micropolygons.size())};
}

}  // namespace

std::vector<Delivery> PlanDeliveries(const scene::Scene& scene, const scene::Camera& camera,
                                     int threads) {
    // Grids are diced here for their bounds, and again when they are shaded: dicing is cheap beside
    // shading, and keeping all micropolygons would take memory for the whole scene.
    std::vector<Buckets> buckets(scene.GridCount());
    ParallelFor(buckets.size(), threads, [&](std::size_t grid) {
        std::vector<scene::Micropolygon> micropolygons;
        scene.Dice(static_cast<std::uint32_t>(grid), &micropolygons);
        buckets[grid] = BucketsOf(camera, micropolygons);
    });

    // Sorted by counting: where a bucket's deliveries begin is known before any is placed, and the
    // grids come in the order that they shall have within it.
    std::vector<std::size_t> places(std::size_t{BucketsPerRow(camera)} * BucketRows(camera) + 1);
    for (const auto& [first, second, samples] : buckets) {
        ++places[first + 1];
        if (second != first) ++places[second + 1];
    }
    std::partial_sum(places.begin(), places.end(), places.begin());
    std::vector<Delivery> plan(places.back());
    for (std::uint32_t grid = 0; grid < buckets.size(); ++grid) {
        const auto& [first, second, samples] = buckets[grid];
        const bool twice = second != first;
        plan[places[first]++] = {first, grid, samples,
                                 twice ? Delivery::Kind::kFirst : Delivery::Kind::kOnly};
        if (twice) plan[places[second]++] = {second, grid, samples, Delivery::Kind::kRepeat};
    }
    return plan;
}

}  // namespace bake
