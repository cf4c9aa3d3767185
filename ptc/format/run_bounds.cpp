// From the lanes' bounds to one of each.

#include "ptc/format/run_bounds.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "util/math/lanes.h"

namespace {

using B = LaneBounds;
using Bounds = std::array<float, B::kCount>;

Bounds Flat(const RunBounds& bounds) {
    Bounds flat;
    const PositionBox& spheres = bounds.spheres.Box();
    std::copy_n(spheres.min.begin(), 3, flat.begin() + B::kSphereMin);
    std::copy_n(spheres.max.begin(), 3, flat.begin() + B::kSphereMax);
    std::copy_n(bounds.positions.min.begin(), 3, flat.begin() + B::kMin);
    std::copy_n(bounds.positions.max.begin(), 3, flat.begin() + B::kMax);
    flat[B::kRadius] = bounds.spheres.LargestRadius();
    return flat;
}

std::array<float, 3> Corner(const Bounds& flat, std::size_t at) {
    return {flat[at], flat[at + 1], flat[at + 2]};
}

/// The outermost of the lanes, for `count` bounds from `at` on.
template <class Outer>
void TakeOutermost(const LaneBounds& lanes, std::size_t at, std::size_t count, Outer outer,
                   Bounds* flat) {
    for (std::size_t i = at; i < at + count; ++i) {
        const auto bytes = std::as_bytes(std::span(lanes.bounds[i]));
        const auto four = outer(LoadFour(bytes.data()), LoadFour(bytes.data() + bytes.size() / 2));
        const auto two = outer(four, __builtin_shufflevector(four, four, 2, 3, 0, 1));
        (*flat)[i] = outer(two, __builtin_shufflevector(two, two, 1, 0, 3, 2))[0];
    }
}

Bounds Flat(const LaneBounds& lanes) {
    using Floats = Lanes<4>::Floats;
    const auto lower = [](Floats a, Floats b) { return a < b ? a : b; };
    const auto higher = [](Floats a, Floats b) { return a > b ? a : b; };
    Bounds flat;
    TakeOutermost(lanes, B::kSphereMin, 3, lower, &flat);
    TakeOutermost(lanes, B::kSphereMax, 3, higher, &flat);
    TakeOutermost(lanes, B::kMin, 3, lower, &flat);
    TakeOutermost(lanes, B::kMax, 4, higher, &flat);
    return flat;
}
static_assert(B::kRadius == B::kMax + 3);

}  // namespace

void RunBounds::Include(const HeadRun& heads) {
    const std::byte* head = heads.first;
    for (std::size_t left = heads.count; left > 0; --left, head += heads.stride) {
        float position[3];
        float radius;
        std::memcpy(position, head, sizeof position);
        std::memcpy(&radius, head + heads.radius, sizeof radius);
        positions.Include(position);
        if (!(radius < 0)) spheres.Include(position, radius);
    }
}

RunBoundsByLanes::RunBoundsByLanes(const PointLanes& lanes, const HeadRun& heads,
                                   const RunBounds& before)
    : lanes_(lanes), heads_(heads), before_(before) {
    const Bounds flat = Flat(before);
    for (std::size_t i = 0; i < B::kCount; ++i)
        std::fill_n(values_.bounds[i], B::kMaxLanes, flat[i]);
}

RunBounds RunBoundsByLanes::Result() const {
    const Bounds before = Flat(before_);
    Bounds after = Flat(values_);
    bool has_new_zero = false;
    for (std::size_t i = 0; i < B::kCount; ++i) {
        // A zero beside a zero of the other sign changes nothing.
        if (after[i] == before[i]) after[i] = before[i];
        has_new_zero |= after[i] == 0 && before[i] != 0;
    }
    if (has_new_zero) {
        RunBounds one_by_one = before_;
        one_by_one.Include(heads_);
        return one_by_one;
    }
    return {PointBounds({Corner(after, B::kSphereMin), Corner(after, B::kSphereMax)},
                        after[B::kRadius]),
            {Corner(after, B::kMin), Corner(after, B::kMax)}};
}
