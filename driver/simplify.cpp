// The simplifier: passes, merging, compaction.

#include "driver/simplify.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <utility>

#include "driver/partner_search.h"

namespace {

/// If fewer than this share of the tree's records are live, the tree is rebuilt, not refitted.
constexpr float kRebuildShare = 0.2f;

/// Merges `from` into `into`: positions, normals and values are weighted by the radii, areas are
/// added. The radius grows so that the merged disc has the area of both.
void Merge(PointRecord& into, const PointRecord& from, std::span<const std::uint8_t> area_flags) {
    const float into_radius = into.head.radius;
    const float from_radius = from.head.radius;
    const float w = into_radius / (into_radius + from_radius);
    const float v = from_radius / (into_radius + from_radius);

    float* const normal = into.head.normal;
    for (int axis = 0; axis < 3; ++axis) {
        into.head.position[axis] = into.head.position[axis] * w + from.head.position[axis] * v;
        normal[axis] = normal[axis] * w + from.head.normal[axis] * v;
    }
    // Opposite normals may cancel. The normal is NaN then, and the record never merges again.
    const float length =
        std::sqrt(normal[0] * normal[0] + normal[1] * normal[1] + normal[2] * normal[2]);
    for (int axis = 0; axis < 3; ++axis) normal[axis] /= length;
    into.head.radius = std::sqrt(into_radius * into_radius + from_radius * from_radius);

    for (std::size_t k = 0; k < area_flags.size(); ++k)
        into.data[k] =
            area_flags[k] ? into.data[k] + from.data[k] : into.data[k] * w + from.data[k] * v;
}

/// One pass over `records`. Answers how many of them were merged away.
std::int32_t MergePass(PartnerSearch& search, std::span<PointRecord> records,
                       std::span<std::uint8_t> removed, const SimplifySettings& settings) {
    std::int32_t merged = 0;
    search.StartPass();
    const auto count = static_cast<std::int32_t>(records.size());
    for (std::int32_t i = 0; i < count; ++i) {
        if (removed[static_cast<std::size_t>(i)]) continue;
        const std::int32_t partner = search.PartnerOf(i, count);
        if (partner == PartnerSearch::kNobody) continue;
        Merge(records[static_cast<std::size_t>(i)], records[static_cast<std::size_t>(partner)],
              settings.area_flags);
        removed[static_cast<std::size_t>(partner)] = 1;
        ++merged;
    }
    return merged;
}

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

void SimplifyWith(Octree& tree, std::span<PointRecord> records, std::span<std::uint8_t> removed,
                  const SimplifySettings& settings, const Projection& projection) {
    PartnerSearch search(tree, records, removed, settings, projection);
    auto remaining = static_cast<std::int32_t>(records.size());
    auto in_tree = records;
    const auto build = [&] {
        tree.Build(in_tree);
        if (!search.NeedsSpheres()) tree.Refit(in_tree, removed);
    };
    build();
    for (;;) {
        const std::int32_t merged = MergePass(search, in_tree, removed, settings);
        remaining -= merged;
        if (merged < 1) return;
        if (static_cast<float>(in_tree.size()) * kRebuildShare > static_cast<float>(remaining)) {
            Compact(in_tree, removed.first(in_tree.size()));
            in_tree = records.first(static_cast<std::size_t>(remaining));
            build();
        } else {
            tree.Refit(in_tree, removed);
        }
    }
}

}  // namespace

void Simplify(std::span<PointRecord> records, std::span<std::uint8_t> removed,
              const SimplifySettings& settings, const Projection& projection, Octree tree) {
    if (records.empty()) return;
    try {
        SimplifyWith(tree, records, removed, settings, projection);
    } catch (const std::bad_alloc&) {
        std::fputs("ptsieve simplify ERROR: too many octree nodes to fit in memory. Aborting.\n",
                   stderr);
        std::exit(1);
    }
}
