// Rays: hemispheres of rays, and the lamp's light at what they hit.

#include "bench/light/rays.h"

#include "tools/common/failure.h"
#include "tools/scene/hemisphere.h"

namespace accuracy {

namespace {

/// Longer than any way through a scene.
constexpr float kFar = 100;

/// Point `index` of a sequence that is even together with scene::EvenPoint(): the steps are the
/// fractions of the roots of 2 and 3, independent of that sequence's.
scene::Point2 EvenLampPoint(std::uint64_t seed, std::uint32_t index) {
    const std::uint64_t shift = scene::Hash(~seed);
    return {scene::Fraction(static_cast<std::uint32_t>(shift >> 32) + index * 0x6A09E667u),
            scene::Fraction(static_cast<std::uint32_t>(shift) + index * 0xBB67AE85u)};
}

Vec3d Exact(Vec3f value) {
    return {double{value.x}, double{value.y}, double{value.z}};
}

/// Calls `take` with each direction above the place, and its number.
template <class Take>
void ForEachDirection(const Place& place, int rays, std::uint64_t seed, const Take& take) {
    const scene::Tangents tangents = scene::TangentsOf(place.normal);
    for (std::uint32_t k = 0; k < static_cast<std::uint32_t>(rays); ++k)
        take(scene::CosineDirection(place.normal, tangents, scene::EvenPoint(seed, k)), k);
}

}  // namespace

Vec3d Rays::Estimate(Quantity quantity, const Place& place, const RayWork& work,
                     std::uint64_t seed) const {
    if (quantity == Quantity::kIndirect) return Indirect(place, work, seed);
    const float within = quantity == Quantity::kNearOcclusion ? kNear : kFar;
    const double occlusion = Occlusion(place, within, work.rays, seed);
    return {occlusion, occlusion, occlusion};
}

double Rays::Occlusion(const Place& place, float within, int rays, std::uint64_t seed) const {
    int blocked = 0;
    ForEachDirection(place, rays, seed, [&](Vec3f direction, std::uint32_t) {
        blocked += tracer_.Blocked(place.origin, place.origin + direction * within) ? 1 : 0;
    });
    return static_cast<double>(blocked) / rays;
}

Vec3d Rays::Indirect(const Place& place, const RayWork& work, std::uint64_t seed) const {
    Vec3d sum;
    ForEachDirection(place, work.rays, seed, [&](Vec3f direction, std::uint32_t k) {
        const auto hit = tracer_.Nearest(place.origin, direction);
        if (!hit) return;
        const Vec3f position = place.origin + direction * hit->distance;
        sum = sum + Exact(Reflected(*hit, position, work, seed, k));
    });
    return sum * (1.0 / work.rays);
}

Vec3f Rays::Reflected(const scene::RayTracer::Hit& hit, Vec3f position, const RayWork& work,
                      std::uint64_t seed, std::uint32_t sample) const {
    const scene::Receiver here = {position + hit.facing * scene::kLiftOff, hit.facing};
    Vec3f arriving;
    for (int i = 0; i < work.lamp_rays; ++i) {
        const std::uint32_t number =
            sample * static_cast<std::uint32_t>(work.lamp_rays) + static_cast<std::uint32_t>(i);
        const scene::Point2 point = EvenLampPoint(seed, number);
        arriving = arriving + scene::FromLamp(scene_.Light(), tracer_, here,
                                              scene_.Light().At(point.u, point.v));
    }
    arriving = arriving * (1 / static_cast<float>(work.lamp_rays));
    if (work.bounces > 1) {
        RayWork rest = work;
        rest.bounces = work.bounces - 1;
        const std::uint64_t own = scene::Hash(seed + 1) + sample;
        const Vec3f direction = scene::CosineDirection(here.normal, scene::TangentsOf(here.normal),
                                                       scene::RandomPoint(own));
        if (const auto next = tracer_.Nearest(here.origin, direction))
            arriving = arriving + Reflected(*next, here.origin + direction * next->distance, rest,
                                            scene::Hash(own), 0);
    }
    return hit.surface->GetMaterial().albedo * arriving;
}

Vec3d Rays::Baked(const BakedPoints& points, const Place& place, int rays,
                  std::uint64_t seed) const {
    Vec3d sum;
    ForEachDirection(place, rays, seed, [&](Vec3f direction, std::uint32_t) {
        const auto hit = tracer_.Nearest(place.origin, direction);
        if (!hit) return;
        const Vec3f position = place.origin + direction * hit->distance;
        Vec3f colour;
        PtcNearestArrays arrays;
        arrays.data = &colour.x;
        std::int32_t found = 0;
        if (!points.lookup.Nearest({&position.x, &hit->facing.x}, {1, points.within, 0}, arrays,
                                   &found))
            throw Failure(PtcLastFailure().text);
        if (found > 0) sum = sum + Exact(colour);
    });
    return sum * (1.0 / rays);
}

}  // namespace accuracy
