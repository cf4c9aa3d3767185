// How the simplifier's time grows with the buffer: read the ratio of 100k to 1M points of one
// surface, which is 10 for a cost in proportion.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "driver/simplify.h"

namespace {

/// A surface of `count` points: evenly covered, or in clusters that leave most of it bare.
std::vector<PointRecord> Surface(std::int64_t count, bool is_clustered, std::vector<float>* data) {
    std::mt19937 random(1);
    const auto uniform = [&] { return static_cast<float>(random() >> 8) * 0x1p-24f; };
    const float radius = 0.7f / std::sqrt(static_cast<float>(count));
    data->assign(static_cast<std::size_t>(count), 0.5f);
    std::vector<PointRecord> records;
    for (std::int64_t i = 0; i < count; ++i) {
        float x = uniform();
        float y = uniform();
        if (is_clustered) {
            x = std::floor(x * 16) / 16 + x * x * 0.02f;
            y = std::floor(y * 16) / 16 + y * x * 0.02f;
        }
        const float z = 0.2f * std::sin(7 * x) * std::cos(5 * y);
        records.push_back({{{x, y, z}, {0, 0, 1}, radius}, &(*data)[static_cast<std::size_t>(i)]});
    }
    return records;
}

void RunSimplify(benchmark::State& state, bool is_clustered) {
    std::vector<float> data;
    const std::vector<PointRecord> surface = Surface(state.range(0), is_clustered, &data);
    SimplifySettings settings;
    settings.max_distance = 4 / std::sqrt(static_cast<float>(state.range(0)));
    settings.area_flags = {0};
    std::int64_t left = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<PointRecord> records = surface;
        std::vector<std::uint8_t> removed(records.size());
        state.ResumeTiming();
        Simplify(records, removed, settings, Projection());
        left = std::count(removed.begin(), removed.end(), std::uint8_t{0});
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["left"] = static_cast<double>(left);
}

void SimplifyEven(benchmark::State& state) {
    RunSimplify(state, false);
}
void SimplifyClustered(benchmark::State& state) {
    RunSimplify(state, true);
}
BENCHMARK(SimplifyEven)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(SimplifyClustered)
    ->Arg(10'000)
    ->Arg(100'000)
    ->Arg(1'000'000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
