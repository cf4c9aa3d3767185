// The octree: splitting nodes into octants, refitting boxes.

#include "driver/octree.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <utility>

namespace {

/// A box that grows from nothing.
struct Box {
    float min[3] = {1e30f, 1e30f, 1e30f};
    float max[3] = {-1e30f, -1e30f, -1e30f};
    bool is_empty = true;

    void Include(const float* low, const float* high) {
        for (int axis = 0; axis < 3; ++axis) {
            if (is_empty || low[axis] < min[axis]) min[axis] = low[axis];
            if (is_empty || high[axis] > max[axis]) max[axis] = high[axis];
        }
        is_empty = false;
    }
};

bool IsFinite(const float* position) {
    return std::isfinite(position[0]) && std::isfinite(position[1]) && std::isfinite(position[2]);
}

/// A comparison with a value that is no number is false, so such a position falls into octant 0.
int Octant(const float* center, const float* position) {
    return (center[0] <= position[0] ? 1 : 0) + (center[1] <= position[1] ? 2 : 0) +
           (center[2] <= position[2] ? 4 : 0);
}

/// Sorts the records into octants without a copy.
///
/// KEPT: two markers that swap from both ends are not the only way to do this, but the order in
/// which they leave the records decides which points merge.
/// Test: DriverSimplify.AgreesWithThePlainAlgorithm
void Partition(std::span<PointRecord> records, const SimplifyNode& node, const float* center,
               const std::array<std::int32_t, 8>& octant_first) {
    for (int octant = 0; octant < 7; ++octant) {
        std::int32_t low = octant_first[static_cast<std::size_t>(octant)];
        std::int32_t high = node.first + node.count - 1;
        const auto is_in_octant = [&](std::int32_t index) {
            return Octant(center, records[static_cast<std::size_t>(index)].head.position) == octant;
        };
        while (low < high) {
            while (low < high && is_in_octant(low)) ++low;
            while (low < high && !is_in_octant(high)) --high;
            if (low < high)
                std::swap(records[static_cast<std::size_t>(low)],
                          records[static_cast<std::size_t>(high)]);
        }
    }
}

}  // namespace

void Octree::Build(std::span<PointRecord> records) {
    nodes_.clear();
    SimplifyNode root{};
    root.count = static_cast<std::int32_t>(records.size());
    nodes_.push_back(root);
    // Children go behind their parent, so this visits every node once, without recursion.
    for (std::size_t index = 0; index < nodes_.size(); ++index) Split(index, records);
}

void Octree::Split(std::size_t index, std::span<PointRecord> all) {
    SimplifyNode& node = nodes_[index];
    const auto records =
        all.subspan(static_cast<std::size_t>(node.first), static_cast<std::size_t>(node.count));

    // One stray position must not flatten the tree: only finite ones shape it.
    Box corners;
    float largest_radius = 0;
    for (const PointRecord& record : records) {
        const float* const position = record.head.position;
        if (IsFinite(position)) corners.Include(position, position);
        if (record.head.radius > largest_radius) largest_radius = record.head.radius;
    }
    float center[3];
    for (int axis = 0; axis < 3; ++axis) {
        node.box_min[axis] = corners.min[axis] - largest_radius;
        node.box_max[axis] = corners.max[axis] + largest_radius;
        center[axis] = (node.box_min[axis] + node.box_max[axis]) * 0.5f;
    }
    if (node.count <= kLeafRecords) return;
    if (Octant(center, corners.min) == Octant(center, corners.max)) return;

    std::array<std::int32_t, 8> counts{};
    for (const PointRecord& record : records)
        ++counts[static_cast<std::size_t>(Octant(center, record.head.position))];
    const auto used = std::count_if(counts.begin(), counts.end(), [](auto n) { return n > 0; });
    if (used < 2) return;
    if (nodes_.size() + static_cast<std::size_t>(used) > max_nodes_) throw std::bad_alloc();

    const SimplifyNode parent = node;  // appending may move the nodes
    nodes_[index].children = static_cast<std::uint32_t>(nodes_.size());
    nodes_[index].child_count = static_cast<std::uint8_t>(used);
    std::array<std::int32_t, 8> octant_first{};
    std::int32_t first = parent.first;
    for (std::size_t octant = 0; octant < 8; ++octant) {
        octant_first[octant] = first;
        if (counts[octant] == 0) continue;
        SimplifyNode child{};
        child.count = counts[octant];
        child.first = first;
        nodes_.push_back(child);
        first += counts[octant];
    }
    Partition(all, parent, center, octant_first);
}

void Octree::Refit(std::span<const PointRecord> records, std::span<const std::uint8_t> removed) {
    for (std::size_t index = nodes_.size(); index-- > 0;) {
        SimplifyNode& node = nodes_[index];
        Box box;
        if (node.child_count) {
            for (std::uint32_t i = node.children; i < node.children + node.child_count; ++i)
                if (!nodes_[i].is_empty) box.Include(nodes_[i].box_min, nodes_[i].box_max);
        } else {
            const auto first = static_cast<std::size_t>(node.first);
            for (std::size_t i = first; i < first + static_cast<std::size_t>(node.count); ++i)
                if (!removed[i]) box.Include(records[i].head.position, records[i].head.position);
        }
        std::copy_n(box.min, 3, node.box_min);
        std::copy_n(box.max, 3, node.box_max);
        node.is_empty = box.is_empty;
    }
}
