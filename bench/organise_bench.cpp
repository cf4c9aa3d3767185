// Compares organising 10 million points with std::sort of as many pairs of code and index.
//
// The figures are Organise/N ÷ SortPairs (N threads, all in memory, at most 1.5 with one thread),
// Organise/1 ÷ Organise/2 (at least 1.5), and OrganiseInParts ÷ Organise/1 (at most 2.5). Files lie
// in TMPDIR: a folder in memory, such as /dev/shm, leaves the disk out. Processor time stands
// beside the wall's, for machines with other work.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "ptc/cloud/raw_points.h"
#include "ptc/organise.h"
#include "ptc/organise/point_order.h"

namespace {

constexpr std::size_t kPoints = 10'000'000;

struct Record {
    float position[3];
    std::uint32_t normal;
    float radius;
    float data[4];
};
static_assert(sizeof(Record) == 36);

/// Points on a bumpy sphere, in no order.
std::vector<Record> Surface() {
    std::mt19937_64 random(1);
    const auto unit = [&] { return static_cast<float>(random() >> 40) * 0x1p-24f; };
    std::vector<Record> records(kPoints);
    for (Record& record : records) {
        const float angle = unit() * 6.2831853f;
        const float z = 2 * unit() - 1;
        const float around = std::sqrt(1 - z * z);
        const float far = 1 + 0.1f * std::sin(5 * angle) * std::sin(9 * z);
        record = {{far * around * std::cos(angle), far * around * std::sin(angle), far * z},
                  static_cast<std::uint32_t>(random()),
                  0.001f * unit(),
                  {unit(), unit(), unit(), unit()}};
    }
    return records;
}

/// A cloud of these points, deleted at the end of the process.
class SurfaceFile {
public:
    SurfaceFile() {
        const char* const folder = std::getenv("TMPDIR");
        name_ = std::string(folder ? folder : "/tmp") + "/pointcloud_bench_organise.ptc";
        output_ = name_ + ".out";
        const char* const types[] = {"float", "color"};
        const char* const names[] = {"_area", "_radiosity"};
        CloudDescription description;
        description.file_name = name_.c_str();
        description.point_variables = {2, types, names};
        std::string why;
        const auto cloud = CreateCloud(description, &why);
        const std::vector<Record> records = Surface();
        if (cloud) (void)WritePointRecords(*cloud, std::as_bytes(std::span(records)));
        if (cloud) (void)FinishCloud(*cloud);
    }
    ~SurfaceFile() {
        unlink(name_.c_str());
        unlink(output_.c_str());
    }
    SurfaceFile(const SurfaceFile&) = delete;
    SurfaceFile& operator=(const SurfaceFile&) = delete;

    bool Organise(int threads, std::int64_t memory) const {
        const char* const inputs[] = {name_.c_str()};
        PtcOrganiseRequest request;
        request.inputs = inputs;
        request.input_count = 1;
        request.output = output_.c_str();
        request.memory = memory;
        request.threads = threads;
        return PtcOrganise(request, nullptr);
    }

    static const SurfaceFile& The() {
        static const SurfaceFile file;
        return file;
    }

private:
    std::string name_;
    std::string output_;
};

void SortPairs(benchmark::State& state) {
    const std::vector<Record> records = Surface();
    const PointOrder order =
        OrderPoints({std::as_bytes(std::span(records)).data(), records.size(), sizeof(Record)});
    std::vector<CodedIndex> pairs(kPoints);
    for (auto _ : state) {
        state.PauseTiming();
        for (const CodedIndex& point : order.points) pairs[point.index] = point;
        state.ResumeTiming();
        std::sort(pairs.begin(), pairs.end(), [](const CodedIndex& a, const CodedIndex& b) {
            return a.code != b.code ? a.code < b.code : a.index < b.index;
        });
    }
}
BENCHMARK(SortPairs)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

void Organise(benchmark::State& state) {
    const SurfaceFile& file = SurfaceFile::The();
    for (auto _ : state)
        if (!file.Organise(static_cast<int>(state.range(0)), std::int64_t{4} << 30))
            state.SkipWithError(PtcLastFailure().text);
}
BENCHMARK(Organise)
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime();

void OrganiseInParts(benchmark::State& state) {
    const SurfaceFile& file = SurfaceFile::The();
    for (auto _ : state)
        if (!file.Organise(1, std::int64_t{32} << 20)) state.SkipWithError(PtcLastFailure().text);
}
BENCHMARK(OrganiseInParts)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime();

}  // namespace
