// The simplifier: passes, merging, compaction.

#include "driver/simplify.h"

#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

#include "driver/group_passes.h"
#include "driver/merge.h"
#include "driver/octree.h"
#include "driver/partner_search.h"
#include "driver/tree_passes.h"

namespace {

/// If fewer than this share of the tree's records are live, the tree is rebuilt, not refitted.
constexpr float kRebuildShare = 0.2f;

/// Moves the live records to the front by swapping from both ends.
void Compact(std::span<PointRecord> records, std::span<std::uint8_t> removed) {
    std::size_t low = 0;
    std::size_t high = records.size();  // one after the record that is examined
    for (;;) {
        while (low < records.size() && !removed[low]) ++low;
        while (high > 0 && removed[high - 1]) --high;
        if (low >= high) return;
        std::swap(records[low], records[high - 1]);
        removed[low] = 0;
        removed[high - 1] = 1;
    }
}

template <class Passes>
void RunPasses(Passes& passes, Octree& tree, std::span<PointRecord> records,
               std::span<std::uint8_t> removed) {
    auto remaining = static_cast<std::int32_t>(records.size());
    auto in_tree = records;
    tree.Build(in_tree);
    passes.StartBuilt(in_tree);
    for (;;) {
        const std::int32_t merged = passes.Run();
        remaining -= merged;
        if (merged < 1) return;
        if (static_cast<float>(in_tree.size()) * kRebuildShare > static_cast<float>(remaining)) {
            Compact(in_tree, removed.first(in_tree.size()));
            in_tree = records.first(static_cast<std::size_t>(remaining));
            tree.Build(in_tree);
            passes.StartBuilt(in_tree);
        } else {
            passes.StartKept();
        }
    }
}

void SimplifyWith(const SimplifyMeans& means, std::span<PointRecord> records,
                  std::span<std::uint8_t> removed, const SimplifySettings& settings,
                  const Projection& projection) {
    Octree tree(means.max_nodes);
    PartnerSearch search(tree, records, removed, settings, projection);
    Merger merger(settings.area_flags);
    if (GroupSearch::IsPossible(search.Rules())) {
        GroupPasses passes(tree, search, removed, merger, means.may_compute_wide);
        RunPasses(passes, tree, records, removed);
    } else {
        TreePasses passes(tree, search, removed, merger);
        RunPasses(passes, tree, records, removed);
    }
}

}  // namespace

void Simplify(std::span<PointRecord> records, std::span<std::uint8_t> removed,
              const SimplifySettings& settings, const Projection& projection,
              const SimplifyMeans& means) {
    if (records.empty()) return;
    try {
        SimplifyWith(means, records, removed, settings, projection);
    } catch (const std::bad_alloc&) {
        std::fputs("ptsieve simplify ERROR: too many octree nodes to fit in memory. Aborting.\n",
                   stderr);
        std::exit(1);
    }
}
