// Makes a lookup: its files and their octrees, its variables.

#include "ptc/lookup/lookup_state.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <span>

#include "ptc/cloud/cloud_messages.h"
#include "ptc/lookup/nearest_search.h"
#include "util/host/config.h"

namespace {

constexpr int kDefaultKilobytes = 1 << 20;

/// Finds the octree in the file itself. False: the failure is stored.
bool UseOwnTree(PtcThreadCache& cache, LookedUpFile* use, PtcNode* root) {
    const PtcNode* const record = RootRecord(&cache, use->file);
    if (!record) return false;
    *root = *record;
    root->data = nullptr;  // it is valid only now
    use->root_reference = use->file->Header()->root_position;
    use->nodes = use->file->Header()->node_count;
    return true;
}

/// Finds or makes the octree in memory. False: the failure is stored, and reported.
bool UseTreeInMemory(PtcThreadCache& cache, LookedUpFile* use, PtcNode* root) {
    using Problem = TreeInMemory::Problem;
    const std::int64_t kilobytes = ConfigGetCount("/lumrd/pointcloudmemory", kDefaultKilobytes);
    auto problem = Problem::kNone;
    use->in_memory = std::static_pointer_cast<const TreeInMemory>(use->file->Companion(
        [&] { return TreeInMemory::Make(*use->file, cache, kilobytes * 1024, &problem); }));
    const char* const name = use->file->Name();
    // Reported only now, because the file's companion is made under a lock; the failure is stored
    // behind the message, because whoever handles that may fail with something else.
    if (problem == Problem::kTooLarge) {
        cloud_messages::TooLargeForMemory(name, static_cast<long>(kilobytes));
        SetFailure(PtcFailureCode::kNoMemory, name,
                   "has no octree, and is too large for one in memory", 0,
                   "organize it with 'ptc organize'");
    } else if (problem == Problem::kUnreadable) {
        cloud_messages::PointsAreUnreadable(name);
        SetFailure(PtcFailureCode::kUnreadable, name, "its points cannot be read");
    }
    if (!use->in_memory) return false;
    *root = use->in_memory->Root();
    use->nodes = use->in_memory->NodeCount();
    return true;
}

/// Fills `use` and `root` with what a lookup needs of `file`. False: the failure is stored.
bool Use(PtcManagedFile* file, LookedUpFile* use, PtcNode* root) {
    PtcThreadCache* const cache = ThisThreadCache();
    if (!cache) {
        SetFailure(PtcFailureCode::kNoMemory, nullptr, "memory ran out");
        return false;
    }
    if (!file || file->HasOutlivedManager() || !file->IsReading()) {
        SetNoRecord(file, "");
        return false;
    }
    use->file = file;
    use->identity = file->Identity();
    use->points = file->PointCount();
    try {
        // A text file has no places that can be read without those before them.
        const bool has_tree = file->Header()->node_count > 0 && !file->IsText();
        return has_tree ? UseOwnTree(*cache, use, root) : UseTreeInMemory(*cache, use, root);
    } catch (const std::bad_alloc&) {
        SetFailure(PtcFailureCode::kNoMemory, file->Name(), "memory ran out");
        return false;
    }
}

}  // namespace

void PtcLookup::State::AddFiles(const PtcLookupClouds& clouds) {
    const int count = std::clamp(clouds.file_count, 0, kPtcMostLookupFiles);
    if (clouds.file_count > kPtcMostLookupFiles) {
        is_whole = false;
        cloud_messages::TooManyClouds();
        SetFailure(PtcFailureCode::kBadArgument, nullptr, "more than 100 files in one lookup");
    }
    files.resize(static_cast<std::size_t>(count));
    roots.resize((files.size() + 3) / 4 * 4);
    for (std::size_t i = 0; i < files.size(); ++i) {
        LookedUpFile& use = files[i];
        if (::Use(clouds.files[i], &use, &roots[i])) continue;
        use.file = nullptr;
        is_whole = false;
    }
    life = life_of_caches.load(std::memory_order_relaxed);
    static constinit std::atomic<std::uint64_t> lookups{0};
    number = lookups.fetch_add(1, std::memory_order_relaxed) + 1;
}

bool PtcLookup::State::FindVariables(const PtcLookupClouds& clouds) {
    const auto count = static_cast<std::size_t>(std::max(clouds.variable_count, 0));
    variables.resize(count);
    const std::span names(clouds.variables, count);
    std::vector<std::int32_t> sizes(count);
    for (LookedUpFile& use : files) {
        if (!use.file) continue;
        use.offsets.assign(count, -1);
        ::FindVariables(use.file->Header()->point_variables, names, use.offsets.data(),
                        sizes.data());
        for (std::size_t i = 0; i < count; ++i) {
            if (use.offsets[i] < 0) continue;
            if (variables[i].size == 0) variables[i].size = sizes[i];
            if (variables[i].size != sizes[i]) use.offsets[i] = -1;
        }
    }
    for (WantedVariable& variable : variables) {
        variable.offset = floats;
        if (variable.size > std::numeric_limits<std::int32_t>::max() - floats) return false;
        floats += variable.size;
    }
    return true;
}

/// The record of a point that a search has found. Null: it cannot be read again.
const PtcPoint* PtcLookup::State::Record(PtcThreadCache* cache, const Candidate& candidate) const {
    const LookedUpFile& use = files[static_cast<std::size_t>(candidate.file)];
    return use.in_memory ? use.in_memory->Point(candidate.place)
                         : PointRecordOf(cache, *use.file, candidate.index);
}

void PtcLookup::State::StoreData(const LookedUpFile& file, const PtcPoint& point,
                                 float* data) const {
    for (std::size_t i = 0; i < variables.size(); ++i) {
        float* const to = data + variables[i].offset;
        if (file.offsets[i] < 0) {
            std::fill_n(to, variables[i].size, 0.0f);
        } else {
            std::copy_n(point.data + file.offsets[i], variables[i].size, to);
        }
    }
}

/// Stores what the points' records have. Answers the points without those that cannot be read
/// again.
std::span<Candidate> PtcLookup::State::StoreRecords(LookupThread& thread,
                                                    std::span<Candidate> nearest,
                                                    const PtcNearestArrays& arrays) const {
    std::size_t kept = 0;
    for (const Candidate candidate : nearest) {
        const PtcPoint* const point = Record(&thread.cache, candidate);
        if (!point) continue;
        const auto at = static_cast<std::int64_t>(kept);
        nearest[kept++] = candidate;
        if (arrays.positions) std::copy_n(point->position, 3, arrays.positions + 3 * at);
        if (arrays.normals) std::copy_n(point->normal, 3, arrays.normals + 3 * at);
        if (arrays.radii) arrays.radii[at] = point->radius;
        if (arrays.data)
            StoreData(files[static_cast<std::size_t>(candidate.file)], *point,
                      arrays.data + at * floats);
    }
    return nearest.first(kept);
}

/// The nearest points, the nearest first; valid until the thread's next search.
std::span<Candidate> PtcLookup::State::Search(LookupThread& thread, const PtcPlace& place,
                                              const PtcNearest& wanted) const {
    LookupScratch& scratch = thread.Scratch();
    const auto run = [&](float limit) {
        NearestSearch search(place, wanted, limit, scratch.candidates);
        scratch.search.Run(*this, &thread.cache, place.position, search);
        return scratch.candidates.Sorted();
    };
    const float within = wanted.within * wanted.within;
    // Points that the normals leave out would have to be left out of the hint.
    if (place.normal && wanted.least_dot > -1) return run(within);
    const float hint = scratch.hint.For(number, wanted.most, place.position);
    std::span<Candidate> nearest = run(std::min(within, hint));
    // Fewer than were there for the other place: part of a file could not be read meanwhile.
    if (std::ssize(nearest) < wanted.most && hint < within) nearest = run(within);
    if (std::ssize(nearest) == wanted.most)
        scratch.hint.Found(number, wanted.most, place.position, nearest.back().squared_distance);
    return nearest;
}

bool PtcLookup::State::Nearest(LookupThread& thread, const PtcPlace& place,
                               const PtcNearest& wanted, const PtcNearestArrays& arrays,
                               std::int32_t* found) const {
    *found = 0;
    if (!IsFinite(place.position)) return true;
    std::span<Candidate> nearest = Search(thread, place, wanted);
    bool all_read = thread.Scratch().search.AllRead();
    if (arrays.positions || arrays.normals || arrays.radii || (arrays.data && floats > 0)) {
        const std::size_t searched = nearest.size();
        nearest = StoreRecords(thread, nearest, arrays);
        all_read &= nearest.size() == searched;
    }
    const std::size_t count = nearest.size();
    if (arrays.files)
        for (std::size_t i = 0; i < count; ++i) arrays.files[i] = nearest[i].file;
    if (arrays.indexes)
        for (std::size_t i = 0; i < count; ++i) arrays.indexes[i] = nearest[i].index;
    if (arrays.squared_distances)
        for (std::size_t i = 0; i < count; ++i)
            arrays.squared_distances[i] = nearest[i].squared_distance;
    *found = static_cast<std::int32_t>(count);
    return all_read;
}

bool PtcLookup::State::Sample(LookupThread& thread, const PtcPlace& place, const PtcFilter& filter,
                              float* values, float* weights) const {
    if (!IsFinite(place.position)) return true;
    LookupScratch& scratch = thread.Scratch();
    FilterSums& sums = scratch.sums;
    sums.Clear(static_cast<std::size_t>(floats), variables.size());
    FilterSearch search(place, filter, files, variables, sums);
    scratch.search.Run(*this, &thread.cache, place.position, search);
    for (std::size_t i = 0; i < variables.size(); ++i) {
        const double weight = sums.weights[i];
        weights[i] = static_cast<float>(weight);
        if (weight == 0) continue;
        const auto begin = static_cast<std::size_t>(variables[i].offset);
        const auto end = begin + static_cast<std::size_t>(variables[i].size);
        for (std::size_t k = begin; k < end; ++k)
            values[k] = static_cast<float>(sums.values[k] / weight);
    }
    return scratch.search.AllRead();
}
