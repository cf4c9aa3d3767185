// HemispherePicture: drawing squares and hits.

#include "light/hemisphere_picture.h"

#include <algorithm>

#include "light/disc_caster.h"
#include "util/math/exponential.h"

namespace {

/// A sum of parts that is nearly 1 is a closed surface with gaps between the squares: from `low` on
/// sums are raised, so that `high` is full.
struct Closing {
    float low, high;

    float Of(float filled) const {
        const float raised = low + (filled - low) * ((1 - low) / (high - low));
        return std::min(1.0f, std::max(filled, raised));
    }
};
constexpr Closing kHiding{0.65f, 0.87f};
/// What is seen through a gap is mostly the black back of something, which is worse than an edge
/// that is too wide.
constexpr Closing kShining{0.5f, 0.83f};

}  // namespace

float HemispherePicture::FallOff::At(float distance) const {
    if (power == 0) return 1;
    const double near = 1 - double{distance} / within;
    return near > 0 ? static_cast<float>(exponential::Exp(power * exponential::Log(near))) : 0.0f;
}

inline void HemispherePicture::Fill(Cell* cell, float front, float back, four_lanes::Floats seen) {
    if (cell->filled >= 1 && cell->lit >= 1) return;
    cell->fronts += front;
    cell->backs += back;
    const float filled = cell->cast + std::max(cell->fronts, cell->backs);
    const float hidden = kHiding.Of(filled);
    const float lit = kShining.Of(filled);
    const float more = lit - cell->lit;
    cell->seen += seen * four_lanes::Floats{more, more, more, hidden - cell->filled};
    cell->filled = hidden;
    cell->lit = lit;
    open_cells_ -= hidden >= 1 && lit >= 1 ? 1 : 0;
}

void HemispherePicture::Draw(const HemisphereMap& map, const FallOff& fall_off, Splats* splats) {
    cells_.assign(static_cast<std::size_t>(map.Cells()), Cell{});
    open_cells_ = map.Cells();
    for (const std::uint32_t row : splats->Sorted()) {
        if (open_cells_ == 0) break;
        const float inner = splats->At(Splats::kInner, row);
        // This way round, what is not a number is nowhere in the map.
        if (!(inner < 1)) continue;
        const bool is_hit = DiscCaster::IsHit(inner);
        const float front = is_hit ? 0.0f : splats->At(Splats::kFront, row);
        const float back = is_hit ? 0.0f : splats->At(Splats::kBack, row);
        const float shines = front >= back ? 1.0f : front / back;
        const float hides = fall_off.At(splats->At(Splats::kDistance, row));
        const four_lanes::Floats seen = {splats->At(Splats::kRed, row) * shines,
                                         splats->At(Splats::kGreen, row) * shines,
                                         splats->At(Splats::kBlue, row) * shines, hides};
        if (!is_hit) {
            DrawSquare(map, *splats, row, {front, back, seen});
            continue;
        }
        Cell* const cell = &cells_[static_cast<std::size_t>(DiscCaster::CellOf(inner))];
        cell->cast += 1.0f / float{HemisphereMap::kRays};
        Fill(cell, 0, 0, seen);
    }
}

void HemispherePicture::DrawSquare(const HemisphereMap& map, const Splats& splats, std::size_t row,
                                   const Filling& whole) {
    const float inner = splats.At(Splats::kInner, row);
    const float outer = std::min(splats.At(Splats::kOuter, row), 1.0f);
    // One turn more, so that nothing is below 0.
    const float begin = splats.At(Splats::kBegin, row) + 1;
    const float end = splats.At(Splats::kEnd, row) + 1;
    const std::vector<HemisphereMap::Ring>& rings = map.Rings();
    const auto first = static_cast<std::size_t>(inner * static_cast<float>(rings.size()));
    for (std::size_t k = first; k < rings.size() && rings[k].inner < outer; ++k) {
        const HemisphereMap::Ring& ring = rings[k];
        const float from = std::max(ring.inner, inner);
        const float to = std::min(ring.outer, outer);
        const float share = (to * to - from * from) * ring.cells_per_area;
        if (!(share > 0)) continue;
        const float left = begin * ring.cells_per_turn;
        const float right = end * ring.cells_per_turn;
        auto c = static_cast<std::int32_t>(left);
        // The begin is from 0 to a turn and a half.
        std::int32_t at = c >= ring.cells ? c - ring.cells : c;
        Cell* const ring_cells = &cells_[static_cast<std::size_t>(ring.first)];
        float edge = left;
        for (; edge < right; ++c) {
            const float next = std::min(right, static_cast<float>(c + 1));
            const float part = share * (next - edge);
            Fill(&ring_cells[at], whole.front * part, whole.back * part, whole.seen);
            edge = next;
            if (++at == ring.cells) at = 0;
        }
    }
}

HemispherePicture::Means HemispherePicture::MeansOf(const HemisphereMap& map) const {
    Means means;
    for (int i = 0; i < map.Cells(); ++i) {
        const Cell& cell = cells_[static_cast<std::size_t>(i)];
        const float weight = map.Weight(i);
        means.hidden += cell.seen[3] * weight;
        means.colour = means.colour + Vec3f{cell.seen[0], cell.seen[1], cell.seen[2]} * weight;
        means.open = means.open + map.Direction(i) * (weight * (1 - cell.filled));
    }
    return means;
}
