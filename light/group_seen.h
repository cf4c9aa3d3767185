// GroupSeen: how much of a group's surfaces is seen from a direction, out of the sums in its node.
//
// With the surfaces' areas a and normals n, and the direction u towards who sees them, fronts are
// the sum of a max(0, n.u) and backs that of a max(0, -n.u). Their difference is (sum of a n).u;
// their sum, that of a |n.u|, comes from the sum of a n n^T: 3/16 + 15/16 (n.u)^2 is the even
// polynomial of order 2 that is nearest to |n.u| over all directions. A group whose normals are
// nearly all the same is flat, and has |n.u| exactly.
//
// Units      areas of the cloud.
// Errors     none; sums that are not finite are seen as nothing.
// Threads    any.

#pragma once

#include <algorithm>
#include <cmath>

#include "light/four_lanes.h"
#include "ptc/format/light_nodes.h"

/// What is seen of a group.
struct GroupSeen {
    float front, back;       ///< areas
    float red, green, blue;  ///< sums of a c max(0, n.u), what the fronts send
};

/// `u`: in three lanes. `area` and `normals`: the sums of a n n^T, as xx yy zz xy xz yz, and of a
/// n. `power`: those of a c n n^T and of a c n for each of three colours, or null.
inline GroupSeen SeenOfGroup(four_lanes::Floats u, const float* area, const float* normals,
                             const float* power) {
    using namespace four_lanes;
    constexpr float kConstant = 0.1875f;
    constexpr float kSquare = 0.9375f;
    // Lengths of the summed normals over the area, from which on a group is partly and all flat.
    constexpr float kRound = 0.7f;
    constexpr float kFlat = 0.95f;

    // The sums come as xx yy zz xy | xz yz x y | z.
    const float twice = 2 * kSquare * u[0];
    const Floats even0 = Floats{kConstant, kConstant, kConstant, 0} +
                         Floats{kSquare * u[0], kSquare * u[1], kSquare * u[2], twice} *
                             Floats{u[0], u[1], u[2], u[1]};
    const Floats even1 = {twice * u[2], 2 * kSquare * u[1] * u[2], 0, 0};
    const Floats odd1 = {0, 0, u[0], u[1]};
    const Floats area0 = Load(area);
    const Floats area1 = {area[4], area[5], normals[0], normals[1]};
    Floats evens[4] = {area0 * even0 + area1 * even1};
    Floats odds[4] = {area1 * odd1};
    Floats last = {normals[2]};
    if (power)
        for (int k = 0; k < 3; ++k) {
            const float* const sums = power + k * static_cast<int>(light_nodes::kColourFloats);
            const Floats sums1 = Load(sums + 4);
            evens[k + 1] = Load(sums) * even0 + sums1 * even1;
            odds[k + 1] = sums1 * odd1;
            last[k + 1] = sums[8];
        }
    const Floats towards = SumsOf(odds[0], odds[1], odds[2], odds[3]) + last * u[2];
    const Floats least = Lanes<4>::Magnitude(towards);
    const Floats sum = SumsOf(evens[0], evens[1], evens[2], evens[3]);
    const float tightness =
        std::sqrt(normals[0] * normals[0] + normals[1] * normals[1] + normals[2] * normals[2]) /
        (area[0] + area[1] + area[2]);
    const float flatness = std::clamp((tightness - kRound) * (1 / (kFlat - kRound)), 0.0f, 1.0f);
    const Floats both = flatness * least + (1 - flatness) * Most(sum, least);
    const Floats fronts = NotBelowZero(0.5f * (both + towards));
    const Floats backs = NotBelowZero(0.5f * (both - towards));
    return {fronts[0], backs[0], fronts[1], fronts[2], fronts[3]};
}
