// What scripts/count_instructions counts: one function for each path, which handles kItems points.

#include <dlfcn.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/rows/cached_cloud.h"
#include "ptc/access.h"
#include "ptc/cloud/record_reader.h"
#include "ptc/dspy.h"

namespace {

using namespace cached_cloud;

constexpr std::int64_t kItems = 102'400;
constexpr std::int64_t kGrid = 256;
constexpr std::int64_t kDirectFloats = 4;

template <class Function>
Function* FunctionOf(void* object, const char* name) {
    auto* const function = reinterpret_cast<Function*>(dlsym(object, name));
    if (!function) RowFailed(name);
    return function;
}

/// Samples on a sphere, so the normals have all directions.
std::vector<float> SphereSamples() {
    constexpr std::size_t kFloatsOfSample = 7 + kDirectFloats;
    std::vector<float> samples(kItems * kFloatsOfSample, 0.5f);
    for (std::int64_t i = 0; i < kItems; ++i) {
        const float z = 1 - 2 * (static_cast<float>(i) + 0.5f) / static_cast<float>(kItems);
        const float angle = 0.05f * static_cast<float>(i % 100'000);
        const float s = std::sqrt(1 - z * z);
        const float axes[] = {s * std::cos(angle), s * std::sin(angle), z};
        float* const sample = &samples[static_cast<std::size_t>(i) * kFloatsOfSample];
        for (int axis = 0; axis < 3; ++axis) sample[axis] = sample[axis + 3] = axes[axis];
    }
    return samples;
}

float sum = 0;

}  // namespace

// Not in the unnamed namespace: callgrind finds them by their names.

[[gnu::noinline]] void DirectPath(DspyImageDeepDataFunction* deliver, void* image,
                                  const std::vector<float>& samples) {
    constexpr std::int64_t kBytes = kGrid * (7 + kDirectFloats) * 4;
    const auto* at = reinterpret_cast<const unsigned char*>(samples.data());
    for (std::int64_t i = 0; i < kItems; i += kGrid, at += kBytes)
        deliver(image, 0, kGrid - 1, 0, 0, at, kBytes);
}

[[gnu::noinline]] void HeldBlocks(PtcManagedFile* file) {
    for (std::int64_t i = 0; i < kItems; ++i)
        sum += PtcGetPoint(file, i * 37 % (16 * kBlockPoints))->radius;
}

[[gnu::noinline]] void SharedBlocks(PtcManagedFile* file) {
    for (std::int64_t i = 0; i < kItems; ++i)
        sum += PtcGetPoint(file, i * 257 % (16 * kBlockPoints))->radius;
}

[[gnu::noinline]] void DecodedBlocks(PtcRecordReader& reader, std::vector<PtcPoint>& records) {
    for (std::int64_t i = 0; i < kItems; i += kBlockPoints)
        if (Failed(reader.ReadPoints(i, kBlockPoints, records.data()))) RowFailed("decoding");
}

[[gnu::noinline]] void Misses(PtcManagedFile* file) {
    for (std::int64_t i = 0; i < kItems; i += kBlockPoints) sum += PtcGetPoint(file, i)->radius;
}

int main(int count, char** arguments) {
    if (count != 2) RowFailed("usage: instructions DRIVER");
    void* const object = dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL);
    if (!object) RowFailed(dlerror());
    const std::string output = RowFile("instructions");
    std::vector<std::string> names(kDirectFloats, "x|float v");
    std::vector<DspyFormat> formats;
    for (std::string& name : names) formats.push_back({name.data(), 0});
    void* image = nullptr;
    FunctionOf<DspyImageOpenFunction>(object, "DspyImageOpen")(
        &image, "count", output.c_str(), 1, 1, 0, nullptr, static_cast<int>(formats.size()),
        formats.data(), nullptr);
    if (!image) RowFailed("opening an image");
    DirectPath(FunctionOf<DspyImageDeepDataFunction>(object, "DspyImageDeepData"), image,
               SphereSamples());
    FunctionOf<DspyImageCloseFunction>(object, "DspyImageClose")(image);
    std::remove(output.c_str());

    std::vector<float> floats(kBlockPoints * kFloats);
    std::vector<PtcPoint> records(kBlockPoints);
    for (std::size_t i = 0; i < records.size(); ++i) records[i].data = &floats[i * kFloats];
    PtcRecordReader reader;
    std::string why;
    if (Failed(reader.Open(FileName().c_str(), false, &why))) RowFailed(why.c_str());
    (void)reader.ReadPoints(0, 1, records.data());  // makes the tables of normals
    DecodedBlocks(reader, records);

    for (const int blocks : {64, 3}) {
        MakeCaches(64, blocks);
        const PtcFile file(FileName().c_str());
        for (std::int64_t i = 0; i < 16; ++i) (void)PtcGetPoint(file.Get(), i * kBlockPoints);
        if (blocks == 64) HeldBlocks(file.Get());
        if (blocks == 3) SharedBlocks(file.Get());
    }
    MakeCaches(1, 3);
    const PtcFile file(FileName().c_str());
    Misses(file.Get());
    std::printf("%lld\n", static_cast<long long>(kItems));
    return sum > 0 ? 0 : 1;
}
