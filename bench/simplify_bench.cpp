// Measures how the simplifier's time grows with the buffer. The figure is the time for 1M points
// divided by that for 100k points of the same cloud: 10 if the time is proportional to the number.
// The clouds are a surface, evenly covered or in clusters, and crowds, with very many points at one
// place.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "driver/simplify.h"

namespace {

/// A surface of `count` points: evenly covered, or in clusters with large gaps.
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

/// How the points of a crowd differ.
enum class Crowd { kEqual, kRadii, kNormals, kPlaces, kInSurface };

std::vector<PointRecord> Crowded(std::int64_t count, Crowd kind, std::vector<float>* data) {
    std::mt19937 random(1);
    const auto uniform = [&] { return static_cast<float>(random() >> 8) * 0x1p-24f; };
    std::vector<PointRecord> records = Surface(count, false, data);
    for (std::size_t i = 0; i < records.size(); ++i) {
        PointHead& head = records[i].head;
        if (kind == Crowd::kInSurface && i % 2) continue;
        const float place = kind == Crowd::kPlaces ? std::floor(uniform() * 8) : 3;
        head = {{place * 0.1f, 0.7f, 1.9f}, {0, 0, 1}, 0.01f};
        if (kind == Crowd::kRadii || kind == Crowd::kPlaces) head.radius += 0.1f * uniform();
        if (kind != Crowd::kNormals) continue;
        float* const n = head.normal;
        for (int axis = 0; axis < 3; ++axis) n[axis] = uniform() - 0.5f;
        const float length = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
        for (int axis = 0; axis < 3; ++axis) n[axis] /= length;
    }
    return records;
}

void RunSimplify(benchmark::State& state, const std::vector<PointRecord>& cloud, bool is_raster) {
    SimplifySettings settings;
    settings.max_distance = 4 / std::sqrt(static_cast<float>(state.range(0)));
    settings.is_raster_space = is_raster;
    settings.area_flags = {0};
    Projection projection;
    projection.world_to_ndc = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 0, 0, 0, 2};
    projection.format = {2, 2, 1};
    std::int64_t left = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<PointRecord> records = cloud;
        std::vector<std::uint8_t> removed(records.size());
        state.ResumeTiming();
        Simplify(records, removed, settings, projection);
        left = std::count(removed.begin(), removed.end(), std::uint8_t{0});
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["left"] = static_cast<double>(left);
}

void SimplifySurface(benchmark::State& state, bool is_clustered) {
    std::vector<float> data;
    RunSimplify(state, Surface(state.range(0), is_clustered, &data), false);
}
void SimplifyCrowd(benchmark::State& state, Crowd kind) {
    std::vector<float> data;
    RunSimplify(state, Crowded(state.range(0), kind, &data), state.range(1));
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
}
BENCHMARK_CAPTURE(SimplifySurface, Even, false)->Apply(Sizes);
BENCHMARK_CAPTURE(SimplifySurface, Clustered, true)->Apply(Sizes);

void SizesInBothSpaces(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgsProduct({{10'000, 100'000, 1'000'000}, {0, 1}})
        ->ArgNames({"", "raster"})
        ->Unit(benchmark::kMillisecond);
}
BENCHMARK_CAPTURE(SimplifyCrowd, Equal, Crowd::kEqual)->Apply(SizesInBothSpaces);
BENCHMARK_CAPTURE(SimplifyCrowd, Radii, Crowd::kRadii)->Apply(SizesInBothSpaces);
BENCHMARK_CAPTURE(SimplifyCrowd, Normals, Crowd::kNormals)->Apply(SizesInBothSpaces);
BENCHMARK_CAPTURE(SimplifyCrowd, Places, Crowd::kPlaces)->Apply(SizesInBothSpaces);
BENCHMARK_CAPTURE(SimplifyCrowd, InSurface, Crowd::kInSurface)->Apply(SizesInBothSpaces);

}  // namespace
