// Points in the order of an octree, and its nodes, against a plain version.

#include "ptc/organise/point_order.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "ptc/organise/octree_nodes.h"

namespace {

using Position = std::array<float, 3>;
using Positions = std::vector<Position>;

/// A node as text: its points, and its children in brackets.
std::string TextOf(std::size_t first, std::size_t count) {
    return std::to_string(first) + "+" + std::to_string(count);
}

/// The tree in the plainest way: cells by the documented formula, octants by filtering.
class PlainTree {
public:
    PlainTree(const Positions& positions, std::size_t leaf_points) : leaf_points_(leaf_points) {
        double low[3] = {1e300, 1e300, 1e300};
        double high[3] = {-1e300, -1e300, -1e300};
        std::vector<std::uint32_t> finite;
        for (std::uint32_t i = 0; i < positions.size(); ++i) {
            const Position& at = positions[i];
            if (!std::isfinite(at[0]) || !std::isfinite(at[1]) || !std::isfinite(at[2])) {
                nowhere_.push_back(i);
                continue;
            }
            finite.push_back(i);
            for (std::size_t k = 0; k < 3; ++k) low[k] = std::min<double>(low[k], at[k]);
            for (std::size_t k = 0; k < 3; ++k) high[k] = std::max<double>(high[k], at[k]);
        }
        double side = 0;
        for (std::size_t k = 0; k < 3; ++k) side = std::max(side, high[k] - low[k]);
        cells_.resize(positions.size());
        for (const std::uint32_t i : finite)
            for (std::size_t k = 0; side > 0 && k < 3; ++k)
                cells_[i][k] = static_cast<int>(std::min(
                    std::floor((positions[i][k] - low[k]) * (2097152.0 / side)), 2097151.0));
        if (!finite.empty()) text_ = Node(finite, 0);
        order_.insert(order_.end(), nowhere_.begin(), nowhere_.end());
    }

    const std::vector<std::uint32_t>& Order() const { return order_; }
    const std::string& Text() const { return text_; }

private:
    std::string Node(const std::vector<std::uint32_t>& points, int depth) {
        const bool is_leaf = points.size() <= leaf_points_ || depth == 21;
        const std::size_t first = order_.size();
        if (depth == 21) order_.insert(order_.end(), points.begin(), points.end());
        std::string children;
        std::string only;
        int parts = 0;
        for (int octant = 0; depth < 21 && octant < 8; ++octant) {
            std::vector<std::uint32_t> part;
            for (const std::uint32_t i : points)
                if (Octant(i, depth) == octant) part.push_back(i);
            if (part.empty()) continue;
            ++parts;
            only = Node(part, depth + 1);
            children += std::to_string(octant) + only;
        }
        if (is_leaf) return TextOf(first, points.size());
        return parts == 1 ? only : TextOf(first, points.size()) + "(" + children + ")";
    }

    int Octant(std::uint32_t i, int depth) const {
        const auto bit = [&](std::size_t axis) { return cells_[i][axis] >> (20 - depth) & 1; };
        return bit(0) + 2 * bit(1) + 4 * bit(2);
    }

    const std::size_t leaf_points_;
    std::vector<std::uint32_t> nowhere_;
    std::vector<std::uint32_t> order_;
    std::vector<std::array<int, 3>> cells_;
    std::string text_;
};

/// Collects the same text from the nodes as they are told.
struct TextSink {
    using Node = OctreeNode<std::string>;

    static std::string Of(const Node& node) {
        return TextOf(node.first, node.count) + (node.height ? "(" + node.data + ")" : "");
    }
    void Group(std::span<Node> children, Node& parent) {
        for (const Node& child : children) parent.data += std::to_string(child.octant) + Of(child);
    }
    void Root(const Node& root) { text = Of(root); }

    std::string text;
};

Positions RandomPositions(unsigned seed) {
    std::mt19937 random(seed);
    const auto below = [&](unsigned limit) { return static_cast<unsigned>(random() % limit); };
    const float places[] = {0, -0.0f, 1, 1e-30f, -1e20f, 3e38f, -3e38f, 1e-45f, NAN, INFINITY};
    const unsigned kind = below(5);
    Positions positions(below(4) == 0 ? below(4) : below(3000));
    for (Position& at : positions) {
        for (float& value : at) {
            value = static_cast<float>(below(1u << 24)) * 0x1p-20f;
            if (kind == 1) value = static_cast<float>(below(3));                    // repeats
            if (kind == 2) value = std::ldexp(1.0f, -static_cast<int>(below(90)));  // deep
            if (kind == 3) value = places[below(8)];                                // odd
            if (kind == 4 || below(500) == 0) value = places[below(10)];            // not finite
        }
        if (kind == 0) at[2] = 7;
    }
    return positions;
}

TEST(PtcPointOrder, OrderAndNodesAreThoseOfThePlainTree) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        const Positions positions = RandomPositions(seed);
        const std::size_t leaf_points = std::array<std::size_t, 4>{1, 2, 32, 1000}[seed % 4];
        const PlainTree plain(positions, leaf_points);

        const PointOrder order =
            OrderPoints({std::as_bytes(std::span(positions)).data(), positions.size(), 12});
        ASSERT_EQ(order.points.size(), plain.Order().size());
        for (std::size_t i = 0; i < order.points.size(); ++i)
            ASSERT_EQ(order.points[i].index, plain.Order()[i]) << i;

        TextSink sink;
        DeriveNodes<std::string>(order.points.data(), order.finite, leaf_points, sink);
        ASSERT_EQ(sink.text, plain.Text());

        // A leaf can be found from any of its points.
        const LeafCutter cutter{order.points.data(), order.finite, leaf_points};
        for (std::size_t begin = 0; begin < order.finite;) {
            const std::size_t end = cutter.EndOf(begin);
            for (std::size_t i = begin; i < end; i += 1 + (end - begin) / 8)
                ASSERT_EQ(cutter.EndAround(i), end) << i;
            begin = end;
        }
    }
}

}  // namespace
