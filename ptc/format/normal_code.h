// A normal as two 16-bit codes: its azimuth around z and its height along z.
//
// Units      azimuth 0 is -pi, 65534 is +pi; height 0 is z = -1, 65534 is z = +1.
// Threads    any.

#pragma once

#include <cstdint>

#include "util/math/arc_tangent.h"

struct NormalCode {
    std::uint16_t azimuth;
    std::uint16_t height;

    bool operator==(const NormalCode&) const = default;
};

/// The code of a normal without a direction.
inline constexpr NormalCode kNoNormal{0xFFFF, 0xFFFF};

/// The low 16 bits of `value` truncated to 32; 0 for what 32 bits do not hold, NaN included,
/// because such a value truncates to 0x80000000.
inline std::uint16_t ToCode(float value) {
    if (!(value > -2147483904.0f && value < 2147483648.0f)) return 0;
    return static_cast<std::uint16_t>(static_cast<std::int32_t>(value));
}

/// The code of (`x`, `y`, `z`), which is not normalised first: a normal longer than 1 may wrap.
inline NormalCode EncodeNormal(float x, float y, float z) {
    constexpr float kNoLengthSquared = 1e-12f;
    constexpr float kTurnsPerRadian = 0.15915494f;  // 1 / (2 pi)
    if (x * x + y * y + z * z <= kNoLengthSquared) return kNoNormal;

    // KEPT: azimuth and height are scaled by 65534 and 32767, while a reader divides by 65535.
    // The mismatch is part of the format. Test: PtcNormalCode.GoldenCodes
    const float turns = arc_tangent::Of(y, x) * kTurnsPerRadian;
    return {ToCode((turns + 0.5f) * 65534.0f + 0.5f), ToCode((z + 1.0f) * 32767.0f + 0.5f)};
}
