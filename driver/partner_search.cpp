// The partner search: walks down the octree, and searches small leaves and crowds.

#include "driver/partner_search.h"

#include <algorithm>
#include <cmath>
#include <new>

PartnerSearch::PartnerSearch(Octree& tree, std::span<const PointRecord> records,
                             std::span<const std::uint8_t> removed,
                             const SimplifySettings& settings, const Projection& projection)
    : tree_(tree),
      records_(records),
      removed_(removed),
      rules_(settings, projection),
      crowds_(rules_, records, removed) {}

std::int32_t PartnerSearch::PartnerOf(std::int32_t index) {
    query_ = &records_[static_cast<std::size_t>(index)];
    query_index_ = index;
    best_ = rules_.Limit();
    // The data are stored in the order of arrival, so records that are neighbours here have theirs
    // far apart: without a prefetch, a merge would wait for both rows.
    __builtin_prefetch(query_->data);
    partner_ = kNobody;
    if (std::isnan(best_)) return kNobody;
    SearchNode(tree_.Nodes().front());
    return partner_;
}

void PartnerSearch::ContinueInLeaf(SimplifyNode& leaf, std::int32_t index, float* best,
                                   std::int32_t* partner) {
    query_ = &records_[static_cast<std::size_t>(index)];
    query_index_ = index;
    best_ = *best;
    partner_ = *partner;
    SearchLeaf(leaf);
    *best = best_;
    *partner = partner_;
}

/// Recurses once a level. Every split halves the extent on some axis, which single precision
/// allows a few hundred times, so the depth is bounded for any points.
void PartnerSearch::SearchNode(SimplifyNode& node) {
    if (query_index_ >= node.first + node.count) return;
    if (node.child_count == 0) {
        SearchLeaf(node);
        return;
    }
    for (std::uint32_t i = node.children; i < node.children + node.child_count; ++i) {
        SimplifyNode& child = tree_.Nodes()[i];
        if (!child.is_empty && rules_.SquaredDistance(*query_, child) < best_) SearchNode(child);
    }
}

void PartnerSearch::SearchLeaf(SimplifyNode& leaf) {
    if (leaf.count <= Crowds::kLargestLeaf) {
        WalkLeaf(leaf);
        return;
    }
    const float best = best_;
    const std::int32_t partner = partner_;
    try {
        SearchCrowd(leaf);
    } catch (const std::bad_alloc&) {
        // A walk gives the same answer, only slower.
        crowds_.StartPass();
        best_ = best;
        partner_ = partner;
        WalkLeaf(leaf);
    }
}

void PartnerSearch::WalkLeaf(SimplifyNode& leaf) {
    const std::int32_t begin = std::max(query_index_ + 1, leaf.first);
    const std::int32_t end = leaf.first + leaf.count;
    bool saw_record = false;
    for (std::int32_t i = begin; i < end; ++i) {
        if (removed_[static_cast<std::size_t>(i)]) continue;
        saw_record = true;
        const PointRecord& other = records_[static_cast<std::size_t>(i)];
        const float squared_distance = rules_.SquaredDistance(*query_, other);
        if (squared_distance <= PairRules::Nearer(best_) && rules_.IsAlike(*query_, other))
            Take(i, squared_distance);
    }
    if (begin == leaf.first && end == leaf.first + leaf.count) leaf.is_empty = !saw_record;
}

/// Takes the same records as a walk over the leaf, one after the other, each with one search for
/// the first record within the reach. Each search may begin at the start of the leaf: its reach is
/// smaller, so a record before the last one taken would have been found by the search before.
void PartnerSearch::SearchCrowd(const SimplifyNode& leaf) {
    if (!rules_.CanMerge(*query_)) return;
    const std::uint32_t crowd = crowds_.Of(leaf, query_index_);
    const auto take = [&](float reach, Crowds::End end) {
        const std::int32_t found = crowds_.Find(crowd, {query_index_, reach, end});
        if (found == kNobody) return false;
        Take(found, rules_.SquaredDistance(*query_, records_[static_cast<std::size_t>(found)]));
        return true;
    };
    // A walk takes every record at distance 0, so it ends with the last of them.
    if (take(0, Crowds::End::kLast) || !take(PairRules::Nearer(best_), Crowds::End::kFirst)) return;
    // nextafter() makes each reach smaller than the one before, so that the loop ends.
    while (take(std::min(PairRules::Nearer(best_), std::nextafter(best_, 0.0f)),
                Crowds::End::kFirst)) {
    }
    // At infinity and at the smallest numbers, the share of a distance equals the distance. There
    // a walk takes every record at the same distance, so it ends with the last of them, too.
    if (best_ <= PairRules::Nearer(best_)) (void)take(best_, Crowds::End::kLast);
}

void PartnerSearch::Take(std::int32_t index, float squared_distance) {
    best_ = squared_distance;
    partner_ = index;
    __builtin_prefetch(records_[static_cast<std::size_t>(index)].data);
}
