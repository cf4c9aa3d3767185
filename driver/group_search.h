// The partner search over groups of live records, for distances in world units.
//
// It finds the same partner as a search through the tree, because a box decides nothing there: what
// is in it is at least as far away as the box, rounding included. Where that is not so, the answer
// comes from the tree: an infinite limit, a limit or a distance of a few smallest numbers (whose
// share is the number itself), and a partner at distance 0, which only a record of the same leaf
// replaces.
//
// Two records that were not changed by the pass before need no second look: the earlier one was a
// query then and did not take the later one, and nothing that decides about them has changed since.
//
// Units      squared distances, in world units.
// Ownership  borrows tree, groups, records, rules and the search through the tree.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "driver/live_groups.h"
#include "driver/partner_search.h"

class GroupSearch {
public:
    static constexpr std::int32_t kNobody = PartnerSearch::kNobody;

    /// Whether the settings allow to search in groups.
    static bool IsPossible(const PairRules& rules);

    /// What a search borrows.
    struct Parts {
        LiveGroups& groups;
        Octree& tree;
        PartnerSearch& tree_search;
    };

    /// The search for this processor. Both kinds answer the same; with eight floats in a register,
    /// a simplification takes 0.8 of the time.
    static std::unique_ptr<GroupSearch> Make(const Parts& parts, bool may_compute_wide);

    GroupSearch() = default;
    GroupSearch(const GroupSearch&) = delete;
    virtual ~GroupSearch() = default;

    /// Caller: calls this before each pass.
    virtual void StartPass(std::span<const PointRecord> records) = 0;

    /// Caller: calls this before the searches of a group's records.
    virtual void StartGroup(std::uint32_t group) = 0;

    /// The partner of the record in a lane of the group, or kNobody; takes it out of the groups.
    /// `is_changed`: whether the pass before changed the record.
    virtual std::int32_t PartnerOf(std::uint32_t lane, bool is_changed) = 0;

    /// The same for a record of the group that is a crowd.
    virtual std::int32_t PartnerInCrowd(std::int32_t record) = 0;
};
