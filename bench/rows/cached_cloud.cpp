// A cloud file and the same records in a plain array: what the rows of the caches compare.

#include "bench/rows/cached_cloud.h"

#include <algorithm>
#include <barrier>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <thread>

#include "ptc/access.h"
#include "ptc/runtime.h"
#include "ptc/writer.h"

namespace cached_cloud {
namespace {

/// Deleted at the end of the program.
class CloudOnDisk {
public:
    CloudOnDisk() {
        const char* const types[] = {"color"};
        const char* const names[] = {"glow"};
        PtcCloudDescription description;
        description.name = name_.c_str();
        description.point_variables = {1, types, names};
        PtcCloudWriter* const cloud = PtcCreateCloud(description);
        for (std::int64_t i = 0; cloud && i < kPoints; ++i) {
            const auto x = static_cast<float>(i % 1000);
            const float glow[] = {x, 1, 2};
            const float position[] = {x, x + 1, x + 2};
            const float normal[] = {x - 500, 3, x};
            PtcWritePoint(cloud, position, normal, 0.5f, glow);
        }
        if (!PtcFinishCloud(cloud)) RowFailed("writing the cloud");
        const std::uintmax_t bytes = std::filesystem::file_size(name_);
        data_start_ = static_cast<std::int64_t>(bytes - kBlocks * kBlockBytes);
    }
    ~CloudOnDisk() { std::remove(name_.c_str()); }
    CloudOnDisk(const CloudOnDisk&) = delete;
    CloudOnDisk& operator=(const CloudOnDisk&) = delete;

    const std::string& Name() const { return name_; }
    std::int64_t DataStart() const { return data_start_; }

private:
    const std::string name_ = RowFile("cached_cloud");
    std::int64_t data_start_ = 0;
};

const CloudOnDisk& Cloud() {
    static const CloudOnDisk cloud;
    return cloud;
}

std::vector<std::int32_t> MakeIndexes(Stream stream, int thread) {
    std::mt19937 random(static_cast<unsigned>(thread) * 3 + static_cast<unsigned>(stream));
    std::vector<std::int32_t> indexes;
    std::int64_t place = kPoints / 2;
    while (indexes.size() < kReads) {
        const auto any = static_cast<std::int64_t>(random());
        std::int64_t index = any % kPoints;
        if (stream == Stream::kHot) index = kPoints / 4 + any % (16 * kBlockPoints);
        if (stream == Stream::kWalk) {
            place = any % 4000 == 0 ? any / 4000 : place + any / 4000 % 2;
            index = (place + any % 33) % kPoints;
        }
        indexes.push_back(static_cast<std::int32_t>(index));
    }
    return indexes;
}

/// What a shader does with a point: its visible size from some place, times its colour.
float Use(const PtcPoint& point) {
    const float x = point.position[0] - 3;
    const float y = point.position[1] - 4;
    const float z = point.position[2] - 5;
    const float distance2 = x * x + y * y + z * z;
    const float facing = point.normal[0] * x + point.normal[1] * y + point.normal[2] * z;
    const float colour = point.data[0] + point.data[1] + point.data[2];
    return facing * point.radius / (distance2 + 1) * colour;
}

volatile float used;

template <class Find>
void ReadAll(Stream stream, int thread, Find find) {
    float sum = 0;
    for (const std::int32_t index : Indexes(stream, thread)) sum += Use(*find(index));
    used = sum;
}

/// Threads that stay, so that their tables do: `work(thread)` runs in all of them at once.
class Crew {
public:
    using Work = std::function<void(int thread)>;

    explicit Crew(int threads) : step_(threads) {
        for (int i = 1; i < threads; ++i)
            threads_.emplace_back([this, i] {
                for (;;) {
                    step_.arrive_and_wait();
                    if (!work_) return;
                    (*work_)(i);
                    step_.arrive_and_wait();
                }
            });
    }
    ~Crew() {
        work_ = nullptr;
        step_.arrive_and_wait();
        for (std::thread& thread : threads_) thread.join();
    }
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    void Run(const Work& work) {
        work_ = &work;
        step_.arrive_and_wait();
        work(0);
        step_.arrive_and_wait();
    }

private:
    std::barrier<> step_;
    const Work* work_ = nullptr;
    std::vector<std::thread> threads_;
};

}  // namespace

const std::string& FileName() {
    return Cloud().Name();
}

std::int64_t PlaceOf(std::int64_t block) {
    return Cloud().DataStart() + block * static_cast<std::int64_t>(kBlockBytes);
}

const std::vector<PtcPoint>& Records() {
    static std::vector<float> data(kPoints * kFloats);
    static const std::vector<PtcPoint> records = [] {
        std::vector<PtcPoint> made(kPoints);
        const PtcFile file(FileName().c_str());
        for (std::int64_t i = 0; i < kPoints; ++i) {
            const PtcPoint* const point = PtcGetPoint(file.Get(), i);
            if (!point) RowFailed(PtcLastFailure().text);
            const auto place = static_cast<std::size_t>(i);
            made[place] = *point;
            made[place].data = std::copy_n(point->data, kFloats, &data[place * kFloats]) - kFloats;
        }
        return made;
    }();
    return records;
}

const std::vector<std::int32_t>& Indexes(Stream stream, int thread) {
    static const std::vector<std::int32_t> indexes[3][2] = {
        {MakeIndexes(Stream::kHot, 0), MakeIndexes(Stream::kHot, 1)},
        {MakeIndexes(Stream::kWalk, 0), MakeIndexes(Stream::kWalk, 1)},
        {MakeIndexes(Stream::kRandom, 0), MakeIndexes(Stream::kRandom, 1)}};
    return indexes[static_cast<int>(stream)][thread];
}

void MakeCaches(int threads, std::int64_t blocks) {
    PtcShutdown();
    PtcConfigure(threads, blocks * 13, 1, nullptr);
}

Row MakeRow(const LookupRow& wanted) {
    struct State {
        explicit State(int threads) : crew(threads) {}
        Crew crew;
        std::vector<PtcFile> files;  ///< of the rows: closed by the next MakeCaches()
    };
    Row row;
    row.what = wanted.what;
    row.limit_name = "array of the same records";
    row.goal = wanted.goal;
    row.items = static_cast<double>(kReads * wanted.threads);
    row.figure = RowFigure::kSpeed;
    row.clock = wanted.threads > 1 ? RowClock::kWall : RowClock::kProcessor;
    row.rounds = 15;
    const auto state = std::make_shared<std::unique_ptr<State>>();
    row.prepare = [wanted, state] {
        (void)Records();
        (void)Indexes(wanted.stream, 0);
        MakeCaches(wanted.counted_threads, wanted.blocks);
        *state = std::make_unique<State>(wanted.threads);
        (*state)->files.emplace_back(FileName().c_str());
    };
    row.limit = [wanted, state] {
        (*state)->crew.Run([&](int thread) {
            const PtcPoint* const records = Records().data();
            ReadAll(wanted.stream, thread, [&](std::int32_t index) { return records + index; });
        });
    };
    row.ours = [wanted, state] {
        PtcManagedFile* const file = (*state)->files[0].Get();
        (*state)->crew.Run([&](int thread) {
            ReadAll(wanted.stream, thread,
                    [&](std::int32_t index) { return PtcGetPoint(file, index); });
        });
    };
    row.finish = [state] { state->reset(); };
    return row;
}

}  // namespace cached_cloud
