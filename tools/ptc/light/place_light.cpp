// PlaceLight: pieces of a batch, and what the library is asked for.

#include "tools/ptc/light/place_light.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "tools/common/parallel.h"

namespace lighting {

namespace {

/// Places that a thread takes at a time: neighbours, which read the same blocks, and few enough
/// that all threads end together.
constexpr std::int64_t kPiece = 256;

bool IsFinite(const float* vector) {
    return std::isfinite(vector[0]) && std::isfinite(vector[1]) && std::isfinite(vector[2]);
}

}  // namespace

std::int64_t PlaceLight::Gather(const PlaceBatch& places, std::vector<float>* values) const {
    values->assign(static_cast<std::size_t>(places.Count()) * layout_.floats, 0.0f);
    std::atomic<std::int64_t> dark{0};
    const auto gather = [&](std::size_t piece) {
        const std::int64_t first = static_cast<std::int64_t>(piece) * kPiece;
        const std::int64_t end = std::min(first + kPiece, places.Count());
        std::int64_t left_out = 0;
        for (std::int64_t i = first; i < end; ++i) {
            const PtcPlace place = {.position = places.Position(i), .normal = places.Normal(i)};
            if (place.normal && IsFinite(place.position))
                GatherAt(place, values->data() + static_cast<std::size_t>(i) * layout_.floats);
            else
                ++left_out;
        }
        dark += left_out;
    };
    const std::int64_t pieces = (places.Count() + kPiece - 1) / kPiece;
    ParallelFor(static_cast<std::size_t>(pieces),
                static_cast<int>(std::min<std::int64_t>(options_.threads, pieces)), gather);
    return dark;
}

void PlaceLight::GatherAt(const PtcPlace& place, float* values) const {
    const PtcLight& light = clouds_.Light();
    bool is_done = true;
    if (kinds_.occlusion && kinds_.indirect) {
        PtcGathered gathered;
        is_done = light.Gather(place, options_.gathering, &gathered);
        values[0] = gathered.occlusion;
        std::copy_n(gathered.indirect, 3, values + layout_.indirect);
    } else if (kinds_.occlusion) {
        is_done = light.Occlusion(place, options_.gathering, values, nullptr);
    } else if (kinds_.indirect) {
        is_done = light.Indirect(place, options_.gathering, values + layout_.indirect);
    }
    if (is_done && kinds_.subsurface)
        is_done = light.Subsurface(place, options_.material, values + layout_.subsurface);
    if (!is_done) clouds_.Fail();
}

}  // namespace lighting
