// Bake: shades windows of grids in parallel and delivers them in order.
//
// Shading and delivering alternate: all threads shade a window, then this thread alone delivers it.
// A driver takes a small part of the time, so doing both at once would save little, and this way
// needs no queue, no lock and no order between threads.

#include "tools/bake/bake.h"

#include <algorithm>
#include <span>
#include <unordered_map>
#include <utility>

#include "tools/bake/image_request.h"
#include "tools/common/parallel.h"
#include "tools/common/stopwatch.h"

namespace bake {

namespace {

/// One grid as the driver gets it, kSampleFloats floats a sample.
using Samples = std::vector<float>;

/// New samples of a window for each thread: enough for threads that are done early not to wait
/// long for the others, few enough for the progress bar to move.
constexpr std::uint64_t kWindowSamples = 8192;

/// Dices and shades one grid. A sample's seed is its grid's number and its place in the grid, so
/// its rays do not depend on the thread that shades it, nor on the time.
Samples ShadeGrid(const scene::Scene& scene, const scene::Shader& shader, std::uint32_t grid) {
    std::vector<scene::Micropolygon> micropolygons;
    const scene::Surface& surface = scene.Dice(grid, &micropolygons);
    Samples samples;
    samples.reserve(micropolygons.size() * kSampleFloats);
    std::uint64_t seed = std::uint64_t{grid} << 32;
    for (const scene::Micropolygon& micropolygon : micropolygons)
        AppendSample(micropolygon,
                     shader.Evaluate(micropolygon.Centre(), surface.GetMaterial(), seed++),
                     &samples);
    return samples;
}

/// The deliveries from the front of `plan` that make one window: at least one, and no more than
/// needed for enough new samples. Repeats are not counted, because they need no shading.
std::span<const Delivery> NextWindow(std::span<const Delivery> plan, int threads) {
    const std::uint64_t most = kWindowSamples * static_cast<std::uint64_t>(threads);
    std::uint64_t fresh = 0;
    std::size_t count = 0;
    while (count < plan.size() && fresh < most) {
        if (plan[count].kind != Delivery::Kind::kRepeat) fresh += plan[count].samples;
        ++count;
    }
    return plan.first(count);
}

}  // namespace

std::uint64_t CountSamples(const std::vector<Delivery>& plan) {
    std::uint64_t samples = 0;
    for (const Delivery& delivery : plan) samples += delivery.samples;
    return samples;
}

BakeTotals Bake(const scene::Scene& scene, const scene::Shader& shader,
                const std::vector<Delivery>& plan, int threads, DriverImage* image,
                Progress* progress) {
    BakeTotals totals;
    std::unordered_map<std::uint32_t, Samples>
        waiting;  // by grid: those that will be delivered again
    for (std::span<const Delivery> rest = plan; !rest.empty();) {
        const std::span<const Delivery> window = NextWindow(rest, threads);
        rest = rest.subspan(window.size());

        // Every index writes its own element, so no two threads write the same memory.
        const Stopwatch watch;
        std::vector<Samples> shaded(window.size());
        ParallelFor(window.size(), threads, [&](std::size_t i) {
            if (window[i].kind != Delivery::Kind::kRepeat)
                shaded[i] = ShadeGrid(scene, shader, window[i].grid);
        });
        totals.shading_seconds += watch.Seconds();

        for (std::size_t i = 0; i < window.size(); ++i) {
            const Delivery& delivery = window[i];
            const bool repeat = delivery.kind == Delivery::Kind::kRepeat;
            // A grid's first delivery is in an earlier bucket, so the grid is in `waiting`.
            if (repeat) shaded[i] = std::move(waiting.extract(delivery.grid).mapped());
            image->Deliver(shaded[i]);
            totals.grids += 1;
            totals.samples += delivery.samples;
            totals.repeated_grids += repeat ? 1 : 0;
            totals.repeated_samples += repeat ? delivery.samples : 0;
            if (delivery.kind == Delivery::Kind::kFirst)
                waiting.emplace(delivery.grid, std::move(shaded[i]));
        }
        progress->Show(totals.samples);
    }
    return totals;
}

}  // namespace bake
