// Passes through the tree: a search for every record.

#include "driver/tree_passes.h"

std::int32_t TreePasses::Run() {
    std::int32_t merged = 0;
    search_.StartPass();
    const auto count = static_cast<std::int32_t>(records_.size());
    for (std::int32_t i = 0; i < count; ++i) {
        if (removed_[static_cast<std::size_t>(i)]) continue;
        const std::int32_t partner = search_.PartnerOf(i);
        if (partner == PartnerSearch::kNobody) continue;
        merger_.Merge(records_[static_cast<std::size_t>(i)],
                      records_[static_cast<std::size_t>(partner)]);
        removed_[static_cast<std::size_t>(partner)] = 1;
        ++merged;
    }
    merger_.Finish();
    return merged;
}
