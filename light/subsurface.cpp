// Subsurface: what the walk adds up of nodes and points.

#include "light/subsurface.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "ptc/cache/thread_cache.h"
#include "ptc/organise/finite_float.h"
#include "util/stats/hres_clock.h"

namespace {

using Vector = std::array<double, 3>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double Dot(const Vector& a, const Vector& b) {
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

Vector From(const Vector& place, const float* at) {
    return {at[0] - place[0], at[1] - place[1], at[2] - place[2]};
}

}  // namespace

bool Subsurface::Run(const std::vector<LightFile>& files, PtcThreadCache* cache,
                     const float* position, const PtcSubsurface& material, float* light) {
    const std::int64_t begin = hres_clock::Ticks();
    dipoles_.Set(material);
    for (std::size_t i = 0; i < 3; ++i) place_[i] = position[i];
    sums_ = {};
    group_limit_ = material.solid_angle / std::numbers::pi;
    const bool all_read = walk_.Run(files, cache, *this);
    for (std::size_t i = 0; i < 3; ++i) light[i] = ClampToFinite(sums_[i]);
    cache->stats.traverse_octrees_time.Add(hres_clock::Ticks() - begin);
    return all_read;
}

LightNodeUse Subsurface::Look(const LightFile& file, const PtcNode& node) {
    if (!file.data.has_power) return LightNodeUse::kDone;
    const Vector low = From(place_, node.data + file.data.box);
    const Vector high = From(place_, node.data + file.data.box + 3);
    Vector half, middle;
    for (std::size_t i = 0; i < 3; ++i) {
        half[i] = 0.5 * (high[i] - low[i]);
        middle[i] = 0.5 * (high[i] + low[i]);
    }
    const Vector centre = From(place_, node.data + file.data.centre);
    const double squared = Dot(centre, centre);
    // This way round, a node with values that are not numbers is opened.
    if (!(Dot(half, half) <= group_limit_ * Dot(middle, middle)) || !(squared < kInfinity))
        return LightNodeUse::kOpen;
    const DipoleTable::Colours values = dipoles_.At(squared);
    const float* power = node.data + file.data.power;
    for (std::size_t i = 0; i < 3; ++i, power += light_nodes::kColourFloats) {
        // The trace: area times colour.
        const double sum = double{power[0]} + double{power[1]} + double{power[2]};
        if (std::isfinite(sum)) sums_[i] += sum * values[i];
    }
    return LightNodeUse::kDone;
}

void Subsurface::Take(const LightFile& file, const PtcPoint* points, std::int32_t count) {
    for (std::int32_t i = 0; i < count; ++i) TakePoint(file, points[i]);
}

void Subsurface::TakePoint(const LightFile& file, const PtcPoint& point) {
    const double radius = point.radius;
    const double area = file.area >= 0 ? point.data[file.area] : std::numbers::pi * radius * radius;
    const Vector centre = From(place_, point.position);
    DiscFromPlace disc;
    disc.squared_distance = Dot(centre, centre);
    // This way round, what is not a number is left out.
    if (!(area > 0 && area < kInfinity && disc.squared_distance < kInfinity)) return;
    // Neighbours' discs of twice the radius of their area cover each other so evenly that neither
    // gaps nor overlaps show, where those of their area leave holes of 10 % four z_r apart.
    constexpr double kWidened = 4;
    disc.squared_radius = kWidened * area * std::numbers::inv_pi;
    const Vector normal = {point.normal[0], point.normal[1], point.normal[2]};
    // Without a normal the disc lies in the plane of the place.
    const double height = Dot(centre, normal);
    disc.squared_height =
        std::isfinite(height) ? std::min(height * height, disc.squared_distance) : 0;
    const DipoleTable::Colours values = dipoles_.Over(disc);
    const float* const colour = point.data + file.colour;
    for (std::size_t i = 0; i < 3; ++i)
        if (std::isfinite(colour[i])) sums_[i] += area * double{colour[i]} * values[i];
}
