// Organising and merging whole files, against a plain version of the result.

#include "ptc/organise.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cstring>
#include <map>
#include <random>
#include <set>

#include "ptc/cloud/node_walk.h"
#include "ptc/cloud/raw_points.h"
#include "ptc/cloud/reader.h"
#include "ptc/organise/octree_nodes.h"
#include "ptc/organise/organise_clouds.h"
#include "ptc/organise/point_order.h"
#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"

namespace {

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

Point PointOf(const Record& record) {
    Point point;
    std::memcpy(&point, record.data(), sizeof point);
    return point;
}

/// A binary cloud of these points. The other order of variables has the floats of "glow" first.
std::string CloudOf(std::span<const Point> points, bool has_other_order = false,
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

std::vector<Point> Points(Kind kind, std::size_t count, unsigned seed) {
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

/// What a file holds, with the plainest reader.
struct Organised {
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

Organised ReadOrganised(const std::string& name) {
    Organised read;
    std::string why;
    const auto cloud = OpenCloud(name.c_str(), &why);
    if (!cloud) {
        ADD_FAILURE() << why;
        return read;
    }
    EXPECT_FALSE(cloud->input.IsText());
    EXPECT_EQ(cloud->stored_format, (std::array<float, 3>{320, 200, 2}));
    EXPECT_EQ(cloud->node_variables.names, cloud->point_variables.names);
    EXPECT_EQ(cloud->node_variables.types, cloud->point_variables.types);
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

/// Leaves out all records that another one before them equals.
std::vector<Record> WithoutRepeats(const std::vector<Record>& records) {
    std::vector<Record> kept;
    std::map<Record, int> seen;
    for (const Record& record : records)
        if (seen[record]++ == 0) kept.push_back(record);
    return kept;
}

PointOrder OrderOf(const std::vector<Record>& records) {
    std::string all;
    for (const Record& record : records) all += record;
    return OrderPoints({std::as_bytes(std::span(all)).data(), records.size(), kRecord});
}

std::size_t FiniteCount(const std::vector<Record>& records) {
    return static_cast<std::size_t>(
        std::count_if(records.begin(), records.end(),
                      [](const Record& record) { return IsFinite(PointOf(record).position); }));
}

/// The box and the data of a node, from its points alone.
void CheckNode(const Organised& cloud, std::size_t index) {
    const NodeRecord& node = cloud.nodes[index];
    float box[6] = {1e30f, 1e30f, 1e30f, -1e30f, -1e30f, -1e30f};
    double weights[4] = {}, weighted[4] = {}, plain[4] = {}, counts[4] = {};
    for (std::int32_t i = 0; i < node.point_count; ++i) {
        const Point point = PointOf(cloud.records[static_cast<std::size_t>(node.first_point + i)]);
        const float radius = std::isfinite(point.radius) ? point.radius : 0;
        for (std::size_t k = 0; k < 3; ++k) {
            box[k] = std::min(box[k], point.position[k] - radius);
            box[k + 3] = std::max(box[k + 3], point.position[k] + radius);
        }
        const float values[4] = {point.area, point.glow[0], point.glow[1], point.glow[2]};
        for (std::size_t k = 0; k < 4; ++k) {
            if (!std::isfinite(values[k])) continue;
            weights[k] += double{radius} * radius;
            weighted[k] += double{radius} * radius * values[k];
            plain[k] += values[k];
            counts[k] += 1;
        }
    }
    for (std::size_t k = 0; k < 6; ++k)
        EXPECT_EQ(node.box[k], std::clamp(box[k], -FLT_MAX, FLT_MAX)) << "box value " << k;
    for (std::size_t k = 0; k < 4; ++k) {
        double mean = plain[k];
        if (k > 0 && counts[k] > 0)
            mean = weights[k] > 0 ? weighted[k] / weights[k] : plain[k] / counts[k];
        mean = std::clamp<double>(mean, -FLT_MAX, FLT_MAX);
        EXPECT_NEAR(cloud.data[index][k], mean, 1e-6 * std::fabs(mean)) << "float " << k;
    }
}

/// The runs of points that nodes cover, of trees in memory.
struct RunSink {
    using Node = OctreeNode<int>;

    void Group(std::span<Node> children, const Node&) {
        for (const Node& child : children) runs.emplace(child.first, child.count);
    }
    void Root(const Node& root) { runs.emplace(root.first, root.count); }

    std::set<std::pair<std::size_t, std::size_t>> runs;
};

/// All that docs/format.md says of an organised file.
void CheckOrganised(const Organised& cloud, const std::vector<Record>& input,
                    std::size_t leaf_points) {
    const PointOrder order = OrderOf(input);
    ASSERT_EQ(cloud.records.size(), input.size());
    for (std::size_t i = 0; i < input.size(); ++i)
        ASSERT_TRUE(cloud.records[i] == input[order.points[i].index]) << i;
    const std::size_t finite = FiniteCount(cloud.records);
    if (finite == 0) {
        EXPECT_TRUE(cloud.nodes.empty());
        return;
    }
    ASSERT_FALSE(cloud.nodes.empty());
    EXPECT_EQ(cloud.nodes[0].first_point, 0);
    EXPECT_EQ(cloud.nodes[0].point_count, static_cast<std::int32_t>(finite));
    RunSink expected;
    DeriveNodes<int>(order.points.data(), finite, leaf_points, expected);
    EXPECT_EQ(cloud.nodes.size(), expected.runs.size());
    std::map<std::int64_t, std::size_t> by_offset;
    for (std::size_t i = 0; i < cloud.nodes.size(); ++i) by_offset[cloud.offsets[i]] = i;
    for (std::size_t i = 0; i < cloud.nodes.size(); ++i) {
        SCOPED_TRACE("node " + std::to_string(i));
        const NodeRecord& node = cloud.nodes[i];
        CheckNode(cloud, i);
        EXPECT_TRUE(expected.runs.contains(std::pair(static_cast<std::size_t>(node.first_point),
                                                     static_cast<std::size_t>(node.point_count))));
        if (node.child_mask == 0) continue;
        EXPECT_GT(static_cast<std::size_t>(node.point_count), leaf_points);
        EXPECT_GE(std::popcount(node.child_mask), 2);
        std::int32_t next = node.first_point;
        std::int64_t place = 0;
        for (const std::int64_t offset : node.children) {
            if (offset == 0) continue;
            const std::size_t child = by_offset.at(offset);
            EXPECT_EQ(cloud.nodes[child].first_point, next);
            next += cloud.nodes[child].point_count;
            EXPECT_TRUE(place == 0 || place == offset) << "siblings are apart";
            place = cloud.ends[child];
        }
        EXPECT_EQ(next, node.first_point + node.point_count);
    }
}

struct Request {
    std::vector<std::string> inputs;
    std::string output;
    int leaf_points = 0;
    bool drop_repeats = false;
    std::int64_t memory = std::int64_t{1} << 30;
    int threads = 1;
};

/// Empty, or why it failed.
std::string Organise(const Request& wanted, PtcOrganiseSummary* summary = nullptr) {
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
    OrganiseFailure failure;
    if (OrganiseClouds(request, summary, &failure)) return {};
    return failure.file + ": " + failure.what + ": " + failure.reason;
}

std::string Merge(const std::vector<std::string>& inputs, const std::string& output) {
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

std::vector<Record> RecordsOf(std::span<const Point> points) {
    std::vector<Record> records;
    for (const Point& point : points)
        records.emplace_back(reinterpret_cast<const char*>(&point), sizeof point);
    return records;
}

struct OrganiseCase {
    const char* name;
    Kind kind;
    std::size_t points;
    int leaf_points;
};

class PtcOrganiseClouds : public testing::TestWithParam<OrganiseCase> {};

TEST_P(PtcOrganiseClouds, ResultHoldsItsPromises) {
    const ScratchFolder folder;
    const auto points = Points(GetParam().kind, GetParam().points, 7);
    const std::string input = WriteTo(folder.File("in.ptc"), CloudOf(points));
    for (const bool drops : {false, true}) {
        SCOPED_TRACE(drops ? "without repeats" : "all");
        const Request request{.inputs = {input},
                              .output = folder.File("out.ptc"),
                              .leaf_points = GetParam().leaf_points,
                              .drop_repeats = drops};
        PtcOrganiseSummary summary{};
        ASSERT_EQ(Organise(request, &summary), "");
        const Organised cloud = ReadOrganised(request.output);
        const auto records = RecordsOf(points);
        const auto expected = drops ? WithoutRepeats(records) : records;
        const int leaf = GetParam().leaf_points > 0 ? GetParam().leaf_points : kDefaultLeafPoints;
        CheckOrganised(cloud, expected, static_cast<std::size_t>(leaf));
        const auto finite = static_cast<std::int64_t>(FiniteCount(expected));
        EXPECT_EQ(summary.points, static_cast<std::int64_t>(expected.size()));
        EXPECT_EQ(summary.not_finite, summary.points - finite);
        EXPECT_EQ(summary.repeats, static_cast<std::int64_t>(records.size() - expected.size()));
        EXPECT_EQ(summary.nodes, static_cast<std::int64_t>(cloud.nodes.size()));
        EXPECT_EQ(summary.leaves, std::count_if(cloud.nodes.begin(), cloud.nodes.end(),
                                                [](auto& n) { return n.child_mask == 0; }));
        EXPECT_EQ(summary.depth, cloud.depths.empty()
                                     ? 0
                                     : *std::max_element(cloud.depths.begin(), cloud.depths.end()));
    }
}

INSTANTIATE_TEST_SUITE_P(Clouds, PtcOrganiseClouds,
                         testing::Values(OrganiseCase{"Empty", Kind::kSurface, 0, 0},
                                         OrganiseCase{"OnePoint", Kind::kSurface, 1, 0},
                                         OrganiseCase{"OneLeaf", Kind::kSurface, 32, 0},
                                         OrganiseCase{"Surface", Kind::kSurface, 5000, 0},
                                         OrganiseCase{"LeavesOfOne", Kind::kSurface, 3000, 1},
                                         OrganiseCase{"OnePlace", Kind::kOnePlace, 500, 4},
                                         OrganiseCase{"FewPlaces", Kind::kFewPlaces, 3000, 4},
                                         OrganiseCase{"OddValues", Kind::kOdd, 3000, 8},
                                         OrganiseCase{"FarApart", Kind::kFarApart, 3000, 4},
                                         OrganiseCase{"Repeats", Kind::kRepeats, 3000, 4},
                                         OrganiseCase{"NothingFinite", Kind::kNowhere, 100, 4}),
                         [](const auto& tested) { return std::string(tested.param.name); });

/// The points as `count` files of all forms, and of both orders of variables.
std::vector<std::string> SplitInto(const ScratchFolder& folder, std::span<const Point> points,
                                   std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t begin = points.size() * i / count;
        const auto part = points.subspan(begin, points.size() * (i + 1) / count - begin);
        std::string bytes =
            CloudOf(part, i % 2 == 1, i % 3 == 1 ? TokenForm::kText : TokenForm::kBinary);
        if (i % 4 >= 2) bytes = gzip_bytes::ManyBlocks(bytes);
        names.push_back(WriteTo(folder.File(std::to_string(i)), bytes));
    }
    return names;
}

TEST(PtcOrganise, BytesDependOnThePointsAndTheirOrderOnly) {
    const Kind kinds[] = {Kind::kSurface,  Kind::kOnePlace, Kind::kFewPlaces, Kind::kOdd,
                          Kind::kFarApart, Kind::kRepeats,  Kind::kNowhere};
    for (unsigned seed = 0; seed < 28; ++seed) {
        SCOPED_TRACE(seed);
        const ScratchFolder folder;
        const auto points = Points(kinds[seed % 7], 3000 + 500 * (seed % 5), seed);
        const auto parts = SplitInto(folder, points, 7);
        const std::string merged = folder.File("merged.ptc");
        ASSERT_EQ(Merge(parts, merged), "");
        Request request{.inputs = {merged},
                        .output = folder.File("whole.ptc"),
                        .leaf_points = seed % 3 == 0 ? 1 : 8,
                        .drop_repeats = seed % 2 == 1};
        ASSERT_EQ(Organise(request), "");
        const std::string expected = ContentOf(request.output);

        setenv("LUMR_ASCIIPOINTCLOUD", "", 1);  // decides nothing here
        for (const std::int64_t memory : {10'000, 200'000, 1 << 30})
            for (const int threads : {1, 3}) {
                const bool is_split = (threads == 3) == (seed % 4 < 2);
                PtcOrganiseSummary summary{};
                request.inputs = is_split ? parts : std::vector{merged};
                request.output = folder.File("other.ptc");
                request.memory = memory;
                request.threads = threads;
                ASSERT_EQ(Organise(request, &summary), "");
                ASSERT_TRUE(ContentOf(request.output) == expected)
                    << memory << " bytes, " << threads << " threads, split " << is_split;
                EXPECT_EQ(summary.bytes_in_parts > 0, memory < 1 << 18);
            }
        unsetenv("LUMR_ASCIIPOINTCLOUD");
        request.inputs = {merged};
        request.output = merged;
        ASSERT_EQ(Organise(request), "");
        ASSERT_TRUE(ContentOf(merged) == expected) << "over the input";
    }
}

/// A folder with inputs of all kinds of damage, and an older output.
struct FailingFolder {
    explicit FailingFolder(std::size_t count = 4000) {
        const auto points = Points(Kind::kSurface, count, 3);
        const std::string sound = CloudOf(points);
        Add("sound", sound);
        Add("other", CloudOf(points, true));
        Add("noise", "noise");
        Add("cut.gz", gzip_bytes::Beginning(sound.substr(0, sound.size() - 100)));
        Point negative = points[0];
        negative.radius = 1;
        std::string bytes = CloudOf({&negative, 1});
        Put(&bytes, CloudFile{bytes}.DataStart() + 16, -1.0f);
        Add("negative", bytes);
        bytes = sound;
        Put(&bytes, 8, 5e9);
        Add("many.gz", gzip_bytes::ManyBlocks(bytes));
        Add("fewer", MemoryCloud(WithVariables({"color"})).Finished());
        const char* const types[] = {"color", "color", "float"};
        const char* const names[] = {"_area", "glow", "x"};
        CloudDescription description{};
        description.point_variables = {2, types, names};
        Add("type", MemoryCloud(description).Finished());
        const char* const more_types[] = {"color", "float", "float"};
        const char* const more_names[] = {"glow", "_area", "x"};
        description.point_variables = {3, more_types, more_names};
        Add("more", MemoryCloud(description).Finished());
        Add("out", "older");
        std::filesystem::create_directory(folder.File("folder"));
        files = Names();
    }

    void Add(const std::string& name, const std::string& bytes) const {
        WriteTo(folder.File(name), bytes);
    }
    std::set<std::string> Names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder.File("")))
            names.insert(entry.path().filename());
        return names;
    }
    /// Whether everything is as it was.
    bool IsUntouched() const {
        return Names() == files && ContentOf(folder.File("out")) == "older";
    }

    const ScratchFolder folder;
    std::set<std::string> files;
};

TEST(PtcOrganise, AFailureNamesTheFileAndLeavesNothing) {
    struct Case {
        std::vector<std::string> inputs;
        std::string output;
        PtcFailureCode code;
        std::string text;  // behind the folder
    };
    using Code = PtcFailureCode;
    const Case cases[] = {
        {{"sound", "none"},
         "out",
         Code::kCannotOpen,
         "none: cannot be opened: No such file or directory"},
        {{"noise"},
         "out",
         Code::kNotACloud,
         "noise: cannot be opened: it is not a point cloud file"},
        {{"sound", "cut.gz"},
         "out",
         Code::kUnreadable,
         "cut.gz: point 3997 of 4000 cannot be read: Input/output error"},
        {{"negative"},
         "out",
         Code::kBadArgument,
         "negative: point 0 is refused: its radius is negative, which no point cloud holds"},
        {{"sound", "fewer"},
         "out",
         Code::kBadArgument,
         "fewer: cannot be joined: it has no variable \"float _area\", which SOUND has"},
        {{"sound", "type"},
         "out",
         Code::kBadArgument,
         "type: cannot be joined: variable \"_area\" is a \"color\", but a \"float\" in SOUND"},
        {{"sound", "more"},
         "out",
         Code::kBadArgument,
         "more: cannot be joined: it has a variable \"float x\", which SOUND has not"},
        {{"many.gz"},
         "out",
         Code::kBadArgument,
         "out: cannot be organised: 5000000000 points are more than the 2147483647 that one octree "
         "can count; organise them as 3 clouds or more, which can be looked up together"},
        {{"sound"},
         "folder",
         Code::kCannotWrite,
         "folder: cannot be written: it is no regular file"},
        {{"sound"},
         "none/out",
         Code::kCannotWrite,
         "none/out: cannot be written: No such file or directory"},
    };
    const FailingFolder files;
    for (const Case& tested : cases) {
        SCOPED_TRACE(tested.text);
        std::vector<std::string> paths;
        for (const std::string& input : tested.inputs) paths.push_back(files.folder.File(input));
        std::vector<const char*> names;
        for (const std::string& path : paths) names.push_back(path.c_str());
        const std::string output = files.folder.File(tested.output);
        PtcOrganiseRequest request{};
        request.inputs = names.data();
        request.input_count = static_cast<int>(names.size());
        request.output = output.c_str();
        EXPECT_FALSE(PtcOrganise(request, nullptr));
        std::string text = files.folder.File(tested.text);
        if (const auto at = text.find("SOUND"); at != text.npos) text.replace(at, 5, paths[0]);
        EXPECT_EQ(PtcLastFailure().text, text);
        EXPECT_EQ(PtcLastFailure().code, tested.code);
        EXPECT_TRUE(files.IsUntouched());
    }
    EXPECT_FALSE(PtcOrganise({}, nullptr));
    EXPECT_FALSE(PtcMerge({}, nullptr));
    EXPECT_EQ(PtcLastFailure().code, Code::kBadArgument);
}

TEST(PtcOrganise, ProgressGrowsToOneAndCanStopTheWork) {
    const FailingFolder files;
    struct Heard {
        int calls = 0;
        int wanted = INT_MAX;
        double last = 0;
        bool is_growing = true;
    };
    const auto hear = [](void* context, double done) {
        Heard& heard = *static_cast<Heard*>(context);
        heard.is_growing = heard.is_growing && done >= heard.last && done <= 1;
        heard.last = done;
        return ++heard.calls < heard.wanted;
    };
    const std::string input = files.folder.File("sound");
    const std::string output = files.folder.File("out");
    const char* const inputs[] = {input.c_str()};
    for (const std::int64_t memory : {30'000, 1 << 30}) {
        PtcOrganiseRequest request{.inputs = inputs, .input_count = 1, .output = output.c_str()};
        request.memory = memory;
        request.threads = 2;
        request.progress = hear;
        Heard heard;
        request.context = &heard;
        for (heard.wanted = 1;; heard.wanted += 3) {
            heard.calls = 0;
            heard.last = 0;
            OrganiseFailure failure;
            if (OrganiseClouds(request, nullptr, &failure)) break;
            ASSERT_EQ(failure.code, PtcFailureCode::kStopped);
            ASSERT_EQ(heard.calls, heard.wanted);
            ASSERT_TRUE(files.IsUntouched());
        }
        EXPECT_TRUE(heard.is_growing);
        EXPECT_EQ(heard.last, 1);
        EXPECT_GT(heard.wanted, 4);
        files.Add("out", "older");
    }
}

/// Runs in a process of its own, in which no file may grow beyond `limit` bytes. 0: the work
/// failed as it should, naming `folder` for the parts or the output; 1: it was done.
int OrganiseWithin(rlim_t limit, Request request, const std::string& folder) {
    const rlimit most{limit, limit};
    setrlimit(RLIMIT_FSIZE, &most);
    const std::string why = Organise(request);
    if (why.empty()) return 1;
    const bool is_named = why.starts_with(folder + ": parts of the points cannot be written") ||
                          why.starts_with(request.output + ": cannot be written");
    return is_named ? 0 : 2;
}

TEST(PtcOrganise, AFullDiskAnywhereIsToldAndLeavesNothing) {
    const FailingFolder files;
    const std::string parts = files.folder.File("folder");
    setenv("TMPDIR", parts.c_str(), 1);
    for (const std::int64_t memory : {30'000, 1 << 30}) {
        const Request request{.inputs = {files.folder.File("sound")},
                              .output = files.folder.File("out"),
                              .memory = memory,
                              .threads = 2};
        int done = 0;
        for (rlim_t limit = 0; done < 2; limit += 9973) {
            SCOPED_TRACE(limit);
            const pid_t child = fork();
            if (child == 0) _exit(OrganiseWithin(limit, request, parts));
            int status = 0;
            ASSERT_EQ(waitpid(child, &status, 0), child);
            ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) < 2) << status;
            EXPECT_TRUE(std::filesystem::is_empty(parts));
            if (WEXITSTATUS(status) == 0) {
                EXPECT_EQ(done, 0);
                EXPECT_TRUE(files.IsUntouched());
            } else {
                ++done;
            }
        }
        files.Add("out", "older");
    }
    setenv("TMPDIR", "/proc", 1);
    const std::string why = Organise(
        {.inputs = {files.folder.File("sound")}, .output = files.folder.File("out"), .memory = 1});
    EXPECT_EQ(why, "/proc: a file for parts of the points cannot be made: ");
    unsetenv("TMPDIR");
    EXPECT_TRUE(files.IsUntouched());
}

TEST(PtcOrganise, AKilledProcessLeavesNothing) {
    const FailingFolder files(40'000);
    const std::string parts = files.folder.File("folder");
    const Request request{.inputs = {files.folder.File("sound")},
                          .output = files.folder.File("out"),
                          .memory = 100'000};
    for (useconds_t delay = 0; delay < 30'000; delay += 3'000) {
        const pid_t child = fork();
        if (child == 0) {
            setenv("TMPDIR", parts.c_str(), 1);
            for (;;) (void)Organise(request);
        }
        usleep(delay);
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        EXPECT_TRUE(std::filesystem::is_empty(parts));
        const std::set<std::string> names = files.Names();
        for (const std::string& name : names) EXPECT_TRUE(files.files.contains(name)) << name;
    }
}

}  // namespace
