// The public functions of lookups: arguments, timers, answers.

#include "ptc/lookup.h"

#include <algorithm>
#include <cmath>

#include "ptc/lookup/lookup_state.h"
#include "util/stats/hres_clock.h"

namespace {

constexpr std::int32_t kMostPoints = 65536;

bool Refuse(const char* why) {
    SetFailure(PtcFailureCode::kBadArgument, nullptr, why);
    return false;
}

bool IsSound(const PtcNearest& wanted) {
    if (wanted.most < 1 || wanted.most > kMostPoints)
        return Refuse("the number of points wanted is not from 1 to 65536");
    if (!(wanted.within >= 0)) return Refuse("the greatest distance is not a number from 0 on");
    if (std::isnan(wanted.least_dot)) return Refuse("the least dot product is not a number");
    return true;
}

bool IsSound(const PtcFilter& filter) {
    if (!(filter.radius >= 0)) return Refuse("the filter's radius is not a number from 0 on");
    if (!(filter.least_dot < 1)) return Refuse("the least dot product is not a number below 1");
    return true;
}

/// Place `index` of many.
PtcPlace PlaceOf(const PtcPlaces& places, std::int64_t index) {
    return {places.positions + 3 * index, places.normals ? places.normals + 3 * index : nullptr};
}

/// The arrays from answer `first` on. `floats`: of one point's data.
PtcNearestArrays From(const PtcNearestArrays& arrays, std::int64_t first, std::int32_t floats) {
    const auto at = [first](auto* array, std::int64_t size) {
        return array ? array + first * size : nullptr;
    };
    return {at(arrays.files, 1),     at(arrays.indexes, 1), at(arrays.squared_distances, 1),
            at(arrays.positions, 3), at(arrays.normals, 3), at(arrays.radii, 1),
            at(arrays.data, floats)};
}

/// Adds the time until it ends to two timers: a computation's own, and that of octrees.
class LookupTime : public TgUncopyable {
public:
    LookupTime(UtHresTimerStat& whole, PtcCacheStats& stats)
        : whole_(whole), searching_(stats.traverse_octrees_time), begin_(hres_clock::Ticks()) {}
    ~LookupTime() {
        const std::int64_t spent = hres_clock::Ticks() - begin_;
        whole_.Add(spent);
        searching_.Add(spent);
    }

private:
    UtHresTimerStat& whole_;
    UtHresTimerStat& searching_;
    const std::int64_t begin_;
};

/// Calls `look_up(thread)` with the calling thread's scratch memory. False: `look_up` answers
/// false, memory runs out, or the lookup is of no use. `life`: the one in which it was made; null:
/// it was not.
template <class LookUp>
bool InThread(const std::uint64_t* life, LookUp look_up) {
    if (!life) return Refuse("the lookup could not be made");
    if (*life != life_of_caches.load(std::memory_order_relaxed)) {
        SetFailure(PtcFailureCode::kShutDown, nullptr,
                   "the files of the lookup were closed by the shut-down");
        return false;
    }
    return CatchNoMemory(nullptr, false, [&] {
        PtcThreadCache* const cache = ThisThreadCache();
        if (!cache) throw std::bad_alloc();
        LookupThread thread(*cache);
        return look_up(thread);
    });
}

/// Calls `look_up(index)` for each of many places, in the order in which neighbours follow each
/// other. False: one of the calls answered false.
template <class LookUp>
bool ForMany(LookupThread& thread, const PtcPlaces& places, LookUp look_up) {
    bool all = true;
    for (std::int64_t first = 0; first < places.count; first += PlaceOrder::kMost) {
        const std::int64_t count = std::min(places.count - first, PlaceOrder::kMost);
        for (const CodedIndex& place :
             thread.Scratch().order.Of(places.positions + 3 * first, count))
            all &= look_up(first + place.index);
    }
    return all;
}

}  // namespace

PtcLookup::PtcLookup(const PtcLookupClouds& clouds) noexcept {
    const bool has_files = clouds.file_count <= 0 || clouds.files;
    const bool has_names = clouds.variable_count <= 0 || clouds.variables;
    if (!has_files || !has_names) {
        Refuse("no files or no variables where their number is above 0");
        return;
    }
    CatchNoMemory(nullptr, false, [&] {
        auto state = std::make_unique<State>();
        state->AddFiles(clouds);
        if (!state->FindVariables(clouds))
            return Refuse("the variables have more floats than an answer can have");
        state_ = std::move(state);
        return true;
    });
}

PtcLookup::~PtcLookup() = default;
PtcLookup::PtcLookup(PtcLookup&& other) noexcept = default;
PtcLookup& PtcLookup::operator=(PtcLookup&& other) noexcept = default;

PtcLookup::operator bool() const {
    return state_ && state_->is_whole;
}

bool PtcLookup::UsesFile(int file) const {
    return state_ && file >= 0 && static_cast<std::size_t>(file) < state_->files.size() &&
           state_->files[static_cast<std::size_t>(file)].file;
}

int PtcLookup::FloatsPerPoint() const {
    return state_ ? state_->floats : 0;
}

int PtcLookup::VariableCount() const {
    return state_ ? static_cast<int>(state_->variables.size()) : 0;
}

int PtcLookup::VariableSize(int variable) const {
    if (variable < 0 || variable >= VariableCount()) return 0;
    return state_->variables[static_cast<std::size_t>(variable)].size;
}

bool PtcLookup::Nearest(const PtcPlace& place, const PtcNearest& wanted,
                        const PtcNearestArrays& arrays, std::int32_t* found) const noexcept {
    if (!found) return Refuse("no place for the number of points found");
    *found = 0;
    if (!place.position) return Refuse("no position");
    if (!IsSound(wanted)) return false;
    return InThread(state_ ? &state_->life : nullptr, [&](LookupThread& thread) {
        const LookupTime time(thread.cache.stats.getpoints_time, thread.cache.stats);
        return state_->Nearest(thread, place, wanted, arrays, found);
    });
}

bool PtcLookup::NearestOfMany(const PtcPlaces& places, const PtcNearest& wanted,
                              const PtcNearestArrays& arrays, std::int32_t* found) const noexcept {
    if (places.count < 0) return Refuse("a number of places below 0");
    if (places.count == 0) return true;
    if (!found) return Refuse("no place for the numbers of points found");
    std::fill_n(found, places.count, 0);
    if (!places.positions) return Refuse("no positions");
    if (!IsSound(wanted)) return false;
    return InThread(state_ ? &state_->life : nullptr, [&](LookupThread& thread) {
        const LookupTime time(thread.cache.stats.getpoints_time, thread.cache.stats);
        return ForMany(thread, places, [&](std::int64_t i) {
            return state_->Nearest(thread, PlaceOf(places, i), wanted,
                                   From(arrays, i * wanted.most, state_->floats), found + i);
        });
    });
}

bool PtcLookup::Sample(const PtcPlace& place, const PtcFilter& filter, float* values,
                       float* weights) const noexcept {
    return SampleMany({1, place.position, place.normal}, filter, values, weights);
}

bool PtcLookup::SampleMany(const PtcPlaces& places, const PtcFilter& filter, float* values,
                           float* weights) const noexcept {
    if (places.count < 0) return Refuse("a number of places below 0");
    if (places.count == 0) return true;
    if (!places.positions) return Refuse("no positions");
    const std::int64_t floats = FloatsPerPoint();
    const std::int64_t variables = VariableCount();
    if ((floats > 0 && !values) || (variables > 0 && !weights))
        return Refuse("no place for the values or for the weights");
    std::fill_n(values, places.count * floats, 0.0f);
    std::fill_n(weights, places.count * variables, 0.0f);
    if (!IsSound(filter)) return false;
    return InThread(state_ ? &state_->life : nullptr, [&](LookupThread& thread) {
        const LookupTime time(thread.cache.stats.texture3d_time, thread.cache.stats);
        return ForMany(thread, places, [&](std::int64_t i) {
            return state_->Sample(thread, PlaceOf(places, i), filter, values + i * floats,
                                  weights + i * variables);
        });
    });
}
