// The public functions of light: arguments, timers, answers.

#include "ptc/light.h"

#include <algorithm>
#include <cmath>

#include "light/gather.h"
#include "light/light_state.h"
#include "light/subsurface.h"
#include "util/stats/hres_clock.h"

namespace {

bool Refuse(const char* why) {
    SetFailure(PtcFailureCode::kBadArgument, nullptr, why);
    return false;
}

bool IsFinite(const float* vector) {
    return std::isfinite(vector[0]) && std::isfinite(vector[1]) && std::isfinite(vector[2]);
}

bool IsSound(const PtcPlace& place) {
    if (!place.position || !IsFinite(place.position))
        return Refuse("the position is not there or not finite");
    if (!place.normal) return Refuse("no normal");
    const float* const n = place.normal;
    const float squared = n[0] * n[0] + n[1] * n[1] + n[2] * n[2];
    constexpr float kSlack = 0.01f;
    if (!(std::fabs(squared - 1) < kSlack)) return Refuse("the normal's length is not 1");
    return true;
}

bool IsSound(const PtcGathering& settings) {
    const PtcGatherQuality& quality = settings.quality;
    if (!(quality.solid_angle >= 0.001f && quality.solid_angle <= 2))
        return Refuse("the solid angle is not from 0.001 to 2");
    if (quality.pixels < 4 || quality.pixels > 64)
        return Refuse("the number of pixels is not from 4 to 64");
    if (!(settings.within > 0)) return Refuse("the greatest distance is not above 0");
    if (!(settings.falloff >= 0) || std::isinf(settings.falloff))
        return Refuse("the fall-off is not a number from 0 on");
    if (!(settings.cone > 0 && settings.cone <= 1.5708f))
        return Refuse("the cone is not from above 0 to pi / 2");
    if (!(settings.bias >= 0) || std::isinf(settings.bias))
        return Refuse("the bias is not a number from 0 on");
    return true;
}

/// What a thread keeps from one place to the next.
struct LightScratch final : PtcThreadScratch {
    ::Gather gather;
    Subsurface subsurface;
};

/// The calling thread's cache and scratch memory, for the duration of a call. A message's handler
/// may gather while the call that reports is not over; the inner call gets memory of its own.
class LightThread : public TgUncopyable {
public:
    explicit LightThread(PtcThreadCache& own) : cache(own) {
        scratch_.reset(static_cast<LightScratch*>(own.light_scratch.release()));
        if (!scratch_) scratch_ = std::make_unique<LightScratch>();
    }
    ~LightThread() { cache.light_scratch = std::move(scratch_); }

    LightScratch& Scratch() { return *scratch_; }

    PtcThreadCache& cache;

private:
    std::unique_ptr<LightScratch> scratch_;
};

/// Calls `compute(thread)` with the calling thread's scratch memory and adds its time to `timer`.
/// False: `compute` answers false, memory runs out, or the object is of no use. `life`: the one in
/// which it was made; null: it was not.
template <class Compute>
bool InThread(const std::uint64_t* life, UtHresTimerStat PtcCacheStats::*timer, Compute compute) {
    if (!life) return Refuse("the light could not be made");
    if (*life != life_of_caches.load(std::memory_order_relaxed)) {
        SetFailure(PtcFailureCode::kShutDown, nullptr,
                   "the files of the light were closed by the shut-down");
        return false;
    }
    return CatchNoMemory(nullptr, false, [&] {
        PtcThreadCache* const cache = ThisThreadCache();
        if (!cache) throw std::bad_alloc();
        const std::int64_t begin = hres_clock::Ticks();
        LightThread thread(*cache);
        const bool done = compute(thread);
        (cache->stats.*timer).Add(hres_clock::Ticks() - begin);
        return done;
    });
}

}  // namespace

PtcLight::PtcLight(const PtcLightClouds& clouds) noexcept {
    if (clouds.file_count > 0 && !clouds.files) {
        Refuse("no files where their number is above 0");
        return;
    }
    CatchNoMemory(nullptr, false, [&] {
        auto state = std::make_unique<State>();
        state->AddFiles(clouds);
        state_ = std::move(state);
        return true;
    });
}

PtcLight::~PtcLight() = default;
PtcLight::PtcLight(PtcLight&& other) noexcept = default;
PtcLight& PtcLight::operator=(PtcLight&& other) noexcept = default;

PtcLight::operator bool() const {
    return state_ && state_->is_whole;
}

bool PtcLight::UsesFile(int file) const {
    return state_ && file >= 0 && static_cast<std::size_t>(file) < state_->files.size() &&
           state_->files[static_cast<std::size_t>(file)].file;
}

bool PtcLight::HasColour(int file) const {
    return UsesFile(file) && state_->files[static_cast<std::size_t>(file)].colour >= 0;
}

bool PtcLight::Gather(const PtcPlace& place, const PtcGathering& settings,
                      PtcGathered* gathered) const noexcept {
    if (!gathered) return Refuse("no place for the answer");
    *gathered = {};
    if (!IsSound(place) || !IsSound(settings)) return false;
    return InThread(state_ ? &state_->life : nullptr, &PtcCacheStats::indirectdiffuse_time,
                    [&](LightThread& thread) {
                        return thread.Scratch().gather.Run(state_->files, &thread.cache, place,
                                                           settings, ::Gather::Wanted::kColoursToo,
                                                           gathered);
                    });
}

bool PtcLight::Indirect(const PtcPlace& place, const PtcGathering& settings,
                        float* light) const noexcept {
    if (!light) return Refuse("no place for the light");
    PtcGathered gathered;
    const bool done = Gather(place, settings, &gathered);
    std::copy_n(gathered.indirect, 3, light);
    return done;
}

bool PtcLight::Occlusion(const PtcPlace& place, const PtcGathering& settings, float* occlusion,
                         float* open) const noexcept {
    if (!occlusion) return Refuse("no place for the occlusion");
    *occlusion = 0;
    if (open) std::fill_n(open, 3, 0.0f);
    if (!IsSound(place) || !IsSound(settings)) return false;
    PtcGathered gathered;
    const bool done = InThread(
        state_ ? &state_->life : nullptr, &PtcCacheStats::occlusion_time, [&](LightThread& thread) {
            return thread.Scratch().gather.Run(state_->files, &thread.cache, place, settings,
                                               ::Gather::Wanted::kOcclusion, &gathered);
        });
    *occlusion = gathered.occlusion;
    if (open) std::copy_n(gathered.open, 3, open);
    return done;
}

bool PtcLight::Subsurface(const PtcPlace& place, const PtcSubsurface& material,
                          float* light) const noexcept {
    if (!light) return Refuse("no place for the light");
    std::fill_n(light, 3, 0.0f);
    if (!place.position || !IsFinite(place.position))
        return Refuse("the position is not there or not finite");
    if (const char* const why = WhyUnsound(material)) return Refuse(why);
    return InThread(state_ ? &state_->life : nullptr, &PtcCacheStats::subsurface_time,
                    [&](LightThread& thread) {
                        return thread.Scratch().subsurface.Run(state_->files, &thread.cache,
                                                               place.position, material, light);
                    });
}
