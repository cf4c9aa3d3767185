// DiscCaster: which cells a disc may cover, and the test of their rays.

#include "light/disc_caster.h"

#include <algorithm>
#include <cmath>

#include "util/math/arc_tangent.h"

namespace {

constexpr float kTurnsPerRadian = 0.15915494f;

float TurnsOf(float x, float y) {
    return arc_tangent::Of<1>(y, x) * kTurnsPerRadian;
}

}  // namespace

void DiscCaster::Cast(const HemisphereMap& map, float reach, Splats* splats) {
    if (discs_.empty()) return;
    const auto rays = static_cast<std::size_t>(map.Cells()) * HemisphereMap::kRays;
    distances_.assign(rays, reach);
    nearest_.assign(rays, kNothing);
    for (std::size_t i = 0; i < discs_.size(); ++i) CastOne(map, static_cast<std::int32_t>(i));
    for (std::size_t i = 0; i < rays; ++i) {
        if (nearest_[i] == kNothing) continue;
        const Vec3f colour =
            nearest_[i] >= 0 ? discs_[static_cast<std::size_t>(nearest_[i])].colour : Vec3f{};
        const std::size_t row = splats->Add();
        splats->At(Splats::kInner, row) =
            RowOfCell(static_cast<std::int32_t>(i / HemisphereMap::kRays));
        splats->At(Splats::kDistance, row) = distances_[i];
        splats->At(Splats::kRed, row) = colour.x;
        splats->At(Splats::kGreen, row) = colour.y;
        splats->At(Splats::kBlue, row) = colour.z;
    }
}

void DiscCaster::CastOne(const HemisphereMap& map, std::int32_t number) {
    const LightDisc& disc = discs_[static_cast<std::size_t>(number)];
    const Vec3f v = disc.centre;
    const float squared = Dot(v, v);
    // The cap that the disc's sphere covers.
    const float squared_sine = disc.squared_radius / squared;
    if (!(squared_sine < 0.8f)) return Test(map, number, 0, map.Cells());
    const float sine = std::sqrt(squared_sine);
    const float cosine = std::sqrt(1 - squared_sine);
    const Vec3f w = v * (1 / std::sqrt(squared));
    if (w.z < -sine) return;
    const float along = std::sqrt(w.x * w.x + w.y * w.y);
    const float scale = 1 / map.SineOfCone();
    const bool holds_pole = along <= sine;
    const float inner = holds_pole ? 0.0f : (along * cosine - w.z * sine) * scale;
    const float outer = w.z > sine ? (along * cosine + w.z * sine) * scale : 1.0f;
    float begin = 0;
    float end = 1;
    if (!holds_pole) {
        const float turns = TurnsOf(w.x, w.y);
        const float around = TurnsOf(std::sqrt(along * along - squared_sine), sine);
        begin = turns - around;
        end = turns + around;
    }
    for (const HemisphereMap::Ring& ring : map.Rings()) {
        if (ring.outer < inner) continue;
        if (ring.inner > outer) break;
        const auto cells = static_cast<float>(ring.cells);
        const auto from = static_cast<std::int32_t>(std::floor(begin * cells));
        const auto to =
            std::min(static_cast<std::int32_t>(std::floor(end * cells)) + 1, from + ring.cells);
        // The parts of the range that lie before the first cell, within, and behind the last one.
        for (const std::int32_t shift : {ring.cells, 0, -ring.cells}) {
            const std::int32_t low = std::max(from + shift, 0);
            const std::int32_t high = std::min(to + shift, ring.cells);
            if (low < high) Test(map, number, ring.first + low, ring.first + high);
        }
    }
}

/// Tests the rays of the cells from `first` on.
void DiscCaster::Test(const HemisphereMap& map, std::int32_t number, std::int32_t first,
                      std::int32_t end) {
    const LightDisc& disc = discs_[static_cast<std::size_t>(number)];
    const Vec3f v = disc.centre;
    const Vec3f m = disc.normal;
    const float height = Dot(v, m);
    const std::int32_t seen = height > 0 ? kFromBehind : number;
    const float* const x = map.RaysX();
    const float* const y = map.RaysY();
    const float* const z = map.RaysZ();
    for (auto i = static_cast<std::size_t>(first) * HemisphereMap::kRays;
         i < static_cast<std::size_t>(end) * HemisphereMap::kRays; ++i) {
        const float t = height / (x[i] * m.x + y[i] * m.y + z[i] * m.z);
        const float qx = x[i] * t - v.x;
        const float qy = y[i] * t - v.y;
        const float qz = z[i] * t - v.z;
        const bool hits = t > 0 && qx * qx + qy * qy + qz * qz <= disc.squared_radius;
        if (!hits || !(t < distances_[i])) continue;
        distances_[i] = t;
        nearest_[i] = seen;
    }
}
