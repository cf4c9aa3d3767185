// Clouds to be organised, and the calls that organise and merge them.

#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "ptc/cloud/node_walk.h"
#include "ptc/cloud/raw_points.h"
#include "ptc/cloud/reader.h"
#include "ptc/cloud/writer.h"
#include "ptc/organise.h"
#include "ptc/organise/organise_clouds.h"
#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/scratch.h"

namespace organise_fixture {

constexpr std::size_t kRecord = 36;  // "float _area", "color glow"

/// A point as its bytes in a binary file.
using Record = std::string;

struct Point {
    float position[3];
    std::int16_t code[2] = {1, 2};
    float radius = 0.5f;
    float area = 1;
    float glow[3] = {1, 2, 3};
};
static_assert(sizeof(Point) == kRecord);

inline Point PointOf(const Record& record) {
    Point point;
    std::memcpy(&point, record.data(), sizeof point);
    return point;
}

/// A binary cloud of these points. The other order of variables has the floats of "glow" first.
inline std::string CloudOf(std::span<const Point> points, bool has_other_order = false,
                           TokenForm form = TokenForm::kBinary) {
    std::vector<const char*> types{"float", "color"};
    std::vector<const char*> names{"_area", "glow"};
    if (has_other_order) std::swap(types[0], types[1]);
    if (has_other_order) std::swap(names[0], names[1]);
    CloudDescription description{};
    description.point_variables = {2, types.data(), names.data()};
    description.format[0] = 320;
    description.format[1] = 200;
    description.format[2] = 2;
    const MemoryCloud cloud(description, form);
    for (Point point : points) {
        if (has_other_order) std::rotate(&point.area, &point.area + 1, &point.area + 4);
        EXPECT_FALSE(Failed(WritePointRecords(*cloud.cloud, std::as_bytes(std::span(&point, 1)))));
    }
    return cloud.Finished();
}

enum class Kind { kSurface, kOnePlace, kFewPlaces, kOdd, kFarApart, kRepeats, kNowhere };

inline std::vector<Point> Points(Kind kind, std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    const auto below = [&](std::uint32_t limit) { return static_cast<float>(random() % limit); };
    const float odd[] = {NAN, INFINITY, -INFINITY, 3e38f, -3e38f, 0, -0.0f, 1e-40f};
    std::vector<Point> points(count);
    for (Point& point : points) {
        const float x = below(65536) / 65536;
        const float y = below(65536) / 65536;
        const float at[3] = {x, y, x * y};
        std::copy_n(at, 3, point.position);
        point.radius = below(4) / 8;
        point.area = below(100) / 16;
        for (float& value : point.glow) value = below(1000) / 8;
        if (kind == Kind::kOnePlace) std::fill_n(point.position, 3, 2.5f);
        if (kind == Kind::kFewPlaces)
            for (float& value : point.position) value = std::floor(value * 3);
        if (kind == Kind::kFarApart)
            for (float& value : point.position)
                value = std::ldexp(value, -static_cast<int>(below(60)));
        if (kind == Kind::kNowhere) point.position[random() % 3] = odd[random() % 3];
        const auto spoil = [&](float* value) {
            if (random() % 6 == 0) *value = odd[random() % 8];
        };
        if (kind == Kind::kOdd) {
            for (float& value : point.position) spoil(&value);
            for (float& value : point.glow) spoil(&value);
            spoil(&point.area);
            spoil(&point.radius);
            if (point.radius < 0) point.radius = NAN;
        }
    }
    if (kind == Kind::kRepeats)
        for (Point& point : points) {
            point = points[random() % (1 + count / 8)];
            for (float& value : point.position) value = std::round(value);
        }
    for (std::size_t i = 1; kind == Kind::kOnePlace && i < count; ++i)
        if (random() % 2 == 0) points[i] = points[random() % i];
    return points;
}

struct Request {
    std::vector<std::string> inputs;
    std::string output;
    int leaf_points = 0;
    bool drop_repeats = false;
    std::int64_t memory = std::int64_t{1} << 30;
    int threads = 1;
    bool light = false;
    const char* light_color = nullptr;
    const char* light_area = nullptr;
};

/// Empty, or why it failed.
inline std::string Organise(const Request& wanted, PtcOrganiseSummary* summary = nullptr) {
    std::vector<const char*> names;
    for (const std::string& name : wanted.inputs) names.push_back(name.c_str());
    PtcOrganiseRequest request{};
    request.inputs = names.data();
    request.input_count = static_cast<int>(names.size());
    request.output = wanted.output.c_str();
    request.leaf_points = wanted.leaf_points;
    request.drop_repeats = wanted.drop_repeats;
    request.memory = wanted.memory;
    request.threads = wanted.threads;
    request.light = wanted.light;
    request.light_color = wanted.light_color;
    request.light_area = wanted.light_area;
    OrganiseFailure failure;
    if (OrganiseClouds(request, summary, &failure)) return {};
    return failure.file + ": " + failure.what + ": " + failure.reason;
}

inline std::string Merge(const std::vector<std::string>& inputs, const std::string& output) {
    std::vector<const char*> names;
    for (const std::string& name : inputs) names.push_back(name.c_str());
    const PtcMergeRequest request{.inputs = names.data(),
                                  .input_count = static_cast<int>(names.size()),
                                  .output = output.c_str()};
    std::int64_t points = -1;
    if (!PtcMerge(request, &points)) return PtcLastFailure().text;
    EXPECT_EQ(CloudFile{ContentOf(output)}.PointCount(), static_cast<double>(points));
    return {};
}

inline std::vector<Record> RecordsOf(std::span<const Point> points) {
    std::vector<Record> records;
    for (const Point& point : points)
        records.emplace_back(reinterpret_cast<const char*>(&point), sizeof point);
    return records;
}

/// What a file holds, with the plainest reader.
struct Organised {
    StoredHeader header;
    std::vector<Record> records;
    std::vector<NodeRecord> nodes;  ///< as the walk comes to them
    std::vector<std::vector<float>> data;
    std::vector<int> depths;
    std::vector<std::int64_t> ends;  ///< of the records
    std::vector<std::int64_t> offsets;
};

class Faults final : public NodeListener {
public:
    void Hear(const NodeFinding& finding) override {
        ADD_FAILURE() << "node fault " << static_cast<int>(finding.fault) << " at "
                      << finding.offset;
    }
};

inline Organised ReadOrganised(const std::string& name) {
    Organised read;
    std::string why;
    const auto cloud = OpenCloud(name.c_str(), &why);
    if (!cloud) {
        ADD_FAILURE() << why;
        return read;
    }
    read.header = *cloud;
    EXPECT_FALSE(cloud->input.IsText());
    EXPECT_EQ(cloud->stored_format, (std::array<float, 3>{320, 200, 2}));
    std::string bytes(static_cast<std::size_t>(cloud->point_count) * kRecord, ' ');
    std::size_t got = 0;
    EXPECT_FALSE(Failed(ReadPointRecords(*cloud, std::as_writable_bytes(std::span(bytes)), &got)));
    for (std::size_t at = 0; at < bytes.size(); at += kRecord)
        read.records.push_back(bytes.substr(at, kRecord));

    Faults faults;
    const std::int64_t begin = cloud->data_start + static_cast<std::int64_t>(bytes.size());
    NodeWalk walk(*cloud, begin, 48, faults);
    NodeVisit visit;
    while (cloud->node_count > 0 && walk.Next(&visit)) {
        read.nodes.push_back(*visit.node);
        read.data.emplace_back(visit.data.begin(), visit.data.end());
        read.depths.push_back(visit.depth);
        read.offsets.push_back(visit.offset);
        read.ends.push_back(visit.end);
    }
    EXPECT_EQ(read.nodes.size(), static_cast<std::size_t>(cloud->node_count));
    const auto last = std::max_element(read.ends.begin(), read.ends.end());
    if (last != read.ends.end()) {
        EXPECT_EQ(*last, static_cast<std::int64_t>(std::filesystem::file_size(name)));
        EXPECT_EQ(last - read.ends.begin(), 0) << "the root is not the last record";
    }
    return read;
}

}  // namespace organise_fixture
