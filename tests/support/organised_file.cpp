// Sorting points into octants, level by level, and writing the nodes in the reverse order.

#include "tests/support/organised_file.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

namespace {

constexpr std::size_t kOctants = 8;

struct Cell {
    std::array<float, 3> centre;
    float half;
};

struct Node {
    std::size_t first;
    std::size_t count;
    Cell cell;
    int depth;
    std::uint8_t octants = 0;    ///< bit i: there is a child in octant i
    std::size_t children = 0;    ///< the first one's place; the others follow it
    std::int64_t reference = 0;  ///< where it is in the file
};

class Organiser {
public:
    Organiser(CloudWriter& cloud, const PointsToOrganise& points, const OctreeShape& shape)
        : cloud_(cloud),
          points_(points),
          shape_(shape),
          floats_(static_cast<std::size_t>(cloud.point_variables.data_size)) {}

    CloudStatus Write() {
        order_.resize(points_.heads.size());
        std::iota(order_.begin(), order_.end(), std::size_t{0});
        std::erase_if(order_, [&](std::size_t i) { return points_.heads[i].radius < 0; });
        constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
        if (order_.size() > kMost || points_.data.size() < floats_ * points_.heads.size())
            return CloudStatus::kFailed;
        Divide();
        for (const std::size_t point : order_)
            if (Failed(WritePoint(cloud_, points_.heads[point], DataOf(point))))
                return CloudStatus::kFailed;
        return order_.empty() ? CloudStatus::kOk : WriteNodes();
    }

private:
    const float* DataOf(std::size_t point) const {
        return floats_ ? &points_.data[point * floats_] : nullptr;
    }
    float Coordinate(std::size_t point, std::size_t axis) const {
        return points_.heads[point].position[axis];
    }
    std::span<std::size_t> PointsOf(const Node& node) {
        return std::span(order_).subspan(node.first, node.count);
    }

    /// A cube around all positions that are finite.
    Cell WholeCell() const {
        Cell cell{{}, 0};
        for (std::size_t axis = 0; axis < 3; ++axis) {
            float low = std::numeric_limits<float>::max();
            float high = std::numeric_limits<float>::lowest();
            for (const std::size_t point : order_) {
                const float x = Coordinate(point, axis);
                if (!std::isfinite(x)) continue;
                low = std::min(low, x);
                high = std::max(high, x);
            }
            if (low > high) continue;
            cell.centre[axis] = low / 2 + high / 2;
            cell.half = std::max(cell.half, high / 2 - low / 2);
        }
        return cell;
    }

    /// The octant of `cell` that a point lies in: bit 0 tells the upper half in x, 1 in y, 2 in z.
    /// What is no number lies in the lower half.
    std::size_t OctantOf(std::size_t point, const Cell& cell) const {
        std::size_t octant = 0;
        for (std::size_t axis = 0; axis < 3; ++axis)
            if (Coordinate(point, axis) >= cell.centre[axis]) octant |= std::size_t{1} << axis;
        return octant;
    }
    static Cell Part(const Cell& cell, std::size_t octant) {
        Cell part{cell.centre, cell.half / 2};
        for (std::size_t axis = 0; axis < 3; ++axis)
            part.centre[axis] += octant >> axis & 1U ? part.half : -part.half;
        return part;
    }

    bool IsOnePlace(const Node& node) {
        const auto run = PointsOf(node);
        return std::all_of(run.begin(), run.end(), [&](std::size_t point) {
            return std::equal(points_.heads[point].position, points_.heads[point].position + 3,
                              points_.heads[run[0]].position);
        });
    }

    /// Makes the nodes level by level, so that siblings are neighbours and no child stands before
    /// its parent, and brings `order_` into tree order.
    void Divide() {
        nodes_.push_back({0, order_.size(), WholeCell(), 0});
        for (std::size_t i = 0; i < nodes_.size(); ++i) {
            const Node node = nodes_[i];
            if (node.count <= static_cast<std::size_t>(std::max(shape_.leaf_points, 1)) ||
                node.depth >= shape_.most_depth || IsOnePlace(node))
                continue;
            std::array<std::vector<std::size_t>, kOctants> parts;
            for (const std::size_t point : PointsOf(node))
                parts[OctantOf(point, node.cell)].push_back(point);
            nodes_[i].children = nodes_.size();
            std::size_t first = node.first;
            for (std::size_t octant = 0; octant < kOctants; ++octant) {
                const auto& part = parts[octant];
                if (part.empty()) continue;
                std::copy(part.begin(), part.end(),
                          order_.begin() + static_cast<std::ptrdiff_t>(first));
                nodes_[i].octants |= static_cast<std::uint8_t>(1U << octant);
                nodes_.push_back({first, part.size(), Part(node.cell, octant), node.depth + 1});
                first += part.size();
            }
        }
    }

    /// Backwards through the levels: when a node's children are written, theirs have been.
    CloudStatus WriteNodes() {
        for (std::size_t i = nodes_.size(); i-- > 0;) {
            const auto children = static_cast<std::size_t>(std::popcount(nodes_[i].octants));
            for (std::size_t k = 0; k < children; ++k)
                if (Failed(WriteOne(nodes_[nodes_[i].children + k]))) return CloudStatus::kFailed;
        }
        return WriteOne(nodes_[0]);
    }

    CloudStatus WriteOne(Node& node) {
        std::array<std::int64_t, kOctants> children{};
        std::size_t child = node.children;
        for (std::size_t octant = 0; octant < kOctants; ++octant)
            if (node.octants >> octant & 1U) children[octant] = nodes_[child++].reference;
        NodeToWrite record{
            static_cast<std::int32_t>(node.first), static_cast<std::int32_t>(node.count), {}};
        Enclose(node, record.box);
        const std::vector<float> means = Means(node);
        record.data = means.data();
        return WriteNode(cloud_, record, children.data(), &node.reference);
    }

    void Enclose(const Node& node, float* box) {
        std::fill_n(box, 3, std::numeric_limits<float>::max());
        std::fill_n(box + 3, 3, std::numeric_limits<float>::lowest());
        for (const std::size_t point : PointsOf(node)) {
            for (std::size_t axis = 0; axis < 3; ++axis) {
                const float radius = points_.heads[point].radius;
                box[axis] = std::min(box[axis], Coordinate(point, axis) - radius);
                box[axis + 3] = std::max(box[axis + 3], Coordinate(point, axis) + radius);
            }
        }
    }

    std::vector<float> Means(const Node& node) {
        const CloudVariables& wanted = cloud_.node_variables;
        const CloudVariables& given = cloud_.point_variables;
        std::vector<float> means(static_cast<std::size_t>(wanted.data_size));
        std::size_t out = 0;
        for (std::size_t i = 0; i < wanted.names.size(); ++i) {
            std::size_t in = 0;
            for (std::size_t k = 0; k < given.names.size(); ++k) {
                if (given.names[k] == wanted.names[i] && given.sizes[k] == wanted.sizes[i])
                    for (std::size_t f = 0; f < static_cast<std::size_t>(given.sizes[k]); ++f)
                        means[out + f] = MeanOf(node, in + f);
                in += static_cast<std::size_t>(given.sizes[k]);
            }
            out += static_cast<std::size_t>(wanted.sizes[i]);
        }
        return means;
    }

    float MeanOf(const Node& node, std::size_t place) {
        double sum = 0;
        for (const std::size_t point : PointsOf(node)) sum += double{DataOf(point)[place]};
        return static_cast<float>(sum / static_cast<double>(node.count));
    }

    CloudWriter& cloud_;
    const PointsToOrganise points_;
    const OctreeShape shape_;
    const std::size_t floats_;  ///< of one point
    std::vector<std::size_t> order_;
    std::vector<Node> nodes_;
};

}  // namespace

CloudStatus WriteOrganised(CloudWriter& cloud, const PointsToOrganise& points,
                           const OctreeShape& shape) {
    return Organiser(cloud, points, shape).Write();
}
