// Numbers that are computed with several at once, in one register where the machine has such.
//
// Every lane does the same operations in the same order as plain code, so the results are the same
// to the bit. A comparison with a NaN is false: `a < b ? a : b` is `b` then.
//
// Threads    any.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace lanes {

using Floats = float __attribute__((vector_size(16)));
using Choice = std::int32_t __attribute__((vector_size(16)));  ///< of a comparison: 0 or -1 a lane
using Bytes = std::uint8_t __attribute__((vector_size(16)));

inline Floats All(float value) {
    return Floats{value, value, value, value};
}

inline Floats Load(const float* values) {
    Floats floats;
    std::memcpy(&floats, values, sizeof floats);
    return floats;
}

inline Floats Smaller(Floats a, Floats b) {
    return a < b ? a : b;
}
inline Floats Larger(Floats a, Floats b) {
    return a > b ? a : b;
}

/// Bit i: lane i of the comparison holds.
inline unsigned Mask(Choice choice) {
#if defined(__SSE2__)
    __m128 bits;
    std::memcpy(&bits, &choice, sizeof bits);
    return static_cast<unsigned>(_mm_movemask_ps(bits));
#else
    unsigned mask = 0;
    for (int i = 0; i < 4; ++i) mask |= choice[i] ? 1U << i : 0U;
    return mask;
#endif
}

/// Bit i: byte i of 16 is `value`.
inline unsigned EqualMask(const std::uint8_t* bytes, std::uint8_t value) {
    Bytes loaded;
    std::memcpy(&loaded, bytes, sizeof loaded);
#if defined(__SSE2__)
    const Bytes equal = reinterpret_cast<Bytes>(loaded == value);
    __m128i bits;
    std::memcpy(&bits, &equal, sizeof bits);
    return static_cast<unsigned>(_mm_movemask_epi8(bits));
#else
    unsigned mask = 0;
    for (int i = 0; i < 16; ++i) mask |= loaded[i] == value ? 1U << i : 0U;
    return mask;
#endif
}

/// Which of eight lanes a mask has, ascending; the rest is 0.
using LaneList = std::array<std::uint8_t, 8>;

/// The lists of all masks: what a loop over the bits gives, without the jumps.
inline constexpr std::array<LaneList, 256> kLanesOf = [] {
    std::array<LaneList, 256> lists{};
    for (unsigned mask = 0; mask < 256; ++mask) {
        std::size_t count = 0;
        for (std::uint8_t lane = 0; lane < 8; ++lane)
            if (mask >> lane & 1U) lists[mask][count++] = lane;
    }
    return lists;
}();

/// NaN where the choice is made.
inline Floats Hide(Floats floats, Choice choice) {
    return reinterpret_cast<Floats>(reinterpret_cast<Choice>(floats) | choice);
}
inline Floats Hide(Floats floats, const std::int32_t* choice) {
    Choice loaded;
    std::memcpy(&loaded, choice, sizeof loaded);
    return Hide(floats, loaded);
}

/// The lowest number of both, infinity if there is none.
inline float Lowest(Floats a, Floats b) {
    const Floats none = All(std::numeric_limits<float>::infinity());
    Floats least = Smaller(a, Smaller(b, none));
    least = Smaller(least, __builtin_shufflevector(least, least, 2, 3, 0, 1));
    return least[0] < least[1] ? least[0] : least[1];
}

/// The highest number of both, minus infinity if there is none.
inline float Highest(Floats a, Floats b) {
    const Floats none = All(-std::numeric_limits<float>::infinity());
    Floats most = Larger(a, Larger(b, none));
    most = Larger(most, __builtin_shufflevector(most, most, 2, 3, 0, 1));
    return most[0] > most[1] ? most[0] : most[1];
}

}  // namespace lanes
