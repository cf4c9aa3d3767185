// The partner search: the nearest later record that may merge with a given one.
//
// Units      squared distances, in world units or in pixels.
// Ownership  borrows tree, records, flags and settings.
// Threads    one caller at a time: a search marks the leaves that it finds empty.

#pragma once

#include <cstdint>
#include <span>

#include "driver/simplify.h"

class PartnerSearch {
public:
    static constexpr std::int32_t kNobody = -1;

    PartnerSearch(Octree& tree, std::span<const PointRecord> records,
                  std::span<const std::uint8_t> removed, const SimplifySettings& settings,
                  const Projection& projection);

    /// The partner of record `index`, or kNobody. `record_count`: the records of the tree.
    std::int32_t PartnerOf(std::int32_t index, std::int32_t record_count);

private:
    void SearchNode(SimplifyNode& node);
    void SearchLeaf(SimplifyNode& leaf);
    /// The same for a leaf whose records are all at one place, `squared_distance` away.
    bool SearchOnePlace(std::int32_t begin, std::int32_t end, float squared_distance);
    bool IsOnePlace(const SimplifyNode& leaf) const;
    void Take(std::int32_t index, float squared_distance);
    float SquaredDistance(const PointRecord& other) const;
    float SquaredDistance(const SimplifyNode& node) const;
    bool IsAlike(const PointRecord& other) const;
    float InPixels(float squared_distance, float depth) const;

    Octree& tree_;
    std::span<const PointRecord> records_;
    std::span<const std::uint8_t> removed_;
    const SimplifySettings& settings_;
    const Projection& projection_;
    float limit_;
    bool compares_data_;

    // Of one search.
    const PointRecord* query_ = nullptr;
    std::int32_t query_index_ = 0;
    std::int32_t record_count_ = 0;
    float best_ = 0;
    std::int32_t partner_ = kNobody;
};
