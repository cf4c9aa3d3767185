// Passes of the simplifier that search in groups of live records.
//
// Ownership  borrows tree, search, records, removed flags and merger; owns the groups.
// Errors     std::bad_alloc when there is no memory.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "driver/group_search.h"
#include "driver/live_groups.h"
#include "driver/merge.h"
#include "driver/octree.h"
#include "driver/partner_search.h"
#include "driver/tree_passes.h"

class GroupPasses {
public:
    GroupPasses(Octree& tree, PartnerSearch& search, std::span<std::uint8_t> removed,
                Merger& merger, bool may_compute_wide)
        : tree_(tree),
          tree_search_(search),
          removed_(removed),
          merger_(merger),
          tree_passes_(tree, search, removed, merger),
          search_(GroupSearch::Make({groups_, tree, search}, may_compute_wide)) {}
    GroupPasses(const GroupPasses&) = delete;

    /// Starts over with records in a new tree; none of them is removed.
    void StartBuilt(std::span<PointRecord> records);

    /// Goes on with what the pass before left.
    void StartKept();

    /// One pass over the records. Answers how many of them were merged away.
    std::int32_t Run();

private:
    /// The records of a group are fetched so many groups before they are searched: those of a
    /// million points are not in the cache, nor are partners that are some leaves further on. A
    /// simplification of a million takes 0.8 of the time.
    static constexpr std::uint32_t kGroupsAhead = 64;

    std::int32_t RunGroup(std::uint32_t group);
    std::int32_t RunCrowd(const SimplifyNode& leaf);
    void Merge(std::int32_t into, std::int32_t from);

    Octree& tree_;
    PartnerSearch& tree_search_;
    std::span<PointRecord> records_;
    std::span<std::uint8_t> removed_;
    Merger& merger_;
    TreePasses tree_passes_;
    bool is_one_leaf_ = false;  // such a tree is walked through: groups would only be in the way
    LiveGroups groups_;
    std::unique_ptr<GroupSearch> search_;
};
