// The loops over points that this processor can run, and numbers that are hard on them.

#pragma once

#include <bit>
#include <limits>
#include <random>
#include <vector>

#include "ptc/format/point_lanes.h"
#include "util/base/processor.h"

inline std::vector<const PointLanes*> AllPointLanes() {
    std::vector<const PointLanes*> all = {&kFourLanes};
    if (processor::HasAvx2()) all.push_back(&kEightLanes);
    return all;
}

inline const std::vector<float>& OddFloats() {
    using Limits = std::numeric_limits<float>;
    static const std::vector<float> floats = {0.0f,
                                              -0.0f,
                                              1,
                                              -1,
                                              0.5f,
                                              -0.7f,
                                              0.4375f,
                                              0.6875f,
                                              1.1875f,
                                              2.4375f,
                                              1e-6f,
                                              -1e-7f,
                                              1e-20f,
                                              -3e7f,
                                              33554432.0f,
                                              65536.5f,
                                              -65539,
                                              2147483648.0f,
                                              -2147483904.0f,
                                              1e19f,
                                              Limits::min(),
                                              Limits::max(),
                                              -Limits::max(),
                                              Limits::denorm_min(),
                                              -Limits::denorm_min(),
                                              Limits::infinity(),
                                              -Limits::infinity(),
                                              Limits::quiet_NaN(),
                                              -Limits::quiet_NaN()};
    return floats;
}

/// Odd values, any bits, and mostly numbers from -1 to 1.
inline float HardFloat(std::mt19937& random) {
    const auto bits = static_cast<std::uint32_t>(random());
    if (bits % 16 == 0) return OddFloats()[random() % OddFloats().size()];
    if (bits % 16 == 1) return std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    return static_cast<float>(static_cast<std::int32_t>(random())) * 0x1p-31f;
}
