// Normals to codes: the values that files in the wild carry.

#include "ptc/normal_code.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

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

TEST(PtcNormalCode, CodesTruncateThrough32Bits) {
    EXPECT_EQ(ToCode(-1.5f), 0xFFFF);
    EXPECT_EQ(ToCode(2147483520.0f), 0xFF80);
    EXPECT_EQ(ToCode(2147483648.0f), 0);
    EXPECT_EQ(ToCode(-2147483648.0f), 0);
}

}  // namespace
