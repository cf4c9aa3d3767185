// Passes in groups: each reads the groups of its records and writes those of the next pass.

#include "driver/group_passes.h"

#include <algorithm>
#include <bit>

namespace {

constexpr float kFarthest = std::numeric_limits<float>::infinity();

/// Around the records of a crowd that can be near others.
struct CrowdBox {
    LiveGroups::Box box = {{kFarthest, kFarthest, kFarthest}, {-kFarthest, -kFarthest, -kFarthest}};
    bool is_empty = true;

    void Include(const float* position) {
        for (int axis = 0; axis < 3; ++axis) {
            box.low[axis] = std::min(box.low[axis], position[axis]);
            box.high[axis] = std::max(box.high[axis], position[axis]);
        }
        is_empty = false;
    }
};

}  // namespace

void GroupPasses::StartBuilt(std::span<PointRecord> records) {
    records_ = records;
    is_one_leaf_ = tree_.Nodes().front().child_count == 0;
    if (is_one_leaf_) {
        tree_passes_.StartBuilt(records);
        return;
    }
    const auto crowds = tree_.LeavesAbove(Crowds::kLargestLeaf);
    groups_.Reset(records.size(), crowds.size());
    std::size_t i = 0;
    const auto append_until = [&](std::size_t end) {
        for (; i < end; ++i)
            groups_.Append(static_cast<std::int32_t>(i), records[i].head.position, true);
    };
    for (const SimplifyNode* const crowd : crowds) {
        append_until(static_cast<std::size_t>(crowd->first));
        CrowdBox box;
        for (const auto end = i + static_cast<std::size_t>(crowd->count); i < end; ++i)
            if (groups_.Accepts(records[i].head.position)) box.Include(records[i].head.position);
        if (!box.is_empty) groups_.AppendCrowd(crowd->first, box.box);
    }
    append_until(records.size());
    groups_.Finish();
}

void GroupPasses::StartKept() {
    // The tree itself is searched only beside distances of a few smallest numbers.
    if (!is_one_leaf_ && groups_.HasSmallCoordinates()) tree_.Refit(records_, removed_);
}

std::int32_t GroupPasses::Run() {
    if (is_one_leaf_) return tree_passes_.Run();
    std::int32_t merged = 0;
    tree_search_.StartPass();
    search_->StartPass(records_);
    for (std::uint32_t group = 0; group < groups_.Count(); ++group) {
        search_->StartGroup(group);
        merged += groups_.IsCrowd(group) ? RunCrowd(tree_.LeafOf(groups_.At(group).record[0]))
                                         : RunGroup(group);
    }
    groups_.Finish();
    merger_.Finish();
    return merged;
}

std::int32_t GroupPasses::RunGroup(std::uint32_t group) {
    // Between the records of groups are those that were merged away, so the processor does not see
    // by itself what comes next. Not a function of its own: compilers leave out calls of functions
    // that only fetch.
    const std::uint32_t ahead = std::min(group + kGroupsAhead, groups_.Count() - 1);
    for (const std::int32_t index : groups_.At(ahead).record) {
        // False for a lane without a record, and for those of a crowd.
        if (static_cast<std::size_t>(index) >= records_.size()) continue;
        const PointRecord& record = records_[static_cast<std::size_t>(index)];
        __builtin_prefetch(&record, 1);
        __builtin_prefetch(&record.data, 1);
    }

    std::int32_t merged = 0;
    const unsigned changed = groups_.ChangedLanes(group);
    const LiveGroups::Group& at = groups_.At(group);
    unsigned after = LiveGroups::kAllLanes;
    while (const unsigned live = groups_.LiveLanes(group) & after) {
        const auto lane = static_cast<std::uint32_t>(std::countr_zero(live));
        after = LiveGroups::LanesAfter(lane);
        const float position[] = {at.position[0][lane], at.position[1][lane], at.position[2][lane]};
        const std::int32_t record = at.record[lane];
        const std::int32_t partner = search_->PartnerOf(lane, changed >> lane & 1U);
        if (partner == GroupSearch::kNobody) {
            groups_.Append(record, position, false);
            continue;
        }
        Merge(record, partner);
        groups_.Append(record, records_[static_cast<std::size_t>(record)].head.position, true);
        ++merged;
    }
    return merged;
}

std::int32_t GroupPasses::RunCrowd(const SimplifyNode& leaf) {
    std::int32_t merged = 0;
    CrowdBox box;
    for (std::int32_t i = leaf.first; i < leaf.first + leaf.count; ++i) {
        if (removed_[static_cast<std::size_t>(i)]) continue;
        const std::int32_t partner = search_->PartnerInCrowd(i);
        if (partner != GroupSearch::kNobody) {
            Merge(i, partner);
            ++merged;
        }
        const auto& position = records_[static_cast<std::size_t>(i)].head.position;
        if (groups_.Accepts(position)) box.Include(position);
    }
    if (!box.is_empty) groups_.AppendCrowd(leaf.first, box.box);
    return merged;
}

void GroupPasses::Merge(std::int32_t into, std::int32_t from) {
    merger_.Merge(records_[static_cast<std::size_t>(into)],
                  records_[static_cast<std::size_t>(from)]);
    removed_[static_cast<std::size_t>(from)] = 1;
}
