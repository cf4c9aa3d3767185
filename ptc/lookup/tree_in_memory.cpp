// Reads the points of a file, puts them in the order of an octree, and makes its nodes.

#include "ptc/lookup/tree_in_memory.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "ptc/cache/cache_set.h"
#include "ptc/format/point_bounds.h"
#include "ptc/format/record_storage.h"
#include "ptc/organise/octree_nodes.h"
#include "ptc/organise/point_order.h"

namespace {

constexpr std::size_t kLeafPoints = 16;
constexpr std::int64_t kPiece = 8192;  // points that are read at a time

std::size_t Unsigned(std::int64_t value) {
    return static_cast<std::size_t>(value);
}

/// Makes the records of nodes, each with the references of its children, from leaves up.
class NodeMaker {
public:
    /// Of a node that waits for its parent.
    struct Waiting {
        PositionBox box;
        std::int64_t begin = 0;  ///< where the records of its children begin; 0: a leaf
        unsigned mask = 0;       ///< of its children
    };
    using Node = OctreeNode<Waiting>;

    NodeMaker(const PtcPoint* points, std::vector<PtcNode>& nodes)
        : points_(points), nodes_(nodes) {}

    void Group(std::span<Node> children, Node& parent) {
        parent.data.begin = static_cast<std::int64_t>(nodes_.size());
        nodes_.resize(nodes_.size() + kNodeChildren);
        for (Node& child : children) {
            nodes_[Unsigned(parent.data.begin) + child.octant] = Record(child);
            parent.data.mask |= 1U << child.octant;
            parent.data.box.Include(child.data.box);
        }
    }
    void Root(Node& root) { root_ = Record(root); }

    PtcNode root_{};

private:
    PtcNode Record(Node& node) const {
        if (node.data.begin == 0) node.data.box = BoxOf(node);
        PtcNode record{};
        record.first_point = static_cast<std::int32_t>(node.first);
        record.point_count = static_cast<std::int32_t>(node.count);
        std::copy_n(node.data.box.min.data(), 3, record.box);
        std::copy_n(node.data.box.max.data(), 3, record.box + 3);
        for (int i = 0; i < kNodeChildren; ++i)
            if (node.data.mask >> i & 1U) record.children[i] = node.data.begin + i;
        return record;
    }

    /// Around the spheres of a leaf's points.
    PositionBox BoxOf(const Node& leaf) const {
        PointBounds bounds;
        for (const PtcPoint& point : std::span(points_ + leaf.first, leaf.count))
            bounds.Include(point.position, std::isfinite(point.radius) ? point.radius : 0.0f);
        CloudHeader header;
        bounds.StoreTo(&header);
        return {header.box_min, header.box_max};
    }

    const PtcPoint* const points_;
    std::vector<PtcNode>& nodes_;
};

}  // namespace

std::shared_ptr<const TreeInMemory> TreeInMemory::Make(PtcManagedFile& file, PtcThreadCache& cache,
                                                       std::int64_t limit, Problem* problem) {
    const std::int64_t count = file.PointCount();
    const std::int64_t bytes =
        std::int64_t{sizeof(PtcPoint)} + 4 * std::int64_t{file.FloatsPerPoint()};
    // Before anything is allocated for a count that the file merely claims.
    std::uint64_t life = 0;
    *problem = Problem::kTooLarge;
    if (count > kMostPoints || count > limit / bytes ||
        !ChargeClouds(count * bytes, count * std::int64_t{sizeof(std::int32_t)}, limit, &life))
        return nullptr;
    std::shared_ptr<TreeInMemory> tree;
    try {
        tree.reset(new TreeInMemory);
    } catch (const std::bad_alloc&) {
        DischargeClouds(count * bytes, count * std::int64_t{sizeof(std::int32_t)}, life);
        throw;
    }
    tree->cloud_bytes_ = count * bytes;
    tree->octree_bytes_ = count * std::int64_t{sizeof(std::int32_t)};
    tree->charged_ = life;
    tree->count_ = count;

    *problem = Problem::kUnreadable;
    {
        const UtHresTimerScope time(cache.stats.file_read_time);
        if (!tree->Read(file)) return nullptr;
    }
    const UtHresTimerScope time(cache.stats.build_octrees_time);
    tree->Build();
    const auto nodes = static_cast<std::int64_t>(tree->nodes_.size() * sizeof(PtcNode));
    *problem = Problem::kTooLarge;
    if (!ChargeClouds(0, nodes, limit, &life)) return nullptr;
    tree->octree_bytes_ += nodes;
    *problem = Problem::kNone;
    return tree;
}

TreeInMemory::~TreeInMemory() {
    DischargeClouds(cloud_bytes_, octree_bytes_, charged_);
}

/// Stores all points in the file's order. The memory is not cleared, so that only what is really
/// read takes pages.
bool TreeInMemory::Read(PtcManagedFile& file) {
    const auto floats = Unsigned(file.FloatsPerPoint());
    points_ = std::make_unique_for_overwrite<PtcPoint[]>(Unsigned(count_));
    data_ = std::make_unique_for_overwrite<float[]>(Unsigned(count_) * floats);
    for (std::int64_t first = 0; first < count_; first += kPiece) {
        const std::int64_t count = std::min(kPiece, count_ - first);
        PtcPoint* const records = &points_[Unsigned(first)];
        for (std::size_t i = 0; i < Unsigned(count); ++i)
            records[i].data = data_.get() + (Unsigned(first) + i) * floats;
        if (Failed(file.ReadPointsAnywhere(first, count, records))) return false;
    }
    return true;
}

void TreeInMemory::Build() {
    const auto* const first = reinterpret_cast<const std::byte*>(points_.get());
    const PointOrder order = OrderPoints({first, Unsigned(count_), sizeof(PtcPoint)});
    auto sorted = std::make_unique_for_overwrite<PtcPoint[]>(order.finite);
    indexes_.resize(order.finite);
    for (std::size_t i = 0; i < order.finite; ++i) {
        sorted[i] = points_[order.points[i].index];
        indexes_[i] = static_cast<std::int32_t>(order.points[i].index);
    }
    points_ = std::move(sorted);
    nodes_.resize(kNodeChildren);
    NodeMaker maker(points_.get(), nodes_);
    DeriveNodes<NodeMaker::Waiting>(order.points.data(), order.finite, kLeafPoints, maker);
    nodes_[kRoot] = maker.root_;
}
