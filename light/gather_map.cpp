// Gather: what is collected comes into the map.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "light/gather.h"
#include "util/math/arc_tangent.h"
#include "util/math/exponential.h"

namespace {

constexpr float kTurn = 6.2831853f;
constexpr float kTurnsPerRadian = 0.15915494f;
constexpr float kFar = std::numeric_limits<float>::infinity();

/// What is drawn fills so much more than it should, because squares do not tile a surface.
constexpr float kCoverage = 1.15f;

/// The angle of (x, y) in turns, 0 to 1.
float TurnsOf(float x, float y) {
    const float turns = arc_tangent::Of<1>(y, x) * kTurnsPerRadian;
    return turns < 0 ? turns + 1 : turns;
}

/// Eight buckets between a distance and its double.
constexpr int kBucketShift = 20;
constexpr std::size_t kBuckets = std::size_t{1} << (31 - kBucketShift);

std::size_t BucketOf(float distance) {
    return std::bit_cast<std::uint32_t>(distance) >> kBucketShift & (kBuckets - 1);
}

}  // namespace

float Gather::HidingAt(float distance) const {
    if (settings_.falloff == 0) return 1;
    const double open = std::max(0.0, 1 - double{distance} / reach_);
    return open > 0
               ? static_cast<float>(exponential::Exp(settings_.falloff * exponential::Log(open)))
               : 0.0f;
}

/// A surface as a square that faces the place, of the area that is seen.
void Gather::AddSplat(const Seen& seen) {
    const bool fronts = settings_.sides != PtcHidingSides::kBack;
    const bool backs = settings_.sides != PtcHidingSides::kFront;
    const float front = fronts ? seen.front : 0.0f;
    const float back = backs ? seen.back : 0.0f;
    const float area = std::max(front, back);
    if (!(area > 0)) return;
    const float distance = std::sqrt(seen.squared);
    const Vec3f w = ToFrame(seen.at) * (1 / distance);
    if (!(w.z > 0)) return;
    const float along = std::sqrt(w.x * w.x + w.y * w.y);
    const float half = 0.5f * std::sqrt(area) / distance;
    const float scale = 1 / map_.SineOfCone();
    Splat splat;
    splat.distance = distance;
    splat.front = front / area * seen.share;
    splat.back = back / area * seen.share;
    splat.colour = front > 0 ? seen.power * (1 / front) : Vec3f{};
    splat.cell = -1;
    if (along <= half) {
        // Around the normal: a disc of the same area.
        splat.inner = 0;
        splat.outer = 1.1283792f * half * scale;
        splat.begin = 0;
        splat.end = 1;
    } else {
        // The radii are sines of angles to the normal.
        const float bent = along * (1 - 0.5f * half * half);
        splat.inner = std::max(0.0f, (bent - half * w.z) * scale);
        splat.outer = (w.z > half ? bent + half * w.z : 1.0f) * scale;
        const float turns = TurnsOf(w.x, w.y);
        const float around = std::min(0.5f, half / along * kTurnsPerRadian);
        splat.begin = turns - around;
        splat.end = turns + around;
    }
    if (splat.inner >= 1) return;
    splats_.push_back(splat);
}

void Gather::CastAll() {
    const auto rays = static_cast<std::size_t>(map_.Cells() * HemisphereMap::kRays);
    hit_distance_.assign(rays, reach_);
    hit_disc_.assign(rays, -1);
    if (discs_.empty()) return;
    for (std::size_t i = 0; i < discs_.size(); ++i) Cast(discs_[i], static_cast<std::int32_t>(i));
    for (std::size_t i = 0; i < rays; ++i) {
        if (hit_disc_[i] == -1) continue;
        Splat splat{};
        splat.distance = hit_distance_[i];
        splat.cell = static_cast<std::int32_t>(i) / HemisphereMap::kRays;
        if (hit_disc_[i] >= 0) splat.colour = discs_[static_cast<std::size_t>(hit_disc_[i])].colour;
        splats_.push_back(splat);
    }
}

void Gather::Cast(const Disc& disc, std::int32_t number) {
    const Vec3f v = disc.centre;
    const Vec3f m = disc.normal;
    const float vm = Dot(v, m);
    const float squared = Dot(v, v);
    const bool from_behind = vm > 0;
    if (from_behind ? settings_.sides == PtcHidingSides::kFront
                    : settings_.sides == PtcHidingSides::kBack)
        return;
    const float* const x = map_.RaysX();
    const float* const y = map_.RaysY();
    const float* const z = map_.RaysZ();
    const auto test = [&](std::int32_t first, std::int32_t end) {
        for (std::int32_t i = first * HemisphereMap::kRays; i < end * HemisphereMap::kRays; ++i) {
            const float t = vm / (x[i] * m.x + y[i] * m.y + z[i] * m.z);
            const float qx = x[i] * t - v.x;
            const float qy = y[i] * t - v.y;
            const float qz = z[i] * t - v.z;
            const float off = qx * qx + qy * qy + qz * qz;
            auto& nearest = hit_distance_[static_cast<std::size_t>(i)];
            if (t > 0 && off <= disc.squared_radius && t < nearest) {
                nearest = t;
                hit_disc_[static_cast<std::size_t>(i)] = from_behind ? -2 : number;
            }
        }
    };
    // The cap that the disc's sphere covers.
    const float squared_sine = disc.squared_radius / squared;
    if (!(squared_sine < 0.8f)) return test(0, map_.Cells());
    const float sine = std::sqrt(squared_sine);
    const float cosine = std::sqrt(1 - squared_sine);
    const float inverse = 1 / std::sqrt(squared);
    const Vec3f w = v * inverse;
    if (w.z < -sine) return;
    const float along = std::sqrt(w.x * w.x + w.y * w.y);
    const float scale = 1 / map_.SineOfCone();
    const bool holds_pole = along <= sine;
    const float inner = holds_pole ? 0.0f : (along * cosine - w.z * sine) * scale;
    const float outer = w.z > sine ? (along * cosine + w.z * sine) * scale : 1.0f;
    float begin = 0;
    float end = 1;
    if (!holds_pole) {
        const float turns = TurnsOf(w.x, w.y);
        const float around =
            arc_tangent::Of<1>(sine, std::sqrt(along * along - squared_sine)) * kTurnsPerRadian;
        begin = turns - around;
        end = turns + around;
    }
    for (const HemisphereMap::Ring& ring : map_.Rings()) {
        if (ring.outer < inner) continue;
        if (ring.inner > outer) break;
        if (end - begin >= 1) {
            test(ring.first, ring.first + ring.cells);
            continue;
        }
        const auto cells = static_cast<float>(ring.cells);
        const auto from = static_cast<std::int32_t>(std::floor(begin * cells));
        const auto to =
            std::min(static_cast<std::int32_t>(std::floor(end * cells)) + 1, from + ring.cells);
        // Parts of the range that lie before 0, within, and behind the last cell.
        const auto part = [&](std::int32_t shift) {
            const std::int32_t low = std::max(from + shift, 0);
            const std::int32_t high = std::min(to + shift, ring.cells);
            if (low < high) test(ring.first + low, ring.first + high);
        };
        part(ring.cells);
        part(0);
        part(-ring.cells);
    }
}

/// A counting sort by distance; what is in one bucket stays in its order.
void Gather::SortSplats() {
    buckets_.assign(kBuckets + 1, 0);
    for (const Splat& splat : splats_) ++buckets_[BucketOf(splat.distance) + 1];
    for (std::size_t i = 1; i <= kBuckets; ++i) buckets_[i] += buckets_[i - 1];
    order_.resize(splats_.size());
    for (std::size_t i = 0; i < splats_.size(); ++i)
        order_[buckets_[BucketOf(splats_[i].distance)]++] = static_cast<std::uint32_t>(i);
}

void Gather::Draw() {
    cells_.assign(static_cast<std::size_t>(map_.Cells()), Cell{});
    for (const std::uint32_t i : order_) {
        const Splat& splat = splats_[i];
        const float hides = HidingAt(splat.distance);
        if (splat.cell < 0) {
            DrawRectangle(splat, hides);
            continue;
        }
        Cell& cell = cells_[static_cast<std::size_t>(splat.cell)];
        cell.cast += 1.0f / HemisphereMap::kRays;
        Fill(cell, 0, 0, splat, hides);
    }
}

void Gather::DrawRectangle(const Splat& splat, float hides) {
    for (const HemisphereMap::Ring& ring : map_.Rings()) {
        if (ring.outer <= splat.inner) continue;
        if (ring.inner >= splat.outer) break;
        const float inner = std::max(ring.inner, splat.inner);
        const float outer = std::min(ring.outer, splat.outer);
        const float share = (outer * outer - inner * inner) * ring.cells_per_area * kCoverage;
        const auto cells = static_cast<float>(ring.cells);
        const float begin = splat.begin * cells;
        const float end = splat.end * cells;
        auto c = static_cast<std::int32_t>(std::floor(begin));
        std::int32_t at = c < 0 ? c + ring.cells : c;
        if (at >= ring.cells) at -= ring.cells;
        for (; static_cast<float>(c) < end; ++c) {
            const float covered =
                std::min(end, static_cast<float>(c + 1)) - std::max(begin, static_cast<float>(c));
            const float part = share * covered;
            Fill(cells_[static_cast<std::size_t>(ring.first + at)], splat.front * part,
                 splat.back * part, splat, hides);
            if (++at == ring.cells) at = 0;
        }
    }
}

/// Fills a cell with as much as it has room for. Fronts and backs of what is far away are those of
/// the same bodies, so the larger of the two counts.
void Gather::Fill(Cell& cell, float front, float back, const Splat& splat, float hides) {
    cell.fronts += front;
    cell.backs += back;
    const float filled = std::min(1.0f, cell.cast + std::max(cell.fronts, cell.backs));
    const float more = filled - cell.filled;
    if (!(more > 0)) return;
    cell.filled = filled;
    cell.hidden += more * hides;
    const float shines = front >= back ? 1.0f : front / back;
    cell.colour = cell.colour + splat.colour * (more * shines);
}

void Gather::Finish(PtcGathered* gathered) const {
    Vec3f open;
    Vec3f colour;
    float hidden = 0;
    for (int i = 0; i < map_.Cells(); ++i) {
        const Cell& cell = cells_[static_cast<std::size_t>(i)];
        const float weight = map_.Weight(i);
        hidden += cell.hidden * weight;
        colour = colour + cell.colour * weight;
        open = open + map_.Direction(i) * (weight * (1 - cell.filled));
    }
    gathered->occlusion = std::min(hidden, 1.0f);
    const Vec3f world = Normalized(tangent_ * open.x + bitangent_ * open.y + normal_ * open.z);
    const float values[] = {world.x, world.y, world.z, colour.x, colour.y, colour.z};
    std::copy_n(values, 3, gathered->open);
    std::copy_n(values + 3, 3, gathered->indirect);
}
