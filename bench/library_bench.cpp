// Measures the access library with a real file: a miss compared with reading the same bytes, and a
// lookup through PtcGetPoint() compared with one through the thread's own record.
//
// Compare figures of one run. Miss ÷ PreadBlock is what decoding and bookkeeping add to reading a
// block from the system's page cache. FrontDoor ÷ ThreadRecord is what finding the record adds.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "ptc/access.h"
#include "ptc/cache/cache_set.h"
#include "ptc/files/managed_file.h"
#include "ptc/format/layout.h"

namespace {

constexpr std::int64_t kBlockPoints = 256;
constexpr std::int64_t kBlocks = 1024;
constexpr std::size_t kFloats = 3;
constexpr std::size_t kBlockBytes = kBlockPoints * ptc_layout::PointBytes(kFloats);

/// A file of 1024 blocks, deleted at the end of the program.
class CloudOnDisk {
public:
    CloudOnDisk() {
        const char* const types[] = {"color"};
        const char* const names[] = {"glow"};
        CloudDescription description;
        description.file_name = name_.c_str();
        description.point_variables = {1, types, names};
        std::string why;
        const auto cloud = CreateCloud(description, &why);
        data_start_ = cloud->data_start;
        for (std::int64_t i = 0; i < kBlocks * kBlockPoints; ++i) {
            const auto x = static_cast<float>(i % 1000);
            const float glow[] = {x, 1, 2};
            (void)WritePoint(*cloud, {{x, x + 1, x + 2}, {x - 500, 3, x}, 0.5f}, glow);
        }
        (void)FinishCloud(*cloud);
    }
    ~CloudOnDisk() { std::remove(name_.c_str()); }

    const char* Name() const { return name_.c_str(); }
    std::int64_t PlaceOf(std::int64_t block) const {
        return data_start_ + block * static_cast<std::int64_t>(kBlockBytes);
    }

private:
    const std::string name_ = "/tmp/library_bench." + std::to_string(getpid());
    std::int64_t data_start_ = 0;
};

const CloudOnDisk& File() {
    static const CloudOnDisk file;
    return file;
}

/// Blocks in random order, a different one for each thread.
class Blocks {
public:
    explicit Blocks(int thread) : random_(static_cast<unsigned>(thread)) {}
    std::int64_t Next() { return static_cast<std::int64_t>(random_() % kBlocks); }

private:
    std::mt19937 random_;
};

void MakeSmallest(const benchmark::State& state) {
    PtcShutdown();
    PtcConfigure(state.threads(), 1, 1, nullptr);
}

void MakeRoomy(const benchmark::State& state) {
    PtcShutdown();
    PtcConfigure(state.threads(), 1 << 20, 1, nullptr);
}

void PreadBlock(benchmark::State& state) {  // baseline
    const int descriptor = open(File().Name(), O_RDONLY | O_CLOEXEC);
    std::vector<char> bytes(kBlockBytes);
    Blocks blocks(state.thread_index());
    for (auto _ : state) {
        const std::int64_t place = File().PlaceOf(blocks.Next());
        benchmark::DoNotOptimize(pread(descriptor, bytes.data(), bytes.size(), place));
    }
    close(descriptor);
    state.SetItemsProcessed(state.iterations());
}

/// The thread's table has room for 3 of the 1024 blocks, so nearly every lookup reads one.
void Miss(benchmark::State& state) {
    PtcManagedFile* const file = PtcOpenForReading(File().Name());
    Blocks blocks(state.thread_index());
    for (auto _ : state)
        benchmark::DoNotOptimize(PtcGetPoint(file, blocks.Next() * kBlockPoints)->position[0]);
    PtcRelease(file);
    state.SetItemsProcessed(state.iterations());
}

template <class Look>
void LookAtHotBlocks(benchmark::State& state, Look look) {
    Blocks blocks(state.thread_index());
    std::vector<std::int64_t> indexes(4096);
    for (std::int64_t& index : indexes) index = blocks.Next() % 16 * kBlockPoints + 7;
    for (auto _ : state)
        for (const std::int64_t index : indexes) benchmark::DoNotOptimize(look(index)->radius);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(indexes.size()));
}

void ThreadRecord(benchmark::State& state) {  // baseline
    PtcManagedFile* const file = PtcOpenForReading(File().Name());
    PtcThreadCache& cache = *ThisThreadCache();
    LookAtHotBlocks(state, [&](std::int64_t index) { return cache.GetPoint(*file, index); });
    PtcRelease(file);
}

void FrontDoor(benchmark::State& state) {
    PtcManagedFile* const file = PtcOpenForReading(File().Name());
    LookAtHotBlocks(state, [&](std::int64_t index) { return PtcGetPoint(file, index); });
    PtcRelease(file);
}

void OpenAndRelease(benchmark::State& state) {
    PtcRelease(PtcOpenForReading(File().Name()));
    for (auto _ : state) {
        PtcManagedFile* const file = PtcOpenForReading(File().Name());
        benchmark::DoNotOptimize(file);
        PtcRelease(file);
    }
}

BENCHMARK(PreadBlock)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(Miss)->Threads(1)->Threads(2)->UseRealTime()->Setup(MakeSmallest);
BENCHMARK(ThreadRecord)->Threads(1)->Threads(2)->UseRealTime()->Setup(MakeRoomy);
BENCHMARK(FrontDoor)->Threads(1)->Threads(2)->UseRealTime()->Setup(MakeRoomy);
BENCHMARK(OpenAndRelease)->Threads(1)->Threads(2)->UseRealTime()->Setup(MakeRoomy);

}  // namespace
