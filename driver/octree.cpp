// The octree: splits nodes into octants, refits boxes.

#include "driver/octree.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

namespace {

/// A box that starts empty and grows. A NaN never widens it.
struct Box {
    float min[3] = {1e30f, 1e30f, 1e30f};
    float max[3] = {-1e30f, -1e30f, -1e30f};

    void Include(const float* low, const float* high) {
        for (int axis = 0; axis < 3; ++axis) {
            if (low[axis] < min[axis]) min[axis] = low[axis];
            if (high[axis] > max[axis]) max[axis] = high[axis];
        }
    }
};

/// A comparison with a NaN is false, so a NaN counts to the lower half of its axis.
std::uint8_t Octant(const float* center, const float* position) {
    const int octant = (center[0] <= position[0] ? 1 : 0) + (center[1] <= position[1] ? 2 : 0) +
                       (center[2] <= position[2] ? 4 : 0);
    return static_cast<std::uint8_t>(octant);
}

/// Sorts the records into octants in place; `octants`, one for each record, are sorted with them.
///
/// KEPT: two markers swap records from both ends. The order that this gives the records decides
/// which points merge, so another way of sorting would change the results.
/// Test: DriverSimplify.AgreesWithThePlainAlgorithm
void Partition(std::span<PointRecord> records, std::span<std::uint8_t> octants,
               const std::array<std::int32_t, 8>& counts) {
    std::size_t octant_first = 0;
    for (std::uint8_t octant = 0; octant < 7; ++octant) {
        std::size_t low = octant_first;
        std::size_t high = records.size() - 1;
        while (low < high) {
            while (low < high && octants[low] == octant) ++low;
            while (low < high && octants[high] != octant) --high;
            if (low >= high) break;
            std::swap(records[low], records[high]);
            std::swap(octants[low], octants[high]);
        }
        octant_first += static_cast<std::size_t>(counts[octant]);
    }
}

}  // namespace

void Octree::Build(std::span<PointRecord> records) {
    nodes_.clear();
    octants_.resize(records.size());
    SimplifyNode root{};
    root.count = static_cast<std::int32_t>(records.size());
    nodes_.push_back(root);
    // Children are added after their parent, so this visits every node once, without recursion.
    for (std::size_t index = 0; index < nodes_.size(); ++index) Split(index, records);
}

void Octree::Split(std::size_t index, std::span<PointRecord> records) {
    SimplifyNode& node = nodes_[index];
    const auto own =
        records.subspan(static_cast<std::size_t>(node.first), static_cast<std::size_t>(node.count));

    Box corners;
    float largest_radius = 0;
    for (const PointRecord& record : own) {
        corners.Include(record.head.position, record.head.position);
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

    // Computed once for each record, because the partition reads the octants many times.
    const auto octants = std::span(octants_).subspan(static_cast<std::size_t>(node.first));
    std::array<std::int32_t, 8> counts{};
    for (std::size_t i = 0; i < own.size(); ++i) {
        octants[i] = Octant(center, own[i].head.position);
        ++counts[octants[i]];
    }
    const auto used = std::count_if(counts.begin(), counts.end(), [](auto n) { return n > 0; });
    if (used < 2) return;
    if (nodes_.size() + static_cast<std::size_t>(used) > max_nodes_) throw std::bad_alloc();

    std::int32_t first = node.first;
    node.children = static_cast<std::uint32_t>(nodes_.size());
    node.child_count = static_cast<std::uint8_t>(used);
    for (const std::int32_t count : counts) {
        if (count == 0) continue;
        SimplifyNode child{};
        child.count = count;
        child.first = first;
        nodes_.push_back(child);  // may move the nodes: `node` is invalid from here on
        first += count;
    }
    Partition(own, octants, counts);
}

void Octree::Refit(std::span<const PointRecord> records, std::span<const std::uint8_t> removed) {
    // Backwards: children come after their parent, so their boxes are complete before it.
    for (std::size_t index = nodes_.size(); index-- > 0;) {
        SimplifyNode& node = nodes_[index];
        Box box;
        node.is_empty = true;
        const auto include = [&](const float* low, const float* high) {
            box.Include(low, high);
            node.is_empty = false;
        };
        if (node.child_count) {
            for (std::uint32_t i = node.children; i < node.children + node.child_count; ++i)
                if (!nodes_[i].is_empty) include(nodes_[i].box_min, nodes_[i].box_max);
        } else {
            const auto first = static_cast<std::size_t>(node.first);
            for (std::size_t i = first; i < first + static_cast<std::size_t>(node.count); ++i)
                if (!removed[i]) include(records[i].head.position, records[i].head.position);
        }
        std::copy_n(box.min, 3, node.box_min);
        std::copy_n(box.max, 3, node.box_max);
    }
}
