// Gather: what the walk collects of nodes and points.

#include "light/gather.h"

#include <algorithm>
#include <cmath>

#include "ptc/cache/thread_cache.h"
#include "util/math/sine_cosine.h"

namespace {

constexpr float kPi = 3.1415927f;

/// Two directions at right angles to the unit vector `n` and to each other.
struct Tangents {
    Vec3f s, t;
};
Tangents TangentsOf(Vec3f n) {
    // The only branch is the sign, and for no direction is the divisor 0.
    const float sign = std::copysign(1.0f, n.z);
    const float a = -1 / (sign + n.z);
    const float b = n.x * n.y * a;
    return {{1 + sign * n.x * n.x * a, sign * b, -sign * n.x}, {b, sign + n.y * n.y * a, -n.y}};
}

Vec3f VectorAt(const float* floats) {
    return {floats[0], floats[1], floats[2]};
}

/// u^T M u of the symmetric matrix xx yy zz xy xz yz.
float Quadratic(const float* m, Vec3f u) {
    return m[0] * u.x * u.x + m[1] * u.y * u.y + m[2] * u.z * u.z +
           2 * (m[3] * u.x * u.y + m[4] * u.x * u.z + m[5] * u.y * u.z);
}

float Trace(const float* m) {
    return m[0] + m[1] + m[2];
}

/// How much of a group is one flat surface, from the length of its summed normals over its area.
float Flatness(float tightness) {
    constexpr float kNone = 0.7f;
    constexpr float kAll = 0.95f;
    return std::clamp((tightness - kNone) * (1 / (kAll - kNone)), 0.0f, 1.0f);
}

/// The sum of |n.u| over the surfaces of a group, times their weights, of which `moments` has the
/// sum times n n^T; `towards` is the sum of n.u. The even polynomial of order 2 that is nearest to
/// |n.u| is 3/16 + 15/16 (n.u)^2; all surfaces of a flat group have the same n.
float Silhouette(const float* moments, Vec3f u, float towards, float flatness) {
    const float polynomial = 0.1875f * Trace(moments) + 0.9375f * Quadratic(moments, u);
    const float least = std::fabs(towards);
    return flatness * least + (1 - flatness) * std::max(polynomial, least);
}

}  // namespace

void Gather::Begin(const PtcPlace& place, const PtcGathering& settings) {
    settings_ = settings;
    normal_ = VectorAt(place.normal);
    const Tangents tangents = TangentsOf(normal_);
    tangent_ = tangents.s;
    bitangent_ = tangents.t;
    place_ = VectorAt(place.position) + normal_ * settings.bias;
    reach_ = settings.within;
    squared_reach_ = reach_ * reach_;
    map_.Set(settings.quality.pixels,
             settings.cone >= kPi / 2 ? 1.0f : sine_cosine::Of(settings.cone).sine);
    constexpr float kCastPixels = 0.7f;
    const float ratio = kCastPixels * 2 / static_cast<float>(settings.quality.pixels);
    disc_limit_ = ratio * ratio;
    splats_.clear();
    discs_.clear();
}

bool Gather::Run(const std::vector<LightFile>& files, PtcThreadCache* cache, const PtcPlace& place,
                 const PtcGathering& settings, PtcGathered* gathered) {
    const std::int64_t begin = hres_clock::Ticks();
    Begin(place, settings);
    const bool all_read = walk_.Run(files, cache, *this);
    const std::int64_t walked = hres_clock::Ticks();
    cache->stats.traverse_octrees_time.Add(walked - begin);
    CastAll();
    SortSplats();
    Draw();
    Finish(gathered);
    cache->stats.rasterize_time.Add(hres_clock::Ticks() - walked);
    return all_read;
}

LightNodeUse Gather::Look(const LightFile& file, const PtcNode& node) {
    const float* const data = node.data;
    const float* const box = data + file.data.box;
    const Vec3f low = VectorAt(box) - place_;
    const Vec3f high = VectorAt(box + 3) - place_;
    const float top = std::max(low.x * normal_.x, high.x * normal_.x) +
                      std::max(low.y * normal_.y, high.y * normal_.y) +
                      std::max(low.z * normal_.z, high.z * normal_.z);
    if (!(top > 0)) return LightNodeUse::kDone;
    const Vec3f outside = {std::max({low.x, -high.x, 0.0f}), std::max({low.y, -high.y, 0.0f}),
                           std::max({low.z, -high.z, 0.0f})};
    if (!(Dot(outside, outside) < squared_reach_)) return LightNodeUse::kDone;
    const Vec3f half = (high - low) * 0.5f;
    const float squared_radius = Dot(half, half);
    const Vec3f centre = VectorAt(data + file.data.centre) - place_;
    const float squared = Dot(centre, centre);
    if (!(kPi * squared_radius <= settings_.quality.solid_angle * squared))
        return LightNodeUse::kOpen;

    const float* const moments = data + file.data.area;
    const Vec3f normals = VectorAt(data + file.data.normal);
    const float area = Trace(moments);
    if (!(area > 0)) return LightNodeUse::kDone;
    const float distance = std::sqrt(squared);
    const Vec3f u = centre * (-1 / distance);
    const float towards = Dot(normals, u);
    const float flatness = Flatness(Length(normals) / area);
    const float silhouette = Silhouette(moments, u, towards, flatness);
    Seen seen;
    seen.at = centre;
    seen.squared = squared;
    seen.front = std::max(0.0f, 0.5f * (silhouette + towards));
    seen.back = std::max(0.0f, 0.5f * (silhouette - towards));
    float power[light_nodes::kColours] = {};
    if (file.data.has_power) {
        const float* of_colour = data + file.data.power;
        for (float& value : power) {
            const float shining = Dot(VectorAt(of_colour + light_nodes::kMatrixFloats), u);
            value = std::max(0.0f, 0.5f * (Silhouette(of_colour, u, shining, flatness) + shining));
            of_colour += light_nodes::kColourFloats;
        }
    }
    seen.power = {power[0], power[1], power[2]};
    const float radius = std::sqrt(squared_radius);
    seen.share = radius > 0 && distance + radius > reach_
                     ? std::clamp((reach_ - (distance - radius)) / (2 * radius), 0.0f, 1.0f)
                     : 1.0f;
    AddSplat(seen);
    return LightNodeUse::kDone;
}

void Gather::Take(const LightFile& file, const PtcPoint* points, std::int32_t count) {
    for (std::int32_t i = 0; i < count; ++i) TakePoint(file, points[i]);
}

void Gather::TakePoint(const LightFile& file, const PtcPoint& point) {
    const Vec3f centre = VectorAt(point.position) - place_;
    const float squared = Dot(centre, centre);
    Vec3f normal = VectorAt(point.normal);
    const float distance = std::sqrt(squared);
    if (normal == Vec3f{}) normal = centre * (-1 / distance);  // it faces the place
    const float height = Dot(centre, normal_);
    const float upright = Dot(normal, normal_);
    const float radius = point.radius;
    const float reaches_up = radius * std::sqrt(std::max(0.0f, 1 - upright * upright));
    // This way round, what is not a number is left out.
    if (!(height + reaches_up > 0) || !(distance - radius < reach_)) return;
    Vec3f colour;
    if (file.colour >= 0) {
        colour = VectorAt(point.data + file.colour);
        if (!(Dot(colour, colour) < std::numeric_limits<float>::infinity())) colour = {};
    }
    if (radius * radius > disc_limit_ * squared) {
        const float behind = Dot(centre, normal);
        // Its own disc: the place is a little below it, and looks up through it.
        constexpr float kAlike = 0.7f;
        if (behind >= 0 && behind < 0.25f * radius && upright > kAlike) return;
        if (!(radius < std::numeric_limits<float>::infinity())) return;
        discs_.push_back({ToFrame(centre), ToFrame(normal), radius * radius, colour});
        return;
    }
    if (!(height > 0)) return;
    const float area = file.area >= 0 ? point.data[file.area] : kPi * radius * radius;
    if (!(area > 0) || !(area < std::numeric_limits<float>::infinity())) return;
    const float towards = -area * Dot(centre, normal) / distance;
    const float front = std::max(0.0f, towards);
    AddSplat({centre, squared, front, std::max(0.0f, -towards), colour * front,
              distance < reach_ ? 1.0f : 0.0f});
}
