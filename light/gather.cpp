// Gather: what the walk collects of nodes and points.

#include "light/gather.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "light/four_lanes.h"
#include "light/group_seen.h"
#include "ptc/cache/thread_cache.h"
#include "util/math/sine_cosine.h"
#include "util/stats/hres_clock.h"

namespace {

using namespace four_lanes;

constexpr float kPi = 3.1415927f;

/// The solid angle of a group on the horizon counts so much of one above the place.
constexpr float kLeastWeight = 0.9f;

/// The sine of a cone is at least this: its inverse scales the map.
constexpr float kLeastSine = 1e-20f;

/// A surface that appears smaller is not seen: its inverse would not be a normal number.
constexpr float kLeastArea = 1e-37f;

constexpr float kMost = std::numeric_limits<float>::max();

/// Two directions at right angles to the unit vector `n` and to each other.
LightFrame FrameOf(Vec3f n) {
    // The only branch is the sign, and for no direction is the divisor 0.
    const float sign = std::copysign(1.0f, n.z);
    const float a = -1 / (sign + n.z);
    const float b = n.x * n.y * a;
    return {{1 + sign * n.x * n.x * a, sign * b, -sign * n.x}, {b, sign + n.y * n.y * a, -n.y}, n};
}

Vec3f VectorAt(const float* floats) {
    return {floats[0], floats[1], floats[2]};
}

bool IsFinite(float value) {
    return value - value == 0;
}

/// Black for a colour whose square is not finite.
Vec3f Usable(Vec3f colour) {
    return IsFinite(Dot(colour, colour)) ? colour : Vec3f{};
}

}  // namespace

void Gather::Begin(const PtcPlace& place, const PtcGathering& settings) {
    frame_ = FrameOf(VectorAt(place.normal));
    place_ = VectorAt(place.position) + frame_.normal * settings.bias;
    place_lanes_ = Floats{place_.x, place_.y, place_.z, 0};
    normal_lanes_ = Floats{frame_.normal.x, frame_.normal.y, frame_.normal.z, 0};
    reach_ = settings.within;
    squared_reach_ = reach_ * reach_;
    squares_per_radius_ = kPi / settings.quality.solid_angle;
    map_.Set(settings.quality.pixels,
             settings.cone >= kPi / 2 ? 1.0f
                                      : std::max(sine_cosine::Of(settings.cone).sine, kLeastSine));
    constexpr float kCastPixels = 1.0f;
    const float ratio = kCastPixels * 2 / static_cast<float>(settings.quality.pixels);
    disc_limit_ = ratio * ratio;
    fronts_hide_ = settings.sides != PtcHidingSides::kBack;
    backs_hide_ = settings.sides != PtcHidingSides::kFront;
    splats_.Clear();
    discs_.Clear();
}

bool Gather::Run(const std::vector<LightFile>& files, PtcThreadCache* cache, const PtcPlace& place,
                 const PtcGathering& settings, Wanted wanted, PtcGathered* gathered) {
    const std::int64_t begin = hres_clock::Ticks();
    wants_colours_ = wanted == Wanted::kColoursToo;
    Begin(place, settings);
    const bool all_read = walk_.Run(files, cache, *this);
    const std::int64_t walked = hres_clock::Ticks();
    cache->stats.traverse_octrees_time.Add(walked - begin);

    splats_.Place(frame_, 1 / map_.SineOfCone());
    discs_.Cast(map_, reach_, &splats_);
    picture_.Draw(map_, {reach_, IsFinite(reach_) ? settings.falloff : 0.0f}, &splats_);
    const HemispherePicture::Means means = picture_.MeansOf(map_);
    const Vec3f open = Normalized(frame_.World(means.open));
    *gathered = {std::min(means.hidden, 1.0f),
                 {open.x, open.y, open.z},
                 {means.colour.x, means.colour.y, means.colour.z}};
    cache->stats.rasterize_time.Add(hres_clock::Ticks() - walked);
    return all_read;
}

LightNodeUse Gather::Look(const LightFile& file, const PtcNode& node) {
    const float* const data = node.data;
    // What follows the three floats belongs to the node, too.
    const Floats low = LoadThree(data + file.data.box) - place_lanes_;
    const Floats high = LoadThree(data + file.data.box + 3) - place_lanes_;
    const Floats middle = (low + high) * 0.5f;
    const Floats half = (high - low) * 0.5f;
    const Floats centre = LoadThree(data + file.data.centre) - place_lanes_;
    const Floats sums = SumsOf(middle * normal_lanes_ + half * Lanes<4>::Magnitude(normal_lanes_),
                               half * half, centre * centre, centre * normal_lanes_);
    const float top = sums[0];
    const float squared_radius = sums[1];
    const float squared = sums[2];
    const float height = sums[3];
    // This way round, what is not a number is left out.
    if (!(top > 0)) return LightNodeUse::kDone;
    if (IsFinite(reach_)) {
        const Floats away = Lanes<4>::Magnitude(middle) - half;
        const Floats outside = Lanes<4>::Keep(away > 0, away);
        const Floats square = outside * outside;
        if (!(square[0] + square[1] + square[2] < squared_reach_)) return LightNodeUse::kDone;
    }
    // What is near the horizon counts less and may be coarser.
    const float upright = kLeastWeight * squared + (1 - kLeastWeight) * (height * height);
    const float squares = squares_per_radius_ * squared_radius;
    // At the centre both sides are 0, and 4e9 away they may be infinite: neither is a group. From
    // 1e19 on there are only groups, of which nothing is seen.
    const bool is_far = squared > kMost && squares <= kMost;
    if (!(squares * upright < squared * squared) && !is_far) return LightNodeUse::kOpen;
    // A group whose centre is not above the horizon has hardly anything there.
    if (height > 0) TakeGroup(file, data, centre, squared, squared_radius);
    return LightNodeUse::kDone;
}

void Gather::TakeGroup(const LightFile& file, const float* data, Floats centre, float squared,
                       float squared_radius) {
    const float distance = std::sqrt(squared);
    const float* const power =
        wants_colours_ && file.data.has_power ? data + file.data.power : nullptr;
    const GroupSeen seen = SeenOfGroup(centre * (-1 / distance), data + file.data.area,
                                       data + file.data.normal, power);
    float share = 1;
    if (IsFinite(reach_)) {
        const float radius = std::sqrt(squared_radius);
        if (distance + radius > reach_ && radius > 0)
            share = std::clamp((reach_ - (distance - radius)) / (2 * radius), 0.0f, 1.0f);
    }
    Add({{centre[0], centre[1], centre[2]},
         squared,
         seen.front,
         seen.back,
         Usable({seen.red, seen.green, seen.blue}),
         share});
}

void Gather::Take(const LightFile& file, const PtcPoint* points, std::int32_t count) {
    for (std::int32_t i = 0; i < count; ++i) TakePoint(file, points[i]);
}

void Gather::TakePoint(const LightFile& file, const PtcPoint& point) {
    const Vec3f centre = VectorAt(point.position) - place_;
    const float squared = Dot(centre, centre);
    const float distance = std::sqrt(squared);
    Vec3f normal = VectorAt(point.normal);
    if (normal == Vec3f{}) normal = centre * (-1 / distance);  // it faces the place
    const float radius = point.radius;
    if (!(distance - radius < reach_)) return;
    if (radius * radius > disc_limit_ * squared) return TakeDisc(file, point, centre, normal);
    if (!(Dot(centre, frame_.normal) > 0) || !(distance < reach_)) return;
    const float area = file.area >= 0 ? point.data[file.area] : kPi * radius * radius;
    const float towards = -area * Dot(centre, normal) / distance;
    if (!(area > 0) || !IsFinite(towards)) return;
    const float front = std::max(0.0f, towards);
    Seen seen{centre, squared, front, std::max(0.0f, -towards), {}, 1};
    if (wants_colours_ && file.colour >= 0)
        seen.power = Usable(VectorAt(point.data + file.colour) * front);
    Add(seen);
}

void Gather::TakeDisc(const LightFile& file, const PtcPoint& point, Vec3f centre, Vec3f normal) {
    const float upright = Dot(normal, frame_.normal);
    const float up = point.radius * std::sqrt(std::max(0.0f, 1 - upright * upright));
    const float height = Dot(centre, normal);
    const bool from_behind = height > 0;
    if (!(Dot(centre, frame_.normal) + up > 0) || !IsFinite(point.radius) || !IsFinite(height) ||
        !(from_behind ? backs_hide_ : fronts_hide_))
        return;
    // Its own disc: the place is a little below it, and looks up through it.
    constexpr float kAlike = 0.7f;
    if (height >= 0 && height < 0.25f * point.radius && upright > kAlike) return;
    LightDisc disc{frame_.Of(centre), frame_.Of(normal), point.radius * point.radius, {}};
    if (wants_colours_ && file.colour >= 0)
        disc.colour = Usable(VectorAt(point.data + file.colour));
    discs_.Add(disc);
}

void Gather::Add(const Seen& seen) {
    const float front = fronts_hide_ ? seen.front : 0.0f;
    const float back = backs_hide_ ? seen.back : 0.0f;
    if (!(front + back > kLeastArea)) return;
    const std::size_t row = splats_.Add();
    splats_.At(Splats::kX, row) = seen.at.x;
    splats_.At(Splats::kY, row) = seen.at.y;
    splats_.At(Splats::kZ, row) = seen.at.z;
    splats_.At(Splats::kSquared, row) = seen.squared_distance;
    splats_.At(Splats::kFront, row) = front;
    splats_.At(Splats::kBack, row) = back;
    splats_.At(Splats::kRed, row) = seen.power.x;
    splats_.At(Splats::kGreen, row) = seen.power.y;
    splats_.At(Splats::kBlue, row) = seen.power.z;
    splats_.At(Splats::kShare, row) = seen.share;
}
