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

    const PairRules& Rules() const { return rules_; }

    /// Caller: calls this before each pass over the records.
    void StartPass() { crowds_.StartPass(); }

    /// The partner of record `index`, or kNobody.
    /// Caller: calls this in index order, and removes the partner.
    std::int32_t PartnerOf(std::int32_t index);

    /// Searches one leaf, after what was searched before had `*best` and `*partner` as its result.
    void ContinueInLeaf(SimplifyNode& leaf, std::int32_t index, float* best, std::int32_t* partner);

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
    float best_ = 0;
    std::int32_t partner_ = kNobody;
};
