// Organising and merging whole files, against a plain version of the result.

#include "ptc/organise.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <climits>
#include <cstring>
#include <map>
#include <random>
#include <set>

#include "ptc/organise/octree_nodes.h"
#include "ptc/organise/organise_clouds.h"
#include "ptc/organise/point_order.h"
#include "tests/ptc/organise_fixture.h"
#include "tests/support/cloud_file.h"
#include "tests/support/clouds.h"
#include "tests/support/gzip_bytes.h"
#include "tests/support/scratch.h"

namespace {

using namespace organise_fixture;

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
        EXPECT_EQ(cloud.header.node_variables.names, cloud.header.point_variables.names);
        EXPECT_EQ(cloud.header.node_variables.types, cloud.header.point_variables.types);
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
                        .drop_repeats = seed % 2 == 1,
                        .light = seed % 4 < 2};
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

}  // namespace
