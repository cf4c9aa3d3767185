// Passes of the simplifier that search through the tree.
//
// Ownership  borrows tree, search, records, removed flags and merger.
// Threads    one caller at a time.

#pragma once

#include <cstdint>
#include <span>

#include "driver/merge.h"
#include "driver/octree.h"
#include "driver/partner_search.h"

class TreePasses {
public:
    TreePasses(Octree& tree, PartnerSearch& search, std::span<std::uint8_t> removed, Merger& merger)
        : tree_(tree), search_(search), removed_(removed), merger_(merger) {}

    /// Starts over with records in a new tree; none of them is removed.
    void StartBuilt(std::span<PointRecord> records) { records_ = records; }

    /// Goes on with what the pass before left.
    void StartKept() { tree_.Refit(records_, removed_); }

    /// One pass over the records. Answers how many of them were merged away.
    std::int32_t Run();

private:
    Octree& tree_;
    PartnerSearch& search_;
    std::span<PointRecord> records_;
    std::span<std::uint8_t> removed_;
    Merger& merger_;
};
