// Compares delivering points with writing the same number of bytes.
//
// The figure is Deliver/N ÷ RawWrite/N of one run; N is the number of data floats of a point.

#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "ptc/dspy.h"

namespace {

constexpr std::int64_t kPoints = 1 << 20;
constexpr std::int64_t kGrid = 256;
constexpr std::int64_t kPiece = 2048;

std::string OutputFile() {
    const char* const folder = std::getenv("TMPDIR");
    return std::string(folder ? folder : "/tmp") + "/pointcloud_bench.ptc";
}

/// Samples on a sphere, so the normals have all directions.
std::vector<float> SphereSamples(std::int64_t floats) {
    std::vector<float> samples(static_cast<std::size_t>(kPoints * floats), 0.5f);
    for (std::int64_t i = 0; i < kPoints; ++i) {
        const float z = 1 - 2 * (static_cast<float>(i) + 0.5f) / static_cast<float>(kPoints);
        const float angle = 0.05f * static_cast<float>(i % 100'000);
        const float s = std::sqrt(1 - z * z);
        float* const sample = &samples[static_cast<std::size_t>(i * floats)];
        const float axes[] = {s * std::cos(angle), s * std::sin(angle), z};
        for (int axis = 0; axis < 3; ++axis) sample[axis] = sample[axis + 3] = axes[axis];
        sample[6] = 0.01f;
    }
    return samples;
}

void Deliver(benchmark::State& state) {
    void* const object = dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!object) {
        state.SkipWithError(dlerror());
        return;
    }
    const auto open = reinterpret_cast<DspyImageOpenFunction*>(dlsym(object, "DspyImageOpen"));
    const auto deep_data =
        reinterpret_cast<DspyImageDeepDataFunction*>(dlsym(object, "DspyImageDeepData"));
    const auto close = reinterpret_cast<DspyImageCloseFunction*>(dlsym(object, "DspyImageClose"));

    const std::int64_t floats = 7 + state.range(0);
    const std::vector<float> samples = SphereSamples(floats);
    const std::string file = OutputFile();
    for (auto _ : state) {
        std::vector<std::string> names(static_cast<std::size_t>(state.range(0)), "x|float v");
        std::vector<DspyFormat> formats;
        for (std::string& name : names) formats.push_back({name.data(), 0});
        void* image = nullptr;
        open(&image, "bench", file.c_str(), 1, 1, 0, nullptr, static_cast<int>(formats.size()),
             formats.data(), nullptr);
        for (std::int64_t i = 0; i < kPoints; i += kGrid)
            deep_data(image, 0, kGrid - 1, 0, 0,
                      reinterpret_cast<const unsigned char*>(
                          &samples[static_cast<std::size_t>(i * floats)]),
                      static_cast<int>(kGrid * floats * 4));
        close(image);
    }
    unlink(file.c_str());
    dlclose(object);
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(Deliver)->Arg(1)->Arg(4)->Arg(16)->Unit(benchmark::kMillisecond);

void RawWrite(benchmark::State& state) {  // baseline: as many bytes, in pieces of the same size
    const std::int64_t record = 20 + 4 * state.range(0);
    const std::vector<char> piece(static_cast<std::size_t>(kPiece * record), 'x');
    const std::string file = OutputFile();
    for (auto _ : state) {
        const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
        for (std::int64_t i = 0; i < kPoints; i += kPiece)
            if (write(descriptor, piece.data(), piece.size()) < 0) state.SkipWithError("write");
        close(descriptor);
    }
    unlink(file.c_str());
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(RawWrite)->Arg(1)->Arg(4)->Arg(16)->Unit(benchmark::kMillisecond);

}  // namespace
