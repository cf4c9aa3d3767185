// GroupSeen: how much of a group's surfaces is seen from a direction, out of the sums in its node.
//
// With the surfaces' areas a and normals n, and the direction u towards who sees them, fronts are
// the sum of a max(0, n.u) and backs that of a max(0, -n.u). Their difference is (sum of a n).u;
// their sum, that of a |n.u|, is estimated from the sum of a (n.u)^2, which the sum of a n n^T has:
// as if n.u were spread evenly around its mean. It is so for a flat surface, for a sphere and,
// along its axis, for each zone of a sphere (Archimedes, "On the Sphere and Cylinder").
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
    // The sums come as xx yy zz xy | xz yz x y | z.
    const Floats square0 = Floats{u[0], u[1], u[2], 2 * u[0]} * Floats{u[0], u[1], u[2], u[1]};
    const Floats square1 = {2 * u[0] * u[2], 2 * u[1] * u[2], 0, 0};
    const Floats odd1 = {0, 0, u[0], u[1]};
    const Ints diagonal = {-1, -1, -1, 0};
    constexpr float kLeastTotal = 1e-30f;
    const Floats area0 = Load(area);
    const Floats area1 = {area[4], area[5], normals[0], normals[1]};
    Floats totals[4] = {Lanes<4>::Keep(diagonal, area0)};
    Floats squares[4] = {area0 * square0 + area1 * square1};
    Floats odds[4] = {area1 * odd1};
    Floats last = {normals[2]};
    if (power)
        for (int k = 0; k < 3; ++k) {
            const float* const sums = power + k * static_cast<int>(light_nodes::kColourFloats);
            const Floats sums1 = Load(sums + 4);
            const Floats sums0 = Load(sums);
            totals[k + 1] = Lanes<4>::Keep(diagonal, sums0);
            squares[k + 1] = sums0 * square0 + sums1 * square1;
            odds[k + 1] = sums1 * odd1;
            last[k + 1] = sums[8];
        }
    const Floats towards = SumsOf(odds[0], odds[1], odds[2], odds[3]) + last * u[2];
    const Floats total =
        Most(SumsOf(totals[0], totals[1], totals[2], totals[3]), Lanes<4>::Of(kLeastTotal));
    const Floats square = SumsOf(squares[0], squares[1], squares[2], squares[3]);
    // n.u is from mean - spread to mean + spread.
    const Floats mean = Lanes<4>::Magnitude(towards) / total;
    const Floats spread = Root(3 * NotBelowZero(square / total - mean * mean));
    const Floats evenly = (mean * mean + spread * spread) / (2 * Most(spread, mean));
    const Floats both = total * Lanes<4>::Choose(mean < spread, evenly, mean);
    const Floats fronts = NotBelowZero(0.5f * (both + towards));
    const Floats backs = NotBelowZero(0.5f * (both - towards));
    return {fronts[0], backs[0], fronts[1], fronts[2], fronts[3]};
}
