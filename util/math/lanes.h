// Lanes: several numbers side by side, with one operation on all of them at a time.
//
// The compiler's vector types add, multiply, compare and convert; here is what they lack. A
// comparison gives an integer for each lane, with all bits set where it is true.
//
// Every function is a template over the number of lanes and is inlined wherever it is called. So a
// source file that is compiled for newer processors emits no function that the linker could choose
// for the files that run on all of them.
//
// Units      none.
// Errors     none.
// Ownership  none.
// Threads    any.

#pragma once

#include <cstddef>
#include <cstdint>

/// Up to eight numbers for Lanes::LookUp().
template <std::size_t kRows>
struct LaneTable {
    float rows[kRows];
    alignas(32) float by_mask_sum[8];  ///< row i at place -i modulo 8

    consteval explicit LaneTable(const float (&given)[kRows]) : rows(), by_mask_sum() {
        for (std::size_t i = 0; i < kRows; ++i) rows[i] = by_mask_sum[-i % 8] = given[i];
    }
};

template <int kLanes>
struct Lanes {
    using Floats __attribute__((vector_size(4 * kLanes))) = float;
    using Ints __attribute__((vector_size(4 * kLanes))) = std::int32_t;
    using Mask = Ints;

    [[gnu::always_inline]] static Floats Of(float value) { return value - Floats{}; }
    [[gnu::always_inline]] static Ints Bits(Floats values) {
        return __builtin_bit_cast(Ints, values);
    }
    [[gnu::always_inline]] static Floats FromBits(Ints bits) {
        return __builtin_bit_cast(Floats, bits);
    }

    [[gnu::always_inline]] static Floats Magnitude(Floats values) {
        return FromBits(Bits(values) & INT32_MAX);
    }
    [[gnu::always_inline]] static Floats WithSignOf(Floats signs, Floats magnitudes) {
        return FromBits(Bits(magnitudes) | (Bits(signs) & INT32_MIN));
    }
    [[gnu::always_inline]] static Mask HasSign(Floats values) { return Bits(values) < 0; }
    /// A template because g++ 12 does not know here that `Floats` is a vector.
    template <class F>
    [[gnu::always_inline]] static Ints Truncated(F values) {
        return __builtin_convertvector(values, Ints);
    }

    /// `values` where `mask` is set, zero elsewhere.
    [[gnu::always_inline]] static Floats Keep(Mask mask, Floats values) {
        return FromBits(mask & Bits(values));
    }
    [[gnu::always_inline]] static Floats Drop(Mask mask, Floats values) {
        return FromBits(~mask & Bits(values));
    }
    [[gnu::always_inline]] static Floats Choose(Mask mask, Floats yes, Floats no) {
        return FromBits((mask & Bits(yes)) | (~mask & Bits(no)));
    }
    [[gnu::always_inline]] static Floats NanWhere(Mask mask, Floats values) {
        return FromBits(mask | Bits(values));
    }
    /// The same for a mask that is seldom set.
    [[gnu::always_inline]] static Floats Except(Mask mask, Floats seldom, Floats usual) {
        return Choose(mask, seldom, usual);
    }
    /// All bits set where `mask` is.
    [[gnu::always_inline]] static Ints Fill(Mask mask) { return mask; }

    /// The values of a table whose row for a lane is the number of `masks` that are set there. A
    /// mask is set only where the one before it is.
    template <class M, std::size_t kMasks>
    [[gnu::always_inline]] static Floats LookUp(const LaneTable<kMasks + 1>& table,
                                                const M (&masks)[kMasks]) {
        if constexpr (kLanes == 8) {
            // A set mask is -1, and the table is stored for such numbers.
            M row = masks[0];
            for (std::size_t i = 1; i < kMasks; ++i) row += masks[i];
            M bits;
            __builtin_memcpy(&bits, table.by_mask_sum, sizeof bits);
            return __builtin_ia32_permvarsf256(FromBits(bits), row);
        } else {
            // Combines the differences of neighbouring rows.
            M bits = Bits(Of(table.rows[0]));
            for (std::size_t i = 0; i < kMasks; ++i)
                bits ^= masks[i] & (Bits(Of(table.rows[i])) ^ Bits(Of(table.rows[i + 1])));
            return FromBits(bits);
        }
    }
};

/// A single number: what several lanes do, in the instructions for one.
template <>
struct Lanes<1> {
    using Floats = float;
    using Ints = std::int32_t;
    using Mask = bool;

    static float Of(float value) { return value; }
    static float Magnitude(float value) { return __builtin_fabsf(value); }
    static float WithSignOf(float sign, float magnitude) {
        return __builtin_copysignf(magnitude, sign);
    }
    static bool HasSign(float value) { return __builtin_signbit(value); }
    static std::int32_t Truncated(float value) { return static_cast<std::int32_t>(value); }
    static float Keep(bool mask, float value) { return mask ? value : 0; }
    static float Drop(bool mask, float value) { return mask ? 0 : value; }
    static float Choose(bool mask, float yes, float no) { return mask ? yes : no; }
    static float Except(bool mask, float seldom, float usual) {
        if (mask) [[unlikely]]
            return seldom;
        return usual;
    }
    static std::int32_t Fill(bool mask) { return mask ? -1 : 0; }

    template <std::size_t kMasks>
    static float LookUp(const LaneTable<kMasks + 1>& table, const bool (&masks)[kMasks]) {
        std::size_t row = 0;
        for (const bool mask : masks) row += mask;
        return table.rows[row];
    }
};

/// Four floats from memory of any alignment, and back.
[[gnu::always_inline]] inline Lanes<4>::Floats LoadFour(const std::byte* bytes) {
    Lanes<4>::Floats values;
    __builtin_memcpy(&values, bytes, sizeof values);
    return values;
}
[[gnu::always_inline]] inline void StoreFour(Lanes<4>::Floats values, std::byte* bytes) {
    __builtin_memcpy(bytes, &values, sizeof values);
}
