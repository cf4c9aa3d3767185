// Compares reading points with reading the same number of bytes.
//
// The figure is ReadPoints/N ÷ RawRead/N of one run; N is the number of data floats of a point.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "ptc/cloud/reader.h"
#include "ptc/cloud/writer.h"

namespace {

constexpr std::int64_t kPoints = 10'000'000;

/// A file of kPoints points, deleted at the end of the benchmark.
class BigFile {
public:
    explicit BigFile(std::int64_t floats) {
        const char* const folder = std::getenv("TMPDIR");
        name_ = std::string(folder ? folder : "/tmp") + "/pointcloud_bench_read.ptc";
        const std::vector<const char*> types(static_cast<std::size_t>(floats), "float");
        CloudDescription description;
        description.file_name = name_.c_str();
        description.point_variables = {static_cast<int>(floats), types.data(), types.data()};
        std::string why;
        const auto cloud = CreateCloud(description, &why);
        const std::vector<float> data(types.size(), 0.5f);
        for (std::int64_t i = 0; cloud && i < kPoints; ++i) {
            // Normals in random order, so that decoding uses all parts of its tables.
            const auto mixed = static_cast<std::uint32_t>(i) * 2654435761U;
            const float x = static_cast<float>(mixed >> 16) * 0x1p-15f - 1;
            const float y = static_cast<float>(mixed & 0xFFFFU) * 0x1p-15f - 1;
            (void)WritePoint(*cloud, {{x, y, 2}, {x, y, x * y}, 1}, data.data());
        }
        if (cloud) (void)FinishCloud(*cloud);
    }
    ~BigFile() { unlink(name_.c_str()); }
    BigFile(const BigFile&) = delete;
    BigFile& operator=(const BigFile&) = delete;

    const char* Name() const { return name_.c_str(); }

private:
    std::string name_;
};

constexpr std::size_t kBatch = 4096;

void ReadPointsInSequence(benchmark::State& state) {
    const BigFile file(state.range(0));
    std::vector<PointHead> heads(kBatch);
    std::vector<float> data(kBatch * static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        std::string why;
        const auto cloud = OpenCloud(file.Name(), &why);
        std::size_t count = 0;
        while (cloud && ReadPoints(*cloud, heads, data, &count) == CloudStatus::kOk)
            benchmark::DoNotOptimize(heads.data());
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(ReadPointsInSequence)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);

void RawRead(benchmark::State& state) {  // baseline: as many bytes
    const BigFile file(state.range(0));
    std::vector<char> piece(std::size_t{1} << 16);
    for (auto _ : state) {
        const int descriptor = open(file.Name(), O_RDONLY);
        while (read(descriptor, piece.data(), piece.size()) > 0)
            benchmark::DoNotOptimize(piece.data());
        close(descriptor);
    }
    state.SetItemsProcessed(state.iterations() * kPoints);
}
BENCHMARK(RawRead)->Arg(1)->Arg(4)->Unit(benchmark::kMillisecond);

}  // namespace
