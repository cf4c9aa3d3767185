// The loops of point_lanes.h for a given number of lanes.
//
// Everything here is a template and is inlined; lanes.h has the reason. The vectors are of template
// types throughout, because g++ 12 does not see a vector in `Lanes<kLanes>::Floats`.
//
// Threads    any.

#pragma once

#include "ptc/format/point_lanes.h"
#include "util/math/lanes.h"

/// Four or eight rows of four floats, as columns. With eight lanes, the vector of row i has row
/// i + 4 in its upper half, since shuffles do not cross the halves.
template <class F>
struct LaneColumns {
    F x, y, z, w;

    [[gnu::always_inline]] explicit LaneColumns(const F (&rows)[4]) {
        const F low01 = Alternate(rows[0], rows[1]);
        const F low23 = Alternate(rows[2], rows[3]);
        const F high01 = AlternateUpper(rows[0], rows[1]);
        const F high23 = AlternateUpper(rows[2], rows[3]);
        x = Join(low01, low23);
        y = JoinUpper(low01, low23);
        z = Join(high01, high23);
        w = JoinUpper(high01, high23);
    }

private:
    static constexpr bool kIsWide = sizeof(F) == 32;

    /// Of each four lanes: a0 b0 a1 b1.
    [[gnu::always_inline]] static F Alternate(F a, F b) {
        if constexpr (kIsWide) {
            return __builtin_shufflevector(a, b, 0, 8, 1, 9, 4, 12, 5, 13);
        } else {
            return __builtin_shufflevector(a, b, 0, 4, 1, 5);
        }
    }
    /// Likewise: a2 b2 a3 b3.
    [[gnu::always_inline]] static F AlternateUpper(F a, F b) {
        if constexpr (kIsWide) {
            return __builtin_shufflevector(a, b, 2, 10, 3, 11, 6, 14, 7, 15);
        } else {
            return __builtin_shufflevector(a, b, 2, 6, 3, 7);
        }
    }
    /// Likewise: a0 a1 b0 b1.
    [[gnu::always_inline]] static F Join(F a, F b) {
        if constexpr (kIsWide) {
            return __builtin_shufflevector(a, b, 0, 1, 8, 9, 4, 5, 12, 13);
        } else {
            return __builtin_shufflevector(a, b, 0, 1, 4, 5);
        }
    }
    /// Likewise: a2 a3 b2 b3.
    [[gnu::always_inline]] static F JoinUpper(F a, F b) {
        if constexpr (kIsWide) {
            return __builtin_shufflevector(a, b, 2, 3, 10, 11, 6, 7, 14, 15);
        } else {
            return __builtin_shufflevector(a, b, 2, 3, 6, 7);
        }
    }
};

/// As many points as there are lanes.
template <int kLanes>
struct LaneGroup {
    using F = typename Lanes<kLanes>::Floats;

    const std::byte* first;
    std::size_t stride;
    std::size_t last;  ///< lanes behind this point take it again

    /// Of each point the four floats at `offset`.
    [[gnu::always_inline]] LaneColumns<F> Columns(std::size_t offset) const {
        F rows[4];
        for (std::size_t i = 0; i < 4; ++i) {
            if constexpr (kLanes == 8) {
                rows[i] = __builtin_shufflevector(Row(i, offset), Row(i + 4, offset), 0, 1, 2, 3, 4,
                                                  5, 6, 7);
            } else {
                rows[i] = Row(i, offset);
            }
        }
        return LaneColumns<F>(rows);
    }

private:
    [[gnu::always_inline]] Lanes<4>::Floats Row(std::size_t index, std::size_t offset) const {
        return LoadFour(first + (index < last ? index : last) * stride + offset);
    }
};

/// Calls `work` with the groups of a run.
template <int kLanes, class Work>
[[gnu::always_inline]] inline void ForGroups(const HeadRun& heads, Work work) {
    LaneGroup<kLanes> group{heads.first, heads.stride, kLanes - 1};
    std::size_t left = heads.count;
    for (; left >= kLanes; left -= kLanes, group.first += kLanes * heads.stride) work(group);
    if (left == 0) return;
    group.last = left - 1;
    work(group);
}

/// In three loops. An angle is a long chain of operations that wait for each other, and a processor
/// looks ahead over so many instructions: of short chains it sees more at a time. One loop takes a
/// third longer.
template <int kLanes>
[[gnu::always_inline]] inline void EncodeNormalsByLanes(const HeadRun& heads, NormalCodes& codes) {
    static_assert(kMaxRun % kLanes == 0);
    constexpr std::size_t kNormal = 12;
    CodesBegun<kLanes> begun[kMaxRun / kLanes];
    arc_tangent::Reduced<kLanes> reduced[kMaxRun / kLanes];
    std::size_t groups = 0;
    ForGroups<kLanes>(
        heads, [&](const LaneGroup<kLanes>& group) __attribute__((always_inline)) {
            const auto normals = group.Columns(kNormal);
            begun[groups++] = BeginCodes<kLanes>(normals.x, normals.y, normals.z);
        });
    for (std::size_t i = 0; i < groups; ++i)
        reduced[i] = arc_tangent::Reduce<kLanes>(begun[i].slopes);
    for (std::size_t i = 0; i < groups; ++i) {
        const auto group = FinishCodes<kLanes>(begun[i], reduced[i]);
        __builtin_memcpy(codes + i * kLanes, &group, sizeof group);
    }
}

/// An axis of two boxes.
template <int kLanes>
struct LaneAxis {
    using F = typename Lanes<kLanes>::Floats;

    F sphere_min, sphere_max, min, max;

    /// `radius`: NaN for a point that is refused, which then enters no bound. No radius is negative
    /// here, so the low end is not above the high one, and each is compared with one bound only.
    template <class V>
    [[gnu::always_inline]] void Include(V position, V radius) {
        const V low = position - radius;
        const V high = position + radius;
        sphere_min = low < sphere_min ? low : sphere_min;
        sphere_max = high > sphere_max ? high : sphere_max;
        min = position < min ? position : min;
        max = position > max ? position : max;
    }
};

template <int kLanes>
[[gnu::always_inline]] inline void IncludeByLanes(const HeadRun& heads, LaneBounds* bounds) {
    using F = typename Lanes<kLanes>::Floats;
    using B = LaneBounds;
    const auto load = [&](std::size_t bound) __attribute__((always_inline)) {
        F values;
        __builtin_memcpy(&values, bounds->bounds[bound], sizeof values);
        return values;
    };
    const auto store = [&](std::size_t bound, F values) __attribute__((always_inline)) {
        __builtin_memcpy(bounds->bounds[bound], &values, sizeof values);
    };
    const auto axis_of = [&](std::size_t i) __attribute__((always_inline)) {
        return LaneAxis<kLanes>{load(B::kSphereMin + i), load(B::kSphereMax + i), load(B::kMin + i),
                                load(B::kMax + i)};
    };
    LaneAxis<kLanes> x = axis_of(0);
    LaneAxis<kLanes> y = axis_of(1);
    LaneAxis<kLanes> z = axis_of(2);
    F largest = load(B::kRadius);
    ForGroups<kLanes>(
        heads, [&](const LaneGroup<kLanes>& group) __attribute__((always_inline)) {
            const auto positions = group.Columns(0);
            const F given = group.Columns(heads.radius - 12).w;
            const F radius = Lanes<kLanes>::NanWhere(given < 0.0f, given);
            largest = radius > largest ? radius : largest;
            x.Include(positions.x, radius);
            y.Include(positions.y, radius);
            z.Include(positions.z, radius);
        });
    const auto put_axis = [&](std::size_t i, const LaneAxis<kLanes>& axis)
        __attribute__((always_inline)) {
        store(B::kSphereMin + i, axis.sphere_min);
        store(B::kSphereMax + i, axis.sphere_max);
        store(B::kMin + i, axis.min);
        store(B::kMax + i, axis.max);
    };
    put_axis(0, x);
    put_axis(1, y);
    put_axis(2, z);
    store(B::kRadius, largest);
}
