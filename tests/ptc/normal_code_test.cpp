// Normals to codes: the values that files in the wild carry.

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "ptc/format/normal_decode.h"
#include "tests/support/all_point_lanes.h"
#include "tests/support/plain_normal.h"

namespace {

/// Encodes the normals, three floats each, with all lanes and one by one.
void ExpectPlainCodes(const std::vector<float>& normals) {
    const std::size_t count = normals.size() / 3;
    const auto plain_code = [&](std::size_t i) {
        return plain::Encode(normals[3 * i], normals[3 * i + 1], normals[3 * i + 2]);
    };
    std::size_t run = 0;
    for (std::size_t first = 0; first < count; first += run) {
        run = std::min(1 + run % kMaxRun, count - first);
        // Unaligned, and nothing lies behind the last radius.
        const std::size_t stride = 28 + 4 * (run % 5);
        std::vector<std::byte> bytes(1 + (run - 1) * stride + 28);
        for (std::size_t i = 0; i < run; ++i)
            std::memcpy(&bytes[1 + i * stride + 12], &normals[3 * (first + i)], 12);
        for (const PointLanes* const lanes : AllPointLanes()) {
            NormalCodes codes;
            lanes->encode_normals({&bytes[1], run, stride, 24}, codes);
            for (std::size_t i = 0; i < run; ++i) {
                const float* const n = &normals[3 * (first + i)];
                ASSERT_EQ(codes[i], plain_code(first + i)) << n[0] << ' ' << n[1] << ' ' << n[2];
                ASSERT_EQ(EncodeNormal(n[0], n[1], n[2]), codes[i]);
            }
        }
    }
}

TEST(PtcNormalCode, IsTheSameWithAnyInstructions) {
    std::vector<float> normals;
    for (const float x : OddFloats())
        for (const float y : OddFloats())
            for (const float z : OddFloats()) normals.insert(normals.end(), {x, y, z});
    ExpectPlainCodes(normals);
    std::mt19937 random(5);
    normals.resize(3 * 1'000'000);
    for (float& value : normals) value = HardFloat(random);
    ExpectPlainCodes(normals);
}

TEST(PtcNormalCode, GoldenCodes) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    struct Row {
        float x, y, z;
        NormalCode code;
    };
    for (const Row& row : {
             Row{0, 0, 0, kNoNormal},
             Row{1e-7f, 1e-7f, 1e-7f, kNoNormal},           // below the length that has a direction
             Row{1, 0, 0, {32767, 32767}},                  //
             Row{0, 1, 0, {49151, 32767}},                  // single precision: not 49150
             Row{0, -1, 0, {16384, 32767}},                 //
             Row{-1, 0, 0, {65534, 32767}},                 // +pi
             Row{-1, -0.0f, 0, {0, 32767}},                 // -pi
             Row{0, 0, 1, {32767, 65534}},                  //
             Row{0, 0, -1, {32767, 0}},                     //
             Row{0, 0, 2, {32767, 32765}},                  // longer than 1 wraps: 98301 - 65536
             Row{0, 0, -2, {32767, 32770}},                 // and below: -32766
             Row{kNan, 0, 1, {0, 65534}},                   // no azimuth
             Row{0, 0, kNan, {32767, 0}},                   // no height
             Row{0, 0, 1e30f, {32767, 0}},                  // beyond 32 bits
             Row{1, 0, -kInfinity, {32767, 0}},             //
             Row{kInfinity, kInfinity, 0, {40959, 32767}},  // an eighth of a turn
         }) {
        const NormalCode code = EncodeNormal(row.x, row.y, row.z);
        EXPECT_EQ(code.azimuth, row.code.azimuth) << row.x << ' ' << row.y << ' ' << row.z;
        EXPECT_EQ(code.height, row.code.height) << row.x << ' ' << row.y << ' ' << row.z;
    }
}

TEST(PtcNormalDecoder, EveryBitIsFixed) {
    std::uint64_t sum = 0;
    double worst = 0;
    for (std::uint32_t code = 0; code < 65536; ++code) {
        const auto height = static_cast<std::uint16_t>(code * 7);
        float normal[3];
        Normals().Decode({static_cast<std::uint16_t>(code), height}, normal);
        for (const float value : normal) sum = sum * 31 + std::bit_cast<std::uint32_t>(value);
        const double angle = (code / 65535.0 - 0.5) * 6.283185307179586;
        const double z = 2 * (height / 65535.0) - 1;
        const double s = std::sqrt(1 - z * z);
        if (code == 0xFFFF && height == 0xFFFF) continue;
        worst = std::max({worst, std::fabs(normal[0] - std::cos(angle) * s),
                          std::fabs(normal[1] - std::sin(angle) * s), std::fabs(normal[2] - z)});
    }
    EXPECT_LT(worst, 2e-6);
    EXPECT_EQ(sum, 17457924791007193206U);
}

}  // namespace
