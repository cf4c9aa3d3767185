// The octree: splits nodes into octants, refits boxes.

#include "driver/octree.h"

#include <algorithm>
#include <new>
#include <utility>

#include "driver/octant_sort.h"

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

lanes::Floats KeyOf(const PointRecord& record) {
    const float* const position = record.head.position;
    return lanes::Floats{position[0], position[1], position[2], record.head.radius};
}

}  // namespace

class Octree::RecordItems {
public:
    explicit RecordItems(std::span<PointRecord> records) : records_(records) {}
    std::size_t Count() const { return records_.size(); }
    lanes::Floats Key(std::size_t i) const { return KeyOf(records_[i]); }
    void Swap(std::size_t i, std::size_t k) { std::swap(records_[i], records_[k]); }

private:
    std::span<PointRecord> records_;
};

class Octree::BlockItems {
public:
    BlockItems(lanes::Floats* keys, std::uint32_t* places, std::size_t count)
        : keys_(keys), places_(places), count_(count) {}
    std::size_t Count() const { return count_; }
    lanes::Floats Key(std::size_t i) const { return keys_[i]; }
    void Swap(std::size_t i, std::size_t k) {
        std::swap(keys_[i], keys_[k]);
        std::swap(places_[i], places_[k]);
    }

private:
    lanes::Floats* keys_;
    std::uint32_t* places_;
    std::size_t count_;
};

void Octree::Build(std::span<PointRecord> records) {
    nodes_.clear();
    const std::size_t block = std::min<std::size_t>(records.size(), kBlockRecords);
    octants_.resize(records.size() + 2 * octant_sort::kPadding);
    keys_.resize(block);
    places_.resize(block);
    sorted_.resize(block);
    // Of surfaces, there is about one node for five records. Memory that is not used costs nothing.
    nodes_.reserve(records.size() / 4);
    SimplifyNode root{};
    root.count = static_cast<std::int32_t>(records.size());
    nodes_.push_back(root);
    std::vector<std::uint32_t> open = {0};
    while (!open.empty()) {
        const std::uint32_t index = open.back();
        open.pop_back();
        const auto first = static_cast<std::size_t>(nodes_[index].first);
        const auto count = static_cast<std::size_t>(nodes_[index].count);
        if (nodes_[index].count <= kBlockRecords) {
            BuildBlock(index, records.subspan(first, count));
            continue;
        }
        Split(index, RecordItems(records.subspan(first, count)));
        for (std::uint32_t i = nodes_[index].child_count; i-- > 0;)
            open.push_back(nodes_[index].children + i);
    }
}

void Octree::BuildBlock(std::uint32_t root, std::span<PointRecord> records) {
    for (std::uint32_t i = 0; i < records.size(); ++i) {
        keys_[i] = KeyOf(records[i]);
        places_[i] = i;
    }
    const std::int32_t first = nodes_[root].first;
    const auto split = [&](std::size_t index) {
        const auto at = static_cast<std::size_t>(nodes_[index].first - first);
        const auto count = static_cast<std::size_t>(nodes_[index].count);
        Split(index, BlockItems(keys_.data() + at, places_.data() + at, count));
    };
    // Children are added after their parent, so this visits every node once, without recursion.
    std::size_t index = nodes_.size();
    split(root);
    for (; index < nodes_.size(); ++index) split(index);

    for (std::size_t i = 0; i < records.size(); ++i) sorted_[i] = records[places_[i]];
    std::copy_n(sorted_.begin(), records.size(), records.begin());
}

template <class Items>
void Octree::Split(std::size_t index, Items items) {
    SimplifyNode& node = nodes_[index];
    const octant_sort::Extent extent = octant_sort::ExtentOf(items);
    const lanes::Floats radius = lanes::All(extent.high[3]);
    const lanes::Floats low = extent.low - radius;
    const lanes::Floats high = extent.high + radius;
    const lanes::Floats center = (low + high) * lanes::All(0.5f);
    std::memcpy(node.box_min, &low, sizeof node.box_min);
    std::memcpy(node.box_max, &high, sizeof node.box_max);
    if (node.count <= kLeafRecords) return;
    if (octant_sort::Octant(center, extent.low) == octant_sort::Octant(center, extent.high)) return;

    std::uint8_t* const octants = octants_.data() + octant_sort::kPadding;
    const octant_sort::Counts counts = octant_sort::Classify(items, center, octants);
    const auto used = std::count_if(counts.begin(), counts.end(), [](auto n) { return n > 0; });
    if (used < 2) return;
    if (nodes_.size() + static_cast<std::size_t>(used) > max_nodes_) throw std::bad_alloc();

    std::int32_t first = node.first;
    node.children = static_cast<std::uint32_t>(nodes_.size());
    node.child_count = static_cast<std::uint8_t>(used);
    for (const std::size_t count : counts) {
        if (count == 0) continue;
        SimplifyNode child{};
        child.count = static_cast<std::int32_t>(count);
        child.first = first;
        nodes_.push_back(child);  // may move the nodes: `node` is invalid from here on
        first += child.count;
    }
    octant_sort::Partition(items, counts, octants);
}

std::vector<const SimplifyNode*> Octree::LeavesAbove(std::int32_t count) const {
    std::vector<const SimplifyNode*> leaves;
    for (const SimplifyNode& node : nodes_)
        if (node.child_count == 0 && node.count > count) leaves.push_back(&node);
    std::sort(leaves.begin(), leaves.end(),
              [](const auto* a, const auto* b) { return a->first < b->first; });
    return leaves;
}

SimplifyNode& Octree::LeafOf(std::int32_t record) {
    SimplifyNode* node = nodes_.data();
    while (node->child_count) {
        std::uint32_t child = node->children;
        while (record >= nodes_[child].first + nodes_[child].count) ++child;
        node = &nodes_[child];
    }
    return *node;
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
