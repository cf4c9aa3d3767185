// Points from the host's memory to their file, beside copying the file's bytes and write(2).
//
// The limit copies as many bytes as the records have, out of a buffer larger than the caches and in
// pieces of the writer's size, and writes each piece. Both sides make their file anew in each turn.

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "bench/rows/row.h"
#include "driver/image.h"
#include "ptc/dspy.h"

extern "C" {
DspyImageOpenFunction DspyImageOpen;
DspyImageDeepDataFunction DspyImageDeepData;
DspyImageCloseFunction DspyImageClose;
}

namespace {

constexpr std::size_t kPoints = 10'000'000;
constexpr std::size_t kBatch = 256;   // samples of one delivery
constexpr std::size_t kPiece = 2048;  // records of one write, as in the writer

/// Samples of `7 + data_floats` floats on a sphere, so the normals have all directions. Kept until
/// another size is wanted.
const std::vector<float>& Samples(std::size_t data_floats) {
    static std::vector<float> samples;
    const std::size_t floats = 7 + data_floats;
    if (samples.size() == kPoints * floats) return samples;
    samples = {};
    samples.assign(kPoints * floats, 0.5f);
    for (std::size_t i = 0; i < kPoints; ++i) {
        const float z = 1 - 2 * (static_cast<float>(i) + 0.5f) / static_cast<float>(kPoints);
        const float angle = 0.05f * static_cast<float>(i % 100'000);
        const float s = std::sqrt(1 - z * z);
        float* const sample = &samples[i * floats];
        const float axes[] = {s * std::cos(angle), s * std::sin(angle), z};
        for (int axis = 0; axis < 3; ++axis) sample[axis] = sample[axis + 3] = axes[axis];
        sample[6] = 0.01f;
    }
    return samples;
}

void Deliver(std::size_t data_floats, const PointLanes& lanes) {
    const std::string file = RowFile("direct_path.ptc");
    unlink(file.c_str());
    const std::vector<float>& samples = Samples(data_floats);
    std::vector<std::string> names(data_floats, "x|float v");
    std::vector<DspyFormat> formats;
    formats.reserve(data_floats);
    for (std::string& name : names) formats.push_back({name.data(), 0});
    void* image = nullptr;
    if (DspyImageOpen(&image, "row", file.c_str(), 1, 1, 0, nullptr,
                      static_cast<int>(formats.size()), formats.data(), nullptr) != 0)
        RowFailed("opening the image");
    static_cast<PointCloudImage*>(image)->writer->lanes = &lanes;
    const std::size_t floats = 7 + data_floats;
    for (std::size_t i = 0; i < kPoints; i += kBatch) {
        const std::size_t count = std::min(kBatch, kPoints - i);
        if (DspyImageDeepData(image, 0, static_cast<int>(count) - 1, 0, 0,
                              reinterpret_cast<const unsigned char*>(&samples[i * floats]),
                              static_cast<int>(4 * count * floats)) != 0)
            RowFailed("delivering a batch");
    }
    if (DspyImageClose(image) != 0) RowFailed("closing the image");
}

void CopyAndWrite(std::size_t data_floats) {
    const std::string file = RowFile("direct_path.raw");
    unlink(file.c_str());
    const auto source = std::as_bytes(std::span(Samples(data_floats)));
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    const std::size_t record = 20 + 4 * data_floats;
    std::vector<std::byte> piece(kPiece * record);
    for (std::size_t at = 0; at < kPoints * record; at += piece.size()) {
        const std::size_t bytes = std::min(piece.size(), kPoints * record - at);
        std::memcpy(piece.data(), source.data() + at, bytes);
        if (write(descriptor, piece.data(), bytes) != static_cast<ssize_t>(bytes))
            RowFailed("writing the raw file");
    }
    close(descriptor);
}

Row RowOf(std::size_t data_floats, double goal, const PointLanes& lanes = BestPointLanes()) {
    Row row;
    row.what = "direct path, floats: " + std::to_string(data_floats);
    if (&lanes != &BestPointLanes()) row.what += ", without AVX2";
    row.limit_name = "copying and write(2)";
    row.goal = goal;
    row.items = kPoints;
    row.limit = [=] { CopyAndWrite(data_floats); };
    row.ours = [=, &lanes] { Deliver(data_floats, lanes); };
    return row;
}

}  // namespace

int main(int count, char** arguments) {
    const int status =
        RunRows(count, arguments,
                {RowOf(1, 1.5), RowOf(4, 1.25), RowOf(4, 1.55, kFourLanes), RowOf(16, 1.15)});
    for (const char* const name : {"direct_path.ptc", "direct_path.raw"})
        unlink(RowFile(name).c_str());
    return status;
}
