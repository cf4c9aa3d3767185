// The partner search.

#include "driver/partner_search.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

/// A candidate must be nearer than this share of the best so far. At distance 0 every later
/// candidate at distance 0 qualifies, so the last one visited wins.
constexpr float kNearer = 0.999f;

/// From here on a channel difference is no limit at all.
constexpr float kNoDifferenceLimit = 1e15f;

float Square(float value) {
    return value * value;
}

}  // namespace

PartnerSearch::PartnerSearch(Octree& tree, std::span<const PointRecord> records,
                             std::span<const std::uint8_t> removed,
                             const SimplifySettings& settings, const Projection& projection)
    : tree_(tree),
      records_(records),
      removed_(removed),
      settings_(settings),
      projection_(projection),
      limit_(settings.max_distance * settings.max_distance * 1.002f),
      compares_data_(settings.max_difference >= 0 && settings.max_difference < kNoDifferenceLimit) {
}

std::int32_t PartnerSearch::PartnerOf(std::int32_t index, std::int32_t record_count) {
    query_ = &records_[static_cast<std::size_t>(index)];
    query_index_ = index;
    record_count_ = record_count;
    best_ = limit_;
    // Data lie in the order of arrival, far from their neighbours': a merge would wait for both.
    __builtin_prefetch(query_->data);
    partner_ = kNobody;
    SearchNode(tree_.Nodes().front());
    return partner_;
}

/// Recurses once a level. Every split halves the extent on some axis, which single precision
/// allows a few hundred times, so the depth is bounded whatever the points.
void PartnerSearch::SearchNode(SimplifyNode& node) {
    if (query_index_ >= node.first + node.count || node.first >= record_count_) return;
    if (node.child_count == 0) {
        SearchLeaf(node);
        return;
    }
    for (std::uint32_t i = node.children; i < node.children + node.child_count; ++i) {
        SimplifyNode& child = tree_.Nodes()[i];
        if (!child.is_empty && SquaredDistance(child) < best_) SearchNode(child);
    }
}

void PartnerSearch::SearchLeaf(SimplifyNode& leaf) {
    const std::int32_t begin = std::max(query_index_ + 1, leaf.first);
    const std::int32_t end = std::min(leaf.first + leaf.count, record_count_);
    bool saw_record = false;
    if (IsOnePlace(leaf)) {
        saw_record = SearchOnePlace(begin, end, SquaredDistance(leaf));
    } else {
        for (std::int32_t i = begin; i < end; ++i) {
            if (removed_[static_cast<std::size_t>(i)]) continue;
            saw_record = true;
            const PointRecord& other = records_[static_cast<std::size_t>(i)];
            const float squared_distance = SquaredDistance(other);
            if (squared_distance <= best_ * kNearer && IsAlike(other)) Take(i, squared_distance);
        }
    }
    if (begin == leaf.first && end == leaf.first + leaf.count) leaf.is_empty = !saw_record;
}

/// Only such leaves can be large, so large that looking at every pair would take for ever.
bool PartnerSearch::IsOnePlace(const SimplifyNode& leaf) const {
    return leaf.count > Octree::kLeafRecords && !settings_.is_raster_space &&
           std::equal(leaf.box_min, leaf.box_min + 3, leaf.box_max);
}

bool PartnerSearch::SearchOnePlace(std::int32_t begin, std::int32_t end, float squared_distance) {
    const std::uint8_t* const flags = removed_.data();
    const auto last_left = [&](std::int32_t before) {
        const auto count = static_cast<std::size_t>(std::max(before - begin, 0));
        const void* const found = memrchr(flags + begin, 0, count);
        return found ? static_cast<const std::uint8_t*>(found) - flags : std::ptrdiff_t{kNobody};
    };
    auto i = static_cast<std::int32_t>(last_left(end));
    const bool saw_record = i != kNobody;
    if (!(squared_distance <= best_ * kNearer)) return saw_record;

    // At one distance the first candidate keeps all others out, unless a share of the distance
    // is the distance itself; then each takes the place of the one before, and the last stays.
    const bool last_stays = squared_distance <= squared_distance * kNearer;
    if (last_stays) {
        while (i != kNobody && !IsAlike(records_[static_cast<std::size_t>(i)]))
            i = static_cast<std::int32_t>(last_left(i));
    } else {
        for (i = begin; i < end; ++i)
            if (!flags[i] && IsAlike(records_[static_cast<std::size_t>(i)])) break;
        if (i == end) i = kNobody;
    }
    if (i != kNobody) Take(i, squared_distance);
    return saw_record;
}

void PartnerSearch::Take(std::int32_t index, float squared_distance) {
    best_ = squared_distance;
    partner_ = index;
    __builtin_prefetch(records_[static_cast<std::size_t>(index)].data);
}

float PartnerSearch::InPixels(float squared_distance, float depth) const {
    const auto& m = projection_.world_to_ndc;
    const float distance = std::sqrt(squared_distance);
    const float half_width = projection_.format[0] * 0.5f;
    return Square(distance * m[0] / (depth * m[11] + m[15]) * half_width);
}

float PartnerSearch::SquaredDistance(const PointRecord& other) const {
    const float* const p = query_->head.position;
    const float* const q = other.head.position;
    const float squared = Square(p[0] - q[0]) + Square(p[1] - q[1]) + Square(p[2] - q[2]);
    if (!settings_.is_raster_space) return squared;
    return InPixels(squared, (p[2] + q[2]) * 0.5f);
}

/// To the node's box; 0 inside it.
float PartnerSearch::SquaredDistance(const SimplifyNode& node) const {
    float squared = 0;
    for (int axis = 0; axis < 3; ++axis) {
        const float p = query_->head.position[axis];
        if (p < node.box_min[axis]) {
            squared += Square(node.box_min[axis] - p);
        } else if (p > node.box_max[axis]) {
            squared += Square(p - node.box_max[axis]);
        }
    }
    if (!settings_.is_raster_space || squared == 0) return squared;
    return InPixels(squared, query_->head.position[2]);
}

bool PartnerSearch::IsAlike(const PointRecord& other) const {
    const float* const n = query_->head.normal;
    const float* const m = other.head.normal;
    if (!(n[0] * m[0] + n[1] * m[1] + n[2] * m[2] >= settings_.min_dot)) return false;
    if (!compares_data_) return true;
    for (std::size_t k = 0; k < settings_.area_flags.size(); ++k) {
        if (settings_.area_flags[k]) continue;
        if (std::fabs(query_->data[k] - other.data[k]) > settings_.max_difference) return false;
    }
    return true;
}
