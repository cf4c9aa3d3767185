// The angle of a vector in single precision, with the same bits on every machine.
//
// The C standard leaves the last bit of atan2f open, and versions of C libraries differ in it.
// Codes in files must not depend on that, so the angle is computed here in plain float arithmetic:
// IEEE 754 rounds each single operation the same way everywhere. docs/adr/0003-own-arc-tangent.md
// has the decision and what was compared.
//
// Source: the argument reduction at 7/16, 11/16, 19/16 and 39/16 and the minimax polynomial that
// C libraries have shared for single precision since the 1990s. Libraries branch to one of five
// formulas; here a table has the coefficients of all five, so every argument takes the same path
// with one division and one polynomial, and several angles are computed side by side. A row rounds
// exactly like the formula it replaces: its factors are 0, 1, 1.5 or 2, and a product with 0, 1 or
// 2 and a sum with 0 are exact. Each lane has the operations of a single angle in the same order,
// so the number of lanes changes no bit.
//
// Units      radians.
// Errors     NaN when an argument is NaN.
// Ownership  none.
// Threads    any.

#pragma once

#include <limits>

#include "util/math/lanes.h"

namespace arc_tangent {

inline constexpr float kPi = 3.1415927410f;
inline constexpr float kPiLow = -8.7422776573e-08f;  // pi is kPi + kPiLow
inline constexpr float kHalfPi = 1.5707963705f;
inline constexpr float kInfinity = std::numeric_limits<float>::infinity();

// Reduces x to t = (a x - b) / (b x + a), with atan(x) = atan(t) + high + low. This is the
// difference formula atan(x) - atan(q) = atan((x - q) / (1 + q x)), for q = 1/2 with numerator and
// denominator doubled. `low` is the part of atan(q) that the float `high` does not hold.
//
// q                                   0          1/2                 1                 3/2 infinity
// x is below                       7/16        11/16             19/16               39/16
inline constexpr LaneTable<5> kA({1, 2, 1, 1, 0});
inline constexpr LaneTable<5> kB({0, 1, 1, 1.5f, 1});
inline constexpr LaneTable<5> kHigh({0, 4.6364760399e-01f, 7.8539812565e-01f, 9.8279368877e-01f,
                                     1.5707962513e+00f});
inline constexpr LaneTable<5> kLow({0, 5.0121582440e-09f, 3.7748947079e-08f, 3.4473217170e-08f,
                                    7.5497894159e-08f});

// From this ratio on an angle is pi / 2, as in C libraries.
inline constexpr float kAllUpright = 33554432.0f;  // 2^25
static_assert(kHigh.rows[4] + kLow.rows[4] == kHalfPi);

/// The directions of vectors (x, y).
template <int kLanes>
struct Slopes {
    using Floats = typename Lanes<kLanes>::Floats;

    Floats ratio;   ///< |y| / |x|, with the sign of y
    Floats facing;  ///< its sign is that of x, and + where x is nothing beside y
};

/// NaN stays NaN, and zeros and infinities have the directions that the C standard gives them.
template <int kLanes>
[[gnu::always_inline]] inline Slopes<kLanes> SlopesOf(typename Lanes<kLanes>::Floats y,
                                                      typename Lanes<kLanes>::Floats x) {
    using L = Lanes<kLanes>;
    using Floats = typename L::Floats;
    const Floats width = L::Magnitude(x);
    const Floats height = L::Magnitude(y);
    if constexpr (kLanes == 1) {
        // Almost always, and what follows gives the same.
        const bool is_plain = width > 0 && height > 0 && width < kInfinity && height < kInfinity;
        if (is_plain) [[likely]]
            return {L::WithSignOf(y, height / width), x};
    }
    const typename L::Mask is_zero = width == 0.0f;
    const typename L::Mask is_upright = (is_zero | (height == kInfinity)) & (width < height);
    // The ratio of equal ones is 1, and 0 of zeros: zeros and infinities are not divided by their
    // like, nor by each other.
    const typename L::Mask is_known = is_upright | (width == height);
    const Floats one = L::Of(1.0f);
    const Floats known = L::Choose(is_upright, L::Of(kAllUpright), L::Drop(is_zero, one));
    const Floats ratio = L::Except(is_known, known, height) / L::Except(is_known, one, width);
    return {L::WithSignOf(y, ratio), L::Drop(is_upright, x)};
}

/// Of ratios: atan(|ratio|) = atan(t) + high + low.
template <int kLanes>
struct Reduced {
    typename Lanes<kLanes>::Floats t, high, low;
};

template <int kLanes>
[[gnu::always_inline]] inline Reduced<kLanes> Reduce(const Slopes<kLanes>& slopes) {
    using L = Lanes<kLanes>;
    using Floats = typename L::Floats;
    const Floats x = L::Magnitude(slopes.ratio);
    const typename L::Mask is_from[] = {x >= 0.4375f, x >= 0.6875f, x >= 1.1875f, x >= 2.4375f};
    const Floats a = L::LookUp(kA, is_from);
    const Floats b = L::LookUp(kB, is_from);
    return {(a * x - b) / (b * x + a), L::LookUp(kHigh, is_from), L::LookUp(kLow, is_from)};
}

/// The angles between vectors and the x axis, from -pi to pi.
template <int kLanes>
[[gnu::always_inline]] inline typename Lanes<kLanes>::Floats AnglesOf(
    const Slopes<kLanes>& slopes, const Reduced<kLanes>& reduced) {
    using L = Lanes<kLanes>;
    using Floats = typename L::Floats;
    const Floats t = reduced.t;
    // The polynomial in z = t², its odd and its even coefficients summed apart in w = z²: the two
    // sums do not wait for each other. The order of the operations is part of the result.
    const Floats z = t * t;
    const Floats w = z * z;
    const Floats odd =
        z * (3.3333334327e-01f +
             w * (1.4285714924e-01f +
                  w * (9.0908870101e-02f +
                       w * (6.6610731184e-02f + w * (4.9768779427e-02f + w * 1.6285819933e-02f)))));
    const Floats even =
        w * (-2.0000000298e-01f +
             w * (-1.1111110449e-01f +
                  w * (-7.6918758452e-02f + w * (-5.8335702866e-02f + w * -3.6531571299e-02f))));
    const Floats below = reduced.high - ((t * (odd + even) - reduced.low) - t);
    const Floats angle =
        L::Except(L::Magnitude(slopes.ratio) >= kAllUpright, L::Of(kHalfPi), below);
    // Mirrored. kPi - (angle - kPiLow), in this order, loses less than (kPi + kPiLow) - angle: the
    // sum in brackets would round back to kPi.
    const Floats turned = L::Choose(L::HasSign(slopes.facing), kPi - (angle - kPiLow), angle);
    return L::WithSignOf(slopes.ratio, turned);
}

/// The angles of vectors by the rules of the C standard; NaN where x or y is NaN.
template <int kLanes>
[[gnu::always_inline]] inline typename Lanes<kLanes>::Floats Of(typename Lanes<kLanes>::Floats y,
                                                                typename Lanes<kLanes>::Floats x) {
    const Slopes<kLanes> slopes = SlopesOf<kLanes>(y, x);
    return AnglesOf<kLanes>(slopes, Reduce<kLanes>(slopes));
}

}  // namespace arc_tangent
