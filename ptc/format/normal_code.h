// A normal as two 16-bit codes: its azimuth around z and its height along z.
//
// Units      azimuth 0 is -pi, 65534 is +pi; height 0 is z = -1, 65534 is z = +1.
// Threads    any.

#pragma once

#include <cstdint>

#include "util/math/arc_tangent.h"
#include "util/math/lanes.h"

struct NormalCode {
    std::uint16_t azimuth;
    std::uint16_t height;

    bool operator==(const NormalCode&) const = default;
};
static_assert(sizeof(NormalCode) == 4);

/// The code of a normal without a direction.
inline constexpr NormalCode kNoNormal{0xFFFF, 0xFFFF};

/// Values truncated to 32 bits; 0 for what 32 bits do not hold, NaN included.
template <int kLanes>
[[gnu::always_inline]] inline typename Lanes<kLanes>::Ints ToWhole(
    typename Lanes<kLanes>::Floats values) {
    using L = Lanes<kLanes>;
    // The least number of 32 bits counts as too large, since its low 16 bits are 0 as well.
    return L::Truncated(L::Keep(L::Magnitude(values) < 2147483648.0f, values));
}

/// Codes that lack their azimuths.
template <int kLanes>
struct CodesBegun {
    arc_tangent::Slopes<kLanes> slopes;
    typename Lanes<kLanes>::Ints codes;  ///< the height in the upper half, or kNoNormal
};

/// Of (`x`, `y`, `z`), which are not normalised first: a normal longer than 1 may wrap.
template <int kLanes>
[[gnu::always_inline]] inline CodesBegun<kLanes> BeginCodes(typename Lanes<kLanes>::Floats x,
                                                            typename Lanes<kLanes>::Floats y,
                                                            typename Lanes<kLanes>::Floats z) {
    constexpr float kNoLengthSquared = 1e-12f;
    const auto has_none = x * x + y * y + z * z <= kNoLengthSquared;
    // KEPT: azimuth and height are scaled by 65534 and 32767, while a reader divides by 65535.
    // The mismatch is part of the format. Test: PtcNormalCode.GoldenCodes
    const auto height = ToWhole<kLanes>((z + 1.0f) * 32767.0f + 0.5f);
    return {arc_tangent::SlopesOf<kLanes>(y, x), height << 16 | Lanes<kLanes>::Fill(has_none)};
}

/// The codes, azimuth in the lower half.
template <int kLanes>
[[gnu::always_inline]] inline typename Lanes<kLanes>::Ints FinishCodes(
    const CodesBegun<kLanes>& begun, const arc_tangent::Reduced<kLanes>& reduced) {
    using L = Lanes<kLanes>;
    constexpr float kTurnsPerRadian = 0.15915494f;  // 1 / (2 pi)
    const auto turns = arc_tangent::AnglesOf<kLanes>(begun.slopes, reduced) * kTurnsPerRadian;
    const auto azimuth = (turns + 0.5f) * 65534.0f + 0.5f;  // 0.5 to 65534.5, or NaN
    return begun.codes | L::Truncated(L::Keep(azimuth == azimuth, azimuth));
}

/// The code of one normal.
inline NormalCode EncodeNormal(float x, float y, float z) {
    const CodesBegun<1> begun = BeginCodes<1>(x, y, z);
    const std::int32_t code = FinishCodes<1>(begun, arc_tangent::Reduce<1>(begun.slopes));
    return __builtin_bit_cast(NormalCode, code);
}
