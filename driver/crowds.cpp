// Crowds: gathers records, splits nodes on demand, searches in index order.

#include "driver/crowds.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

/// Nodes of at most this many records are not split.
constexpr std::uint32_t kSmallNode = 16;

/// At most this many of a node's records are examined before the node is split; of a smaller node
/// an eighth, but at least kSmallNode. So examining in vain costs little beside the split, which
/// passes over all records of the node.
constexpr std::uint32_t kPatience = 128;

/// Bounds of a node without records.
constexpr std::int32_t kNoLowest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kNoHighest = -1;

constexpr float kUnbounded = std::numeric_limits<float>::infinity();

}  // namespace

void Crowds::StartPass() {
    roots_.clear();
    nodes_.clear();
    bounds_.clear();
    members_.clear();
}

std::uint32_t Crowds::Of(const SimplifyNode& leaf, std::int32_t query) {
    const auto [entry, is_new] = roots_.try_emplace(leaf.first, 0);
    if (!is_new) return entry->second;
    wish_.query = query;
    const std::size_t begin = members_.size();
    for (std::int32_t i = std::max(leaf.first, query + 1); i < leaf.first + leaf.count; ++i)
        if (!IsGone(i) && rules_.CanMerge(Record(i))) members_.push_back(i);
    return entry->second = AddNode(static_cast<std::uint32_t>(begin),
                                   static_cast<std::uint32_t>(members_.size()), 0);
}

std::int32_t Crowds::Find(std::uint32_t crowd, const Wish& wish) {
    wish_ = wish;
    found_ = kNobody;
    best_rank_ = Rank(kNoLowest, kNoHighest);
    Visit(crowd);
    return found_;
}

/// Searches below a node. The child with the better rank comes first, so that the other one is
/// often skipped. Skipping never loses the answer: a node's rank is at least as good as that of any
/// record in it, and KeepApart() is never wrongly true.
///
/// Recurses once a level. A split leaves at most seven eighths on one side, which 32-bit indexes
/// allow about 160 times.
void Crowds::Visit(std::uint32_t index) {
    if (!nodes_[index].children) Trim(nodes_[index]);
    if (Rank(nodes_[index].lowest, nodes_[index].highest) >= best_rank_) return;
    if (rules_.KeepApart(Record(wish_.query), Low(index), High(index), wish_.reach)) return;
    if (!nodes_[index].children) {
        if (Settles(nodes_[index])) return;
        if (!Split(index)) {
            (void)Settles(nodes_[index]);
            return;
        }
    }
    const auto rank = [&](std::uint32_t i) { return Rank(nodes_[i].lowest, nodes_[i].highest); };
    const std::uint32_t left = nodes_[index].children;
    const std::uint32_t nearer = rank(left + 1) < rank(left) ? left + 1 : left;
    Visit(nearer);
    Visit(nearer == left ? left + 1 : left);
    nodes_[index].lowest = std::min(nodes_[left].lowest, nodes_[left + 1].lowest);
    nodes_[index].highest = std::max(nodes_[left].highest, nodes_[left + 1].highest);
}

/// Examines the node's records from the wished end; the first one that matches decides, because the
/// members are in index order. False: the node has too many records and must be split. In a
/// uniform node one live record decides for all, and Trim() leaves live records at both ends.
bool Crowds::Settles(const Node& node) {
    const std::uint32_t count = node.end - node.begin;
    const std::uint32_t steps =
        node.is_uniform ? 1 : std::min(count, std::clamp(count / 8, kSmallNode, kPatience));
    for (std::uint32_t i = 0; i < steps; ++i) {
        const std::int32_t record =
            members_[wish_.end == End::kFirst ? node.begin + i : node.end - 1 - i];
        if (Rank(record, record) >= best_rank_) return true;
        if (IsGone(record)) continue;
        const PointRecord& query = Record(wish_.query);
        if (rules_.SquaredDistance(query, Record(record)) <= wish_.reach &&
            rules_.IsAlike(query, Record(record))) {
            found_ = record;
            best_rank_ = Rank(record, record);
            return true;
        }
    }
    return node.is_uniform || steps == count;
}

/// Splits a node in two, at about the median of an axis, the lower coordinates first. The partition
/// is stable, so both halves keep their index order. False: too few of its records are left.
bool Crowds::Split(std::uint32_t index) {
    KeepLive(nodes_[index]);
    const auto [begin, end] = std::pair(nodes_[index].begin, nodes_[index].end);
    const std::uint32_t count = end - begin;
    if (count <= kSmallNode) return false;

    const std::uint32_t axis = NextAxis(index);
    const auto key = [&](std::int32_t record) {
        const float value = rules_.Coordinate(Record(record), axis);
        return std::isnan(value) ? -kUnbounded : value;
    };
    keys_.clear();
    for (std::uint32_t i = begin; i < end; ++i) keys_.push_back(key(members_[i]));
    const auto half = keys_.begin() + count / 2;
    std::nth_element(keys_.begin(), half, keys_.end());
    // Equal keys stay together, below or above the cut. If that leaves too few records on one side,
    // the node is cut in the order of its records instead, so that the tree is never deep.
    const float pivot = *half;
    const auto below = std::count_if(keys_.begin(), half, [&](float k) { return k < pivot; });
    const auto above = std::count_if(half, keys_.end(), [&](float k) { return k > pivot; });
    const auto size = static_cast<std::uint32_t>(std::max(below, above));
    std::uint32_t cut = begin + count / 2;
    if (size > count / 8) {
        const bool with_pivot = above > below;  // on the lower side
        cut = begin + (with_pivot ? count - size : size);
        const auto first = members_.begin();
        std::stable_partition(first + begin, first + end, [&](std::int32_t i) {
            return with_pivot ? key(i) <= pivot : key(i) < pivot;
        });
    }
    const std::uint32_t left = AddNode(begin, cut, axis);
    AddNode(cut, end, axis);
    nodes_[index].children = left;
    return true;
}

std::uint32_t Crowds::AddNode(std::uint32_t begin, std::uint32_t end, std::uint32_t axis) {
    const auto index = static_cast<std::uint32_t>(nodes_.size());
    const std::size_t axes = rules_.Axes();
    nodes_.push_back({kNoLowest, kNoHighest, begin, end, 0, axis, true});
    bounds_.insert(bounds_.end(), axes, kUnbounded);
    bounds_.insert(bounds_.end(), axes, -kUnbounded);
    float* const low = Low(index);
    float* const high = High(index);
    for (std::uint32_t i = begin; i < end; ++i) {
        const PointRecord& record = Record(members_[i]);
        for (std::size_t k = 0; k < axes; ++k) {
            const float value = rules_.Coordinate(record, k);
            low[k] = std::min(low[k], value);
            high[k] = std::max(high[k], value);
            if (!std::isnan(value)) continue;
            // A NaN among the data never makes two records different, so such a record may match
            // any query: its bounds are infinite.
            low[k] = -kUnbounded;
            high[k] = kUnbounded;
        }
    }
    nodes_[index].is_uniform = std::equal(low, low + axes, high);
    Trim(nodes_[index]);
    return index;
}

/// Removes records that are gone from both ends. Each record is removed once, so the cost of all
/// calls together is one step a record.
void Crowds::Trim(Node& node) const {
    while (node.begin < node.end && IsGone(members_[node.begin])) ++node.begin;
    while (node.begin < node.end && IsGone(members_[node.end - 1])) --node.end;
    const bool is_empty = node.begin == node.end;
    node.lowest = is_empty ? kNoLowest : members_[node.begin];
    node.highest = is_empty ? kNoHighest : members_[node.end - 1];
}

void Crowds::KeepLive(Node& node) {
    const auto first = members_.begin();
    const auto end = std::remove_if(first + node.begin, first + node.end,
                                    [&](std::int32_t i) { return IsGone(i); });
    node.end = static_cast<std::uint32_t>(end - first);
}

/// The next axis, in turn, along which the records differ. Caller: the node is not uniform.
std::uint32_t Crowds::NextAxis(std::uint32_t index) const {
    const auto axes = static_cast<std::uint32_t>(rules_.Axes());
    const float* const low = bounds_.data() + std::size_t{index} * 2 * axes;
    std::uint32_t axis = nodes_[index].axis;
    do {
        axis = (axis + 1) % axes;
    } while (low[axis] == low[axes + axis]);
    return axis;
}

/// The rank of a node or a record with these indexes for the wish: the lowest rank is the best.
std::int32_t Crowds::Rank(std::int32_t lowest, std::int32_t highest) const {
    return wish_.end == End::kFirst ? lowest : -highest;
}

bool Crowds::IsGone(std::int32_t record) const {
    return record <= wish_.query || removed_[static_cast<std::size_t>(record)];
}
