// Writing trees of any shape: runs of points, divided at random places.

#include "tests/support/tree_cloud.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int kMostDepth = 60;

bool IsFinitePoint(const TreePoint& point) {
    const float* const p = point.head.position;
    return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

/// A place along a curve that goes through the octants of [-1, 1), in which most points lie.
std::uint32_t Key(const TreePoint& point) {
    std::uint32_t key = 0;
    for (unsigned bit = 30; bit-- > 0;) {
        const float place = std::clamp(point.head.position[bit % 3], -1.0f, 0.999f);
        key = key << 1 | (static_cast<std::uint32_t>((place + 1) * 512) >> bit / 3 & 1);
    }
    return key;
}

struct Box {
    float bounds[6] = {1e30f, 1e30f, 1e30f, -1e30f, -1e30f, -1e30f};

    void Include(const TreePoint& point) {
        if (!IsFinitePoint(point)) return;
        const float radius = std::isfinite(point.head.radius) ? point.head.radius : 0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const float at = point.head.position[axis];
            bounds[axis] = std::min({bounds[axis], at - radius, at});
            bounds[axis + 3] = std::max({bounds[axis + 3], at + radius, at});
        }
    }
};

class AnyTree {
public:
    AnyTree(const MemoryCloud& made, const std::vector<TreePoint>& points, const TreeShape& shape,
            std::mt19937& random)
        : made_(made), points_(points), shape_(shape), random_(random) {}

    void Write(std::size_t end) {
        root_ = BoxOf(0, end);
        (void)WriteNode(Below(0, end, 0));
    }

private:
    struct Node {
        std::size_t first;
        std::size_t end;
        std::int64_t children[8];
    };

    Box BoxOf(std::size_t first, std::size_t end) const {
        Box box;
        for (std::size_t i = first; i < end; ++i) box.Include(points_[i]);
        return box;
    }

    /// Writes all that is below the node over the points from `first` to `end`.
    Node Below(std::size_t first, std::size_t end, int depth) {
        Node node{first, end, {}};
        const std::size_t count = end - first;
        if (count <= shape_.leaf_points || depth == kMostDepth) return node;
        const bool is_single = random_() % shape_.single_children_in == 0;
        const std::size_t parts = is_single ? 1 : 2 + random_() % 7;
        std::vector<std::size_t> cuts = {first, end};  // a part may be empty
        while (cuts.size() <= parts) cuts.push_back(first + random_() % count);
        std::sort(cuts.begin(), cuts.end());
        std::array<std::size_t, 8> octants = {0, 1, 2, 3, 4, 5, 6, 7};
        std::shuffle(octants.begin(), octants.end(), random_);
        std::sort(octants.begin(), octants.begin() + static_cast<std::ptrdiff_t>(parts));
        std::vector<Node> children;
        for (std::size_t i = 0; i < parts; ++i)
            children.push_back(Below(cuts[i], cuts[i + 1], depth + 1));
        for (std::size_t i = 0; i < parts; ++i) node.children[octants[i]] = WriteNode(children[i]);
        return node;
    }

    std::int64_t WriteNode(const Node& node) const {
        NodeToWrite record{static_cast<std::int32_t>(node.first),
                           static_cast<std::int32_t>(node.end - node.first),
                           {},
                           nullptr};
        const Box box = shape_.nodes_share_box ? root_ : BoxOf(node.first, node.end);
        std::copy_n(box.bounds, 6, record.box);
        return made_.AddNode(record, node.children);
    }

    const MemoryCloud& made_;
    const std::vector<TreePoint>& points_;
    const TreeShape& shape_;
    std::mt19937& random_;
    Box root_;
};

}  // namespace

std::string TreeCloud(std::vector<TreePoint> points, const TreeShape& shape, std::mt19937& random) {
    const char* const color_and_float[] = {"color", "float", "float"};
    const char* const glow_and_number[] = {"glow", "number", "glow"};
    CloudDescription description;
    switch (shape.declared) {
        case Declared::kGlowNumber:
            description.point_variables = {2, color_and_float, glow_and_number};
            break;
        case Declared::kNumberGlow: {
            static constexpr const char* kTypes[] = {"float", "color"};
            description.point_variables = {2, kTypes, glow_and_number + 1};
            break;
        }
        case Declared::kNumberOnly:
            description.point_variables = {1, color_and_float + 1, glow_and_number + 1};
            break;
        case Declared::kGlowIsFloat:
            description.point_variables = {2, color_and_float + 1, glow_and_number + 1};
            break;
    }
    const MemoryCloud made(description, shape.form);
    auto strays = points.end();
    if (shape.has_tree && shape.has_strays_behind)
        strays = std::stable_partition(points.begin(), points.end(), IsFinitePoint);
    if (shape.has_tree && shape.is_sorted)
        std::stable_sort(points.begin(), strays,
                         [](const TreePoint& a, const TreePoint& b) { return Key(a) < Key(b); });
    const auto covered = static_cast<std::size_t>(strays - points.begin());
    for (const TreePoint& point : points) {
        const std::array<float, 4>& d = point.data;
        const std::array<float, 4> number_first = {d[3], d[0], d[1], d[2]};
        made.Add(point.head,
                 shape.declared == Declared::kGlowNumber ? d.data() : number_first.data());
    }
    if (shape.has_tree) AnyTree(made, points, shape, random).Write(covered);
    return made.Finished();
}
