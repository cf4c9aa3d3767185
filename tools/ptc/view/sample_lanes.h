// Samples side by side: vectors of them, and of what decides about them.
//
// Threads    any.
//
// Every operation is that of one sample, done on each, so that the samples are the same bits as
// when they are drawn one by one.

#pragma once

#include <cstdint>
#include <cstring>

namespace view::lanes {

using Two = double __attribute__((vector_size(16)));
using TwoWhole = std::int64_t __attribute__((vector_size(16)));
using Four = float __attribute__((vector_size(16)));
using FourWhole = std::uint32_t __attribute__((vector_size(16)));
/// All bits of a sample, or none.
using Mask = std::int32_t __attribute__((vector_size(16)));

template <class Vector>
Vector Load(const void* from) {
    Vector vector;
    std::memcpy(&vector, from, sizeof vector);
    return vector;
}

/// The answers of four comparisons of doubles.
inline Mask Narrow(TwoWhole left, TwoWhole right) {
    // The lower half of each is as good as the whole.
    return __builtin_shufflevector(Load<Mask>(&left), Load<Mask>(&right), 0, 2, 4, 6);
}

/// Four doubles as floats.
inline Four Rounded(Two left, Two right) {
    using TwoFloats = float __attribute__((vector_size(8)));
    return __builtin_shufflevector(__builtin_convertvector(left, TwoFloats),
                                   __builtin_convertvector(right, TwoFloats), 0, 1, 2, 3);
}

inline bool IsAny(Mask mask) {
    const auto halves = Load<TwoWhole>(&mask);
    return (halves[0] | halves[1]) != 0;
}

}  // namespace view::lanes
