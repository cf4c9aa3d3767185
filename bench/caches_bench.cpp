// Compares reading points through the caches with reading an array and a map under a mutex.
//
// Compare figures of one run: Cache ÷ Array is the cost of a lookup, Cache ÷ LockedMapReads the
// gain of the design. The first argument is the stream (0 random points of 16 blocks, 1 a coherent
// walk, 2 random points of all), the second the cache's size in per cent of the data.

#include <benchmark/benchmark.h>

#include <cstring>
#include <list>
#include <mutex>
#include <random>
#include <unordered_map>
#include <vector>

#include "ptc/cache/cache_set.h"
#include "ptc/format/record_storage.h"

namespace {

constexpr std::int64_t kBlockPoints = 256;
constexpr std::int64_t kBlocks = 512;
constexpr std::int64_t kPoints = kBlocks * kBlockPoints;
constexpr std::int32_t kFloats = 3;
constexpr std::size_t kReads = 1 << 16;

/// A file in memory; reading a block copies it.
class ArraySource : public PtcBlockSource {
public:
    ArraySource() : floats_(kPoints * kFloats), points_(kPoints) {
        SetIdentity(12345);
        for (std::size_t i = 0; i < points_.size(); ++i) {
            const auto x = static_cast<float>(i);
            points_[i] = {{x, x + 1, x + 2}, {0, 0, 1}, 0.5f, &floats_[i * kFloats]};
            floats_[i * kFloats] = x;
        }
    }
    const char* Name() const override { return "array"; }
    std::int64_t PointCount() const override { return kPoints; }
    std::int32_t FloatsPerPoint() const override { return kFloats; }
    std::int32_t FloatsPerNode() const override { return 0; }
    CloudStatus ReadPoints(std::int64_t first, std::int64_t count, PtcPoint* records) override {
        for (std::int64_t i = 0; i < count; ++i) {
            const PtcPoint& point = At(first + i);
            float* const data = StorageOf(records[i]);
            std::memcpy(data, point.data, kFloats * sizeof(float));
            records[i] = point;
            records[i].data = data;
        }
        return CloudStatus::kOk;
    }
    CloudStatus ReadNodeChildren(const std::int64_t*, PtcNode*) override {
        return CloudStatus::kFailed;
    }
    const PtcPoint& At(std::int64_t index) const {
        return points_[static_cast<std::size_t>(index)];
    }

private:
    std::vector<float> floats_;
    std::vector<PtcPoint> points_;
};

ArraySource& File() {
    static ArraySource file;
    return file;
}

/// Does what a shader does with a point: its visible size from some place, times its colour.
float Use(const PtcPoint& point) {
    const float x = point.position[0] - 3;
    const float y = point.position[1] - 4;
    const float z = point.position[2] - 5;
    const float distance2 = x * x + y * y + z * z;
    const float facing = point.normal[0] * x + point.normal[1] * y + point.normal[2] * z;
    const float colour = point.data[0] + point.data[1] + point.data[2];
    return facing * point.radius / (distance2 + 1) * colour;
}

enum Stream { kHot, kWalk, kRandom };

const std::vector<std::int32_t>& Indexes(Stream stream) {
    static const auto make = [](Stream which) {
        std::mt19937 random(which);
        std::vector<std::int32_t> indexes;
        std::int64_t place = kPoints / 2;
        while (indexes.size() < kReads) {
            const auto any = static_cast<std::int64_t>(random());
            if (which == kHot) place = kPoints / 4 + any % (16 * kBlockPoints);
            if (which == kRandom) place = any % kPoints;
            // Neighbours of a place that moves slowly, and sometimes jumps to another part.
            if (which == kWalk) place = any % 4000 == 0 ? any / 4000 : place + any % 33 - 12;
            place = (place + kPoints) % kPoints;
            indexes.push_back(static_cast<std::int32_t>(place));
        }
        return indexes;
    };
    static const std::vector<std::int32_t> all[] = {make(kHot), make(kWalk), make(kRandom)};
    return all[stream];
}

std::int64_t CacheBlocks(const benchmark::State& state) {
    return kBlocks * state.range(1) / 100 + 1;
}

/// Calls `read` for all indexes of the stream in each iteration.
template <class Read>
void ReadAll(benchmark::State& state, Read read) {
    const auto& indexes = Indexes(static_cast<Stream>(state.range(0)));
    // Fills the cache before the time is measured.
    for (const std::int32_t index : indexes) benchmark::DoNotOptimize(read(index));
    for (auto _ : state) {
        float sum = 0;
        for (const std::int32_t index : indexes) sum += read(index);
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kReads));
}

void Array(benchmark::State& state) {  // baseline
    const ArraySource& file = File();
    ReadAll(state, [&](std::int32_t index) { return Use(file.At(index)); });
}

void Cache(benchmark::State& state) {
    ArraySource& file = File();
    PtcThreadCache& cache = *ThisThreadCache();
    ReadAll(state, [&](std::int32_t index) { return Use(*cache.GetPoint(file, index)); });
}

void MakeCaches(const benchmark::State& state) {
    constexpr std::int64_t kBlockKilobytes = cache_budget::kPointBlockBytes / 1024;
    DestroyCaches();
    ConfigureCaches(state.threads(), CacheBlocks(state) * kBlockKilobytes, 1);
}

/// A cache as a map of blocks, with the one used last in front, all under one lock.
class LockedMap {
public:
    explicit LockedMap(std::size_t capacity) : capacity_(capacity) {}

    float Get(ArraySource& file, std::int64_t index) {
        const std::int64_t first = index & ~(kBlockPoints - 1);
        const std::lock_guard hold(lock_);
        const auto found = places_.find(first);
        if (found != places_.end()) {
            blocks_.splice(blocks_.begin(), blocks_, found->second);
        } else {
            if (blocks_.size() < capacity_) {
                blocks_.emplace_front();
            } else {
                places_.erase(blocks_.back().first);
                blocks_.splice(blocks_.begin(), blocks_, std::prev(blocks_.end()));
            }
            Block& block = blocks_.front();
            block.first = first;
            for (std::size_t i = 0; i < kBlockPoints; ++i)
                block.points[i].data = &block.floats[i * kFloats];
            (void)file.ReadPoints(first, kBlockPoints, block.points);
            places_[first] = blocks_.begin();
        }
        return Use(blocks_.front().points[index - first]);
    }

private:
    struct Block {
        std::int64_t first;
        PtcPoint points[kBlockPoints];
        float floats[kBlockPoints * kFloats];
    };
    const std::size_t capacity_;
    std::mutex lock_;
    std::list<Block> blocks_;
    std::unordered_map<std::int64_t, std::list<Block>::iterator> places_;
};

std::unique_ptr<LockedMap> locked_map;

void MakeMap(const benchmark::State& state) {
    const std::int64_t blocks =
        CacheBlocks(state) * (state.threads() + 1);  // as many as the caches have
    locked_map = std::make_unique<LockedMap>(static_cast<std::size_t>(blocks));
}

void LockedMapReads(benchmark::State& state) {  // baseline
    ArraySource& file = File();
    ReadAll(state, [&](std::int32_t index) { return locked_map->Get(file, index); });
}

void Streams(benchmark::internal::Benchmark* bench) {
    for (const Stream stream : {kHot, kWalk, kRandom})
        for (const int percent : {10, 100}) bench->Args({stream, percent});
    bench->Threads(1)->Threads(2)->UseRealTime()->Unit(benchmark::kMicrosecond);
}
BENCHMARK(Array)->Apply(Streams);
BENCHMARK(Cache)->Apply(Streams)->Setup(MakeCaches);
BENCHMARK(LockedMapReads)->Apply(Streams)->Setup(MakeMap);

}  // namespace
