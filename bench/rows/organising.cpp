// Organising 10 million points: beside std::sort of as many pairs of code and index; with two
// threads and in parts beside one thread with everything in memory.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/rows/row.h"
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

/// A cloud of these points, deleted at the end of the program.
class SurfaceFile {
public:
    SurfaceFile() {
        const char* const types[] = {"float", "color"};
        const char* const names[] = {"_area", "_radiosity"};
        CloudDescription description;
        description.file_name = name_.c_str();
        description.point_variables = {2, types, names};
        std::string why;
        const auto cloud = CreateCloud(description, &why);
        const std::vector<Record> records = Surface();
        if (!cloud || Failed(WritePointRecords(*cloud, std::as_bytes(std::span(records)))) ||
            Failed(FinishCloud(*cloud)))
            RowFailed("writing the cloud");
    }
    ~SurfaceFile() {
        std::remove(name_.c_str());
        std::remove(output_.c_str());
    }
    SurfaceFile(const SurfaceFile&) = delete;
    SurfaceFile& operator=(const SurfaceFile&) = delete;

    void Organise(int threads, std::int64_t memory) const {
        const char* const inputs[] = {name_.c_str()};
        PtcOrganiseRequest request;
        request.inputs = inputs;
        request.input_count = 1;
        request.output = output_.c_str();
        request.memory = memory;
        request.threads = threads;
        if (!PtcOrganise(request, nullptr)) RowFailed(PtcLastFailure().text);
    }

private:
    const std::string name_ = RowFile("organising");
    const std::string output_ = name_ + ".out";
};

/// Pairs of code and index, in the order of the file, to be sorted again and again.
class Pairs {
public:
    void Make() {
        const std::vector<Record> records = Surface();
        const PointOrder order =
            OrderPoints({std::as_bytes(std::span(records)).data(), records.size(), sizeof(Record)});
        unsorted_.resize(kPoints);
        for (const CodedIndex& point : order.points) unsorted_[point.index] = point;
    }
    void Sort() {
        pairs_ = unsorted_;
        std::sort(pairs_.begin(), pairs_.end(), [](const CodedIndex& a, const CodedIndex& b) {
            return a.code != b.code ? a.code < b.code : a.index < b.index;
        });
    }

private:
    std::vector<CodedIndex> unsorted_;
    std::vector<CodedIndex> pairs_;
};

}  // namespace

int main(int count, char** arguments) {
    constexpr std::int64_t kPlenty = std::int64_t{4} << 30;
    const SurfaceFile file;
    Pairs pairs;
    Row one;
    one.what = "organising in memory, 1 thread";
    one.limit_name = "std::sort of pairs";
    one.goal = 1.5;
    one.items = kPoints;
    one.rounds = 3;
    one.prepare = [&] { pairs.Make(); };
    one.limit = [&] { pairs.Sort(); };
    one.ours = [&] { file.Organise(1, kPlenty); };
    one.finish = [&] { pairs = {}; };

    Row two = one;
    two.what = "organising in memory, 2 threads";
    two.limit_name = "1 thread";
    two.figure = RowFigure::kSpeed;
    two.clock = RowClock::kWall;
    two.prepare = [] {};
    two.limit = one.ours;
    two.ours = [&] { file.Organise(2, kPlenty); };

    Row parts = one;
    parts.what = "organising in parts of 32 MB, 1 thread";
    parts.limit_name = "in memory";
    parts.goal = 2.5;
    parts.prepare = [] {};
    parts.limit = one.ours;
    parts.ours = [&] { file.Organise(1, std::int64_t{32} << 20); };
    return RunRows(count, arguments, {one, two, parts});
}
