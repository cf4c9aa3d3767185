// Measures a million lookups of a repeated grid or sample.

#include <benchmark/benchmark.h>

#include <span>
#include <vector>

#include "driver/duplicate_grids.h"
#include "driver/duplicate_samples.h"

namespace {

constexpr int kMany = 1'000'000;

/// Every third grid repeats the one before.
void Grids(benchmark::State& state) {
    for (auto _ : state) {
        DuplicateGrids grids;
        std::int64_t copies = 0;
        for (int i = 0; i < kMany; ++i) {
            const int place = i % 3 == 2 ? i - 1 : i;
            const auto x = static_cast<float>(1 + place % 1000) * 0.37f;
            const auto y = static_cast<float>(1 + place / 1000) * 0.53f;
            const PointHead head = {{x, y, 5}, {0, 0, 1}, 0.5f};
            const PointHead grid[] = {head, head, head};
            copies += grids.IsCopy({std::as_bytes(std::span(grid)).data(), 3, 7});
        }
        state.counters["copies"] = static_cast<double>(copies);
    }
    state.SetItemsProcessed(state.iterations() * kMany);
}
BENCHMARK(Grids)->Unit(benchmark::kMillisecond);

void SortedSamples(benchmark::State& state) {
    for (auto _ : state) {
        DuplicateSamples samples;
        std::int64_t copies = 0;
        for (int i = 0; i < kMany; ++i) {
            const auto x = static_cast<float>(i % 3 == 2 ? i - 1 : i);
            copies += samples.IsCopy({{x, 0, 0}, {0, 0, 1}, 0.5f});
        }
        state.counters["copies"] = static_cast<double>(copies);
    }
    state.SetItemsProcessed(state.iterations() * kMany);
}
BENCHMARK(SortedSamples)->Unit(benchmark::kMillisecond);

}  // namespace
