// Writing the tests' clouds; an octree is made of points that are sorted along a curve.

#include "tests/support/clouds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

// --- MemoryCloud ---

MemoryCloud::MemoryCloud(const CloudDescription& description, TokenForm form) {
    std::string why;
    cloud = CreateCloud(description, std::make_unique<FullDisk>(SIZE_MAX, disk), form, &why);
    EXPECT_TRUE(cloud) << why;
}

void MemoryCloud::Add(const PointHead& point, const float* data) const {
    EXPECT_EQ(WritePoint(*cloud, point, data), CloudStatus::kOk);
}

std::int64_t MemoryCloud::AddNode(const NodeToWrite& node, const std::int64_t* children) const {
    std::int64_t at = 0;
    EXPECT_EQ(WriteNode(*cloud, node, children, &at), CloudStatus::kOk);
    return at;
}

std::string MemoryCloud::Finished() const {
    EXPECT_EQ(FinishCloud(*cloud), CloudStatus::kOk);
    return Bytes();
}

CloudDescription WithVariables(const std::vector<const char*>& types, const char* file_name) {
    CloudDescription description;
    description.file_name = file_name;
    description.point_variables = {static_cast<int>(types.size()), types.data(), types.data()};
    return description;
}

// --- the small cloud ---

std::string SmallCloud(TokenForm form, bool has_nodes) {
    const char* const types[] = {"float", "color[2]"};
    const char* const names[] = {"_area", ""};
    const char* const node_types[] = {"color"};
    const char* const node_names[] = {"glow"};
    const float eye[] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 5, 1};
    const float ndc[] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0};
    const MemoryCloud made(
        {nullptr, {2, types, names}, {1, node_types, node_names}, eye, ndc, {640, 480, 1}}, form);
    for (int i = 0; i < 3; ++i) {
        const auto f = static_cast<float>(i);
        std::array<float, 7> data;
        std::iota(data.begin(), data.end(), 10 * f);
        made.Add({{0.5f + f, 1, 2}, {0, i == 1 ? 1.0f : 0.0f, 0}, i == 2 ? 2.0f : 1.0f},
                 data.data());
    }
    if (has_nodes) {
        const float glow[] = {0.25f, 0.5f, 0.75f};
        const std::int64_t leaf = made.AddNode({1, 2, {1, 2, 3, 4, 5, 6}, glow});
        const std::int64_t children[8] = {leaf, 0, 0, 0, 0, 0, 0, leaf};
        made.AddNode({0, 3, {1, 2, 3, 4, 5, 6}, glow}, children);
    }
    return made.Finished();
}

// --- clumps ---

namespace {

struct Clump {
    PointHead head;
    std::array<float, 4> data;

    /// The octants that the point lies in, the largest first: three bits each of ten levels.
    std::uint32_t Key() const {
        std::uint32_t key = 0;
        for (unsigned bit = 30; bit-- > 0;) {
            const auto place = static_cast<std::uint32_t>(head.position[bit % 3] * 64);
            key = key << 1 | (place >> bit / 3 & 1);
        }
        return key;
    }
};

std::vector<Clump> Clumps(std::size_t count) {
    std::mt19937 random(7);
    const auto unit = [&] { return static_cast<float>(random() % 4096) / 4096; };
    std::vector<Clump> points;
    std::array<float, 3> clump{};
    for (std::size_t i = 0; i < count; ++i) {
        if (i % 300 == 0) clump = {8 * unit(), 8 * unit(), 8 * unit()};
        points.push_back({{{clump[0] + unit() * unit(), clump[1] + unit(), clump[2] + unit() / 4},
                           {0, unit(), 1},
                           unit() / 64},
                          {unit(), unit(), unit(), static_cast<float>(i)}});
    }
    return points;
}

/// An octree over points in the order of their keys.
class Octree {
public:
    Octree(const MemoryCloud& made, const std::vector<Clump>& points)
        : made_(made), points_(points) {}

    void Write() const { (void)WriteNode(Below(0, points_.size(), 30)); }

private:
    struct Node {
        NodeToWrite record;
        std::array<float, 3> glow;
        std::int64_t children[8];
    };

    /// Writes all that is below the node over the points from `first` to `end`, whose keys differ
    /// in their last `bits` bits. The answer: the node, which is yet to be written.
    Node Below(std::size_t first, std::size_t end, unsigned bits) const {
        Node node{{static_cast<std::int32_t>(first),
                   static_cast<std::int32_t>(end - first),
                   {1e9f, 1e9f, 1e9f, -1e9f, -1e9f, -1e9f}},
                  {},
                  {}};
        for (std::size_t i = first; i < end; ++i) Include(points_[i], &node);
        if (end - first <= 32 || bits == 0) return node;
        std::vector<std::pair<std::size_t, Node>> children;
        for (std::size_t part = first; part < end;) {
            const std::size_t octant = points_[part].Key() >> (bits - 3) & 7;
            std::size_t part_end = part;
            while (part_end < end && (points_[part_end].Key() >> (bits - 3) & 7) == octant)
                ++part_end;
            children.emplace_back(octant, Below(part, part_end, bits - 3));
            part = part_end;
        }
        for (const auto& [octant, child] : children) node.children[octant] = WriteNode(child);
        return node;
    }

    static void Include(const Clump& point, Node* node) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            float* const box = node->record.box + axis;
            box[0] = std::min(box[0], point.head.position[axis] - point.head.radius);
            box[3] = std::max(box[3], point.head.position[axis] + point.head.radius);
            node->glow[axis] += point.data[axis] / static_cast<float>(node->record.point_count);
        }
    }

    std::int64_t WriteNode(Node node) const {
        node.record.data = node.glow.data();
        return made_.AddNode(node.record, node.children);
    }

    const MemoryCloud& made_;
    const std::vector<Clump>& points_;
};

}  // namespace

std::string BytesOf(const KnownCloud& wanted) {
    const char* const types[] = {"color", "float"};
    const char* const names[] = {"glow", "number"};
    CloudDescription description;
    description.point_variables = {2, types, names};
    if (wanted.is_organised) description.node_variables = {1, types, names};
    const MemoryCloud made(description, wanted.form);
    std::vector<Clump> points = Clumps(wanted.points);
    if (wanted.is_organised)
        std::stable_sort(points.begin(), points.end(),
                         [](const Clump& a, const Clump& b) { return a.Key() < b.Key(); });
    for (const Clump& point : points) made.Add(point.head, point.data.data());
    if (wanted.is_organised) Octree(made, points).Write();
    return made.Finished();
}

// --- the sound cloud ---

std::string sound_cloud::Bytes(const Wanted& wanted) {
    const char* const types[] = {"float", "color"};
    const char* const names[] = {"_area", "glow"};
    const char* const node_names[] = {"weight"};
    const auto& [x, y, aspect] = wanted.format;
    const MemoryCloud made(
        {nullptr, {2, types, names}, {1, types, node_names}, nullptr, nullptr, {x, y, aspect}},
        wanted.form);
    for (std::size_t i = 0; i < wanted.points; ++i) {
        const auto f = static_cast<float>(i);
        const float data[] = {0.25f, f, 0.5f * f, 1};
        made.Add({{f, 2 * f, -f}, {0, 0, 1}, i == 3 ? 0.75f : 0.5f}, data);
    }
    if (wanted.has_nodes) {
        const float weight = 1.5f;
        const auto a = made.AddNode({0, 2, {-0.5f, -0.5f, -1.5f, 1.5f, 2.5f, 0.5f}, &weight});
        const auto b = made.AddNode({2, 3, {1.5f, 3.5f, -4.5f, 4.5f, 8.5f, -1.5f}, &weight});
        const std::int64_t children[8] = {0, a, 0, 0, 0, 0, b, 0};
        made.AddNode({0, 5, {-0.5f, -0.5f, -4.5f, 4.5f, 8.5f, 0.5f}, &weight}, children);
    }
    return made.Finished();
}
