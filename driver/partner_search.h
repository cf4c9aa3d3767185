// The partner search: the nearest later record that may merge with a given one.
//
// Units      squared distances, in world units or in pixels.
// Ownership  borrows tree, records, flags and settings.
// Threads    one caller at a time: a search marks the leaves that it finds empty.

#pragma once

#include <cmath>
#include <cstdint>
#include <span>

#include "driver/crowds.h"
#include "driver/pair_rules.h"

class PartnerSearch {
public:
    static constexpr std::int32_t kNobody = -1;

    PartnerSearch(Octree& tree, std::span<const PointRecord> records,
                  std::span<const std::uint8_t> removed, const SimplifySettings& settings,
                  const Projection& projection);
    PartnerSearch(const PartnerSearch&) = delete;  // the crowds borrow the rules

    /// Whether the tree's boxes must enclose the records' spheres. For distances in world units,
    /// boxes around the positions suffice: smaller boxes make the search faster and do not change
    /// its result. But distances in pixels do not grow with the distance to a box, and an infinite
    /// distance can be within an infinite limit; there the result depends on the boxes.
    bool NeedsSpheres() const { return rules_.IsRasterSpace() || std::isinf(rules_.Limit()); }

    /// Caller: calls this before each pass over the records.
    void StartPass() { crowds_.StartPass(); }

    /// The partner of record `index`, or kNobody. `record_count`: the number of records in the
    /// tree. Caller: calls this in index order, and removes the partner.
    std::int32_t PartnerOf(std::int32_t index, std::int32_t record_count);

private:
    void SearchNode(SimplifyNode& node);
    void SearchLeaf(SimplifyNode& leaf);
    void WalkLeaf(SimplifyNode& leaf);
    void SearchCrowd(const SimplifyNode& leaf);
    void Take(std::int32_t index, float squared_distance);

    Octree& tree_;
    std::span<const PointRecord> records_;
    std::span<const std::uint8_t> removed_;
    PairRules rules_;
    Crowds crowds_;

    // Of one search.
    const PointRecord* query_ = nullptr;
    std::int32_t query_index_ = 0;
    std::int32_t record_count_ = 0;
    float best_ = 0;
    std::int32_t partner_ = kNobody;
};
