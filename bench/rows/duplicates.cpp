// What the test for repeated grids costs: delivering points to the plug-in with and without it. And
// the test for repeated samples, beside a set of the same size.
//
// No grid repeats an earlier one, so each is compared and remembered. The difference of the two
// times printed is what the test costs a point.

#include <dlfcn.h>
#include <unistd.h>

#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "bench/rows/row.h"
#include "driver/duplicate_samples.h"
#include "ptc/dspy.h"

namespace {

constexpr std::int64_t kPoints = 1 << 20;
constexpr std::int64_t kGrid = 256;
constexpr std::int64_t kDataFloats = 4;
constexpr std::int64_t kFloats = 7 + kDataFloats;

/// Samples on a bumpy plane, grid by grid.
std::vector<float> Samples() {
    std::vector<float> samples(static_cast<std::size_t>(kPoints * kFloats), 0.5f);
    constexpr std::int64_t kSide = 16;
    constexpr std::int64_t kGridsInRow = 64;
    for (std::int64_t i = 0; i < kPoints; ++i) {
        const std::int64_t grid = i / kGrid;
        const std::int64_t column = grid % kGridsInRow * kSide + i % kSide;
        const std::int64_t row = grid / kGridsInRow * kSide + i % kGrid / kSide;
        float* const sample = &samples[static_cast<std::size_t>(i * kFloats)];
        const float x = 0.01f * static_cast<float>(column);
        const float y = 0.01f * static_cast<float>(row);
        const float head[] = {x, y, 0.2f * std::sin(3 * x) * std::cos(2 * y), 0, 0, 1, 0.01f};
        for (int k = 0; k < 7; ++k) sample[k] = head[k];
    }
    return samples;
}

class Plugin {
public:
    Plugin() : object_(dlopen(PLUGIN_PATH, RTLD_NOW | RTLD_LOCAL)) {
        if (!object_) RowFailed(dlerror());
        open_ = reinterpret_cast<DspyImageOpenFunction*>(dlsym(object_, "DspyImageOpen"));
        deep_data_ =
            reinterpret_cast<DspyImageDeepDataFunction*>(dlsym(object_, "DspyImageDeepData"));
        close_ = reinterpret_cast<DspyImageCloseFunction*>(dlsym(object_, "DspyImageClose"));
    }
    Plugin(const Plugin&) = delete;
    ~Plugin() { dlclose(object_); }

    void Deliver(const std::vector<float>& samples, bool eliminates, const std::string& file) {
        int value = eliminates ? 1 : 0;
        const DspyParameter parameter = {"EliminateDuplicateGrids", 'i', 1, &value, sizeof value};
        std::vector<std::string> names(kDataFloats, "x|float v");
        std::vector<DspyFormat> formats;
        formats.reserve(names.size());
        for (std::string& channel : names) formats.push_back({channel.data(), 0});
        void* image = nullptr;
        if (open_(&image, "row", file.c_str(), 1, 1, 1, &parameter, kDataFloats, formats.data(),
                  nullptr))
            RowFailed("open");
        for (std::int64_t i = 0; i < kPoints; i += kGrid) {
            const auto* const grid = reinterpret_cast<const unsigned char*>(
                &samples[static_cast<std::size_t>(i * kFloats)]);
            if (deep_data_(image, 0, kGrid - 1, 0, 0, grid, static_cast<int>(kGrid * kFloats * 4)))
                RowFailed("deep data");
        }
        if (close_(image)) RowFailed("close");
    }

private:
    void* object_;
    DspyImageOpenFunction* open_ = nullptr;
    DspyImageDeepDataFunction* deep_data_ = nullptr;
    DspyImageCloseFunction* close_ = nullptr;
};

/// A million samples in sorted order. Every third one repeats the one before.
float SampleAt(std::int64_t i) {
    return static_cast<float>(i % 3 == 2 ? i - 1 : i);
}

Row SortedSamples() {
    constexpr std::int64_t kSamples = 1'000'000;
    constexpr std::int64_t kRepeats = kSamples / 3;
    Row row;
    row.what = "single samples, a third repeated";
    row.limit_name = "std::set";
    row.goal = 4;
    row.items = kSamples;
    row.limit = [] {
        std::set<float> samples;
        std::int64_t repeats = 0;
        for (std::int64_t i = 0; i < kSamples; ++i) repeats += !samples.insert(SampleAt(i)).second;
        if (repeats != kRepeats) RowFailed("set");
    };
    row.ours = [] {
        DuplicateSamples samples;
        std::int64_t repeats = 0;
        for (std::int64_t i = 0; i < kSamples; ++i)
            repeats += samples.IsCopy({{SampleAt(i), 0, 0}, {0, 0, 1}, 0.5f});
        if (repeats != kRepeats) RowFailed("samples");
    };
    return row;
}

}  // namespace

int main(int count, char** arguments) {
    const std::vector<float> samples = Samples();
    const std::string file = RowFile("duplicates.ptc");
    Plugin plugin;
    Row row;
    row.what = "grids of 256 points, none repeated";
    row.limit_name = "the same without the test";
    row.goal = 1.1;
    row.items = kPoints;
    row.limit = [&] { plugin.Deliver(samples, false, file); };
    row.ours = [&] { plugin.Deliver(samples, true, file); };
    row.rounds = 15;
    const int status = RunRows(count, arguments, {row, SortedSamples()});
    unlink(file.c_str());
    return status;
}
