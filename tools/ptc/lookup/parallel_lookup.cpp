// ParallelLookup: pieces of a batch, and runs of places with and without normals.

#include "tools/ptc/lookup/parallel_lookup.h"

#include <algorithm>
#include <mutex>

#include "tools/common/parallel.h"

namespace {

/// Places that a thread takes at a time: many, because the library answers near ones one after the
/// other; and a few pieces for each thread, so that all of them end together.
std::int64_t PieceOf(std::int64_t places, int threads) {
    constexpr std::int64_t kLeast = 512;
    return std::max(kLeast, places / (4 * threads));
}

/// Room for `floats` items a place.
template <class Item>
Item* Room(const PlaceBatch& places, std::int64_t items, std::vector<Item>* answers) {
    answers->resize(static_cast<std::size_t>(places.Count() * items));
    return answers->data();
}

}  // namespace

std::string ParallelLookup::ForEachRun(const PlaceBatch& places, const LookUpRun& look_up) const {
    std::mutex failure_lock;  // guards failure
    std::string failure;
    const std::int64_t piece = PieceOf(places.Count(), threads_);
    const auto take = [&](std::size_t index) {
        std::int64_t first = static_cast<std::int64_t>(index) * piece;
        const std::int64_t end = std::min(first + piece, places.Count());
        while (first < end) {
            const bool has_normal = places.Normal(first) != nullptr;
            std::int64_t next = first + 1;
            while (next < end && (places.Normal(next) != nullptr) == has_normal) ++next;
            if (!look_up(first, {next - first, places.Position(first), places.Normal(first)})) {
                const std::lock_guard hold(failure_lock);
                if (failure.empty()) failure = clouds_.FailureText();
            }
            first = next;
        }
    };
    const std::int64_t pieces = (places.Count() + piece - 1) / piece;
    ParallelFor(static_cast<std::size_t>(pieces),
                static_cast<int>(std::min<std::int64_t>(threads_, pieces)), take);
    return failure;
}

std::string ParallelLookup::Nearest(const PlaceBatch& places, const PtcNearest& wanted,
                                    NearestAnswers* answers) const {
    const std::int64_t most = wanted.most;
    const std::int64_t floats = lookup_.FloatsPerPoint();
    const PtcNearestArrays all = {Room(places, most, &answers->files),
                                  Room(places, most, &answers->indexes),
                                  Room(places, most, &answers->squared_distances),
                                  Room(places, most * 3, &answers->positions),
                                  Room(places, most * 3, &answers->normals),
                                  Room(places, most, &answers->radii),
                                  Room(places, most * floats, &answers->data)};
    // Of a call that is refused nothing is stored.
    answers->found.assign(static_cast<std::size_t>(places.Count()), 0);
    return ForEachRun(places, [&](std::int64_t first, const PtcPlaces& run) {
        const std::int64_t point = first * most;
        return lookup_.NearestOfMany(
            run, wanted,
            {all.files + point, all.indexes + point, all.squared_distances + point,
             all.positions + 3 * point, all.normals + 3 * point, all.radii + point,
             all.data + floats * point},
            &answers->found[static_cast<std::size_t>(first)]);
    });
}

std::string ParallelLookup::Sample(const PlaceBatch& places, const PtcFilter& filter,
                                   SampleAnswers* answers) const {
    const std::int64_t floats = lookup_.FloatsPerPoint();
    const std::int64_t variables = lookup_.VariableCount();
    float* const values = Room(places, floats, &answers->values);
    float* const weights = Room(places, variables, &answers->weights);
    std::fill(answers->values.begin(), answers->values.end(), 0.0f);
    std::fill(answers->weights.begin(), answers->weights.end(), 0.0f);
    return ForEachRun(places, [&](std::int64_t first, const PtcPlaces& run) {
        return lookup_.SampleMany(run, filter, values + floats * first,
                                  weights + variables * first);
    });
}
