// Particles: computes the place of each speck of dust.

#include "tools/scene/particles.h"

#include <numbers>

#include "tools/scene/random.h"

namespace scene {

namespace {

constexpr Material kDust = {{0.9f, 0.86f, 0.78f}, {}};

// The air that they fill: above everything on the floor, below the lamp.
constexpr Vec3f kLowest = {-0.95f, 0.35f, -0.95f};
constexpr Vec3f kSpan = {1.9f, 0.6f, 1.9f};

/// Makes the specks' seeds different from those of other samples.
constexpr std::uint64_t kSeed = 0xD057'0000'0000'0000u;

}  // namespace

Particles::Particles(std::uint32_t count, float size, Vec3f target)
    : Surface(kDust), count_(count), size_(size), target_(target) {}

void Particles::Dice(std::uint32_t grid, std::vector<Micropolygon>* micropolygons) const {
    const Point2 across = RandomPoint(kSeed + 2 * std::uint64_t{grid});
    const Point2 deep = RandomPoint(kSeed + 2 * std::uint64_t{grid} + 1);
    const Vec3f centre = kLowest + kSpan * Vec3f{across.u, across.v, deep.u};
    const Vec3f normal = Normalized(target_ - centre);
    const float radius = size_ * (std::numbers::sqrt2_v<float> / 2);
    *micropolygons = {{centre, normal, normal, radius, size_ * size_}};
}

}  // namespace scene
